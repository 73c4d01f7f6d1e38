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

TEST(NumberTest, TypeSizesAndFloatness) {
  EXPECT_EQ(number_type_size(NumberType::SInt8), 1);
  EXPECT_EQ(number_type_size(NumberType::Short), 2);
  EXPECT_EQ(number_type_size(NumberType::Float), 4);
  EXPECT_EQ(number_type_size(NumberType::Long), 8);
  EXPECT_EQ(number_type_size(NumberType::CFIndex), 8);
  EXPECT_EQ(number_type_size(static_cast<NumberType>(15)), 0);
  EXPECT_TRUE(is_float_type(NumberType::Double));
  EXPECT_TRUE(is_float_type(NumberType::Float32));
  EXPECT_FALSE(is_float_type(NumberType::LongLong));
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

TEST(NumberTest, FloatToIntTruncatesAndReportsTheLoss) {
  const Number n(NumberType::Float64, -2.75);
  EXPECT_EQ(get_as<int32_t>(n, NumberType::SInt32), std::make_pair(false, int32_t{-2}));
  const Number whole(NumberType::Double, 42.0);
  EXPECT_EQ(get_as<int8_t>(whole, NumberType::SInt8), std::make_pair(true, int8_t{42}));
}

TEST(NumberTest, FloatOverflowSaturatesAndNanGivesZero) {
  EXPECT_EQ(get_as<int16_t>(Number(NumberType::Float64, 1e10), NumberType::SInt16),
            std::make_pair(false, int16_t{32767}));
  EXPECT_EQ(get_as<int64_t>(Number(NumberType::Float64, -1e300), NumberType::SInt64),
            std::make_pair(false, std::numeric_limits<int64_t>::min()));
  EXPECT_EQ(get_as<int32_t>(Number(NumberType::Float64, NAN), NumberType::Int),
            std::make_pair(false, int32_t{0}));
}

TEST(NumberTest, IntegerNarrowingWrapsAndReportsOverflow) {
  const Number n(NumberType::SInt32, int64_t{70000});
  EXPECT_EQ(get_as<int16_t>(n, NumberType::SInt16), std::make_pair(false, int16_t{4464}));
  EXPECT_EQ(get_as<int64_t>(n, NumberType::LongLong), std::make_pair(true, int64_t{70000}));
  const Number small(NumberType::SInt64, int64_t{-100});
  EXPECT_EQ(get_as<int8_t>(small, NumberType::Char), std::make_pair(true, int8_t{-100}));
}

TEST(NumberTest, IntegerToFloatIsExactOnlyWhenRepresentable) {
  const Number big(NumberType::SInt64, (int64_t{1} << 53) + 1);
  EXPECT_FALSE(get_as<double>(big, NumberType::Float64).first);
  EXPECT_EQ(get_as<float>(Number(NumberType::SInt32, int64_t{16777216}), NumberType::Float32),
            std::make_pair(true, 16777216.0f));
  EXPECT_EQ(get_as<float>(Number(NumberType::SInt32, int64_t{16777217}), NumberType::Float32),
            std::make_pair(false, 16777216.0f));
  EXPECT_FALSE(get_as<double>(Number(NumberType::SInt64, std::numeric_limits<int64_t>::max()),
                              NumberType::Double)
                   .first);
}

TEST(NumberTest, DoubleToFloatReportsPrecisionLoss) {
  EXPECT_EQ(get_as<float>(Number(NumberType::Float64, 0.5), NumberType::Float),
            std::make_pair(true, 0.5f));
  EXPECT_FALSE(get_as<float>(Number(NumberType::Float64, 0.1), NumberType::Float32).first);
  EXPECT_TRUE(get_as<float>(Number(NumberType::Float64, NAN), NumberType::Float32).first);
}

TEST(NumberTest, UnsignedAboveInt64MaxKeepsItsValue) {
  const Number u(uint64_t{18446744073709551615u});
  EXPECT_TRUE(u.is_unsigned());
  EXPECT_EQ(u.number_type(), NumberType::SInt64);
  EXPECT_EQ(u.real_value(), 18446744073709551616.0);
  EXPECT_EQ(get_as<int64_t>(u, NumberType::SInt64), std::make_pair(false, int64_t{-1}));
  EXPECT_FALSE(Number(uint64_t{5}).is_unsigned());
}

TEST(NumberTest, UnknownTypeCodeIsRefused) {
  int64_t out = 99;
  EXPECT_FALSE(Number(NumberType::SInt32, int64_t{1}).get_value(static_cast<NumberType>(0), &out));
  EXPECT_EQ(out, 99);
}

TEST(NumberTest, EqualityIsByValueAcrossTypes) {
  EXPECT_TRUE(same_number(Number(NumberType::SInt8, int64_t{3}), Number(NumberType::Float64, 3.0)));
  EXPECT_TRUE(same_number(Number(NumberType::Short, int64_t{-7}),
                          Number(NumberType::LongLong, int64_t{-7})));
  EXPECT_FALSE(
      same_number(Number(NumberType::SInt32, int64_t{3}), Number(NumberType::Float64, 3.5)));
  EXPECT_TRUE(same_number(Number(NumberType::Float64, NAN), Number(NumberType::Float32, NAN)));
  EXPECT_TRUE(
      same_number(Number(NumberType::Float64, -0.0), Number(NumberType::SInt32, int64_t{0})));
  // The same 64 bits, one unsigned and one negative, are different numbers.
  EXPECT_FALSE(same_number(Number(uint64_t{1} << 63), Number(NumberType::SInt64, INT64_MIN)));
  EXPECT_TRUE(
      same_number(Number(uint64_t{1} << 63), Number(NumberType::Float64, 9223372036854775808.0)));
  EXPECT_FALSE(same_number(Number(NumberType::SInt64, INT64_MAX),
                           Number(NumberType::Float64, 9223372036854775808.0)));
}

}  // namespace
}  // namespace cx::plist
