// Response dictionaries to response blocks and back. Golden pairs in
// data/conversions: NAME.plist holds the button, the user dictionary and,
// where it differs from it, the dictionary written back ("Back"); NAME.hex
// the exact blocks.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "model/response_block.h"
#include "plist/plist_io.h"
#include "responses/resp_tables.h"
#include "responses/response_kinds.h"
#include "tests/responses/resp_run.h"
#include "tests/support/golden_files.h"

namespace cx {
namespace {

using plist::as;
using plist::Dictionary;
using test::build_run;
using test::Bytes;
using test::read_back;

constexpr uint32_t kHasUserData = 0x10;

std::string xml(const plist::ValueRef& v) {
  if (!v) return "(null)";
  const auto w = plist::write_plist(*v, plist::Format::Xml);
  return std::string(w.bytes.begin(), w.bytes.end());
}

std::shared_ptr<Dictionary> response(const std::string& label, const std::string& flags,
                                     const std::string& kind, plist::ValueRef value) {
  return plist::make_dictionary({{"ButtonLabel", plist::make_string(label)},
                                 {"ResponseFlags", plist::make_string(flags)},
                                 {"Response", plist::make_dictionary({{kind, value}})}});
}

std::shared_ptr<Dictionary> standard(const std::string& name) {
  return response("Label", "None", "StandardResponse", plist::make_string(name));
}

TEST(ResponseConversion, GoldenPairs) {
  int pairs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(test::data_path("conversions"))) {
    if (entry.path().extension() != ".plist") continue;
    const std::string name = entry.path().stem().string();
    SCOPED_TRACE(name);
    ++pairs;
    const plist::ValueRef file = plist::read_plist_file(entry.path().string()).value;
    ASSERT_TRUE(as<Dictionary>(file));
    const auto* c = as<Dictionary>(file);
    const auto button = static_cast<uint8_t>(as<plist::Number>(c->get("Button"))->int_value());
    const plist::ValueRef user = c->get("User");
    const plist::ValueRef back = c->contains("Back") ? c->get("Back") : user;

    const Bytes run = build_run(button, as<Dictionary>(user));
    EXPECT_EQ(run, test::read_hex("conversions/" + name + ".hex"));

    const auto written = read_back(run);
    EXPECT_TRUE(plist::equal(written.dict, back)) << xml(written.dict);
    EXPECT_EQ(written.left, 0) << "the menu entries are read with their menu";
    EXPECT_EQ(written.flags, kHasUserData);

    // Defaults equal in every key leave nothing and clear the user-data bit.
    const auto same = read_back(run, as<Dictionary>(back), kHasUserData | 1);
    EXPECT_TRUE(same.dict->empty()) << xml(same.dict);
    EXPECT_EQ(same.flags, 1u);

    // Defaults that differ in the label alone leave the label.
    auto other = std::static_pointer_cast<Dictionary>(plist::deep_copy(back.get()));
    other->set("ButtonLabel", plist::make_string("Something else"));
    const auto label_only = read_back(run, other.get());
    EXPECT_TRUE(plist::equal(
        label_only.dict,
        plist::make_dictionary({{"ButtonLabel", as<Dictionary>(back)->get("ButtonLabel")}})))
        << xml(label_only.dict);
  }
  EXPECT_EQ(pairs, 10);
}

// Names and sizes stated here, item bytes in data/standard_responses.hex: a
// renamed row or a changed item fails.
TEST(ResponseConversion, StandardResponsesMatchTheirItems) {
  const struct {
    const char* name;
    uint16_t count;
  } rows[] = {
      {"Click", 2},           {"RightClick", 2},       {"DoubleClick", 4}, {"Drag", 2},
      {"ApplicationMenu", 1}, {"MouseScroll", 2},      {"ScrollUp", 2},    {"ScrollDown", 2},
      {"HomePage", 1},        {"ToggleHorzScroll", 1}, {"DoNothing", 0}};
  const Bytes items = test::read_hex("standard_responses.hex");
  size_t at = 0;
  ASSERT_EQ(std::size(rows), stdresp_table.size());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Bytes run = build_run(1, standard(row.name).get());
    ASSERT_GE(run.size(), 4u + response_header::size);
    EXPECT_EQ(run[4 + response_header::num_actions + 1], row.count);
    const size_t size = row.count * kActItemWireSize;
    ASSERT_LE(at + size, items.size());
    EXPECT_EQ(Bytes(run.begin() + 4 + response_header::size,
                    run.begin() + 4 + response_header::size + size),
              Bytes(items.begin() + at, items.begin() + at + size));
    at += size;
    EXPECT_TRUE(plist::equal(read_back(run).dict, standard(row.name)));
  }
  EXPECT_EQ(at, items.size());
}

