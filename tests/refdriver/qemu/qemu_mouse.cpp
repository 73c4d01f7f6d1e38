// Inside the test machine: makes a five-button mouse through uinput, waits
// until the driver's log says it grabbed it, presses and releases BUTTON,
// and reads the driver's virtual pointer until KEY goes down there.
// usage: qemu_mouse DRIVER-LOG BUTTON-CODE KEY-CODE
// Prints "virtual-mouse: ..." lines; exit 0 when the key came, 1 otherwise.
#include <libevdev/libevdev.h>
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/temp_dir.h"
#include "tests/support/virtual_mouse.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(20);

int fail(const char* what) {
  std::printf("virtual-mouse: FAIL %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return fail("usage: qemu_mouse DRIVER-LOG BUTTON-CODE KEY-CODE");
  const unsigned button = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 0));
  const unsigned key = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 0));

  cx::test::VirtualMouse mouse("Corvex Test Mouse");
  if (mouse.node().empty()) return fail("cannot create the mouse through /dev/uinput");
  std::printf("virtual-mouse: made %s\n", mouse.node().c_str());
  const std::string grabbed = "evdev: grabbed " + mouse.node() + " ";
  if (!cx::test::eventually(
          [&] { return cx::test::read_file(argv[1]).find(grabbed) != std::string::npos; },
          kPatience))
    return fail("the driver did not grab the mouse");
  cx::test::InputDevice pointer(nullptr, cx::test::close_input_device);
  if (!cx::test::eventually(
          [&] {
            return (pointer = cx::test::open_input_device("Corvex Virtual Pointer")) != nullptr;
          },
          kPatience))
    return fail("no Corvex Virtual Pointer");

  mouse.emit(EV_KEY, button, 1);
  mouse.emit(EV_KEY, button, 0);
  std::printf("virtual-mouse: pressed button 0x%x\n", button);

  pollfd wait{libevdev_get_fd(pointer.get()), POLLIN, 0};
  for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
    input_event ev;
    const int rc = libevdev_next_event(pointer.get(), LIBEVDEV_READ_FLAG_NORMAL, &ev);
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
