// Parameter bytes of the driver requests: packed, big-endian, no padding.
// Bytes a request sends but does not set are sent as 0; the driver ignores
// them.
#pragma once

#include <array>
#include <cstdint>

#include "util/byte_order.h"

namespace cx::request_params {

// Requests on a button's lists, names and responses: 8-bit b, 8-bit a,
// 16-bit c. The button goes before the modifier combination.
constexpr std::array<uint8_t, 4> button(uint8_t a, uint8_t b, int16_t c) {
  std::array<uint8_t, 4> p{b, a, 0, 0};
  store_be16(p.data() + 2, static_cast<uint16_t>(c));
  return p;
}

// Dataspace requests: two 16-bit values, then 4 unset bytes.
constexpr std::array<uint8_t, 8> dataspace(int16_t first, int16_t second) {
  std::array<uint8_t, 8> p{};
  store_be16(p.data(), static_cast<uint16_t>(first));
  store_be16(p.data() + 2, static_cast<uint16_t>(second));
  return p;
}

// Global, per-application and cache data: 32-bit length, 16-bit index,
// 8-bit mode, 1 unset byte.
constexpr std::array<uint8_t, 8> data_access(int16_t index, uint8_t mode, uint32_t length) {
  std::array<uint8_t, 8> p{};
  store_be32(p.data(), length);
  store_be16(p.data() + 4, static_cast<uint16_t>(index));
  p[6] = mode;
  return p;
}

// Dataspace contents: 16-bit index, 16-bit length, 32-bit mode.
constexpr std::array<uint8_t, 8> dataspace_access(int16_t index, uint16_t length, uint32_t mode) {
  std::array<uint8_t, 8> p{};
  store_be16(p.data(), static_cast<uint16_t>(index));
  store_be16(p.data() + 2, length);
  store_be32(p.data() + 4, mode);
  return p;
}

// All responses of a set: a, b and c in argument order (unlike every other
// (a, b) request), 1 unset byte, 32-bit d.
constexpr std::array<uint8_t, 8> responses(uint8_t a, uint8_t b, uint8_t c, uint32_t d) {
  std::array<uint8_t, 8> p{a, b, c, 0};
  store_be32(p.data() + 4, d);
  return p;
}

constexpr std::array<uint8_t, 2> be16(int16_t v) {
  std::array<uint8_t, 2> p{};
  store_be16(p.data(), static_cast<uint16_t>(v));
  return p;
}

constexpr std::array<uint8_t, 4> be32(uint32_t v) {
  std::array<uint8_t, 4> p{};
  store_be32(p.data(), v);
  return p;
}

}  // namespace cx::request_params
