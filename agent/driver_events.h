// Driver events: general-interest messages that carry an event code, and the
// queue of events with data that the agent drains with request 28.
#pragma once

#include <cstdint>
#include <string>

namespace cx {

// The driver's family in a message value: system 0x3E, subsystem 0x522.
inline constexpr uint32_t kDriverMessageMask = 0xFFFFC000;
inline constexpr uint32_t kDriverMessageBase = 0xF9488000;
inline constexpr uint32_t kEventCodeMask = 0x3FFF;
// The code that says events wait in the queue.
inline constexpr int16_t kEventsQueued = 0xFFF;

// The interest callback: messages outside the driver's family are ignored.
void cx_notify(void* refcon, const std::string& service, uint32_t messageType,
               uint64_t messageArgument);

// Takes every queued event; with `dispatch` false they are dropped.
void poll_driver_events(bool dispatch);

// Performs one event; `data` is valid only until the next driver request.
void handle_driver_event(int16_t code, const uint8_t* data, uint32_t length);

}  // namespace cx