// A block that no kind recognises is saved as a standard click.
constexpr const char* kNoMatch =
    "Corvex Background: Cannot make standard prefs - no matching response";

TEST(ResponseConversion, ShapesThatAreNotTheirNeighbours) {
  const act_item app_menu_ch12_2[] = {make_act_item(0, 2, 1, 0x7200, 0)};
  const act_item unknown[] = {make_act_item(0, 0, 1, 0x1234, 0)};
  const act_item drag[] = {make_act_item(0, 0, 1, 1, 0), make_act_item(0, 0, 8, 2, 0)};
  const struct {
    const char* name;
    const act_item* items;
    uint16_t count;
    const char* saved_as;
    bool fallback;
  } cases[] = {
      {"drag is not click", drag, 2, "Drag", false},
      {"application menu needs ch12 1", app_menu_ch12_2, 1, "Click", true},
      {"unknown action", unknown, 1, "Click", true},
      {"no actions", nullptr, 0, "DoNothing", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes run(256, 0);
    run.resize(
        build_actlist_response_block(run.data(), 256, 0, 1, 0, false, c.items, c.count, "Label"));
    testing::internal::CaptureStderr();
    const auto written = read_back(run);
    const std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(plist::equal(written.dict, standard(c.saved_as))) << xml(written.dict);
    EXPECT_EQ(messages, c.fallback ? kNoMatch : "");
  }
}

// Dictionaries that are written back in another form than they were read.
TEST(ResponseConversion, NormalisedOnTheWayBack) {
  auto clicks = [](std::vector<Dictionary::Entry> entries) {
    return response("Label", "None", "MoreClicks", plist::make_dictionary(std::move(entries)));
  };
  const auto yes = plist::make_bool(true);
  const auto no = plist::make_bool(false);
  const struct {
    const char* name;
    std::shared_ptr<Dictionary> in;
    std::shared_ptr<Dictionary> back;
  } cases[] = {
      {"a plain click is a standard one", clicks({}), standard("Click")},
      {"an unknown click id is a left click",
       clicks({{"ClickID", plist::make_string("Nose")}, {"Drag", yes}}), standard("Drag")},
      {"modifiers of a click in table order",
       clicks({{"Modifiers", plist::make_string("option+ctrl")},
               {"ClickID", plist::make_string("MiddleClick")}}),
       clicks({{"Modifiers", plist::make_string("Ctrl+Option")},
               {"ClickID", plist::make_string("MiddleClick")},
               {"Double", no},
               {"Drag", no}})},
      {"no caps lock with a click",
       clicks({{"Modifiers", plist::make_string("CapsLock+Shift")}, {"Double", yes}}),
       standard("DoubleClick")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto written = read_back(build_run(1, c.in.get()));
    EXPECT_TRUE(plist::equal(written.dict, c.back)) << xml(written.dict);
  }
}

TEST(ResponseConversion, FlagsAreOneOfSevenValues) {
  Bytes run(256, 0);
  CXTransferContext block;
  CXTransferStart(&block, run.data(), 256);
  add_response_block_header(&block, 0, 1, 0, "Label", 0x0006, kNoShortcut, 0, 0);
  run.resize(CXTransferEnd(&block));
  const auto written = read_back(run);
  EXPECT_FALSE(written.dict->contains("ResponseFlags"));
  EXPECT_TRUE(written.dict->contains("ButtonLabel"));
}

// Each key falls back to the defaults on its own; a key missing from both
// builds nothing.
TEST(ResponseConversion, KeysFallBackToTheDefaults) {
  const auto full = standard("RightClick");
  auto no_flags = std::static_pointer_cast<Dictionary>(plist::deep_copy(full.get()));
  no_flags->remove("ResponseFlags");
  const auto flags_only = plist::make_dictionary({{"ResponseFlags", plist::make_string("None")}});
  EXPECT_EQ(build_run(1, no_flags.get()), Bytes());
  EXPECT_EQ(build_run(1, no_flags.get(), flags_only.get()), build_run(1, full.get()));
  EXPECT_EQ(build_run(1, nullptr, full.get()), build_run(1, full.get()));
}

TEST(ResponseConversion, TestBookmarksRoundTrip) {
  ASSERT_EQ(test_url_names.size(), test_urls.size());
  for (size_t i = 0; i < test_urls.size(); ++i) {
    const auto in = response(std::string(test_url_names[i]), "None", "LaunchURL",
                             plist::make_string(std::string(test_urls[i])));
    EXPECT_TRUE(plist::equal(read_back(build_run(1, in.get())).dict, in)) << test_urls[i];
  }
}

}  // namespace
}  // namespace cx
