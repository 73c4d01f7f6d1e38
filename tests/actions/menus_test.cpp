// The application menu and the user's popup menu on a desktop of their own
// (Xvfb, openbox, xterms), chosen with keys typed through XTest, against the
// reference driver; and the same actions without a display.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "actions/driver_actions.h"
#include "model/act_item.h"
#include "model/action_codes.h"
#include "platform/linux/wm_icon.h"
#include "platform/menus.h"
#include "tests/support/agent_link.h"
#include "tests/support/child_process.h"
#include "tests/support/reference_driver.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"
#include "tests/support/window_manager.h"
#include "tests/support/x_popup_watch.h"
#include "tests/support/xvfb.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using namespace std::chrono_literals;
using platform::MenuItem;

constexpr uint8_t kButton = 5;

// The popup menu of button 5: "Open", a separator, "Home page" (which opens
// the home page); the tracking record's third word and the pending bit set.
void prepare(refdriver::DriverState& state) {
  state.menu = {true, 0, 0, kButton, {}, 0, 0};
  state.menu.slots.resize(4);
  const std::string names[] = {"Open", "-x", "Home page"};
  for (size_t i = 0; i < std::size(names); ++i)
    std::copy(names[i].begin(), names[i].end(), state.menu.slots[i].begin());
  uint8_t item[kActItemWireSize];
  encode_act_item(make_act_item(0, 0, 0, act_code::home_page, 0), item);
  state.store_list(state.apps.global(), refdriver::response_key(0, kButton, 3), item);
  store_be16(&state.global_record(37)[4], 0x0101);
  store_be16(state.global_record(73).data(), 0x0001);
}

uint16_t record_word(test::ReferenceDriver& driver, uint16_t index, size_t at) {
  return load_be16(&driver.mutable_state().global_record(index)[at]);
}

// The tracking bit is off again, the rest of its word kept; no popup is pending.
bool menu_done(test::ReferenceDriver& driver) {
  return record_word(driver, 37, 4) == 0x0101 && record_word(driver, 73, 0) == 0;
}

// The real menus, with what the actions hand them kept for the test.
struct RecordingMenus final : platform::Menus {
  platform::Menus& real = platform::menus();
  test::ReferenceDriver& driver;
  std::vector<std::string> shown;  // checked items start with "* ", separators are "-"
  uint16_t tracking_word = 0;
  explicit RecordingMenus(test::ReferenceDriver& d) : driver(d) { platform::set_menus(this); }
  ~RecordingMenus() override { platform::set_menus(nullptr); }
  bool mouse_position(platform::GlobalPoint& w) override { return real.mouse_position(w); }
  int16_t pop_up(const platform::Menu& menu, platform::GlobalPoint w) override {
    for (const MenuItem& item : menu.items)
      shown.push_back(item.separator ? "-" : (item.checked ? "* " : "") + item.text);
    tracking_word = record_word(driver, 37, 4);
    return real.pop_up(menu, w);
  }
  void warp_cursor(platform::GlobalPoint w) override { real.warp_cursor(w); }
  void beep() override { real.beep(); }
};

// One desktop for the suite: GTK opens its display once per process.
class Menus : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    xvfb_.emplace();
    wm_.emplace(xvfb_->display());
  }
  static void TearDownTestSuite() {
    wm_.reset();
    xvfb_.reset();
  }
  void SetUp() override {
    ASSERT_TRUE(wm_->running());
    ASSERT_TRUE(driver_.running()) << driver_.error();
  }
  // Runs `action` while the user types `keys` into the menu it opens.
  void choose(void (*action)(), std::vector<std::string> keys) {
    const test::PopupWatch watch(xvfb_->display());
    keys.insert(keys.begin(), {CX_DESKTOPCTL, "keys"});
    std::thread user([&] {
      ASSERT_TRUE(watch.wait(5s));
      EXPECT_EQ(test::run_command(keys).exit_status, 0);
    });
    action();
    user.join();
  }

  static inline std::optional<test::Xvfb> xvfb_;
  static inline std::optional<test::WindowManager> wm_;
  test::ScopedEnv display_{"DISPLAY", xvfb_->display()};
  test::ScopedEnv bundle_{"CORVEX_BUNDLE", CX_AGENT_BUNDLE};
  test::ReferenceDriver driver_{prepare};
  test::AgentLink link_{driver_.dir()};
  RecordingMenus recorder_{driver_};
};

