// Pointer acceleration from the driver's global records: one level per
// device class (record 2) picks a row of that class's table (records
// 93-97: 12 speed thresholds, then 9 rows of 12 multipliers in sixteenths).
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace cx::refdriver {

inline constexpr uint16_t kAccelLevelsIndex = 2;
inline constexpr uint16_t kFirstAccelTableIndex = 93;
inline constexpr size_t kAccelClasses = 5;
inline constexpr size_t kAccelTableSize = 132;
inline constexpr size_t kAccelColumns = 12;
inline constexpr size_t kAccelRows = 9;

struct AccelCurve {
  std::array<uint16_t, kAccelColumns> thresholds{};
  std::array<uint8_t, kAccelColumns> multipliers{};  // sixteenths; 0 reads as 16
};

// The row `level` of a 132-byte table; a level past the last row takes
// the last. A table never written (all zero) leaves motion as it is.
AccelCurve accel_curve(std::span<const uint8_t> table, uint8_t level);

// One device's motion: accelerated, scaled by the move multiplier, with the
// fractions carried from one report to the next so that slow motion is not lost.
class Accelerator {
 public:
  void set(const AccelCurve& curve, uint16_t move_multiplier);
  // The multiplier (sixteenths) for a report's speed.
  uint8_t multiplier(uint32_t speed) const;
  void apply(int32_t dx, int32_t dy, int32_t& out_x, int32_t& out_y);

 private:
  AccelCurve curve_;
  int64_t move_multiplier_ = 10;
  int64_t rest_x_ = 0;
  int64_t rest_y_ = 0;
};

}  // namespace cx::refdriver
