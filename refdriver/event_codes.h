// The codes the driver tells the agent, as general-interest messages or as
// queued background events, and the message value that carries them.
#pragma once

#include <cstdint>

namespace cx::refdriver {

namespace event_code {
inline constexpr int16_t launch_file = 1;
inline constexpr int16_t launch_url = 2;
inline constexpr int16_t capture_url = 3;
inline constexpr int16_t devices_changed = 5;
inline constexpr int16_t home_page = 6;
inline constexpr int16_t chord = 7;
inline constexpr int16_t paste_text = 9;
inline constexpr int16_t low_battery_times = 10;
inline constexpr int16_t low_battery_alert = 11;
inline constexpr int16_t application_menu = 12;
inline constexpr int16_t popup_menu = 13;
inline constexpr int16_t user_active = 14;
inline constexpr int16_t console_switch = 15;
inline constexpr int16_t hscroll_changed = 16;
inline constexpr int16_t drain_queue = 0xFFF;
}  // namespace event_code

inline constexpr uint32_t kMaxEventCode = 0x3FFF;

// System 0x3E and subsystem 0x522 over the 14-bit code.
constexpr uint32_t message_type(uint32_t code) {
  return 0xF8000000u | (0x522u << 14) | (code & kMaxEventCode);
}

}  // namespace cx::refdriver