// Whether `pid` is (or within five seconds becomes) the front process.
bool comes_to_front(pid_t pid) {
  return test::eventually([&] {
    platform::ProcessSerialNumber front{};
    return platform::GetFrontProcess(&front) == platform::noErr &&
           front.lowLongOfPSN == uint32_t(pid);
  });
}

TEST_F(Menus, ApplicationMenuListsTheWindowsByNameAndRaisesTheChosenOne) {
  std::vector<std::unique_ptr<test::BackgroundProcess>> apps;
  // Each new window takes the focus: "alpha" ends in front.
  for (const char* name : {"zeta", "Mid", "alpha"}) {
    apps.push_back(std::make_unique<test::BackgroundProcess>(
        std::vector<std::string>{"xterm", "-class", name, "-e", "sleep", "60"}));
    ASSERT_TRUE(comes_to_front(apps.back()->pid()));
  }
  choose(popup_tasklist, {"Home", "Down", "Return"});
  EXPECT_EQ(recorder_.shown, (std::vector<std::string>{"* alpha", "Mid", "zeta"}));
  EXPECT_EQ(recorder_.tracking_word, 0x0181);
  EXPECT_TRUE(comes_to_front(apps[1]->pid()));
  EXPECT_TRUE(menu_done(driver_));
}

TEST_F(Menus, PopupMenuChoiceRunsTheEntryInTheDriver) {
  choose(popup_user_menu, {"Home", "Down", "Return"});
  EXPECT_EQ(recorder_.shown, (std::vector<std::string>{"Open", "-", "Home page"}));
  EXPECT_EQ(recorder_.tracking_word, 0x0181);
  ASSERT_EQ(driver_.state().events.size(), 1u);
  EXPECT_EQ(driver_.state().events.front()->code, 6);  // the home page
  EXPECT_FALSE(driver_.state().menu.pending);
  EXPECT_TRUE(menu_done(driver_));
}

// In a process of its own, where GTK has never seen a display.
TEST(MenusHeadless, NothingRunsAndTheFlagsAreCleared) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto headless = [] {
    const test::ScopedEnv no_display("DISPLAY", ""), bundle("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
    test::ReferenceDriver driver(prepare);
    const test::AgentLink link(driver.dir());
    popup_user_menu();
    popup_tasklist();
    const bool quiet = !driver.state().menu.pending && driver.state().events.size() == 0;
    std::exit(quiet && menu_done(driver) ? 0 : 1);
  };
  EXPECT_EXIT(headless(), testing::ExitedWithCode(0), "^$");
}

TEST(MenuIcons, AreReadWholeOrNotAtAll) {
  const std::vector<uint32_t> two = {2, 2, 1, 2, 3, 4, 1, 1, 9};
  const std::pair<std::vector<uint32_t>, std::vector<uint32_t>> cases[] = {
      {two, {1, 2, 3, 4}},                          // the smallest at least 2 pixels
      {{1, 1, 9, 3, 3, 1}, {9}},                    // a cut image is dropped
      {{0, 5, 1, 1, 7}, {}},                        // an empty image ends the list
      {{0xffffffff, 0xffffffff, 1}, {}},            // a size larger than the value
      {{4, 1, 1, 2, 3, 4, 1, 1, 5}, {1, 2, 3, 4}},  // none large enough: the largest
  };
  for (const auto& [value, pixels] : cases) {
    const auto icon = platform::pick_wm_icon(value, 2);
    EXPECT_EQ(icon ? icon->argb : std::vector<uint32_t>{}, pixels);
  }
}

}  // namespace
}  // namespace cx
