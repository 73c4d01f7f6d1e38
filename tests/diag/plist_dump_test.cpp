#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "diag/plist_describe.h"
#include "diag/plist_show.h"
#include "plist/value.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// {"name": "Bob", "list": [true, 1.5]}
plist::ValueRef nested() {
  auto list = plist::make_array();
  list->append(plist::make_bool(true));
  list->append(plist::make_real(plist::NumberType::Float64, 1.5));
  auto dict = plist::make_dictionary();
  dict->set("name", plist::make_string("Bob"));
  dict->set("list", list);
  return dict;
}

TEST(PlistDescribeTest, ContainersVerboseAndPlain) {
  const plist::ValueRef title = plist::make_string("T");
  const plist::ValueRef value = nested();
  const plist::ValueRef empty_dict = plist::make_dictionary();
  const plist::ValueRef empty_array = plist::make_array();
  CaptureStderr();
  CXCFShow(value.get(), title.get(), 1);
  CXCFShow(value.get(), nullptr, 0);
  CXCFDescribe(nullptr, 0, "-");
  for (const auto* empty : {empty_dict.get(), empty_array.get()}) {
    CXCFDescribe(empty, 1, ">");
    CXCFDescribe(empty, 0, ">");
  }
  EXPECT_EQ(GetCapturedStderr(), test::read_text("show/containers.txt"));
}

TEST(PlistDescribeTest, NumbersStringsAndRetainCounts) {
  const plist::ValueRef shared = plist::make_number(plist::NumberType::SInt16, -7);
  const plist::ValueRef second_owner = shared;
  const plist::ValueRef long_long = plist::make_number(plist::NumberType::LongLong, 5);
  const plist::ValueRef big = plist::make_number(plist::NumberType::SInt64, 1LL << 40);
  const plist::ValueRef no = plist::make_bool(false);
  const plist::ValueRef too_long = plist::make_string(std::string(1024, 's'));
  const plist::ValueRef data = plist::make_data({1, 2});
  CaptureStderr();
  for (const auto* v : {shared.get(), long_long.get(), big.get(), no.get(), too_long.get()}) {
    if (v != big.get()) CXCFDescribe(v, 1, "|");
    CXCFDescribe(v, 0, "|");
  }
  CXCFDescribe(data.get(), 0, "|");
  char address[64];
  std::snprintf(address, sizeof address, "<0x%lx: Unknown object type>",
                static_cast<unsigned long>(reinterpret_cast<uintptr_t>(data.get())));
  EXPECT_EQ(GetCapturedStderr(), test::read_text("show/scalars.txt") + address);
}

// The key column fits the widest key at any depth ("10" two levels down);
// arrays use positions as keys; a key that cannot be converted counts for
// nothing.
TEST(PlistShowTest, KeyColumnFitsTheWidestNestedKey) {
  auto dict = plist::make_dictionary();
  dict->set("a", plist::make_string("x"));
  dict->set("longkey1", plist::make_int32(5));
  const plist::ValueRef key = plist::make_string("dict");
  const plist::ValueRef value = dict;
  auto inner = plist::make_array();
  for (int i = 0; i < 10; ++i) inner->append(plist::make_bool(i % 2 == 0));
  auto outer = plist::make_array();
  outer->append(inner);
  outer->append(plist::make_number(plist::NumberType::LongLong, 1));
  const plist::ValueRef arrays = outer;
  auto unconvertible = plist::make_dictionary();
  unconvertible->set(std::string(1024, 'k'), plist::make_dictionary());
  const plist::ValueRef holder = unconvertible;
  EXPECT_EQ(CXCFGetMaxKeyLengthFromDictionary(*unconvertible, 0), 0);
  CaptureStderr();
  CXCFKeyShow(key.get(), value.get());
  CXCFKeyShow(nullptr, arrays.get());
  CXCFShowObject(nullptr, 0, 0);
  CXCFShowObject(holder.get(), 0, 0);
  EXPECT_EQ(GetCapturedStderr(), test::read_text("show/key_column.txt"));
}

}  // namespace
}  // namespace cx
