// corvexctl bind, unbind, show and app remove against the real reference
// driver and, where a save is wanted, the real agent.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plist/plist_io.h"
#include "tests/support/golden.h"
#include "tests/support/user_session.h"

namespace cx::test {
namespace {

using Args = std::vector<std::string>;

class CorvexctlEditTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("DISPLAY");
    ASSERT_TRUE(session_.ready()) << "dbus-daemon did not start";
    ASSERT_TRUE(session_.start_driver()) << session_.driver->errors();
  }
  void start_agent() {
    session_.start_agent();
    ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  }
  CommandResult ctl(const Args& args) const { return session_.corvexctl(args); }
  std::string show(const Args& args = {}) const {
    Args all{"show"};
    all.insert(all.end(), args.begin(), args.end());
    const CommandResult r = ctl(all);
    EXPECT_EQ(r.exit_status, 0) << r.err;
    return r.out;
  }
  std::string state() const { return session_.driverctl({"state"}).out; }
  // The user's saved dictionary under "CXPrefData", or null.
  plist::ValueRef saved() const {
    const auto r = plist::read_plist_file(session_.dir() +
                                          "/config/corvex/Preferences/com.velcorra.corvex.plist");
    const auto* domain = plist::as<plist::Dictionary>(r.value);
    return domain ? domain->get("CXPrefData") : nullptr;
  }
  // A value down a path of dictionary keys; an array step takes element 0.
  static plist::ValueRef at(plist::ValueRef v, const Args& path) {
    for (const std::string& key : path) {
      if (const auto* list = plist::as<plist::Array>(v)) v = list->empty() ? nullptr : list->at(0);
      const auto* dict = plist::as<plist::Dictionary>(v);
      v = dict ? dict->get(key) : nullptr;
    }
    return v;
  }

  UserSession session_;
};

// What show prints for each binding, bound without an agent: the driver
// keeps it and the command says that nothing was saved. Each value goes
// through the agent's conversion to a response block and back, normalised.
TEST_F(CorvexctlEditTest, BindThenShowPrintsEveryKindInItsOwnNotation) {
  const Args binds[] = {
      {"B4Button", "Keystrokes", "cmd+w", "page up"},
      {"--mods", "Shift+Cmd", "B3Button", "StandardResponse", "HomePage", "--label", "Home"},
      {"ButtonID_8", "MoreClicks", "option+rightclick", "double", "Drag"},
      {"ButtonID_9", "PasteText", "Grüße,\nFred"},
      {"ButtonID_10", "LaunchFile", "/tmp/a b%.txt"},
      {"ButtonID_11", "LaunchURL", "https://www.example.org/a/rather/long/address?q=1"},
      {"PresetButton2", "StandardResponse", "ScrollUp"},
      {"ChordButton", "MenuResponse", "--label", "Tools", "--entry", "Keystrokes", "Cmd+C",
       "--label", "Copy", "--entry", "LaunchURL", "https://x.org/"},
      {"ButtonID_12", "Keystrokes", "shift+cmd+a", "num 0", "#102", "F1"},
      {"ButtonID_13", "MoreClicks", "ctrl+button5click", "drag"},
      {"ButtonID_14", "LaunchFile", "<00ff10>"},
      {"ButtonID_15", "StandardResponse", "DoNothing"},
  };
  for (const Args& args : binds) {
    SCOPED_TRACE(args[0] + " " + args[1]);
    Args bind{"bind"};
    bind.insert(bind.end(), args.begin(), args.end());
    const CommandResult r = ctl(bind);
    EXPECT_EQ(r.exit_status, 1) << r.err;
    EXPECT_NE(r.err.find("nothing was saved"), std::string::npos) << r.err;
  }
  EXPECT_EQ(show({"Default"}), read_text("show_bound.txt"));
}

