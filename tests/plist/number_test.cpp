#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "plist/value.h"

namespace cx::plist {
namespace {

template <class T>
std::pair<bool, T> get_as(const Number& n, NumberType want) {
  T out{};
  const bool exact = n.get_value(want, &out);
  return {exact, out};
}

TEST(NumberTest, CreationWrapsToTheTypeWidth) {
  EXPECT_EQ(Number(NumberType::SInt8, int64_t{300}).int_value(), 44);
  EXPECT_EQ(Number(NumberType::Short, int64_t{-32769}).int_value(), 32767);
  EXPECT_EQ(Number(NumberType::SInt32, int64_t{3000000000}).int_value(), -1294967296);
  EXPECT_EQ(Number(NumberType::SInt32, 7.9).int_value(), 7);
  EXPECT_EQ(Number(NumberType::SInt16, 1e9).int_value(), 32767);
  EXPECT_EQ(Number(NumberType::Float32, 0.1).real_value(), static_cast<double>(0.1f));
  EXPECT_TRUE(std::isinf(Number(NumberType::Float, 1e300).real_value()));
}

TEST(NumberTest, ConversionsReportWhetherTheyAreExactFloatsTruncateAndSaturate) {
  EXPECT_EQ(get_as<int32_t>(Number(NumberType::Float64, -2.75), NumberType::SInt32),
            std::make_pair(false, int32_t{-2}));
  EXPECT_EQ(get_as<int8_t>(Number(NumberType::Double, 42.0), NumberType::SInt8),
            std::make_pair(true, int8_t{42}));
  EXPECT_EQ(get_as<int16_t>(Number(NumberType::Float64, 1e10), NumberType::SInt16),
            std::make_pair(false, int16_t{32767}));
  EXPECT_EQ(get_as<int64_t>(Number(NumberType::Float64, -1e300), NumberType::SInt64),
            std::make_pair(false, std::numeric_limits<int64_t>::min()));
  EXPECT_EQ(get_as<int32_t>(Number(NumberType::Float64, NAN), NumberType::Int),
            std::make_pair(false, int32_t{0}));

  using T = NumberType;
  const Number n(T::SInt32, int64_t{70000});
  EXPECT_EQ(get_as<int16_t>(n, T::SInt16), std::make_pair(false, int16_t{4464}));
  EXPECT_EQ(get_as<int64_t>(n, T::LongLong), std::make_pair(true, int64_t{70000}));
  EXPECT_EQ(get_as<int8_t>(Number(T::SInt64, int64_t{-100}), T::Char),
            std::make_pair(true, int8_t{-100}));
  const Number big(T::SInt64, (int64_t{1} << 53) + 1);
  EXPECT_FALSE(get_as<double>(big, T::Float64).first);
  EXPECT_FALSE(get_as<double>(Number(T::SInt64, INT64_MAX), T::Double).first);
  EXPECT_EQ(get_as<float>(Number(T::SInt32, int64_t{16777216}), T::Float32),
            std::make_pair(true, 16777216.0f));
  EXPECT_EQ(get_as<float>(Number(T::SInt32, int64_t{16777217}), T::Float32),
            std::make_pair(false, 16777216.0f));
  EXPECT_EQ(get_as<float>(Number(T::Float64, 0.5), T::Float), std::make_pair(true, 0.5f));
  EXPECT_FALSE(get_as<float>(Number(T::Float64, 0.1), T::Float32).first);
  EXPECT_TRUE(get_as<float>(Number(T::Float64, NAN), T::Float32).first);
}

TEST(NumberTest, UnsignedAboveInt64MaxKeepsItsValue) {
  const Number u(uint64_t{18446744073709551615u});
  EXPECT_TRUE(u.is_unsigned());
  EXPECT_EQ(u.number_type(), NumberType::SInt64);
  EXPECT_EQ(u.real_value(), 18446744073709551616.0);
  EXPECT_EQ(get_as<int64_t>(u, NumberType::SInt64), std::make_pair(false, int64_t{-1}));
  EXPECT_FALSE(Number(uint64_t{5}).is_unsigned());
  int64_t out = 99;  // an unknown type code is refused
  EXPECT_FALSE(Number(NumberType::SInt32, int64_t{1}).get_value(static_cast<NumberType>(0), &out));
  EXPECT_EQ(out, 99);
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
      {Number(T::Float64, -0.0), Number(T::SInt32, int64_t{0}), true},
      // The same 64 bits, one unsigned and one negative, are different numbers.
      {Number(uint64_t{1} << 63), Number(T::SInt64, INT64_MIN), false},
      {Number(uint64_t{1} << 63), Number(T::Float64, 9223372036854775808.0), true},
      {Number(T::SInt64, INT64_MAX), Number(T::Float64, 9223372036854775808.0), false},
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(same_number(cases[i].a, cases[i].b), cases[i].same) << "row " << i;
}

}  // namespace
}  // namespace cx::plist
