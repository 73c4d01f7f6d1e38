#include "util/memory.h"

#include <gtest/gtest.h>

#include <cstring>

namespace cx {
namespace {

TEST(Memory, BufferZeroFillOnlyWhenAsked) {
  auto* zeroed = static_cast<uint8_t*>(get_buffer(64, kZeroFill | 0x10));
  ASSERT_NE(zeroed, nullptr);
  for (int i = 0; i < 64; ++i) EXPECT_EQ(zeroed[i], 0) << i;
  free_buffer(zeroed);
  void* empty = get_buffer(0, 0);
  EXPECT_NE(empty, nullptr);
  free_buffer(empty);
  free_buffer(nullptr);
}

TEST(Memory, GlobalHasClearedLeadingWordAndTwoExtraBytes) {
  global_handle h = get_global(6, 0);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ((*h)[0], 0);
  EXPECT_EQ((*h)[1], 0);
  std::memset(*h + 2, 0xAB, 6);  // the caller's 6 bytes follow the word
  h = resize_global(h, 40000);
  ASSERT_NE(h, nullptr);
  for (int i = 2; i < 8; ++i) EXPECT_EQ((*h)[i], 0xAB) << "kept across a resize";
  free_global(h);

  global_handle z = get_global(16, kZeroFill);
  ASSERT_NE(z, nullptr);
  for (int i = 0; i < 18; ++i) EXPECT_EQ((*z)[i], 0) << i;
  free_global(z);
}

TEST(Memory, LockedGlobalStaysPutAndCannotBeResized) {
  global_handle h = get_global(8, 0);
  ASSERT_NE(h, nullptr);
  uint8_t* p = lock_global(h);
  EXPECT_EQ(p, *h);
  lock_global(h);
  unlock_global(h);
  // Still locked once: a resize fails and disposes of the block.
  EXPECT_EQ(resize_global(h, 100000), nullptr);

  global_handle g = get_global(8, 0);
  lock_global(g);
  unlock_global(g);
  EXPECT_EQ(resize_global(g, 4), g);
  free_global(g);
  EXPECT_EQ(lock_global(nullptr), nullptr);
  EXPECT_EQ(resize_global(nullptr, 4), nullptr);
  EXPECT_EQ(get_global(SIZE_MAX, 0), nullptr);
}

TEST(Memory, CopyFillCompare) {
  uint8_t b[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  far_copy_buffer(b + 2, b, 5);  // overlapping, as memmove
  const uint8_t moved[8] = {1, 2, 1, 2, 3, 4, 5, 8};
  EXPECT_EQ(far_compare_buffers(b, moved, 8), 0);
  far_fill(b + 1, 0xEE, 2);
  EXPECT_EQ(b[0], 1);
  EXPECT_EQ(b[1], 0xEE);
  EXPECT_EQ(b[2], 0xEE);
  EXPECT_EQ(b[3], 2);
  const uint8_t low[2] = {1, 0x7F};
  const uint8_t high[2] = {1, 0x80};
  EXPECT_LT(far_compare_buffers(low, high, 2), 0);
  EXPECT_GT(far_compare_buffers(high, low, 2), 0);
  EXPECT_EQ(far_compare_buffers(low, high, 1), 0);
  far_copy_buffer(nullptr, b, 4);
  far_fill(nullptr, 0, 4);

  void* block = vcx_malloc(0);
  EXPECT_NE(block, nullptr);
  vcx_free(block);
}

}  // namespace
}  // namespace cx
