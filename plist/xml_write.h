// Our XML property-list writer, byte for byte the layout libplist 2.2 gave
// the files users already have (tabs, %.17g reals, base64 lines narrowing
// with depth), so that a save that changes nothing leaves a file unchanged.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plist/value.h"

namespace cx::plist {

// False with `error` set when the value cannot be written: nesting too deep,
// a date outside years 0000-9999, a string or key that is not UTF-8, holds a
// NUL or a character XML cannot carry.
bool write_xml_plist(const Value& value, std::vector<uint8_t>& out, std::string& error);

}  // namespace cx::plist
