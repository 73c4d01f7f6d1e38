#include "tests/support/virtual_mouse.h"

#include <fcntl.h>
#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace cx::test {

bool VirtualMouse::usable(std::string& why) {
  if (access("/dev/uinput", R_OK | W_OK) == 0) return true;
  why = std::string("no writable /dev/uinput on this machine (") + std::strerror(errno) +
        "): no virtual mouse can be made";
  return false;
}

VirtualMouse::VirtualMouse(const std::string& name) {
  libevdev* proto = libevdev_new();
  libevdev_set_name(proto, name.c_str());
  for (unsigned code : {REL_X, REL_Y, REL_WHEEL})
    libevdev_enable_event_code(proto, EV_REL, code, nullptr);
  for (unsigned code : {BTN_LEFT, BTN_RIGHT, BTN_MIDDLE, BTN_SIDE, BTN_EXTRA})
    libevdev_enable_event_code(proto, EV_KEY, code, nullptr);
  if (libevdev_uinput_create_from_device(proto, LIBEVDEV_UINPUT_OPEN_MANAGED, &device_) == 0) {
    node_ = libevdev_uinput_get_devnode(device_);
  }
  libevdev_free(proto);
}

VirtualMouse::~VirtualMouse() {
  if (device_) libevdev_uinput_destroy(device_);
}

void VirtualMouse::emit(unsigned type, unsigned code, int value) {
  libevdev_uinput_write_event(device_, type, code, value);
  libevdev_uinput_write_event(device_, EV_SYN, SYN_REPORT, 0);
}

void close_input_device(libevdev* device) {
  close(libevdev_get_fd(device));
  libevdev_free(device);
}

InputDevice open_input_device(std::string_view name) {
  for (const auto& entry : std::filesystem::directory_iterator("/dev/input")) {
    libevdev* dev = nullptr;
    const int fd = open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0 && libevdev_new_from_fd(fd, &dev) == 0 && libevdev_get_name(dev) == name) {
      return {dev, close_input_device};
    }
    libevdev_free(dev);
    if (fd >= 0) close(fd);
  }
  return {nullptr, close_input_device};
}

}  // namespace cx::test
