// Pascal strings: a length byte followed by up to 255 bytes, no terminator.
#pragma once

#include <cstddef>

namespace cx {

// Largest Pascal string, length byte included.
constexpr std::size_t kPascalStringSize = 256;

// dest needs length + 1 bytes (at most 256). dest may be the source itself.
// Returns dest, or null when dest is null; a null source gives "".
char* pstr_to_cstr(char* dest, const unsigned char* pstr);
// dest needs length + 1 bytes (at most 256); text beyond 255 bytes is cut.
// dest may be the source itself. Returns dest, or null when dest is null.
unsigned char* cstr_to_pstr(unsigned char* dest, const char* cstr);

}  // namespace cx
