// A bounds-checked cursor over client bytes: every read past the end fails
// and leaves the reader failed, so parsers check once at the end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "util/byte_order.h"

namespace cx::refdriver {

class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  uint8_t u8() { return take(1) ? bytes_[pos_ - 1] : 0; }
  uint16_t u16() { return take(2) ? load_be16(&bytes_[pos_ - 2]) : 0; }
  int16_t i16() { return static_cast<int16_t>(u16()); }
  uint32_t u32() { return take(4) ? load_be32(&bytes_[pos_ - 4]) : 0; }
  void skip(size_t n) { take(n); }
  std::span<const uint8_t> bytes(size_t n) {
    return take(n) ? bytes_.subspan(pos_ - n, n) : std::span<const uint8_t>{};
  }
  // A NUL-terminated string of at most max_length characters; the NUL is consumed.
  bool c_string(size_t max_length, std::string_view& out);

  bool ok() const { return ok_; }
  size_t remaining() const { return ok_ ? bytes_.size() - pos_ : 0; }
  // Everything read, nothing left over.
  bool done() const { return ok_ && pos_ == bytes_.size(); }

 private:
  bool take(size_t n) {
    if (!ok_ || n > bytes_.size() - pos_) {
      ok_ = false;
      return false;
    }
    pos_ += n;
    return true;
  }

  std::span<const uint8_t> bytes_;
  size_t pos_ = 0;
  bool ok_ = true;
};

inline bool ByteReader::c_string(size_t max_length, std::string_view& out) {
  if (!ok_) return false;
  const size_t limit = std::min(bytes_.size() - pos_, max_length + 1);
  for (size_t i = 0; i < limit; ++i) {
    if (bytes_[pos_ + i] == 0) {
      out = std::string_view(reinterpret_cast<const char*>(&bytes_[pos_]), i);
      pos_ += i + 1;
      return true;
    }
  }
  ok_ = false;
  return false;
}

}  // namespace cx::refdriver
