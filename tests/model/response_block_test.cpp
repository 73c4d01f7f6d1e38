// Response blocks and their printers, checked against golden files in
// data/blocks and data/printer: NAME.hex holds bytes as hex words ('#' starts
// a comment), NAME.txt exactly what a printer writes.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "model/response_printer.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

using test::data_path;
using test::read_hex;

TEST(ResponseBlock, BuildersMatchGoldenBytes) {
  const struct {
    const char* name;
    uint32_t (*build)(uint8_t*);
  } cases[] = {
      {"click",
       [](uint8_t* b) { return build_click_response_block(b, 256, 0x02, 5, 0x1234, true); }},
      {"dataspace", [](uint8_t* b) { return build_dataspace_block(b, 256, "ab", 2, 7); }},
      {"launch_url",
       [](uint8_t* b) {
         return build_launch_url_response_block(b, 256, 0, 2, 3, false, "http://example.com/x");
       }},
      {"menu",
       [](uint8_t* b) { return build_menu_response_block(b, 256, 1, 4, true, 0x0102, "Menu"); }},
      {"long_name",
       [](uint8_t* b) {
         return build_actlist_response_block(b, 256, 0, 1, 0, false, click_actlist.data(), 2,
                                             std::string(40, 'n').c_str());
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::array<uint8_t, 256> b;
    b.fill(0xEE);
    const uint32_t size = c.build(b.data());
    EXPECT_EQ(Bytes(b.begin(), b.begin() + size),
              read_hex(std::string("blocks/") + c.name + ".hex"));
    EXPECT_EQ(b[size], 0xEE) << "nothing written past the block";
    uint32_t length = 0;
    EXPECT_NE(CXTransferValidate(b.data(), size, &length), nullptr);
  }
}

// Every golden pair in data/printer; the name's prefix picks the printer.
TEST(ResponsePrinter, GoldenTexts) {
  int pairs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(data_path("printer"))) {
    if (entry.path().extension() != ".hex") continue;
    const std::string name = entry.path().stem().string();
    SCOPED_TRACE(name);
    ++pairs;
    const Bytes in = read_hex("printer/" + name + ".hex");
    const std::string expected = test::read_text("printer/" + name + ".txt");
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    const auto length = static_cast<uint32_t>(in.size());
    if (name.starts_with("request_")) display_set_response_request(out, in.data(), length);
    if (name.starts_with("run_")) display_response_blocks(out, in.data(), length);
    if (name.starts_with("block_")) display_response_block(out, in.data(), length);
    std::fclose(out);
    EXPECT_FALSE(in.empty());
    EXPECT_EQ(std::string(text, size), expected);
    std::free(text);
  }
  EXPECT_EQ(pairs, 12);
}

}  // namespace
}  // namespace cx
