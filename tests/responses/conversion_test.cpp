// Response dictionaries to response blocks and back, on golden files:
// conversions/NAME.plist holds the button, the user dictionary, the
// dictionary written back where it differs ("Back") and what is reported
// ("Message"); NAME.hex, where present, the exact blocks. written/NAME.hex
// holds blocks and NAME.plist what they are written back as. Blocks cut
// short or missing are read no further than the bytes given, the reader
// always moves on, and the defect is reported.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "model/response_block.h"
#include "plist/plist_io.h"
#include "responses/resp_tables.h"
#include "responses/resp_work.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

using plist::as;
using plist::Dictionary;
using Bytes = std::vector<uint8_t>;

// get_resp_data for `button` into `buffer`: the transfer block's length.
uint32_t add_run(Bytes& buffer, uint8_t button, const Dictionary* user,
                 const Dictionary* defaults = nullptr) {
  CXTransferContext transfer;
  CXTransferStart(&transfer, buffer.data(), static_cast<uint32_t>(buffer.size()));
  resp_work work;
  work.header[0] = button;
  work.transfer = &transfer;
  get_resp_data(&work, user, defaults);
  return CXTransferEnd(&transfer);
}

// The blocks without their framing. The buffer starts zeroed, so the
// unwritten pad byte of each header reads 0.
Bytes build_run(uint8_t button, const Dictionary* user, const Dictionary* defaults = nullptr) {
  Bytes buffer(4096, 0);
  const uint32_t length = add_run(buffer, button, user, defaults);
  return Bytes(buffer.begin() + 4, buffer.begin() + length - 2);
}

struct ReadBack {
  std::shared_ptr<Dictionary> dict;
  uint32_t flags = 0;
  int32_t left = 0;  // bytes after the read position
};

// put_resp_data on the first block of `run`; dict stays null when no valid
// block starts the run.
ReadBack read_back(const Bytes& run, const Dictionary* defaults = nullptr, uint32_t flags = 0) {
  ReadBack out;
  out.flags = flags;
  resp_work work;
  work.pref_flags = &out.flags;
  const auto size = static_cast<int32_t>(run.size());
  out.left = size;
  if (!start_resp_read(&work, run.data(), size)) return out;
  put_resp_data(&work, &out.dict, defaults);
  out.left = work.remaining;
  return out;
}

constexpr uint32_t kHasUserData = 0x10;

std::string xml(const plist::ValueRef& v) {
  const auto w = plist::write_plist(v ? *v : *plist::make_string("(null)"), plist::Format::Xml);
  return std::string(w.bytes.begin(), w.bytes.end());
}

std::string message(const Dictionary& c) {
  const auto* text = as<plist::String>(c.get("Message"));
  return text ? text->text() : "";
}

// Every NAME.plist of a folder, with its NAME.hex (empty when missing).
template <class Check>
int for_each_case(const std::string& folder, Check check) {
  int cases = 0;
  for (const auto& entry : std::filesystem::directory_iterator(test::data_path(folder))) {
    if (entry.path().extension() != ".plist") continue;
    const std::string name = entry.path().stem().string();
    SCOPED_TRACE(name);
    const plist::ValueRef c = plist::read_plist_file(entry.path().string()).value;
    const bool has_hex = std::filesystem::exists(test::data_path(folder + "/" + name + ".hex"));
    check(*as<Dictionary>(c), has_hex ? test::read_hex(folder + "/" + name + ".hex") : Bytes());
    ++cases;
  }
  return cases;
}

TEST(ResponseConversion, DictionariesToBlocksAndBack) {
  const int cases = for_each_case("conversions", [](const Dictionary& c, const Bytes& hex) {
    const auto button = static_cast<uint8_t>(as<plist::Number>(c.get("Button"))->int_value());
    const plist::ValueRef back = c.contains("Back") ? c.get("Back") : c.get("User");
    testing::internal::CaptureStderr();
    const Bytes run = build_run(button, as<Dictionary>(c.get("User")));
    const auto written = read_back(run);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message(c));
    EXPECT_TRUE(hex.empty() || run == hex);
    EXPECT_TRUE(plist::equal(written.dict, back)) << xml(written.dict);
    EXPECT_EQ(written.left, 0) << "menu entries are read with their menu";
    EXPECT_EQ(written.flags, kHasUserData);

    // Defaults equal in every key leave nothing and clear the user-data bit;
    // defaults that differ in the label alone leave the label.
    testing::internal::CaptureStderr();
    const auto same = read_back(run, as<Dictionary>(back), kHasUserData | 1);
    EXPECT_TRUE(same.dict->empty()) << xml(same.dict);
    EXPECT_EQ(same.flags, 1u);
    auto other = std::static_pointer_cast<Dictionary>(plist::deep_copy(back.get()));
    other->set("ButtonLabel", plist::make_string("Something else"));
    const auto label = read_back(run, other.get()).dict;
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(label->size(), 1u);
    EXPECT_TRUE(plist::equal(label->get("ButtonLabel"), as<Dictionary>(back)->get("ButtonLabel")));
  });
  EXPECT_EQ(cases, 15);
}

