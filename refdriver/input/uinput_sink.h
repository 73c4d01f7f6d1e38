// The output device: a uinput pointer with the mouse buttons, the wheels
// and every key a keystroke can type, written one batch of frames at a time.
#pragma once

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>

#include <linux/input.h>

#include <memory>
#include <string>
#include <vector>

#include "refdriver/input/pointer_output.h"

namespace cx::refdriver {

class UinputSink : public OutputSink {
 public:
  // Null, with `error` set, when /dev/uinput cannot make the device.
  static std::unique_ptr<UinputSink> create(std::string& error);
  void write(std::span<const OutputEvent> events) override;
  // Where the device appeared (/dev/input/eventN), to keep from reading it.
  std::string devnode() const;

 private:
  struct FreeDevice {
    void operator()(libevdev* d) const { libevdev_free(d); }
  };
  struct DestroyUinput {
    void operator()(libevdev_uinput* u) const { libevdev_uinput_destroy(u); }
  };
  std::unique_ptr<libevdev, FreeDevice> device_;
  std::unique_ptr<libevdev_uinput, DestroyUinput> uinput_;
  std::vector<input_event> raw_;  // kept to spare an allocation per batch
};

}  // namespace cx::refdriver
