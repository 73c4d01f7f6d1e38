// What the driver makes the pointer do, as Linux input events written to
// one output device in frames, with every button and key it holds known by
// the device and button that hold it, so that nothing stays held when that
// button goes up or that device goes away.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace cx::refdriver {

struct OutputEvent {
  uint16_t type;
  uint16_t code;
  int32_t value;
};

// Where the output's events go: the uinput device, or a test's recorder.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void write(std::span<const OutputEvent> events) = 0;
};

// Who holds an output key: an input device's button (device 0: a
// simulated press).
struct Holder {
  uint32_t device = 0;
  uint8_t button = 0;
  bool operator==(const Holder&) const = default;
};

class PointerOutput {
 public:
  explicit PointerOutput(OutputSink& sink) : sink_(sink) {}

  // Presses a key or button for `holder` (nothing when already held).
  void press(uint16_t code, Holder holder);
  // Releases it whoever holds it (nothing when not held).
  void release(uint16_t code);
  // The modifier keys of driver modifier bits.
  void press_modifiers(uint8_t mods, Holder holder);
  void release_modifiers(uint8_t mods);
  void relative(uint16_t code, int32_t value);
  // Ends the frame of what changed since the last one.
  void frame();
  // Ends the frame and writes everything buffered.
  void flush();
  // Releases what a button (or every button of a device) holds.
  void release_held_by(Holder holder);
  void release_device(uint32_t device);
  size_t held_count() const { return held_.size(); }

  // While on, the engine turns motion into scrolling.
  bool motion_scrolls = false;

 private:
  struct Held {
    uint16_t code;
    Holder holder;
  };
  void key(uint16_t code, int32_t value);

  OutputSink& sink_;
  std::vector<OutputEvent> pending_;
  size_t frame_start_ = 0;
  std::vector<Held> held_;
};

}  // namespace cx::refdriver
