#include "model/response_printer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

template <typename Print>
std::string capture(Print print) {
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  print(out);
  std::fclose(out);
  std::string result(text, size);
  std::free(text);
  return result;
}

std::string dump_block(const Bytes& payload) {
  return capture([&](FILE* out) {
    display_response_block(out, payload.data(), static_cast<uint32_t>(payload.size()));
  });
}

Bytes framed(const Bytes& payload) {
  Bytes block(payload.size() + kTransferOverhead);
  CXTransferContext ctx;
  CXTransferStart(&ctx, block.data(), static_cast<uint32_t>(block.size()));
  CXTransferAdd(&ctx, payload.data(), static_cast<uint32_t>(payload.size()));
  CXTransferEnd(&ctx);
  return block;
}

Bytes header(uint16_t actions, uint16_t dataspaces) {
  Bytes h(44);
  h[0] = 5;
  h[1] = 0x12;
  store_be16(&h[2], 0xFFFF);
  h[4] = 'A';
  h[5] = 'b';
  h[36] = 255;
  store_be16(&h[38], 0x8006);
  store_be16(&h[40], actions);
  store_be16(&h[42], dataspaces);
  return h;
}

std::string header_text(int actions, int dataspaces) {
  return "        Button ID=5, Mods=0x12, Menuidx=-1\n"
         "        Response Name: Ab\n"
         "        Response Flags=0x8006, Shortcut ID=255\n"
         "        Num Actions=" +
         std::to_string(actions) + ", Num Dataspaces = " + std::to_string(dataspaces) + "\n";
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes read_hex(const std::string& path) {
  std::ifstream in(path);
  Bytes bytes;
  for (std::string word; in >> word;)
    bytes.push_back(static_cast<uint8_t>(std::stoul(word, 0, 16)));
  return bytes;
}

TEST(ResponsePrinter, SetResponseRequestMatchesGoldenText) {
  const std::string dir = std::string(std::getenv("CX_TEST_DATA")) + "/printer/";
  const Bytes request = read_hex(dir + "set_response_request.hex");
  ASSERT_FALSE(request.empty());
  std::ifstream expected_file(dir + "set_response_request.txt");
  const std::string expected((std::istreambuf_iterator<char>(expected_file)), {});
  EXPECT_EQ(capture([&](FILE* out) {
              display_set_response_request(out, request.data(),
                                           static_cast<uint32_t>(request.size()));
            }),
            expected);
}

TEST(ResponsePrinter, InvalidRequest) {
  const Bytes request = framed({0, 0, 27});  // no room for the code
  EXPECT_EQ(capture([&](FILE* out) { display_set_response_request(out, request.data(), 9); }),
            "    Response request invalid\n");
}

TEST(ResponsePrinter, InvalidBlockEndsTheRun) {
  const Bytes run = framed(header(0, 0)) + Bytes{0, 0, 0, 9, 1, 2, 3, 0, 0};
  EXPECT_EQ(capture([&](FILE* out) {
              display_response_blocks(out, run.data(), static_cast<uint32_t>(run.size()));
            }),
            "    Response Block #1:\n" + header_text(0, 0) + "    Response Block #2: <invalid>\n");
}

TEST(ResponsePrinter, HeaderOnly) {
  EXPECT_EQ(dump_block(header(0, 0)), header_text(0, 0));
}

TEST(ResponsePrinter, ShortHeader) {
  EXPECT_EQ(dump_block(Bytes(43)), "        Buffer length (43) less than block header size\n");
}

TEST(ResponsePrinter, ShortActionList) {
  EXPECT_EQ(
      dump_block(header(2, 0) + Bytes(20)),
      header_text(2, 0) + "        Remaining Buffer length (20) less than action list size\n");
}

TEST(ResponsePrinter, ActionsAndMismatchedDataspace) {
  const Bytes item = {0x00, 0x03, 0x02, 0x01, 0x02, 0x00, 0xFF, 0xFE,
                      0xDE, 0xAD, 0xBE, 0xEF, 0x00, 0x00, 0x00, 0x01};
  Bytes data(17);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 9);
  const Bytes dataspace = framed(Bytes{0x00, 0x04, 0x00, 0x05} + data);
  EXPECT_EQ(dump_block(header(1, 1) + item + dataspace),
            header_text(1, 1) +
                "        Action #1: act=-2, act_seq=2, ch12=0x102, mods=0x3, "
                "extra_info=0xdeadbeef\n"
                "        Dataspace #1: ds_index=4, ds_length=5\n"
                "            Remaining block length (17) mismatches ds_length.\n"
                "            <  0  9 12 1b 24 2d 36 3f 48 51 5a 63 6c 75 7e 87 \n"
                "              90  >\n");
}

TEST(ResponsePrinter, InvalidDataspace) {
  EXPECT_EQ(dump_block(header(0, 1) + Bytes{0, 0, 0, 8, 1, 2, 0, 0}),
            header_text(0, 1) +
                "        Dataspace #1: <invalid>\n"
                "        Extra space (8 bytes) in response block\n");
  EXPECT_EQ(dump_block(header(0, 1)), header_text(0, 1) + "        Dataspace #1: <invalid>\n");
}

TEST(ResponsePrinter, DataspaceTooSmallForItsHeader) {
  EXPECT_EQ(dump_block(header(0, 2) + framed({1, 2}) + framed({0, 1, 0, 0})),
            header_text(0, 2) +
                "        Dataspace #1: Buffer too small (2) for header\n"
                "        Dataspace #2: ds_index=1, ds_length=0\n"
                "            <  >\n");
}

TEST(ResponsePrinter, ExtraSpace) {
  EXPECT_EQ(dump_block(header(0, 1) + framed({0, 0, 0, 1, 'x'}) + Bytes(3)),
            header_text(0, 1) +
                "        Dataspace #1: ds_index=0, ds_length=1\n"
                "            < 78  >\n"
                "        Extra space (3 bytes) in response block\n");
}

TEST(ResponsePrinter, UnterminatedNameStaysInItsField) {
  Bytes h = header(0, 0);
  std::fill(h.begin() + 4, h.begin() + 36, 'z');
  h[36] = 'Q';  // would follow the name if it were read as a C string
  EXPECT_NE(dump_block(h).find("Response Name: " + std::string(32, 'z') + "\n"), std::string::npos);
}

}  // namespace
}  // namespace cx
