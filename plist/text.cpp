#include "plist/text.h"

#include <algorithm>
#include <cstring>

namespace cx::plist {

size_t decode_utf8(std::string_view s, size_t i, uint32_t& c) {
  const auto byte = [&](size_t k) { return static_cast<uint8_t>(s[i + k]); };
  const uint8_t lead = byte(0);
  size_t len = 0;
  uint32_t min = 0;
  if (lead < 0x80) {
    c = lead;
    return 1;
  }
  if ((lead & 0xE0) == 0xC0) {
    len = 2, c = lead & 0x1Fu, min = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    len = 3, c = lead & 0x0Fu, min = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    len = 4, c = lead & 0x07u, min = 0x10000;
  } else {
    return 0;
  }
  if (i + len > s.size()) return 0;
  for (size_t k = 1; k < len; ++k) {
    if ((byte(k) & 0xC0) != 0x80) return 0;
    c = (c << 6) | (byte(k) & 0x3Fu);
  }
  if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return 0;
  return len;
}

void append_utf8(std::string& out, uint32_t c) {
  const auto put = [&](uint32_t b) { out += static_cast<char>(b); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

bool is_xml_char(uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

namespace {

constexpr uint64_t kOnes = 0x0101010101010101;
constexpr uint64_t kHighBits = kOnes * 0x80;
constexpr uint64_t kLowBits = kOnes * 0x7F;

// The high bit of every byte of `word` that is zero, exactly (no borrows).
uint64_t zero_bytes(uint64_t word) {
  return ~(((word & kLowBits) + kLowBits) | word) & kHighBits;
}

// True when all eight bytes are printable ASCII, tab, line feed or
// carriage return.
bool plain_word(uint64_t word) {
  if (word & kHighBits) return false;
  // With each high bit set first, no subtraction borrows from its neighbour.
  const uint64_t control = ~((word | kHighBits) - kOnes * 0x20) & kHighBits;
  const uint64_t allowed = zero_bytes(word ^ (kOnes * '\t')) | zero_bytes(word ^ (kOnes * '\n')) |
                           zero_bytes(word ^ (kOnes * '\r'));
  return (control & ~allowed) == 0;
}

}  // namespace

size_t skip_plain_ascii(std::string_view s, size_t i) {
  const size_t n = s.size();
  while (i < n) {
    if (i + 8 <= n) {
      uint64_t word = 0;
      std::memcpy(&word, s.data() + i, 8);
      if (plain_word(word)) {
        i += 8;
        continue;
      }
    }
    for (const size_t stop = std::min(i + 8, n); i < stop; ++i) {
      const auto c = static_cast<uint8_t>(s[i]);
      if (c >= 0x80 || (c < 0x20 && c != '\n' && c != '\t' && c != '\r')) return i;
    }
  }
  return n;
}

std::string code_point_name(uint32_t c) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string s = "U+";
  for (int shift = c > 0xFFFF ? 20 : 12; shift >= 0; shift -= 4) s += kDigits[(c >> shift) & 0xF];
  return s;
}

std::string text_defect(std::string_view s, bool xml) {
  for (size_t i = 0; i < s.size();) {
    i = skip_plain_ascii(s, i);
    if (i == s.size()) break;
    uint32_t c = 0;
    const size_t len = decode_utf8(s, i, c);
    if (len == 0) return "invalid UTF-8 at byte " + std::to_string(i);
    if (c == 0) return "NUL character";
    if (xml && !is_xml_char(c)) return code_point_name(c) + " cannot be written in XML";
    i += len;
  }
  return {};
}

}  // namespace cx::plist
