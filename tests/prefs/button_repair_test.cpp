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
#include "util/localized_strings.h"

namespace cx::test {
namespace {

using refdriver::response_key;
constexpr uint8_t kButton = 19;
using Entry = std::pair<int16_t, uint16_t>;  // act, dataspace
std::string text(const char* s) {
  return std::string(s) + '\0';
}

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
    PrefStoreTest::TearDown();
  }
  refdriver::AppSet& global() { return driver_.mutable_state().apps.global(); }
  void dataspace(int index, const std::string& bytes) {
    driver_.mutable_state().dataspaces.allocate_with(
        global(), index, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  }
  // Entry 0 is the button's menu item, the others one-item entries.
  void menu(const std::vector<Entry>& entries) {
    std::vector<act_item> items = {
        make_act_item(1, static_cast<uint16_t>(entries.size()), 1, act_code::menu, 0)};
    for (const auto& [act, ds] : entries) items.push_back(make_act_item(0, ds, 2, act, 0));
    for (uint16_t n = 0; n < items.size(); ++n) {
      std::vector<uint8_t> wire(kActItemWireSize);
      encode_act_item(items[n], wire.data());
      driver_.mutable_state().store_list(global(), response_key(0, kButton, n), wire);
    }
  }
  const refdriver::StoredResponse* entry(uint16_t n) {
    return driver_.state().response(global(), response_key(0, kButton, n));
  }
  // The text of each entry the menu counts; every text is in a global dataspace.
  std::vector<std::string> texts() {
    std::vector<std::string> out;
    for (uint16_t n = 1; n <= decode_act_item(entry(0)->items.data()).ch12; ++n) {
      const act_item item = decode_act_item(entry(n)->items.data());
      EXPECT_EQ(item.ch12 >= 256, item.act != act_code::launch_file) << "entry " << n;
      out.push_back(text_of(item.ch12));
    }
    return out;
  }
  std::string text_of(uint16_t index) {
    const auto* block = driver_.mutable_state().dataspaces.find(global(), index);
    return block ? std::string(block->begin(), block->end()) : "(none)";
  }

  std::string log_ = dir_.file("diag.txt");
  std::optional<ScopedEnv> strings_;
};

TEST_F(ButtonRepairTest, PresetMenus) {
  const std::string line = "fixup_menu_item_preset_buttons() - Button 19 had a ";
  const std::string fallback = loadStrListResource(128, 6).value_or("?") + '\0';
  const struct {
    std::vector<Entry> before;
    std::vector<std::string> after;
    std::string logged;  // empty: nothing corrected, nothing logged
  } scenarios[] = {
      {{{act_code::launch_url, 300}, {act_code::launch_url, 301}},
       {fallback, text("http://a/")},
       line + "truncated global dataspace - correcting"},
      {{{act_code::launch_url, 301}, {act_code::launch_url, 310}, {act_code::paste_text, 302}},
       {text("http://a/"), text("b")},
       line + "empty or missing global dataspace - correcting"},
      {{{act_code::launch_url, 301}, {act_code::launch_url, 301}},
       {text("http://a/")},
       line + "Launch action using the same dataspace"},
      {{{act_code::paste_text, 5}, {act_code::launch_file, 6}}, {text("hello"), "alias"}, ""},
  };
  for (const auto& s : scenarios) {
    SCOPED_TRACE(s.logged);
    for (auto [ds, bytes] : {std::pair{300, std::string("trunc")},
                             {301, text("http://a/")},
                             {302, text("b")},
                             {5, text("hello")},
                             {6, std::string("alias")}})
      dataspace(ds, bytes);
    menu(s.before);
    const size_t logged_before = read_file(log_).size();
    fixup_menu_item_preset_buttons(false);
    EXPECT_EQ(texts(), s.after);
    const std::string log = read_file(log_).substr(logged_before);
    EXPECT_NE(log.find(s.logged), std::string::npos) << log;
    EXPECT_EQ(log.find("end of fixup") != std::string::npos, !s.logged.empty()) << log;
  }
}

TEST_F(ButtonRepairTest, FullMenuDropsItsOldestEntry) {
  std::vector<Entry> five;
  for (uint16_t ds = 300; ds < 305; ++ds) {
    dataspace(ds, text(std::to_string(ds).c_str()));
    five.emplace_back(act_code::launch_url, ds);
  }
  menu(five);
  ASSERT_EQ(insert_easy_launch(0, kButton, "new", std::string(40, 't').c_str(), false), 1);
  EXPECT_EQ(texts(),
            (std::vector{text("new"), text("300"), text("301"), text("302"), text("303")}));
  EXPECT_EQ(text_of(304), "(none)");
  EXPECT_EQ(reinterpret_cast<const char*>(entry(1)->name.data()), std::string(28, 't') + "...");
}

}  // namespace
}  // namespace cx::test
