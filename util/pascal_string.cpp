#include "util/pascal_string.h"

#include <cstring>

namespace cx {

char* pstr_to_cstr(char* dest, const unsigned char* pstr) {
  if (!dest) return nullptr;
  if (!pstr) {
    dest[0] = '\0';
    return dest;
  }
  const std::size_t length = pstr[0];
  std::memmove(dest, pstr + 1, length);
  dest[length] = '\0';
  return dest;
}

unsigned char* cstr_to_pstr(unsigned char* dest, const char* cstr) {
  if (!dest) return nullptr;
  if (!cstr) {
    dest[0] = 0;
    return dest;
  }
  const std::size_t length = strnlen(cstr, kPascalStringSize - 1);
  std::memmove(dest + 1, cstr, length);
  dest[0] = static_cast<unsigned char>(length);
  return dest;
}

}  // namespace cx
