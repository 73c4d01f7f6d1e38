// Numbers as text and back: decimal and upper-case hexadecimal, both with a
// leading minus sign for negatives.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cx {

// Room that far_itoa ("-2147483648") and base16_itoa ("-80000000") need,
// terminator included. The text buffers must be at least this large.
constexpr std::size_t kDecimalTextSize = 12;
constexpr std::size_t kHexTextSize = 10;

// Write value into text and return text (null when text is null).
char* far_itoa(int32_t value, char* text);
char* base16_itoa(int32_t value, char* text);

// Leading white space, an optional sign, then decimal digits up to the first other
// character. Results wrap modulo 2^32; null or no digits gives 0.
int32_t far_atoi(const char* text);
// An optional minus sign, an optional 0x or 0X, then hexadecimal digits of
// either case up to the first other character. Wraps modulo 2^32.
int32_t atoi_base16(const char* text);

}  // namespace cx
