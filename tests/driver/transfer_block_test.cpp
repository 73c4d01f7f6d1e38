#include "driver/transfer_block.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes block_of(const Bytes& payload) {
  Bytes buffer(payload.size() + kTransferOverhead);
  CXTransferContext ctx;
  CXTransferStart(&ctx, buffer.data(), static_cast<uint32_t>(buffer.size()));
  CXTransferAdd(&ctx, payload.data(), static_cast<uint32_t>(payload.size()));
  EXPECT_EQ(CXTransferEnd(&ctx), buffer.size());
  return buffer;
}

TEST(TransferBlock, RequestEmptyAndResultBlocksByteForByte) {
  Bytes buffer(32);
  CXTransferContext ctx;
  uint32_t length = 99, code = 0;
  CXTransferStartWithRequest(&ctx, buffer.data(), 32, 5);
  ASSERT_EQ(CXTransferEnd(&ctx), 10u);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 10),
            (Bytes{0, 0, 0, 10, 0, 0, 0, 5, 0x43, 0x26}));
  EXPECT_EQ(CXTransferValidateWithRequest(buffer.data(), 10, &length, &code), buffer.data() + 8);
  EXPECT_EQ(code, 5u);
  EXPECT_EQ(length, 0u);

  Bytes empty = block_of({});
  EXPECT_EQ(empty, (Bytes{0, 0, 0, 6, 0x43, 0x21}));
  EXPECT_EQ(CXTransferValidate(empty.data(), 6, &length), empty.data() + 4);

  CXTransferStartWithResult(&ctx, buffer.data(), 32);
  CXTransferAdd(&ctx, "\x09\x08", 2);
  ASSERT_EQ(CXTransferEndWithResult(&ctx, -10), 10u);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 10),
            (Bytes{0, 0, 0, 10, 0xFF, 0xF6, 9, 8, 0x45, 0x27}));
  int16_t status = 0;
  EXPECT_EQ(CXTransferValidateWithResult(buffer.data(), 10, &length, &status), buffer.data() + 6);
  EXPECT_EQ(status, -10);
  EXPECT_EQ(length, 2u);
}

TEST(TransferBlock, ChecksumKeepsFifteenBitsOfTheSum) {
  // 0x4321 + 64 * 0xFF = 0x82E1 and 0x4321 + 200 * 0xFF = 0x10A59.
  EXPECT_EQ(CXTransferChecksum(block_of(Bytes(64, 0xFF)).data(), 70), 0x02E1);
  EXPECT_EQ(CXTransferChecksum(block_of(Bytes(200, 0xFF)).data(), 206), 0x0A59);
  // Lengths around the block-wise summing steps; the sums were worked out apart.
  Bytes payload(0x10000 - kTransferOverhead);
  for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<uint8_t>(i * 151 + 3);
  const std::pair<size_t, uint32_t> sums[] = {{1, 0x4324},  {15, 0x4A3D}, {16, 0x4B19},
                                              {17, 0x4B8C}, {33, 0x53F4}, {payload.size(), 0x4072}};
  for (const auto& [n, sum] : sums) {
    const Bytes buffer = block_of(Bytes(payload.begin(), payload.begin() + n));
    EXPECT_EQ(CXTransferChecksum(buffer.data(), static_cast<uint32_t>(buffer.size())), sum) << n;
  }
}

TEST(TransferBlock, MalformedBlocksFailValidation) {
  const Bytes good = block_of({1, 2, 3});
  Bytes five = good, corrupt = good;
  five[3] = 5;
  corrupt[5] ^= 0x40;
  uint32_t length = 99;
  EXPECT_NE(CXTransferValidate(good.data(), 9, &length), nullptr);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(CXTransferValidate(good.data(), 8, &length), nullptr) << "length above capacity";
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(CXTransferChecksum(five.data(), 9), kTransferNoChecksum);
  EXPECT_EQ(CXTransferValidate(five.data(), 9, &length), nullptr) << "length word 5";
  EXPECT_EQ(CXTransferValidate(corrupt.data(), 9, &length), nullptr) << "checksum";
  EXPECT_EQ(CXTransferValidate(good.data(), 5, &length), nullptr) << "capacity below 6";
  EXPECT_EQ(CXTransferValidate(nullptr, 9, &length), nullptr);

  // Payloads too short for a request code or a status; a failure reads as status 0.
  const Bytes three = block_of({0, 0, 1}), one = block_of({0xFF});
  uint32_t code = 77;
  int16_t status = 5;
  EXPECT_EQ(CXTransferValidateWithRequest(three.data(), 9, &length, &code), nullptr);
  EXPECT_EQ(CXTransferValidateWithResult(one.data(), 7, &length, &status), nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(length, 0u);
  status = 5;
  EXPECT_EQ(CXTransferValidateWithResult(three.data(), 8, &length, &status), nullptr);
  EXPECT_EQ(status, 0);
}

TEST(TransferBlock, OverflowedBlockStaysOverflowed) {
  Bytes buffer(20, 0xEE);
  CXTransferContext ctx;
  CXTransferStartWithRequest(&ctx, buffer.data(), 16, 7);
  uint32_t avail = 0;
  EXPECT_EQ(CXTransferAvailSpace(&ctx, &avail), buffer.data() + 8);
  EXPECT_EQ(avail, 8u);
  EXPECT_EQ(CXTransferAdd(&ctx, "12345678", 8), buffer.data() + 16);
  EXPECT_EQ(CXTransferAvailSpace(&ctx, &avail), nullptr);
  EXPECT_EQ(avail, 0u);
  EXPECT_EQ(CXTransferEnd(&ctx), 18u);
  EXPECT_EQ(buffer[16], 0xEE) << "nothing written past the capacity";
  uint32_t length = 0;
  EXPECT_EQ(CXTransferValidate(buffer.data(), 16, &length), nullptr);
  // A refused claim still counts, so a later small one fails too.
  EXPECT_EQ(CXTransferTakeSpace(&ctx, 0), nullptr);
  EXPECT_EQ(CXTransferEnd(&ctx), 20u);
}

}  // namespace
}  // namespace cx
