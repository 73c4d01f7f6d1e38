#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "driver/transfer_block.h"
#include "model/act_item.h"
#include "model/actlist.h"
#include "model/actlist_wire.h"
#include "model/builtin_actlists.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

const act_item kSample = {0x1234, 0x0102, 8, 5, -2, 0xA1B2C3D4, nullptr};
const Bytes kSampleWire = {0x12, 0x34, 0x02, 0x01, 0x08, 0x05, 0xFF, 0xFE,
                           0xA1, 0xB2, 0xC3, 0xD4, 0x00, 0x00, 0x00, 0x00};

TEST(BuiltinActlists, EveryListIsItsTableByteForByte) {
  const std::pair<const char*, std::span<const act_item>> lists[] = {
      {"click_actlist", click_actlist},
      {"rclick_actlist", rclick_actlist},
      {"drag_actlist", drag_actlist},
      {"dclick_actlist", dclick_actlist},
      {"app_menu_actlist", app_menu_actlist},
      {"home_page_actlist", home_page_actlist},
      {"scroll_up_actlist", scroll_up_actlist},
      {"scroll_down_actlist", scroll_down_actlist},
      {"mouse_scroll_actlist", mouse_scroll_actlist},
      {"toggle_hscroll_actlist", toggle_hscroll_actlist},
      {"launch_url_actlist", launch_url_actlist},
      {"launch_file_actlist", launch_file_actlist},
      {"paste_text_actlist", paste_text_actlist},
      {"menu_action", std::span(&menu_action, 1)}};
  for (const auto& [name, items] : lists) {
    Bytes wire(items.size() * kActItemWireSize);
    for (std::size_t i = 0; i < items.size(); ++i)
      encode_act_item(items[i], &wire[i * kActItemWireSize]);
    EXPECT_EQ(wire, test::read_hex(std::string("actlists/") + name + ".hex")) << name;
  }
}

TEST(GetMemoryIndices, CollectsDataCarryingItemsUpToMax) {
  std::array<act_item, 6> mixed = {click_actlist[0],      paste_text_actlist[0],
                                   home_page_actlist[0],  launch_file_actlist[0],
                                   launch_url_actlist[0], click_actlist[1]};
  mixed[1].ch12 = 0x0203;
  mixed[3].ch12 = 9;
  mixed[4].ch12 = 8;
  link_actlist(mixed.data(), 6);
  std::array<short, 4> indices = {0, 0, 0, -7};
  EXPECT_EQ(get_memory_indices(mixed.data(), indices.data(), 4), 3);
  EXPECT_EQ(indices, (std::array<short, 4>{0x0203, 9, 8, -7}));
  indices[2] = -7;
  EXPECT_EQ(get_memory_indices(mixed.data(), indices.data(), 2), 2);
  EXPECT_EQ(indices[2], -7) << "nothing written past max";
  link_actlist(&mixed[1], 0);  // no items: the one before is left alone
  EXPECT_EQ(get_memory_indices(mixed.data(), indices.data(), 4), 3);
  link_actlist(mixed.data(), 1);
  EXPECT_EQ(get_memory_indices(mixed.data(), indices.data(), 4), 0) << "clicks only";
  EXPECT_EQ(get_memory_indices(nullptr, indices.data(), 4), 0);
}

// ch12 goes low byte first; a linked item's last byte is non-zero.
TEST(ActlistWire, ChainRoundTripsAsCountAndItemsOrIsRefusedWhole) {
  std::array<act_item, 2> items = {kSample, kSample};
  link_actlist(items.data(), 2);
  std::array<uint8_t, 64> buffer{};
  CXTransferContext ctx;
  CXTransferStart(&ctx, buffer.data(), buffer.size());
  add_actlist_to_transfer(&ctx, items.data());
  ASSERT_EQ(ctx.used, 4 + actlist_wire_size(items.data()));
  EXPECT_EQ(actlist_wire_size(items.data()), 34u);
  Bytes linked = kSampleWire;
  linked[15] = 1;
  EXPECT_EQ(Bytes(buffer.begin() + 4, buffer.begin() + 6), (Bytes{0, 2}));
  EXPECT_EQ(Bytes(buffer.begin() + 6, buffer.begin() + 22), linked);
  EXPECT_EQ(Bytes(buffer.begin() + 22, buffer.begin() + 38), kSampleWire);
  EXPECT_EQ(actlist_wire_size(nullptr), 2u);
  act_item loop;
  loop.link = &loop;
  EXPECT_EQ(count_actlist(&loop), kMaxActlistItems);

  std::array<act_item, 4> dest{};
  ASSERT_EQ(decode_actlist(buffer.data() + 4, 34, dest), 2);
  EXPECT_EQ(dest[0].link, &dest[1]);
  EXPECT_EQ(dest[1].link, nullptr);
  Bytes again(kActItemWireSize);
  encode_act_item(dest[0], again.data());
  EXPECT_EQ(again, linked) << "every field decodes back";

  Bytes three(52);
  three[1] = 3;  // three items need 50 bytes
  const Bytes negative = {0xFF, 0xFF};
  const struct {
    const char* what;
    const uint8_t* data;
    uint32_t length;
    size_t room;
  } bad[] = {{"length not the count's", three.data(), 52, 4},
             {"negative count", negative.data(), 2, 4},
             {"no count", three.data(), 1, 4},
             {"destination too small", three.data(), 50, 2}};
  for (const auto& b : bad) {
    SCOPED_TRACE(b.what);
    dest[0].mods = 0x5555;
    EXPECT_EQ(decode_actlist(b.data, b.length, std::span(dest).first(b.room)), kActlistMalformed);
    EXPECT_EQ(dest[0].mods, 0x5555);
  }
}

}  // namespace
}  // namespace cx
