#include "tests/support/virtual_mouse.h"

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

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
  for (unsigned code : {BTN_LEFT, BTN_RIGHT, BTN_MIDDLE})
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

}  // namespace cx::test
