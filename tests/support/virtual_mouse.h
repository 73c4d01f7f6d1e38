// A mouse made through uinput (five buttons, motion and a wheel), for tests
// and benchmarks of the driver on real input devices, and a reader of any
// input device found by its name. usable() says whether this machine can
// make one at all.
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct libevdev;
struct libevdev_uinput;

namespace cx::test {

class VirtualMouse {
 public:
  // False, with the reason, when /dev/uinput cannot be written.
  static bool usable(std::string& why);
  explicit VirtualMouse(const std::string& name);
  ~VirtualMouse();
  VirtualMouse(const VirtualMouse&) = delete;
  VirtualMouse& operator=(const VirtualMouse&) = delete;

  // Where it appeared (/dev/input/eventN); empty when it could not be made.
  const std::string& node() const { return node_; }
  // One event and the report that ends it.
  void emit(unsigned type, unsigned code, int value);

 private:
  libevdev_uinput* device_ = nullptr;
  std::string node_;
};

// An input device opened for reading without blocking; its node is closed
// with it.
void close_input_device(libevdev* device);
using InputDevice = std::unique_ptr<libevdev, decltype(&close_input_device)>;
// The first event node whose device has this name, opened; null when none.
InputDevice open_input_device(std::string_view name);

}  // namespace cx::test
