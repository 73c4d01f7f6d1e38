// The deep equality that decides whether a saved value equals its default.
#pragma once

#include "plist/value.h"

namespace cx {

// Different types are unequal; arrays compare in order, dictionaries by
// key regardless of order, each member by this same rule.
bool vcx_CFEqual(const plist::Value* a, const plist::Value* b);

}  // namespace cx
