// Inside the test machine: makes a five-button mouse through uinput, waits
// until the driver's log says it grabbed it, presses and releases BUTTON,
// and reads the driver's virtual pointer until KEY goes down there.
// usage: virtual_mouse DRIVER-LOG BUTTON-CODE KEY-CODE
// Prints "virtual-mouse: ..." lines; exit 0 when the key came, 1 otherwise.
#include <fcntl.h>
#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "platform/linux/user_client_fd.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(20);

int fail(const char* what) {
  std::printf("virtual-mouse: FAIL %s\n", what);
  return 1;
}

template <typename Found>
bool wait_for(Found found) {
  for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
    if (found()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

bool log_holds(const char* path, const std::string& text) {
  std::ifstream in(path);
  std::stringstream all;
  all << in.rdbuf();
  return all.str().find(text) != std::string::npos;
}

using Evdev = std::unique_ptr<libevdev, decltype(&libevdev_free)>;
using Uinput = std::unique_ptr<libevdev_uinput, decltype(&libevdev_uinput_destroy)>;

struct Device {
  cx::UniqueFd fd;
  Evdev dev{nullptr, libevdev_free};
};

// Opens the event node of the device called `name` into `out`.
bool open_named(const std::string& name, Device& out) {
  for (const auto& entry : std::filesystem::directory_iterator("/dev/input")) {
    cx::UniqueFd fd(open(entry.path().c_str(), O_RDONLY | O_NONBLOCK));
    libevdev* dev = nullptr;
    if (!fd || libevdev_new_from_fd(fd.get(), &dev) != 0) continue;
    Evdev owned(dev, libevdev_free);
    if (name != libevdev_get_name(dev)) continue;
    out.fd = std::move(fd);
    out.dev = std::move(owned);
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return fail("usage: virtual_mouse DRIVER-LOG BUTTON-CODE KEY-CODE");
  const unsigned button = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 0));
  const unsigned key = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 0));

  const Evdev mouse(libevdev_new(), libevdev_free);
  libevdev_set_name(mouse.get(), "Corvex Test Mouse");
  for (unsigned axis : {REL_X, REL_Y, REL_WHEEL})
    libevdev_enable_event_code(mouse.get(), EV_REL, axis, nullptr);
  for (unsigned b = BTN_LEFT; b <= BTN_EXTRA; ++b)
    libevdev_enable_event_code(mouse.get(), EV_KEY, b, nullptr);
  libevdev_uinput* made = nullptr;
  if (libevdev_uinput_create_from_device(mouse.get(), LIBEVDEV_UINPUT_OPEN_MANAGED, &made) != 0)
    return fail("cannot create the mouse through /dev/uinput");
  const Uinput uinput(made, libevdev_uinput_destroy);
  const std::string node = libevdev_uinput_get_devnode(uinput.get());
  std::printf("virtual-mouse: made %s\n", node.c_str());

  if (!wait_for([&] { return log_holds(argv[1], "evdev: grabbed " + node + " "); }))
    return fail("the driver did not grab the mouse");
  Device pointer;
  if (!wait_for([&] { return open_named("Corvex Virtual Pointer", pointer); }))
    return fail("no Corvex Virtual Pointer");

  for (int value : {1, 0}) {
    libevdev_uinput_write_event(uinput.get(), EV_KEY, button, value);
    libevdev_uinput_write_event(uinput.get(), EV_SYN, SYN_REPORT, 0);
  }
  std::printf("virtual-mouse: pressed button 0x%x\n", button);

  pollfd wait{pointer.fd.get(), POLLIN, 0};
  for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
    input_event ev;
    const int rc = libevdev_next_event(pointer.dev.get(), LIBEVDEV_READ_FLAG_NORMAL, &ev);
    if (rc == -EAGAIN) {
      poll(&wait, 1, 100);
      continue;
    }
    if (rc < 0) return fail("cannot read the virtual pointer");
    if (rc != LIBEVDEV_READ_STATUS_SUCCESS || ev.type != EV_KEY) continue;
    std::printf("virtual-mouse: pointer key %u value %d\n", ev.code, ev.value);
    if (ev.code == key && ev.value == 1) {
      std::printf("virtual-mouse: PASS key %u\n", key);
      return 0;
    }
  }
  return fail("the key did not come on the virtual pointer");
}
