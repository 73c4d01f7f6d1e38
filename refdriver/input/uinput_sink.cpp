#include "refdriver/input/uinput_sink.h"

#include <linux/input.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "refdriver/input/evdev_backend.h"
#include "refdriver/input/key_codes.h"

namespace cx::refdriver {
namespace {

constexpr uint16_t kAxes[] = {REL_X, REL_Y, REL_WHEEL, REL_HWHEEL};
constexpr unsigned kEndOfKeyboardKeys = 256;

}  // namespace

std::unique_ptr<UinputSink> UinputSink::create(std::string& error) {
  auto sink = std::make_unique<UinputSink>();
  sink->device_.reset(libevdev_new());
  libevdev* d = sink->device_.get();
  libevdev_set_name(d, std::string(kOutputDeviceName).c_str());
  libevdev_set_id_bustype(d, BUS_VIRTUAL);
  libevdev_enable_event_type(d, EV_REL);
  for (uint16_t axis : kAxes) libevdev_enable_event_code(d, EV_REL, axis, nullptr);
  libevdev_enable_event_type(d, EV_KEY);
  for (const MouseButton& b : mouse_buttons())
    libevdev_enable_event_code(d, EV_KEY, b.code, nullptr);
  // The whole keyboard range: what keystrokes type, and the keys a pointing
  // device that is a keyboard too passes through.
  for (unsigned k = KEY_ESC; k < kEndOfKeyboardKeys; ++k)
    libevdev_enable_event_code(d, EV_KEY, k, nullptr);
  libevdev_uinput* uinput = nullptr;
  const int rc = libevdev_uinput_create_from_device(d, LIBEVDEV_UINPUT_OPEN_MANAGED, &uinput);
  if (rc != 0) {
    error = std::string("cannot make the output device through /dev/uinput: ") + std::strerror(-rc);
    return nullptr;
  }
  sink->uinput_.reset(uinput);
  return sink;
}

void UinputSink::write(std::span<const OutputEvent> events) {
  // One write for the whole batch; the kernel stamps the time.
  std::vector<input_event>& raw = raw_;
  raw.assign(events.size(), input_event{});
  for (size_t i = 0; i < events.size(); ++i) {
    raw[i].type = events[i].type;
    raw[i].code = events[i].code;
    raw[i].value = events[i].value;
  }
  const int fd = libevdev_uinput_get_fd(uinput_.get());
  const auto* bytes = reinterpret_cast<const char*>(raw.data());
  size_t left = raw.size() * sizeof(input_event);
  while (left > 0) {
    const ssize_t n = ::write(fd, bytes, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    bytes += n;
    left -= static_cast<size_t>(n);
  }
}

std::string UinputSink::devnode() const {
  const char* node = libevdev_uinput_get_devnode(uinput_.get());
  return node ? node : "";
}

}  // namespace cx::refdriver
