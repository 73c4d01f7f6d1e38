#include <gtest/gtest.h>

#include <cmath>

#include "plist/value.h"

namespace cx::plist {
namespace {

// A file that repeats a key keeps the key where it first stood, with the
// value it was given last.
TEST(DictionaryTest, RepeatedKeyKeepsItsFirstPositionAndItsLastValue) {
  const auto d =
      make_dictionary({{"x", make_int32(1)}, {"y", make_int32(2)}, {"x", make_int32(3)}});
  ASSERT_EQ(d->size(), 2u);
  EXPECT_EQ(d->entries()[0].first, "x");
  EXPECT_EQ(d->entries()[1].first, "y");
  EXPECT_EQ(as<Number>(d->get("x"))->int_value(), 3);
}

TEST(EqualTest, ByTypeAndValueDictionariesInAnyOrder) {
  auto d1 = make_dictionary();
  auto d2 = make_dictionary();
  for (int i = 0; i < 40; ++i) d1->set("k" + std::to_string(i), make_int32(i));
  for (int i = 39; i >= 0; --i) d2->set("k" + std::to_string(i), make_int32(i));
  EXPECT_TRUE(equal(d1, d2));
  d2->set("k7", make_int32(8));
  EXPECT_FALSE(equal(d1, d2));

  EXPECT_TRUE(equal(make_number(NumberType::SInt8, 2), make_real(NumberType::Float64, 2.0)));
  EXPECT_FALSE(equal(make_string("1"), make_int32(1)));
  EXPECT_FALSE(equal(make_data({1, 2}), make_data({1, 2, 0})));
  EXPECT_TRUE(equal(make_date(NAN), make_date(NAN)));
  EXPECT_FALSE(equal(make_date(1.0), make_date(2.0)));
  EXPECT_TRUE(equal(nullptr, nullptr));
  EXPECT_FALSE(equal(make_int32(0), nullptr));
}

TEST(DeepCopyTest, SharesNothingWithTheOriginal) {
  auto inner = make_array();
  inner->append(make_string("x"));
  auto d = make_dictionary();
  d->set("list", inner);
  const ValueRef copy = deep_copy(d.get());
  ASSERT_TRUE(equal(copy, d));
  inner->append(make_int32(1));
  EXPECT_FALSE(equal(copy, d));
}

}  // namespace
}  // namespace cx::plist
