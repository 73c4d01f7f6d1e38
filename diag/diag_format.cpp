#include "diag/diag_format.h"

namespace cx {
namespace {

constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

}  // namespace

size_t diag_strlen(const char* s) {
  size_t n = 0;
  while (s[n] != '\0') ++n;
  return n;
}

char* diag_strcpy(char* dst, const char* src) {
  while ((*dst = *src++) != '\0') ++dst;
  return dst;
}

void diag_strncpy(char* dst, const char* src, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if ((dst[i] = src[i]) == '\0') return;
  }
}

size_t diag_utoa(uint32_t value, char* buf, int32_t base) {
  const auto b = static_cast<uint32_t>(base);
  size_t n = 0;
  do {
    buf[n++] = kDigits[value % b];
    value /= b;
  } while (value != 0);
  for (size_t i = 0, j = n - 1; i < j; ++i, --j) {
    const char c = buf[i];
    buf[i] = buf[j];
    buf[j] = c;
  }
  buf[n] = '\0';
  return n;
}

size_t diag_ltoa(int32_t value, char* buf, int32_t base) {
  if (value >= 0) return diag_utoa(static_cast<uint32_t>(value), buf, base);
  buf[0] = '-';
  // Negating in unsigned arithmetic keeps INT32_MIN representable.
  return 1 + diag_utoa(0u - static_cast<uint32_t>(value), buf + 1, base);
}

}  // namespace cx
