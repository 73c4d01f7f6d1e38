// Upkeep of a button's own menu ("save list"): releasing the dataspaces of
// an entry that drops off, and resetting the button's list to an empty menu.
#pragma once

#include <cstdint>

#include "model/act_item.h"

namespace cx {

// Deallocates the first `count` dataspaces of `indices`, in order; results
// are ignored.
void free_allocated_space(const short* indices, short count);

// Overwrites *item with the one-item menu list of no entries (reserved byte
// kept) and stores it as the button's list; returns SetActionList's result.
int16_t reinit_save_list(unsigned char mods, unsigned char button, act_item* item);

}  // namespace cx
