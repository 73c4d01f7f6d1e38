// Our own binary property-list writer. libplist 2.2's writer is not
// deterministic: it hashes data objects by address but compares them by
// content, so whether two equal data values share one object depends on
// where the heap put them. This writer numbers objects depth-first and
// shares every equal scalar, so the same value always gives the same bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plist/value.h"

namespace cx::plist {

// False with `error` set when the value cannot be written (nesting deeper
// than kMaxDepth, a date that is not a finite time, a string that is not UTF-8
// or holds a NUL).
bool write_binary_plist(const Value& value, std::vector<uint8_t>& out, std::string& error);

}  // namespace cx::plist
