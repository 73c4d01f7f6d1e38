// Requests on the popup menu that the driver prepares for a button.
#pragma once

#include <cstdint>

namespace cx {

inline constexpr uint32_t kMenuNameSize = 32;
// A name reply that is not the announced number of names and two values.
inline constexpr int16_t kMenuNamesMalformed = -1000;

int16_t ClearAllMenuLists();

// The menu's entry count and a second value; 1 when they came back, else 0.
int16_t CheckMenuSize(int16_t* x, int16_t* y);

// Copies the n names (32 bytes each) into `dest`, which holds `max` of
// them, and the two values behind them into x and y; returns n. A status
// below 1 is returned as it is; -1000 when the reply does not hold exactly
// n names and the values, or n exceeds `max`.
int16_t GetMenuNames(int16_t max, uint8_t* dest, int16_t* x, int16_t* y);

int16_t ExecuteMenuItems(int16_t index);

}  // namespace cx
