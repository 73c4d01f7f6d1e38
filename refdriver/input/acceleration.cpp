#include "refdriver/input/acceleration.h"

#include <algorithm>
#include <cstdlib>

#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

constexpr size_t kRowsOffset = 2 * kAccelColumns;
constexpr uint8_t kUnity = 16;
// Multipliers are sixteenths and the move multiplier tenths.
constexpr int64_t kScale = 16 * 10;

int32_t take(int64_t& rest, int64_t scaled) {
  rest += scaled;
  const int64_t whole = rest / kScale;  // toward zero: the fraction keeps its sign
  rest -= whole * kScale;
  return static_cast<int32_t>(whole);
}

}  // namespace

AccelCurve accel_curve(std::span<const uint8_t> table, uint8_t level) {
  AccelCurve curve;
  if (table.size() < kAccelTableSize) return curve;
  const size_t row = std::min<size_t>(level, kAccelRows - 1);
  for (size_t c = 0; c < kAccelColumns; ++c) {
    curve.thresholds[c] = load_be16(&table[2 * c]);
    curve.multipliers[c] = table[kRowsOffset + kAccelColumns * row + c];
  }
  return curve;
}

void Accelerator::set(const AccelCurve& curve, uint16_t move_multiplier) {
  curve_ = curve;
  move_multiplier_ = move_multiplier == 0 ? 10 : move_multiplier;
}

uint8_t Accelerator::multiplier(uint32_t speed) const {
  // The last threshold the speed reaches picks the column; below the first,
  // and in a table never written, motion is not scaled.
  uint8_t m = kUnity;
  for (size_t c = 0; c < kAccelColumns; ++c) {
    const uint16_t threshold = curve_.thresholds[c];
    if (threshold == 0 || speed < threshold) break;
    m = curve_.multipliers[c] == 0 ? kUnity : curve_.multipliers[c];
  }
  return m;
}

void Accelerator::apply(int32_t dx, int32_t dy, int32_t& out_x, int32_t& out_y) {
  const auto speed = static_cast<uint32_t>(std::max(std::abs(dx), std::abs(dy)));
  const int64_t factor = int64_t{multiplier(speed)} * move_multiplier_;
  out_x = take(rest_x_, dx * factor);
  out_y = take(rest_y_, dy * factor);
}

}  // namespace cx::refdriver
