// The driver's key codes, modifier bits and buttons as Linux input codes.
#pragma once

#include <cstdint>
#include <span>

namespace cx::refdriver {

// The Linux key for a driver key code; 0 for a code with no counterpart.
uint16_t linux_key(uint16_t key_code);

// The modifier keys a set of modifier bits holds, in pressing order.
struct ModifierKey {
  uint8_t bit;
  uint16_t key;
};
std::span<const ModifierKey> modifier_keys();

// The mouse buttons Linux reports, as the driver numbers them: left, right,
// middle (the third), side (the fourth), then the extra ones from 6 (4 and
// 5 are the chords).
struct MouseButton {
  uint16_t code;
  uint8_t button;
};
std::span<const MouseButton> mouse_buttons();

}  // namespace cx::refdriver
