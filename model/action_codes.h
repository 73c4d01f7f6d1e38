// The action codes (`act`) that the agent builds, tests or dispatches on.
// Keystroke codes come from the response tables and pass through untouched.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace cx {

namespace act_code {
inline constexpr int16_t primary_press = 0x0001;
inline constexpr int16_t primary_release = 0x0002;
inline constexpr int16_t secondary_press = 0x0004;
inline constexpr int16_t secondary_release = 0x0008;
inline constexpr int16_t menu = 0x2000;    // ch12: number of menu entries
inline constexpr int16_t scroll = 0x3000;  // ch12: a scroll_code
inline constexpr int16_t home_page = 0x5200;
inline constexpr int16_t app_menu = 0x7200;
inline constexpr int16_t paste_text = 0x7700;   // ch12: dataspace index
inline constexpr int16_t launch_file = 0x7E00;  // ch12: dataspace index
inline constexpr int16_t launch_url = 0x7F00;   // ch12: dataspace index
}  // namespace act_code

namespace scroll_code {
inline constexpr uint16_t mouse_scroll = 0x04;
inline constexpr uint16_t up = 0x08;
inline constexpr uint16_t down = 0x09;
inline constexpr uint16_t toggle_horizontal = 0x10;
}  // namespace scroll_code

// Exactly these actions name a dataspace through their ch12.
inline constexpr std::array<int16_t, 3> kDataCarryingActs = {
    act_code::paste_text, act_code::launch_file, act_code::launch_url};

constexpr bool is_data_carrying(int16_t act) {
  return std::find(kDataCarryingActs.begin(), kDataCarryingActs.end(), act) !=
         kDataCarryingActs.end();
}

}  // namespace cx
