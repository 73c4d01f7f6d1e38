// The log's own string and number routines: it depends on nothing else.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cx {

size_t diag_strlen(const char* s);
// Returns a pointer to the terminating NUL written into dst.
char* diag_strcpy(char* dst, const char* src);
// Copies at most n characters; the NUL is written only when src ended within
// them, so a caller that hits the limit terminates dst itself.
void diag_strncpy(char* dst, const char* src, size_t n);

// Large enough for a 32-bit value in base 2 with its sign and NUL.
inline constexpr size_t kDiagNumberSize = 40;

// Format into buf (kDiagNumberSize bytes) in base 2..36; the base is not
// checked. Both return the number of characters written before the NUL.
size_t diag_ltoa(int32_t value, char* buf, int32_t base);
size_t diag_utoa(uint32_t value, char* buf, int32_t base);

}  // namespace cx