TEST(ResponseConversion, BlocksWrittenBack) {
  const int cases = for_each_case("written", [](const Dictionary& c, const Bytes& hex) {
    testing::internal::CaptureStderr();
    const auto written = read_back(hex);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message(c));
    EXPECT_TRUE(plist::equal(written.dict, c.get("Back"))) << xml(written.dict);
    EXPECT_EQ(written.left, 0);
  });
  EXPECT_EQ(cases, 12);
}

TEST(ResponseConversion, BadDictionariesBuildNothing) {
  const auto table = plist::read_plist_file(test::data_path("bad_dictionaries.plist")).value;
  ASSERT_TRUE(as<Dictionary>(table));
  for (const auto& [name, c] : as<Dictionary>(table)->entries()) {
    SCOPED_TRACE(name);
    testing::internal::CaptureStderr();
    EXPECT_EQ(build_run(1, as<Dictionary>(as<Dictionary>(c)->get("User"))), Bytes());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message(*as<Dictionary>(c)));
  }
}

std::shared_ptr<Dictionary> response(std::string_view label, std::string_view kind,
                                     std::string_view value) {
  return plist::make_dictionary(
      {{"ButtonLabel", plist::make_string(std::string(label))},
       {"ResponseFlags", plist::make_string("None")},
       {"Response",
        plist::make_dictionary({{std::string(kind), plist::make_string(std::string(value))}})}});
}

// Names and sizes stated here, item bytes in data/standard_responses.hex: a
// renamed row or a changed item fails.
TEST(ResponseConversion, StandardResponsesMatchTheirItems) {
  const std::pair<const char*, uint16_t> rows[] = {
      {"Click", 2},           {"RightClick", 2},       {"DoubleClick", 4}, {"Drag", 2},
      {"ApplicationMenu", 1}, {"MouseScroll", 2},      {"ScrollUp", 2},    {"ScrollDown", 2},
      {"HomePage", 1},        {"ToggleHorzScroll", 1}, {"DoNothing", 0}};
  const Bytes items = test::read_hex("standard_responses.hex");
  ASSERT_EQ(std::size(rows), stdresp_table.size());
  auto expected = items.begin();
  for (const auto& [name, count] : rows) {
    SCOPED_TRACE(name);
    const auto in = response("Label", "StandardResponse", name);
    const Bytes run = build_run(1, in.get());
    ASSERT_EQ(run.size(), 4 + response_header::size + count * kActItemWireSize + 2u);
    EXPECT_TRUE(std::equal(run.begin() + 4 + response_header::size, run.end() - 2, expected));
    expected += count * kActItemWireSize;
    EXPECT_TRUE(plist::equal(read_back(run).dict, in));
  }
  EXPECT_EQ(expected, items.end());
}

// Each key falls back to the defaults on its own.
TEST(ResponseConversion, KeysFallBackToTheDefaults) {
  const auto full = response("Label", "StandardResponse", "RightClick");
  auto no_flags = std::static_pointer_cast<Dictionary>(plist::deep_copy(full.get()));
  no_flags->remove("ResponseFlags");
  const auto flags_only = plist::make_dictionary({{"ResponseFlags", plist::make_string("None")}});
  EXPECT_EQ(build_run(1, no_flags.get(), flags_only.get()), build_run(1, full.get()));
  EXPECT_EQ(build_run(1, nullptr, full.get()), build_run(1, full.get()));
}

// Every prefix of a menu and its entries.
TEST(MalformedResponse, TruncatedRuns) {
  const Bytes run = test::read_hex("conversions/menu.hex");
  testing::internal::CaptureStderr();
  for (size_t size = 0; size < run.size(); ++size) {
    const auto written = read_back(Bytes(run.begin(), run.begin() + size));
    EXPECT_GE(written.left, 0);
    EXPECT_FALSE(written.dict && written.dict->contains("Response")) << size;
  }
  EXPECT_NE(testing::internal::GetCapturedStderr().find("missing menu entry"), std::string::npos);
}

// Heap copies of the exact size, so the sanitizers see a read past them.
TEST(MalformedResponse, NoBlockAtTheReadPosition) {
  for (const size_t size : {2, 50}) {
    Bytes garbage(size);
    garbage[1] = 50;
    resp_work work;
    std::shared_ptr<Dictionary> dict;
    work.read_pos = garbage.data();
    work.remaining = static_cast<int32_t>(size);
    testing::internal::CaptureStderr();
    put_resp_data(&work, &dict, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Corvex Background: Cannot make prefs - invalid response block");
    EXPECT_EQ(work.remaining, 0) << "a reader always makes progress";
    EXPECT_FALSE(start_resp_read(&work, garbage.data(), static_cast<int32_t>(size)));
  }
}

// A buffer too small for a menu and its entries is never written past, and
// the transfer block reports the size that holds them all.
TEST(MalformedResponse, FullBufferReportsTheSizeNeeded) {
  const auto menu = plist::read_plist_file(test::data_path("conversions/menu.plist")).value;
  const auto* user = as<Dictionary>(as<Dictionary>(menu)->get("User"));
  const size_t needed = 4 + test::read_hex("conversions/menu.hex").size() + 2;
  for (const size_t capacity : {0, 3, 60, 200, 300}) {
    Bytes buffer(capacity);
    EXPECT_EQ(add_run(buffer, 3, user), needed) << capacity;
  }
}

}  // namespace
}  // namespace cx
