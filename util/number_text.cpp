#include "util/number_text.h"

namespace cx {
namespace {

char* write_digits(int32_t value, uint32_t base, char* text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  if (!text) return nullptr;
  // The magnitude as unsigned, so that INT32_MIN has one too.
  uint32_t magnitude = static_cast<uint32_t>(value);
  if (value < 0) magnitude = 0u - magnitude;
  char reversed[kDecimalTextSize];
  std::size_t n = 0;
  do {
    reversed[n++] = kDigits[magnitude % base];
    magnitude /= base;
  } while (magnitude != 0);
  char* out = text;
  if (value < 0) *out++ = '-';
  while (n > 0) *out++ = reversed[--n];
  *out = '\0';
  return text;
}

int digit_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Accumulates digits below base from p; unsigned so that overflow wraps.
uint32_t read_digits(const char* p, int base) {
  uint32_t value = 0;
  for (int d = digit_value(*p); d >= 0 && d < base; d = digit_value(*++p)) {
    value = value * static_cast<uint32_t>(base) + static_cast<uint32_t>(d);
  }
  return value;
}

int32_t signed_result(uint32_t magnitude, bool negative) {
  return static_cast<int32_t>(negative ? 0u - magnitude : magnitude);
}

}  // namespace

char* far_itoa(int32_t value, char* text) {
  return write_digits(value, 10, text);
}

char* base16_itoa(int32_t value, char* text) {
  return write_digits(value, 16, text);
}

int32_t far_atoi(const char* text) {
  if (!text) return 0;
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  bool negative = false;
  if (*text == '-' || *text == '+') negative = *text++ == '-';
  return signed_result(read_digits(text, 10), negative);
}

int32_t atoi_base16(const char* text) {
  if (!text) return 0;
  const bool negative = *text == '-';
  if (negative) ++text;
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text += 2;
  return signed_result(read_digits(text, 16), negative);
}

}  // namespace cx
