#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "plist/value.h"

namespace cx::plist {
namespace {

template <class T>
std::pair<bool, T> get_as(const Number& n, NumberType want) {
  T out{};
  const bool exact = n.get_value(want, &out);
  return {exact, out};
}

// Reals truncate toward zero and saturate, integers wrap as C conversion does.
TEST(NumberTest, ConversionsReportWhetherTheyAreExact) {
  EXPECT_EQ(get_as<int32_t>(Number(NumberType::Float64, -2.75), NumberType::SInt32),
            std::make_pair(false, int32_t{-2}));
  EXPECT_EQ(get_as<int16_t>(Number(NumberType::Float64, 1e10), NumberType::SInt16),
            std::make_pair(false, int16_t{32767}));

  EXPECT_EQ(get_as<int16_t>(Number(NumberType::SInt32, int64_t{70000}), NumberType::SInt16),
            std::make_pair(false, int16_t{4464}));
  EXPECT_EQ(get_as<int8_t>(Number(NumberType::SInt64, int64_t{-100}), NumberType::Char),
            std::make_pair(true, int8_t{-100}));
}

TEST(NumberTest, EqualityIsByValueAcrossTypes) {
  using T = NumberType;
  const struct {
    Number a, b;
    bool same;
  } cases[] = {
      {Number(T::SInt8, int64_t{3}), Number(T::Float64, 3.0), true},
      {Number(T::Short, int64_t{-7}), Number(T::LongLong, int64_t{-7}), true},
      {Number(T::SInt32, int64_t{3}), Number(T::Float64, 3.5), false},
      {Number(T::Float64, NAN), Number(T::Float32, NAN), true},
      // The same 64 bits, one unsigned and one negative, are different numbers.
      {Number(uint64_t{1} << 63), Number(T::SInt64, INT64_MIN), false},
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(same_number(cases[i].a, cases[i].b), cases[i].same) << "row " << i;
}

}  // namespace
}  // namespace cx::plist
