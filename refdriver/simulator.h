// Device activity the reference driver can be told to simulate (by
// corvex-driverctl, and by tests): button presses, chords, device changes,
// low batteries, console switches, raw events and messages.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "refdriver/action_runner.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"

namespace cx::refdriver {

class Simulator {
 public:
  Simulator(DriverState& state, DriverSink& sink)
      : state_(state), sink_(sink), runner_(state, sink) {}

  void press(uint8_t button, uint8_t mods) { runner_.press(button, mods); }
  // As if the agent had switched the front application.
  void front(std::string name);
  void chord();            // message 7
  void devices_changed();  // message 5
  // Asks the agent for the device's previous alert time (message 10); the
  // alert (message 11) follows once the agent has answered. False when the
  // low-battery table is full.
  bool low_battery(uint16_t unique_id);
  // Toggles horizontal scrolling (bit 0x8 of global data 13), message 16.
  void hscroll();
  // Message 15 with the active user's uid.
  void console_switch();
  // A switch to `uid`'s session: message 15 asks the console session's agent
  // to announce itself, message 14 confirms `uid` as the one served.
  void console_switch(uint32_t uid);
  // Queues an event and posts "drain the queue". False when refused.
  bool event(int16_t code, std::span<const uint8_t> data);
  // Posts a message as it stands. False for a code above 0x3FFF.
  bool notify(uint32_t code, uint64_t argument);

 private:
  DriverState& state_;
  DriverSink& sink_;
  ActionRunner runner_;
};

}  // namespace cx::refdriver
