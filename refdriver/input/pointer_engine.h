// The driver's work on real pointer input, with no kernel in it: Linux
// input events of the grabbed devices in, events of the output device out.
// Motion is accelerated, the wheel follows the front application's
// scrolling settings, and buttons (and chords of two buttons) run the
// action lists of the front application's set.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "refdriver/action_runner.h"
#include "refdriver/device_table.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/input/acceleration.h"
#include "refdriver/input/pointer_output.h"

namespace cx::refdriver {

struct InputEvent {
  uint64_t time_us;  // the device's time stamp, on the clock deadline() uses
  uint16_t type;
  uint16_t code;
  int32_t value;
};

// The driver's default chording speed (milliseconds) while none is set.
inline constexpr int kDefaultChordMs = 200;
// Motion (in device units) per wheel step while motion scrolls.
inline constexpr int32_t kMotionPerScrollStep = 8;

class PointerEngine {
 public:
  // Sets the state's output to `output` for as long as the engine lives.
  PointerEngine(DriverState& state, DriverSink& sink, PointerOutput& output);
  ~PointerEngine();
  PointerEngine(const PointerEngine&) = delete;
  PointerEngine& operator=(const PointerEngine&) = delete;

  // A device found (id from 1) or gone: the attached devices change and the
  // agent is told. A device gone releases everything its buttons hold.
  void add_device(uint32_t id, const PresentDevice& device);
  void remove_device(uint32_t id);
  void handle(uint32_t id, const InputEvent& event);
  // A key of a keyboard: its modifier keys choose the lists buttons run.
  void keyboard(const InputEvent& event);
  // When a button held back as a possible chord must be decided.
  std::optional<uint64_t> deadline();
  void expire(uint64_t now_us);

 private:
  struct Held {
    uint8_t button;
    uint64_t since_us;
  };
  struct Device {
    PresentDevice present;
    uint32_t generation = ~0u;
    MotionTraits traits;
    Accelerator accelerator;
    int32_t dx = 0, dy = 0, wheel = 0, hwheel = 0;
    int32_t scroll_rest = 0;
    std::optional<Held> waiting;   // a button that may become half of a chord
    std::optional<uint8_t> chord;  // the chord being pressed
    uint8_t chord_released = 0;    // its buttons already up
  };

  void update_modifiers(const InputEvent& event);
  void button(uint32_t id, Device& d, uint16_t code, bool down, uint64_t time_us);
  void button_down(uint32_t id, uint8_t button, uint16_t code);
  void report(Device& d);
  void wheel(Device& d);
  void refresh(Device& d);
  void publish_devices();
  uint64_t chord_window_us();

  DriverState& state_;
  DriverSink& sink_;
  PointerOutput& output_;
  ActionRunner runner_;
  std::map<uint32_t, Device> devices_;
  uint8_t mods_ = 0;  // modifier keys held on the input devices
};

}  // namespace cx::refdriver
