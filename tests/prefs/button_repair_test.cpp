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
constexpr uint16_t kDefault = 0;  // expected: the preset's default entry
constexpr uint16_t kMoved = 1;    // expected: a new global copy of local dataspace 5
const std::string kUrl = std::string("http://a/") + '\0';

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
    for (int ds : {300, 301, 302, 303, 304}) dataspace(ds, kUrl);
  }
  void TearDown() override {
    close_diagnostic_window();
    PrefStoreTest::TearDown();
  }
  refdriver::AppSet& global() { return driver_.mutable_state().apps.global(); }
  void dataspace(int index, const std::string& bytes) {
    driver_.mutable_state().dataspaces.allocate_with(
        global(), index, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  }
  // A menu of one-item entries.
  void menu(const std::vector<Entry>& entries) {
    std::vector<act_item> items = {
        make_act_item(1, static_cast<uint16_t>(entries.size()), 1, act_code::menu, 0)};
    for (const Entry& e : entries) items.push_back(make_act_item(0, e.ds, 2, e.act, 0));
    for (uint16_t n = 0; n < items.size(); ++n) {
      std::vector<uint8_t> wire(kActItemWireSize);
      encode_act_item(items[n], wire.data());
      driver_.mutable_state().store_list(global(), response_key(0, kButton, n), wire);
    }
  }
  // The dataspace of each entry that the menu counts.
  std::vector<uint16_t> entries() {
    const auto* own = driver_.state().response(global(), response_key(0, kButton, 0));
    std::vector<uint16_t> out;
    for (uint16_t e = 1; own && e <= decode_act_item(own->items.data()).ch12; ++e)
      out.push_back(
          decode_act_item(
              driver_.state().response(global(), response_key(0, kButton, e))->items.data())
              .ch12);
    return out;
  }
  std::string text_of(uint16_t index) {
    const auto* block = driver_.mutable_state().dataspaces.find(global(), index);
    return block ? std::string(block->begin(), block->end()) : "(none)";
  }

  std::string log_ = dir_.file("diag.txt");
  std::optional<ScopedEnv> strings_;
};

struct Scenario {
  const char* name;
  std::vector<Entry> before;
  std::vector<uint16_t> after;
  std::string logged;  // empty: nothing corrected, nothing logged
};

TEST_F(ButtonRepairTest, PresetMenus) {
  const std::string line = "fixup_menu_item_preset_buttons() - Button 19 had a ";
  const std::vector<Scenario> scenarios = {
      {"bad first entry",
       {{act_code::launch_url, 300}, {act_code::launch_url, 301}},
       {kDefault, 301},
       line + "truncated global dataspace - correcting"},
      {"bad later entry",
       {{act_code::launch_url, 301}, {act_code::launch_url, 310}, {act_code::paste_text, 302}},
       {301, 302},
       line + "empty or missing global dataspace - correcting"},
      {"two entries sharing a dataspace",
       {{act_code::launch_url, 301}, {act_code::launch_url, 301}},
       {301},
       line + "Launch action using the same dataspace\r\n    as a previous launch action.  "
              "Dataspace ID 0x12D has been used more than once.  Correcting."},
      {"paste text moves to a global dataspace, a file's alias stays",
       {{act_code::paste_text, 5}, {act_code::launch_file, 6}},
       {kMoved, 6},
       ""},
  };
  for (const Scenario& s : scenarios) {
    SCOPED_TRACE(s.name);
    dataspace(300, "trunc");
    dataspace(5, std::string("hello") + '\0');
    dataspace(6, "alias");
    menu(s.before);
    const size_t logged_before = read_file(log_).size();
    fixup_menu_item_preset_buttons(false);
    const auto after = entries();
    ASSERT_EQ(after.size(), s.after.size());
    for (size_t e = 0; e < after.size(); ++e) {
      if (s.after[e] == kDefault) {
        EXPECT_EQ(text_of(after[e]).substr(0, 8), "https://");
      } else if (s.after[e] == kMoved) {
        EXPECT_EQ(text_of(after[e]), std::string("hello") + '\0');
        EXPECT_EQ(text_of(5), "(none)");
      } else {
        EXPECT_EQ(after[e], s.after[e]) << "entry " << e + 1;
      }
    }
    const std::string log = read_file(log_).substr(logged_before);
    EXPECT_NE(log.find(s.logged), std::string::npos) << log;
    EXPECT_EQ(log.find("end of fixup") != std::string::npos, !s.logged.empty()) << log;
  }
}

TEST_F(ButtonRepairTest, FullMenuDropsItsOldestEntry) {
  menu({{act_code::launch_url, 300},
        {act_code::launch_url, 301},
        {act_code::launch_url, 302},
        {act_code::launch_url, 303},
        {act_code::launch_url, 304}});
  const std::string title(40, 't');
  ASSERT_EQ(insert_easy_launch(0, kButton, "http://new/", title.c_str(), false), 1);
  const auto after = entries();
  ASSERT_EQ(after.size(), 5u);
  EXPECT_EQ(text_of(after[0]), std::string("http://new/") + '\0');
  EXPECT_EQ(std::vector<uint16_t>(after.begin() + 1, after.end()),
            (std::vector<uint16_t>{300, 301, 302, 303}));
  EXPECT_EQ(text_of(304), "(none)");
  const auto* named = driver_.state().response(global(), response_key(0, kButton, 1));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(named->name.data())),
            std::string(28, 't') + "...");
}

}  // namespace
}  // namespace cx::test
