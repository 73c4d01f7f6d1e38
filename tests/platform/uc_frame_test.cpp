// The frame codec: exact bytes of the frames only the driver sends, and the
// stream cutter's handling of split, joined and impossible lengths.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/linux/uc_frame.h"
#include "tests/support/golden.h"
#include "util/byte_order.h"

namespace cx::uc {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(UcFrame, DriverFramesAreBigEndianAndUnpadded) {
  uint8_t out[64];
  ASSERT_EQ(encode_notify(out, 0xF9488FFF, 0x0102030405060708), 20u);
  ASSERT_EQ(encode_map_reply(out + 20, static_cast<int32_t>(0xE00002C2), 0x20000), 20u);
  const int64_t values[] = {-2};
  ASSERT_EQ(encode_scalar_reply(out + 40, -1, values), 24u);
  EXPECT_EQ(Bytes(out, out + 64), test::read_hex("uc/driver_frames.hex"));
}

// Feeds `bytes` in pieces of `step`, collecting frames until one is refused;
// bytes left over count as refused too.
std::vector<Bytes> cut(FrameAssembler&& a, const Bytes& bytes, std::size_t step, bool& refused) {
  std::vector<Bytes> frames;
  refused = false;
  for (std::size_t at = 0; at < bytes.size() && !refused;) {
    const std::span<uint8_t> space = a.free_space();
    const std::size_t n = std::min({step, space.size(), bytes.size() - at});
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), n, space.begin());
    a.commit(n);
    at += n;
    std::span<const uint8_t> frame;
    FrameAssembler::Result r;
    while ((r = a.next(frame)) == FrameAssembler::Result::Frame)
      frames.emplace_back(frame.begin(), frame.end());
    refused = r == FrameAssembler::Result::Malformed;
  }
  refused = refused || a.has_bytes();
  return frames;
}

TEST(UcFrame, AssemblerCutsAStreamWhateverItsPieces) {
  Bytes stream;
  for (const uint32_t length : {8u, 20u, 65536u, 9u}) {
    Bytes frame(length, static_cast<uint8_t>(length));
    store_be32(frame.data(), length);
    stream.insert(stream.end(), frame.begin(), frame.end());
  }
  for (const std::size_t step :
       {std::size_t{1}, std::size_t{7}, std::size_t{4096}, stream.size()}) {
    bool refused = false;
    const std::vector<Bytes> frames =
        cut(FrameAssembler(kMaxFrame, kMaxFrame), stream, step, refused);
    EXPECT_FALSE(refused) << step;
    ASSERT_EQ(frames.size(), 4u) << step;
    EXPECT_EQ(frames[2].size(), 65536u);
    EXPECT_EQ(frames[3].back(), 9);
  }
}

TEST(UcFrame, AssemblerRefusesImpossibleLengthsFromTheHeaderAlone) {
  bool refused = false;
  EXPECT_TRUE(
      cut(FrameAssembler(kMaxFrame, kMaxFrame), {0, 1, 0, 1, 0, 0, 0, 2}, 8, refused).empty());
  EXPECT_TRUE(refused);
  // A header shorter than itself, after a good frame.
  EXPECT_EQ(cut(FrameAssembler(kMaxFrame, kMaxFrame),
                {0, 0, 0, 8, 0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0}, 16, refused)
                .size(),
            1u);
  EXPECT_TRUE(refused);
  // A notification socket takes nothing longer than a NOTIFY.
  EXPECT_TRUE(
      cut(FrameAssembler(kNotifySize, 64), {0, 0, 0, 21, 0, 0, 0, 0x90}, 8, refused).empty());
  EXPECT_TRUE(refused);
}

}  // namespace
}  // namespace cx::uc
