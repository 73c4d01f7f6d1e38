// Runs action lists the way the driver would on a button press: mouse
// clicks, scrolling and keystrokes are logged (there is no real pointer to
// move); actions only the agent can carry out are queued as background
// events with their data, followed by one "drain the queue" message.
#pragma once

#include <cstdint>

#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"

namespace cx::refdriver {

// Capture the front browser's page (event 3) instead of running the list.
inline constexpr uint16_t kReprogramUrlFlags = 0x8000;

class ActionRunner {
 public:
  ActionRunner(DriverState& state, DriverSink& sink) : state_(state), sink_(sink) {}

  // A press and release of `button` under `mods` in the front application:
  // its set's list when it has one, else the global set's.
  void press(uint8_t button, uint8_t mods);
  // Runs entry `entry` (from 1) of the pending popup menu. kDone or kNotFound.
  int16_t execute_menu_item(uint16_t entry);

 private:
  // Returns the number of events queued.
  size_t run(AppSet& owner, uint8_t mods, uint8_t button, const StoredResponse& response);
  size_t open_menu(AppSet& owner, uint8_t mods, uint8_t button, uint16_t entries);
  bool queue(int16_t code, std::span<const uint8_t> data);
  void set_global_bits(uint16_t index, uint16_t bits, bool toggle);
  void finish(size_t queued);

  DriverState& state_;
  DriverSink& sink_;
};

}  // namespace cx::refdriver
