#include "model/response_block.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "model/builtin_actlists.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint8_t kFill = 0xEE;

struct Buffer {
  Buffer() { bytes.fill(kFill); }
  uint8_t* data() { return bytes.data(); }
  Bytes first(size_t n) const { return Bytes(bytes.begin(), bytes.begin() + n); }
  std::string name() const { return reinterpret_cast<const char*>(bytes.data() + 4 + 4); }
  std::array<uint8_t, 256> bytes;
};

TEST(ResponseBlock, ClickBlockByteForByte) {
  Buffer b;
  ASSERT_EQ(build_click_response_block(b.data(), 256, 0x02, 5, 0x1234, true), 82u);
  Bytes expected = {0x00, 0x00, 0x00, 0x52,  // length
                    0x05, 0x02, 0x00, 0x34,  // button, mods, menuidx & 0xFF
                    'C',  'l',  'i',  'c',  'k'};
  expected.resize(4 + 36);  // rest of the name field
  expected
      .insert(expected.end(),
              {0xFF, kFill,  // shortcut, untouched pad
               0x00, 0x04,   // Global
               0x00, 0x02,  0x00, 0x00, 0, 0, 0, 0, 1, 0, 0x00, 0x01, 0,
               0,    0,     0,    0,    0, 0, 0, 0, 0, 0, 0,    2,    0,
               0x00, 0x02,  0,    0,    0, 0, 0, 0, 0, 0, 0x47, 0x3B});  // 0x4321 + payload bytes
  EXPECT_EQ(b.first(82), expected);
  EXPECT_EQ(b.bytes[82], kFill);
}

TEST(ResponseBlock, HeaderTakesModsFirstButStoresButtonFirst) {
  Buffer b;
  CXTransferContext ctx;
  CXTransferStart(&ctx, b.data(), 256);
  add_response_block_header(&ctx, 0x0A, 0x0B, -2, "x", 0x1000, 7, 3, 4);
  EXPECT_EQ(b.first(8), (Bytes{0, 0, 0, 48, 0x0B, 0x0A, 0xFF, 0xFE}));
  EXPECT_EQ(b.bytes[4 + 36], 7);
  EXPECT_EQ(b.bytes[4 + 37], kFill);
  EXPECT_EQ(load_be16(b.data() + 4 + 38), 0x1000);
  EXPECT_EQ(load_be16(b.data() + 4 + 40), 3);
  EXPECT_EQ(load_be16(b.data() + 4 + 42), 4);
}

TEST(ResponseBlock, LongNameKeepsThirtyOneCharacters) {
  const std::string forty(40, 'n');
  Buffer b;
  build_actlist_response_block(b.data(), 256, 0, 1, 0, false, click_actlist.data(), 2,
                               forty.c_str());
  EXPECT_EQ(b.name(), std::string(31, 'n'));
  EXPECT_EQ(b.bytes[4 + 35], 0);
}

TEST(ResponseBlock, TooSmallBufferReportsTheFullSize) {
  Buffer b;
  EXPECT_EQ(build_dclick_response_block(b.data(), 60, 0, 1, 0, false), 4u + 44 + 64 + 2);
  uint32_t length = 0;
  EXPECT_EQ(CXTransferValidate(b.data(), 60, &length), nullptr);
  EXPECT_EQ(b.bytes[60], kFill) << "nothing written past the buffer";
}

TEST(ResponseBlock, DataspaceBlockByteForByte) {
  Buffer b;
  ASSERT_EQ(build_dataspace_block(b.data(), 256, "ab", 2, 7), 12u);
  // 0x4321 + 7 + 2 + 'a' + 'b' = 0x43ED
  EXPECT_EQ(b.first(12), (Bytes{0, 0, 0, 12, 0x00, 0x07, 0x00, 0x02, 'a', 'b', 0x43, 0xED}));
}

TEST(ResponseBlock, LaunchUrlCarriesTheUrlAndItsNul) {
  const std::string url = "http://example.com/x";  // 20 characters
  Buffer b;
  const uint32_t size = build_launch_url_response_block(b.data(), 256, 0, 2, 3, false, url.c_str());
  ASSERT_EQ(size, 4u + 44 + 16 + (4 + 4 + 21 + 2) + 2);
  uint32_t length = 0;
  const uint8_t* payload = CXTransferValidate(b.data(), size, &length);
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(b.name(), "example.com/x");
  EXPECT_EQ(load_be16(payload + 40), 1);
  EXPECT_EQ(load_be16(payload + 42), 1);
  EXPECT_EQ(load_be16(payload + 44 + 6), 0x7F00);

  uint32_t ds_length = 0;
  const uint8_t* ds = CXTransferValidate(payload + 60, length - 60, &ds_length);
  ASSERT_NE(ds, nullptr);
  EXPECT_EQ(ds_length, 4u + 21);
  EXPECT_EQ(load_be16(ds), 0) << "ds_index";
  EXPECT_EQ(load_be16(ds + 2), 21);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(ds + 4), 21), url + '\0');

  EXPECT_EQ(build_launch_url_response_block(b.data(), 70, 0, 2, 3, false, url.c_str()), size);
}

TEST(ResponseBlock, MenuBlockCountsEntriesLowByteFirst) {
  Buffer b;
  ASSERT_EQ(build_menu_response_block(b.data(), 256, 1, 4, true, 0x0102, "Menu"), 66u);
  const uint8_t* payload = b.data() + 4;
  EXPECT_EQ(load_be16(payload + 2), 0) << "Menuidx";
  EXPECT_EQ(load_be16(payload + 38), 0x8006);
  EXPECT_EQ(load_be16(payload + 40), 1);
  EXPECT_EQ(Bytes(payload + 44, payload + 60),
            (Bytes{0, 0, 0x02, 0x01, 1, 0, 0x20, 0x00, 0, 0, 0, 0, 0, 0, 0, 0}));
  uint32_t length = 0;
  EXPECT_NE(CXTransferValidate(b.data(), 66, &length), nullptr);
}

}  // namespace
}  // namespace cx
