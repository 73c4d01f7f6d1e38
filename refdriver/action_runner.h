// Runs action lists the way the driver would on a button press: mouse
// clicks, scrolling and keystrokes are logged and, when the driver has an
// output device, performed on it; actions only the agent can carry out are
// queued as background events with their data, followed by one "drain the
// queue" message.
//
// A press has two phases: when the button goes down every item but those
// of the last step (act_seq 8) runs; those run when it comes up, which is
// how a drag holds the click until the release. What a button still holds
// when it comes up is released then.
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "model/act_item.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"

namespace cx::refdriver {

struct Holder;

// Capture the front browser's page (event 3) instead of running the list.
inline constexpr uint16_t kReprogramUrlFlags = 0x8000;
// The step of a list that waits for the button's release.
inline constexpr uint8_t kReleaseStep = 8;

class ActionRunner {
 public:
  ActionRunner(DriverState& state, DriverSink& sink) : state_(state), sink_(sink) {}

  // A press and release of `button` under `mods` in the front application:
  // its set's list when it has one, else the global set's.
  void press(uint8_t button, uint8_t mods);
  // The two phases of a press of `device`'s button (device 0: simulated).
  // down() is false when no list applies (nothing was done).
  bool down(uint8_t button, uint8_t mods, uint32_t device);
  void up(uint8_t button, uint32_t device);
  // Forgets the presses of a device that went away.
  void forget(uint32_t device);
  // Whether a press would find a list.
  bool has_list(uint8_t button, uint8_t mods);
  // Runs entry `entry` (from 1) of the pending popup menu. kDone or kNotFound.
  int16_t execute_menu_item(uint16_t entry);

 private:
  // A press between its two phases.
  struct Pressed {
    uint32_t set_id = 0;
    uint8_t mods = 0;
    std::vector<uint8_t> items;
  };
  const StoredResponse* find(uint8_t button, uint8_t mods, AppSet*& owner);
  // Runs the items of one phase; returns the number of events queued.
  size_t run(AppSet& owner, uint8_t mods, uint8_t button, std::span<const uint8_t> items,
             bool release_phase, const Holder& holder);
  void perform(const act_item& item, const Holder& holder);
  size_t open_menu(AppSet& owner, uint8_t mods, uint8_t button, uint16_t entries);
  bool queue(int16_t code, std::span<const uint8_t> data);
  void set_global_bits(uint16_t index, uint16_t bits, bool toggle);
  void finish(size_t queued);

  DriverState& state_;
  DriverSink& sink_;
  std::unordered_map<uint64_t, Pressed> pressed_;
};

}  // namespace cx::refdriver
