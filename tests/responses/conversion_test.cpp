// Response dictionaries to response blocks and back, on golden files:
// conversions/NAME.plist holds the button, the user dictionary, the
// dictionary written back where it differs ("Back") and what is reported
// ("Message"); NAME.hex, where present, the exact blocks. written/NAME.hex
// holds blocks and NAME.plist what they are written back as.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "model/response_block.h"
#include "plist/plist_io.h"
#include "responses/resp_tables.h"
#include "tests/responses/resp_run.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

using plist::as;
using plist::Dictionary;
using test::build_run;
using test::Bytes;
using test::read_back;

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

TEST(ResponseConversion, TestBookmarksRoundTrip) {
  ASSERT_EQ(test_url_names.size(), test_urls.size());
  for (size_t i = 0; i < test_urls.size(); ++i) {
    const auto in = response(test_url_names[i], "LaunchURL", test_urls[i]);
    EXPECT_TRUE(plist::equal(read_back(build_run(1, in.get())).dict, in)) << test_urls[i];
  }
}

}  // namespace
}  // namespace cx
