// Values from libplist 2.2's binary reader, bounded by kMaxDepth.
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

}  // namespace cx::plist
