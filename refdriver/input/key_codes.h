// The driver's key codes and modifier bits (those of the keystroke items)
// as Linux input key codes.
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

// Every key the output may press: the keys above and the modifiers.
std::span<const uint16_t> output_keys();

}  // namespace cx::refdriver
