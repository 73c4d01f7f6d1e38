#include "util/far_string.h"

#include <cstring>

namespace cx {
namespace {

const char* or_empty(const char* s) {
  return s ? s : "";
}

unsigned char ascii_lower(char c) {
  auto u = static_cast<unsigned char>(c);
  return (u >= 'A' && u <= 'Z') ? static_cast<unsigned char>(u + ('a' - 'A')) : u;
}

}  // namespace

std::size_t far_strlen(const char* s) {
  return s ? std::strlen(s) : 0;
}

char* far_strcpy(char* dest, const char* src) {
  if (!dest) return nullptr;
  return std::strcpy(dest, or_empty(src));
}

char* far_strcat(char* dest, const char* src) {
  if (!dest) return nullptr;
  return std::strcat(dest, or_empty(src));
}

int far_strcmp(const char* a, const char* b) {
  return std::strcmp(or_empty(a), or_empty(b));
}

int far_stricmp(const char* a, const char* b) {
  return far_strnicmp(a, b, static_cast<std::size_t>(-1));
}

char* far_strncpy(char* dest, const char* src, std::size_t n) {
  if (!dest) return nullptr;
  return std::strncpy(dest, or_empty(src), n);
}

char* far_strncat(char* dest, const char* src, std::size_t n) {
  if (!dest) return nullptr;
  return std::strncat(dest, or_empty(src), n);
}

int far_strncmp(const char* a, const char* b, std::size_t n) {
  return std::strncmp(or_empty(a), or_empty(b), n);
}

int far_strnicmp(const char* a, const char* b, std::size_t n) {
  a = or_empty(a);
  b = or_empty(b);
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned char ca = ascii_lower(a[i]);
    const unsigned char cb = ascii_lower(b[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) break;
  }
  return 0;
}

const char* far_strchr(const char* s, int c) {
  return s ? std::strchr(s, c) : nullptr;
}

char* far_strchr(char* s, int c) {
  return s ? std::strchr(s, c) : nullptr;
}

const char* far_strstr(const char* s, const char* needle) {
  return s ? std::strstr(s, or_empty(needle)) : nullptr;
}

char* far_strstr(char* s, const char* needle) {
  return s ? std::strstr(s, or_empty(needle)) : nullptr;
}

}  // namespace cx
