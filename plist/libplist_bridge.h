// Conversion between our values and libplist 2.2 nodes. Both directions are
// bounded by kMaxDepth, so neither they nor libplist's recursive writers can
// run away on a deep (or, when built in memory, cyclic) value.
#pragma once

#include <plist/plist.h>

#include <memory>
#include <string>

#include "plist/value.h"

namespace cx::plist {

struct LibplistFree {
  void operator()(void* node) const { plist_free(node); }
};
using LibplistNode = std::unique_ptr<void, LibplistFree>;

// Null with `error` set when the node holds something we do not model.
// Integers become SInt32 when they fit in 32 bits, else SInt64 (unsigned
// above INT64_MAX); reals become Float64; dates keep their exact time.
ValueRef from_libplist(plist_t node, std::string& error);

// A tree for libplist's XML writer. Null with `error` set when the value
// cannot be written: nesting too deep, a date outside years 0000-9999, a string
// or key that is not UTF-8, holds a NUL or a character XML cannot carry.
LibplistNode to_libplist(const Value& value, std::string& error);

}  // namespace cx::plist
