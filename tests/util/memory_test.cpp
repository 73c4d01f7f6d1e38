#include "util/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace cx {
namespace {

TEST(Memory, ZeroFillOnlyWhenAskedAndGlobalsCarryALeadingWord) {
  auto* zeroed = static_cast<uint8_t*>(get_buffer(64, kZeroFill | 0x10));
  ASSERT_NE(zeroed, nullptr);
  EXPECT_EQ(std::memcmp(zeroed, std::string(64, '\0').data(), 64), 0);
  free_buffer(zeroed);
  global_handle z = get_global(16, kZeroFill);
  ASSERT_NE(z, nullptr);
  EXPECT_EQ(std::memcmp(*z, std::string(18, '\0').data(), 18), 0) << "size + 2 bytes";
  free_global(z);

  global_handle h = get_global(6, 0);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ((*h)[0], 0);
  EXPECT_EQ((*h)[1], 0);
  std::memset(*h + 2, 0xAB, 6);  // the caller's 6 bytes follow the word
  h = resize_global(h, 40000);
  ASSERT_NE(h, nullptr);
  for (int i = 2; i < 8; ++i) EXPECT_EQ((*h)[i], 0xAB) << "kept across a resize";
  free_global(h);
  EXPECT_EQ(get_global(SIZE_MAX, 0), nullptr);
}

TEST(Memory, LockedGlobalStaysPutAndCannotBeResized) {
  global_handle h = get_global(8, 0);
  EXPECT_EQ(lock_global(h), *h);
  lock_global(h);
  unlock_global(h);
  // Still locked once: a resize fails and disposes of the block.
  EXPECT_EQ(resize_global(h, 100000), nullptr);
  global_handle g = get_global(8, 0);
  lock_global(g);
  unlock_global(g);
  EXPECT_EQ(resize_global(g, 4), g);
  free_global(g);
}

}  // namespace
}  // namespace cx
