#include <gtest/gtest.h>

#include <cmath>

#include "plist/value.h"

namespace cx::plist {
namespace {

std::vector<std::string> keys_of(const Dictionary& d) {
  std::vector<std::string> keys;
  for (const auto& e : d.entries()) keys.push_back(e.first);
  return keys;
}

TEST(DictionaryTest, KeepsInsertionOrderAndReplacesInPlace) {
  auto d = make_dictionary();
  d->set("b", make_int32(1));
  d->set("a", make_int32(2));
  d->set("c", make_int32(3));
  d->set("b", make_string("again"));
  EXPECT_EQ(keys_of(*d), (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_EQ(as<String>(d->get("b"))->text(), "again");
  EXPECT_TRUE(d->remove("a"));
  EXPECT_FALSE(d->remove("a"));
  EXPECT_EQ(d->get("a"), nullptr);
  d->set("a", make_bool(true));
  EXPECT_EQ(keys_of(*d), (std::vector<std::string>{"b", "c", "a"}));
  // Built from entries, a repeated key keeps its first position and its last value.
  d = make_dictionary({{"x", make_int32(1)}, {"y", make_int32(2)}, {"x", make_int32(3)}});
  EXPECT_EQ(keys_of(*d), (std::vector<std::string>{"x", "y"}));
  EXPECT_EQ(as<Number>(d->get("x"))->int_value(), 3);
}

TEST(EqualTest, ByTypeAndValueDictionariesInAnyOrderArraysInTheirOwn) {
  auto d1 = make_dictionary();
  auto d2 = make_dictionary();
  for (int i = 0; i < 40; ++i) d1->set("k" + std::to_string(i), make_int32(i));
  for (int i = 39; i >= 0; --i) d2->set("k" + std::to_string(i), make_int32(i));
  EXPECT_TRUE(equal(d1, d2));
  d2->set("k7", make_int32(8));
  EXPECT_FALSE(equal(d1, d2));
  d2->set("k7", make_int32(7));
  d2->set("c", make_bool(false));
  EXPECT_FALSE(equal(d1, d2));

  auto a1 = make_array();
  auto a2 = make_array();
  a1->append(make_int32(1));
  a1->append(make_int32(2));
  a2->append(make_int32(2));
  a2->append(make_int32(1));
  EXPECT_FALSE(equal(a1, a2));

  EXPECT_TRUE(equal(make_number(NumberType::SInt8, 2), make_real(NumberType::Float64, 2.0)));
  EXPECT_FALSE(equal(make_string("1"), make_int32(1)));
  EXPECT_FALSE(equal(make_bool(true), make_int32(1)));
  EXPECT_TRUE(equal(make_data({1, 2}), make_data({1, 2})));
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
  EXPECT_NE(as<Dictionary>(copy)->get("list"), inner);
}

}  // namespace
}  // namespace cx::plist