TEST_F(CorvexctlEditTest, BadInputNamesTheWordAndChangesNothing) {
  ASSERT_EQ(ctl({"bind", "--app", "Safari", "B4Button", "PasteText", "hello"}).exit_status, 1);
  const std::string before = state();
  const std::pair<Args, std::string> cases[] = {
      {{"bind", "B9Button", "StandardResponse", "Click"}, "'B9Button'; accepted: LeftButton"},
      {{"bind", "B4Button", "Macro", "x"}, "'Macro'; accepted: StandardResponse"},
      {{"bind", "B4Button", "StandardResponse", "click"}, "'click'; accepted: Click"},
      {{"bind", "B4Button", "StandardResponse", "Click", "Drag"}, "takes 1 value word(s), not 2"},
      {{"bind", "B4Button", "Keystrokes", "Cmd+W", "Hard+A"}, "'Hard+A'; accepted:"},
      {{"bind", "B4Button", "MoreClicks", "CapsLock+Click"}, "'CapsLock+Click'; accepted:"},
      {{"bind", "B4Button", "MoreClicks", "Click", "Triple"}, "'Triple'; accepted: Double, Drag"},
      {{"bind", "B4Button", "LaunchFile", "<abc>"}, "'<abc>'; accepted:"},
      {{"bind", "B4Button", "PasteText", "bell\a"}, "cannot be saved"},
      {{"bind", "--mods", "Meta", "B4Button", "StandardResponse", "Click"}, "'Meta'; accepted:"},
      {{"bind", "--colour", "red", "B4Button"}, "'--colour'; accepted: --app"},
      {{"bind", "B4Button"}, "needs BUTTON KIND"},
      {{"bind", "B4Button", "StandardResponse", "Click", "--app"}, "--app needs a value"},
      {{"bind", "--app", "Safari", "PresetButton1", "StandardResponse", "Click"},
       "leave out --app"},
      {{"bind", "--app", std::string(40, 'x'), "B4Button", "StandardResponse", "Click"},
       "longer than 31 bytes"},
      {{"bind", "B4Button", "MenuResponse"}, "--entry KIND VALUE"},
      {{"bind", "B4Button", "MenuResponse", "--entry", "MenuResponse"}, "cannot be a MenuResponse"},
      {{"unbind", "--app", "Mail", "B4Button"}, "'Mail'; the driver has: Safari"},
      {{"unbind", "B4Button", "B3Button"}, "exactly one BUTTON"},
      {{"app", "remove", "Mail"}, "'Mail'; accepted: Safari"},
      {{"app", "remove", "Default"}, "cannot be removed"},
      {{"app", "delete", "Safari"}, "accepted: app remove NAME"},
      {{"show", "Mail"}, "'Mail'; accepted: Default, Safari"},
      {{"show", "--json"}, "'--json'; accepted: --plist"},
      {{"frobnicate"}, "'frobnicate'; accepted: status"},
  };
  for (const auto& [args, message] : cases) {
    SCOPED_TRACE(message);
    const CommandResult r = ctl(args);
    EXPECT_EQ(r.exit_status, 2);
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    EXPECT_EQ(state(), before);
  }
}

TEST_F(CorvexctlEditTest, BindRunsInItsApplicationIsSavedAndUnbindRestoresTheDefault) {
  start_agent();
  const std::string url = "https://www.example.org/corvex";
  const CommandResult bound =
      ctl({"bind", "--app", "TextEdit", "B4Button", "LaunchURL", url, "--label", "Corvex"});
  ASSERT_EQ(bound.exit_status, 0) << bound.err;
  EXPECT_NE(
      show({"TextEdit"}).find("  B4Button         LaunchURL         " + url + "  label Corvex\n"),
      std::string::npos)
      << show({"TextEdit"});
  const plist::ValueRef saved_url = at(saved(), {"ApplicationSetData", "TextEdit", "ButtonData",
                                                 "B4Button", "Response", "LaunchURL"});
  ASSERT_TRUE(plist::as<plist::String>(saved_url))
      << read_file(session_.dir() + "/config/corvex/Preferences/com.velcorra.corvex.plist");
  EXPECT_EQ(plist::as<plist::String>(saved_url)->text(), url);
  // The new set started as the defaults: nothing else of it is saved.
  EXPECT_FALSE(at(saved(), {"ApplicationSetData", "TextEdit", "ScrollingData"}));
  EXPECT_FALSE(at(saved(), {"ApplicationSetData", "TextEdit", "ButtonData", "LeftButton"}));

  // What show --plist prints is what the save wrote.
  const CommandResult preview = ctl({"show", "--plist"});
  ASSERT_EQ(preview.exit_status, 0) << preview.err;
  const auto parsed = plist::read_plist(
      std::span(reinterpret_cast<const uint8_t*>(preview.out.data()), preview.out.size()));
  EXPECT_TRUE(plist::equal(at(parsed.value, {"CXPrefData"}), saved())) << preview.out;

  session_.driverctl({"front", "TextEdit"});
  session_.driverctl({"press", "3"});
  EXPECT_TRUE(session_.logged("Launching URL")) << session_.log();

  ASSERT_EQ(ctl({"unbind", "--app", "TextEdit", "B4Button"}).exit_status, 0);
  EXPECT_NE(show({"TextEdit"}).find("  B4Button         StandardResponse  Drag\n"),
            std::string::npos)
      << show({"TextEdit"});
  EXPECT_TRUE(at(saved(), {"ApplicationSetData", "TextEdit", "ApplicationName"}));
  EXPECT_FALSE(at(saved(), {"ApplicationSetData", "TextEdit", "ButtonData", "B4Button"}));

  ASSERT_EQ(ctl({"app", "remove", "TextEdit"}).exit_status, 0);
  EXPECT_EQ(show().find("TextEdit"), std::string::npos);
  EXPECT_FALSE(at(saved(), {"ApplicationSetData", "TextEdit"}));
}

}  // namespace
}  // namespace cx::test
