// Exact reads of big-endian fields from an open legacy preference file.
#pragma once

#include <cstdint>
#include <vector>

#include "util/byte_order.h"
#include "util/open_files.h"

namespace cx {

inline bool read_exact(int16_t ref, void* buffer, int32_t count) {
  return count == 0 || read_file(ref, buffer, count) == count;
}

inline bool read_be16(int16_t ref, int16_t* value) {
  uint8_t bytes[2];
  if (!read_exact(ref, bytes, 2)) return false;
  *value = static_cast<int16_t>(load_be16(bytes));
  return true;
}

inline bool read_be32(int16_t ref, uint32_t* value) {
  uint8_t bytes[4];
  if (!read_exact(ref, bytes, 4)) return false;
  *value = load_be32(bytes);
  return true;
}

// Reads `count` bytes, which the file must still hold: a damaged count
// must not make us allocate for data that is not there.
inline bool read_block(int16_t ref, uint32_t count, std::vector<uint8_t>& out) {
  const int32_t at = get_file_position(ref);
  const int32_t size = get_file_size(ref);
  if (at < 0 || size < at || count > static_cast<uint32_t>(size - at)) return false;
  out.resize(count);
  return read_exact(ref, out.data(), static_cast<int32_t>(count));
}

}  // namespace cx
