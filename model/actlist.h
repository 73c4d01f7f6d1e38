// Action lists in memory: chains of act_item linked through `link`, in the
// order the driver performs them; null is the empty list.
#pragma once

#include <cstdint>

#include "model/act_item.h"

namespace cx {

// The wire count is a signed 16-bit number, so no list is longer than this.
inline constexpr uint16_t kMaxActlistItems = 0x7FFF;

// Turns a packed array of `count` items into a chain, the last link null.
// A count of 0 or less leaves the array untouched.
void link_actlist(act_item* items, short count);

// Stores the dataspace index (ch12) of each data-carrying item of the chain
// into `indices`, at most `max` of them; returns how many were stored.
short get_memory_indices(const act_item* list, short* indices, short max);

// The number of items found by following the links, at most kMaxActlistItems
// (which also ends a chain that loops back on itself).
uint16_t count_actlist(const act_item* list);

}  // namespace cx
