#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "driver/transfer_block.h"
#include "model/act_item.h"
#include "model/act_item_chain.h"
#include "model/actlist.h"
#include "model/actlist_wire.h"
#include "model/builtin_actlists.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

const act_item kSample = {0x1234, 0x0102, 8, 0, -2, 0xA1B2C3D4, nullptr};
const Bytes kSampleWire = {0x12, 0x34, 0x02, 0x01, 0x08, 0x00, 0xFF, 0xFE,
                           0xA1, 0xB2, 0xC3, 0xD4, 0x00, 0x00, 0x00, 0x00};

TEST(ActItem, WireFormStoresCh12LowByteFirst) {
  Bytes wire(kActItemWireSize);
  encode_act_item(kSample, wire.data());
  EXPECT_EQ(wire, kSampleWire);
  EXPECT_FALSE(act_item_wire_is_linked(wire.data()));

  const act_item decoded = decode_act_item(wire.data());
  EXPECT_EQ(decoded.mods, 0x1234);
  EXPECT_EQ(decoded.ch12, 0x0102);
  EXPECT_EQ(decoded.act_seq, 8);
  EXPECT_EQ(decoded.act, -2);
  EXPECT_EQ(decoded.extra_info, 0xA1B2C3D4u);

  act_item linked = kSample;
  linked.link = &linked;
  encode_act_item(linked, wire.data());
  EXPECT_TRUE(act_item_wire_is_linked(wire.data()));
  EXPECT_EQ(decode_act_item(wire.data()).link, nullptr) << "receivers relink";
}

TEST(LinkActlist, LinksInOrderAndEndsWithNull) {
  std::array<act_item, 3> items{};
  link_actlist(items.data(), 3);
  EXPECT_EQ(items[0].link, &items[1]);
  EXPECT_EQ(items[1].link, &items[2]);
  EXPECT_EQ(items[2].link, nullptr);

  act_item one;
  one.link = &items[0];
  link_actlist(&one, 1);
  EXPECT_EQ(one.link, nullptr);

  link_actlist(&one, 0);
  one.link = &items[0];
  link_actlist(&one, -1);
  EXPECT_EQ(one.link, &items[0]) << "a count below 1 leaves the array alone";
}

TEST(GetMemoryIndices, StopsAtMaxWithoutWritingMore) {
  std::vector<act_item> items(21, launch_url_actlist[0]);
  for (size_t i = 0; i < items.size(); ++i) items[i].ch12 = static_cast<uint16_t>(100 + i);
  link_actlist(items.data(), 21);
  std::array<short, 21> indices{};
  indices[20] = -7;
  EXPECT_EQ(get_memory_indices(items.data(), indices.data(), 20), 20);
  EXPECT_EQ(indices[0], 100);
  EXPECT_EQ(indices[19], 119);
  EXPECT_EQ(indices[20], -7);
}

TEST(GetMemoryIndices, CollectsOnlyDataCarryingItems) {
  std::array<act_item, 5> items = {click_actlist[0], paste_text_actlist[0], home_page_actlist[0],
                                   launch_file_actlist[0], click_actlist[1]};
  items[1].ch12 = 0x0203;
  items[3].ch12 = 9;
  link_actlist(items.data(), 5);
  std::array<short, 4> indices{};
  EXPECT_EQ(get_memory_indices(items.data(), indices.data(), 4), 2);
  EXPECT_EQ(indices[0], 0x0203);
  EXPECT_EQ(indices[1], 9);

  link_actlist(items.data(), 1);
  EXPECT_EQ(get_memory_indices(items.data(), indices.data(), 4), 0) << "clicks only";
  EXPECT_EQ(get_memory_indices(nullptr, indices.data(), 4), 0);
}

TEST(ActlistWire, ChainIsWrittenAsCountAndItems) {
  std::array<act_item, 2> items = {kSample, kSample};
  link_actlist(items.data(), 2);
  std::array<uint8_t, 64> buffer{};
  CXTransferContext ctx;
  CXTransferStart(&ctx, buffer.data(), buffer.size());
  add_actlist_to_transfer(&ctx, items.data());
  EXPECT_EQ(ctx.used, 4 + actlist_wire_size(items.data()));
  EXPECT_EQ(actlist_wire_size(items.data()), 34u);
  EXPECT_EQ(buffer[4], 0x00);
  EXPECT_EQ(buffer[5], 0x02);
  EXPECT_EQ(buffer[6 + 15], 1) << "first item linked";
  EXPECT_EQ(Bytes(buffer.begin() + 22, buffer.begin() + 38), kSampleWire);

  EXPECT_EQ(actlist_wire_size(nullptr), 2u);
}

TEST(ActlistWire, CountOfALoopingChainIsCapped) {
  act_item loop;
  loop.link = &loop;
  EXPECT_EQ(count_actlist(&loop), kMaxActlistItems);
}

TEST(ActlistWire, ReplyIsDecodedAndLinked) {
  Bytes reply = {0x00, 0x02};
  reply.insert(reply.end(), kSampleWire.begin(), kSampleWire.end());
  reply.insert(reply.end(), kSampleWire.begin(), kSampleWire.end());
  std::array<act_item, 4> dest{};
  ASSERT_EQ(decode_actlist(reply.data(), static_cast<uint32_t>(reply.size()), dest), 2);
  EXPECT_EQ(dest[0].ch12, 0x0102);
  EXPECT_EQ(dest[0].link, &dest[1]);
  EXPECT_EQ(dest[1].link, nullptr);
}

TEST(ActlistWire, MalformedReplyLeavesDestinationUntouched) {
  Bytes reply(52);
  reply[1] = 3;  // three items need 50 bytes, not 52
  std::array<act_item, 4> dest{};
  dest[0].mods = 0x5555;
  EXPECT_EQ(decode_actlist(reply.data(), 52, dest), kActlistMalformed);
  EXPECT_EQ(dest[0].mods, 0x5555);

  Bytes negative = {0xFF, 0xFF};
  EXPECT_EQ(decode_actlist(negative.data(), 2, dest), kActlistMalformed);
  EXPECT_EQ(decode_actlist(reply.data(), 1, dest), kActlistMalformed);
  reply.resize(50);
  EXPECT_EQ(decode_actlist(reply.data(), 50, std::span(dest).first(2)), kActlistMalformed)
      << "destination too small";
  EXPECT_EQ(dest[0].mods, 0x5555);
}

TEST(ActItemChain, LinksSurviveAMove) {
  act_item_chain chain(std::vector<act_item>(3, kSample));
  const act_item* head = chain.head();
  act_item_chain moved = std::move(chain);
  ASSERT_EQ(moved.head(), head);
  EXPECT_EQ(moved.size(), 3u);
  EXPECT_EQ(head->link->link->link, nullptr);
  EXPECT_EQ(act_item_chain().head(), nullptr);
}

}  // namespace
}  // namespace cx
