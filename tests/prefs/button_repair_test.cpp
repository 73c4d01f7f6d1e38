// Repairs of the preset buttons' menus against the reference driver, whose
// state each case sets up directly.
#include "prefs/button_repair.h"

#include <optional>
#include <string>
#include <vector>

#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_state.h"
#include "model/act_item.h"
#include "model/action_codes.h"
#include "tests/prefs/pref_fixture.h"
#include "tests/support/scoped_env.h"

namespace cx::test {
namespace {

using refdriver::response_key;
constexpr uint8_t kButton = 19;
constexpr uint16_t kLocalText = 5;
constexpr uint16_t kLocalAlias = 6;

struct Entry {
  int16_t act;
  uint16_t ds;
};

class ButtonRepairTest : public PrefStoreTest {
 protected:
  void SetUp() override {
    PrefStoreTest::SetUp();
    strings_.emplace("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
    diag_reset_state();
    cc_diag_set_window_info(nullptr, log_.c_str(), 0, 0, 0, 0, 0, 0, 1);
    cc_diag_set_display_level(0x7fffff);
  }
  void TearDown() override {
    close_diagnostic_window();
    diag_reset_state();
    PrefStoreTest::TearDown();
  }
  refdriver::AppSet& global() { return driver_.mutable_state().apps.global(); }

  void store(uint16_t entry, const std::vector<act_item>& items) {
    std::vector<uint8_t> wire(items.size() * kActItemWireSize);
    for (size_t i = 0; i < items.size(); ++i) encode_act_item(items[i], &wire[i * 16]);
    driver_.mutable_state().store_list(global(), response_key(0, kButton, entry), wire);
  }
  void dataspace(int index, const std::string& bytes) {
    driver_.mutable_state().dataspaces.allocate_with(
        global(), index, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  }
  // A menu of launch entries, one item each.
  void menu(const std::vector<Entry>& entries) {
    store(0, {make_act_item(1, static_cast<uint16_t>(entries.size()), 1, act_code::menu, 0)});
    for (size_t e = 0; e < entries.size(); ++e)
      store(static_cast<uint16_t>(e + 1), {make_act_item(0, entries[e].ds, 2, entries[e].act, 0)});
  }
  // The entries the menu counts, each as its first item.
  std::vector<act_item> entries() {
    const auto* own = driver_.state().response(global(), response_key(0, kButton, 0));
    std::vector<act_item> out;
    for (uint16_t e = 1; own && e <= decode_act_item(own->items.data()).ch12; ++e) {
      const auto* r = driver_.state().response(global(), response_key(0, kButton, e));
      out.push_back(r && !r->items.empty() ? decode_act_item(r->items.data()) : act_item{});
    }
    return out;
  }
  std::string text_of(uint16_t index) {
    const auto* block = driver_.mutable_state().dataspaces.find(global(), index);
    return block ? std::string(block->begin(), block->end()) : "(none)";
  }
  std::string log() { return read_file(log_); }

  std::string log_ = dir_.file("diag.txt");
  std::optional<ScopedEnv> strings_;
};

const std::string kUrl = std::string("http://a/") + '\0';
const std::string kOther = std::string("http://b/") + '\0';

struct Scenario {
  const char* name;
  std::vector<Entry> before;
  std::vector<std::string> logged;  // every correction line, in order
  std::vector<uint16_t> after;      // dataspace of each remaining entry; 0: the default one
};

TEST_F(ButtonRepairTest, MenusWithBadEntries) {
  const std::string prefix = "fixup_menu_item_preset_buttons() - Button 19";
  const std::vector<Scenario> scenarios = {
      {"bad first entry",
       {{act_code::launch_url, 300}, {act_code::launch_url, 301}},
       {" had a truncated global dataspace - correcting"},
       {0, 301}},
      {"bad later entry",
       {{act_code::launch_url, 301}, {act_code::launch_url, 310}, {act_code::paste_text, 302}},
       {" had a empty or missing global dataspace - correcting"},
       {301, 302}},
      {"two entries sharing a dataspace",
       {{act_code::launch_url, 301}, {act_code::launch_url, 301}},
       {" had a Launch action using the same dataspace",
        "    as a previous launch action.  Dataspace ID 0x12D has been used more than once."},
       {301}},
  };
  for (const Scenario& s : scenarios) {
    SCOPED_TRACE(s.name);
    dataspace(300, "trunc");
    dataspace(301, kUrl);
    dataspace(302, kOther);
    menu(s.before);
    const size_t logged_before = log().size();
    fixup_menu_item_preset_buttons(false);
    const auto after = entries();
    ASSERT_EQ(after.size(), s.after.size());
    for (size_t e = 0; e < after.size(); ++e) {
      if (s.after[e] == 0) {
        EXPECT_EQ(text_of(after[e].ch12).substr(0, 8), "https://") << "the default entry";
      } else {
        EXPECT_EQ(after[e].ch12, s.after[e]) << "entry " << e + 1;
      }
    }
    const std::string text = log().substr(logged_before);
    for (size_t at = 0, i = 0; i < s.logged.size(); ++i) {
      at = text.find((i == 0 ? prefix : "") + s.logged[i], at);
      EXPECT_NE(at, std::string::npos) << s.logged[i];
    }
    EXPECT_NE(text.find("========= end of fixup =========="), std::string::npos);
  }
}

TEST_F(ButtonRepairTest, LocalPasteTextMovesToAGlobalDataspace) {
  dataspace(kLocalText, std::string("hello") + '\0');
  dataspace(kLocalAlias, "alias");
  menu({{act_code::paste_text, kLocalText}, {act_code::launch_file, kLocalAlias}});
  fixup_menu_item_preset_buttons(false);
  const auto after = entries();
  ASSERT_EQ(after.size(), 2u);
  EXPECT_GE(after[0].ch12, 256);
  EXPECT_EQ(text_of(after[0].ch12), std::string("hello") + '\0');
  EXPECT_EQ(text_of(kLocalText), "(none)");
  EXPECT_EQ(after[1].ch12, kLocalAlias) << "an alias stays local";
  EXPECT_EQ(log(), "") << "a move is no correction";
}

TEST_F(ButtonRepairTest, FullMenuDropsItsOldestEntry) {
  std::vector<Entry> five;
  for (uint16_t ds = 300; ds < 305; ++ds) {
    dataspace(ds, kUrl);
    five.push_back({act_code::launch_url, ds});
  }
  menu(five);
  const std::string title(40, 't');
  ASSERT_EQ(insert_easy_launch(0, kButton, "http://new/", title.c_str(), false), 1);
  const auto after = entries();
  ASSERT_EQ(after.size(), 5u);
  EXPECT_EQ(text_of(after[0].ch12), std::string("http://new/") + '\0');
  for (size_t e = 1; e < 5; ++e) EXPECT_EQ(after[e].ch12, 299 + e);
  EXPECT_EQ(text_of(304), "(none)");
  const auto* named = driver_.state().response(global(), response_key(0, kButton, 1));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(named->name.data())),
            std::string(28, 't') + "...");
}

}  // namespace
}  // namespace cx::test
