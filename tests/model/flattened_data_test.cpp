#include "model/flattened_data.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "model/action_codes.h"
#include "model/actlist.h"
#include "model/builtin_actlists.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const CXFlattenedData& record) {
  return Bytes(record.getData(), record.getData() + record.getSize());
}

TEST(FlattenedData, EmptyRecordIsItsSizeWord) {
  CXFlattenedData record;
  EXPECT_EQ(bytes_of(record), (Bytes{0, 0, 0, 4}));
  EXPECT_EQ(record.getDataSize(), 0u);
}

TEST(FlattenedData, ScalarsAreBigEndianAndReadBackInOrder) {
  CXFlattenedData record;
  record.write(int16_t{-2});
  record.write(int32_t{0x01020304});
  EXPECT_EQ(bytes_of(record), (Bytes{0, 0, 0, 10, 0xFF, 0xFE, 1, 2, 3, 4}));
  record.write(uint8_t{0xAB});
  record.write(uint32_t{0});

  EXPECT_EQ(record.readShort(), -2);
  EXPECT_EQ(record.getSize(), 13u);
  EXPECT_EQ(record.readULong(), 0x01020304u);
  EXPECT_EQ(record.readUByte(), 0xAB);
  EXPECT_FALSE(record.readBool());
  EXPECT_EQ(bytes_of(record), (Bytes{0, 0, 0, 4}));
}

TEST(FlattenedData, WritingAfterReadingKeepsTheRest) {
  CXFlattenedData record;
  record.write(int16_t{1});
  record.write(int16_t{2});
  EXPECT_EQ(record.readShort(), 1);
  record.write(uint8_t{3});
  EXPECT_EQ(bytes_of(record), (Bytes{0, 0, 0, 7, 0, 2, 3}));
}

TEST(FlattenedData, ChainOfThreeRoundTrips) {
  std::array<act_item, 3> items = {click_actlist[0], click_actlist[1], launch_url_actlist[0]};
  items[2].ch12 = 0x0304;
  link_actlist(items.data(), 3);
  CXFlattenedData record;
  record.write(items.data());
  ASSERT_EQ(record.getSize(), 4u + 2 + 48);
  EXPECT_EQ(record.getData()[5], 3) << "count";
  EXPECT_NE(record.getData()[6 + 15], 0) << "stored link of a linked item";
  EXPECT_EQ(record.getData()[6 + 47], 0) << "stored link of the last item";

  act_item_chain chain = record.readActItem();
  ASSERT_EQ(chain.size(), 3u);
  const act_item* third = chain.head()->link->link;
  EXPECT_EQ(third->act, act_code::launch_url);
  EXPECT_EQ(third->ch12, 0x0304);
  EXPECT_EQ(third->link, nullptr);
  EXPECT_EQ(record.getDataSize(), 0u);
}

TEST(FlattenedData, NullChainIsCountZero) {
  CXFlattenedData record;
  record.write(nullptr);
  EXPECT_EQ(bytes_of(record), (Bytes{0, 0, 0, 6, 0, 0}));
  EXPECT_EQ(record.readActItem().head(), nullptr);
}

TEST(FlattenedData, NullStoredLinkEndsTheChainEarly) {
  std::array<act_item, 3> items = {click_actlist[0], click_actlist[1], click_actlist[0]};
  link_actlist(items.data(), 3);
  CXFlattenedData record;
  record.write(items.data());
  Bytes block = bytes_of(record);
  block[6 + 12 + 3] = 0;  // the first item's link
  CXFlattenedData damaged(block.data());
  EXPECT_EQ(damaged.readActItem().size(), 1u);
  EXPECT_EQ(damaged.getDataSize(), 32u) << "the unread items stay";
}

TEST(FlattenedData, OpaqueRecordsAndUnknownData) {
  action_list_info info;
  info.bytes[35] = 9;
  mouse_version_info mouse;
  mouse.bytes[0] = 3;
  mouse.bytes[179] = 4;
  CXFlattenedData record;
  record.write(info);
  record.write(mouse);
  record.writeUnknownData("xyz", 3);
  record.write("pq", 2);
  EXPECT_EQ(record.getSize(), 4u + 36 + 180 + 4 + 3 + 2);

  EXPECT_EQ(record.readActionListInfo().bytes, info.bytes);
  EXPECT_EQ(record.readMouseVersionInfo().bytes, mouse.bytes);
  uint32_t n = 0;
  EXPECT_EQ(record.readUnknownData(&n), (Bytes{'x', 'y', 'z'}));
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(record.read(2), (Bytes{'p', 'q'}));
}

TEST(FlattenedData, FlatBlockIsCopiedByItsOwnLength) {
  const Bytes block = {0, 0, 0, 6, 0x12, 0x34, 0xEE, 0xEE};
  CXFlattenedData record(block.data());
  EXPECT_EQ(bytes_of(record), Bytes(block.begin(), block.begin() + 6));
  record.setData(Bytes{0, 0, 0, 5, 7}.data());
  EXPECT_EQ(record.readUByte(), 7);
}

TEST(FlattenedData, CheckedCopyRefusesBlocksThatDoNotFit) {
  const Bytes block = {0, 0, 0, 6, 0x12, 0x34};
  EXPECT_EQ(CXFlattenedData(block.data(), 6).readShort(), 0x1234);
  EXPECT_EQ(CXFlattenedData(block.data(), 5).getSize(), 4u);
  CXFlattenedData record;
  record.write(int16_t{1});
  EXPECT_FALSE(record.setData(Bytes{0, 0, 0, 3}.data(), 4)) << "size word below 4";
  EXPECT_EQ(record.getSize(), 4u);
  EXPECT_FALSE(record.setData(block.data(), 3));
  EXPECT_TRUE(record.setData(block.data(), 6));
  EXPECT_EQ(record.getSize(), 6u);
}

TEST(FlattenedData, ShortRecordReadsZerosAndEndsEmpty) {
  const Bytes one = {0, 0, 0, 5, 0xAB};
  CXFlattenedData record(one.data());
  EXPECT_EQ(record.readULong(), 0xAB000000u);
  EXPECT_EQ(record.getSize(), 4u);
  EXPECT_EQ(record.readShort(), 0);
  EXPECT_EQ(record.readActItem().head(), nullptr);
  EXPECT_EQ(record.getSize(), 4u);

  // A huge count with one linked item and four more bytes.
  Bytes chain = {0, 0, 0, 26, 0x7F, 0xFF};
  chain.resize(26);
  chain[6 + 15] = 1;
  chain[22] = 0x55;
  CXFlattenedData items(chain.data());
  act_item_chain read = items.readActItem();
  ASSERT_EQ(read.size(), 2u);
  EXPECT_EQ(read.head()->link->mods, 0x5500);
  EXPECT_EQ(items.getSize(), 4u);

  const Bytes unknown = {0, 0, 0, 11, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3};
  CXFlattenedData data(unknown.data());
  uint32_t n = 0;
  EXPECT_EQ(data.readUnknownData(&n), (Bytes{1, 2, 3}));
  EXPECT_EQ(n, 3u);
  EXPECT_TRUE(data.read(size_t{1} << 40).empty());
}

}  // namespace
}  // namespace cx
