// Requests on a button's action list, its menu entries' lists and their
// names. Callers pass the modifier combination as `a`, the button as `b`
// and the menu entry as `c`.
#pragma once

#include <cstdint>
#include <span>

#include "model/act_item.h"

namespace cx {

inline constexpr uint32_t kActionNameSize = 36;

// Copies the list into `list` and links it. Result: the reply's status; a
// status below 1 is returned as it is; -50 (and `list` untouched) when the
// reply is not a count and that many items, or does not fit `list`.
int16_t GetActionList(uint8_t a, uint8_t b, std::span<act_item> list);
int16_t GetMenuActionList(uint8_t a, uint8_t b, int16_t c, std::span<act_item> list);

// Item counts; 0 on failure.
int16_t GetActionListSize(uint8_t a, uint8_t b);
int16_t GetMenuActionListSize(uint8_t a, uint8_t b, int16_t c);

// Fills `name` when exactly 36 bytes come back with a status of 0 or more.
// Result: the status, 0 on failure.
int16_t GetActionName(uint8_t a, uint8_t b, int16_t c, std::span<uint8_t, kActionNameSize> name);
int16_t SetActionName(uint8_t a, uint8_t b, int16_t c,
                      std::span<const uint8_t, kActionNameSize> name);

// Sends the chain from `list` (null is the empty list). The result is 0
// whatever happened: the driver's answer to a stored list is not passed on.
int16_t SetActionList(uint8_t a, uint8_t b, const act_item* list);
int16_t SetMenuActionList(uint8_t a, uint8_t b, int16_t c, const act_item* list);

}  // namespace cx
