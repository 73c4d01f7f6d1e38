// An application set's scrolling as the driver keeps it (application data
// 72): byte 0 the speed, bytes 2-3 a big-endian flag word.
#pragma once

#include <array>
#include <cstdint>

namespace cx::corvexctl {

inline constexpr int16_t kScrollingRecord = 72;
using ScrollingRecord = std::array<uint8_t, 4>;
inline constexpr uint16_t kClockwiseIsUp = 2;
inline constexpr uint16_t kSwapAxes = 4;

inline uint16_t scrolling_flags(const ScrollingRecord& record) {
  return static_cast<uint16_t>(record[2] << 8 | record[3]);
}

}  // namespace cx::corvexctl
