// The agent core's rules: which driver messages are acted on, the identifier
// exchange and activation, the foreground timer's counting and comparison,
// set-up and tear-down.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent_state.h"
#include "agent/driver_events.h"
#include "agent/foreground_app.h"
#include "agent/lifecycle.h"
#include "agent/menu_extra.h"
#include "agent/user_sessions.h"
#include "platform/event_loop.h"
#include "tests/support/agent_core.h"
#include "tests/support/child_process.h"
#include "tests/support/scoped_env.h"
#include "tests/support/xvfb.h"

namespace cx::test {
namespace {

using platform::fourcc;

constexpr uint32_t message(uint32_t code, uint32_t subsystem = 0x522) {
  return 0xF8000000u | (subsystem << 14) | code;
}

void queue(ReferenceDriver& driver, int16_t code, const std::string& data) {
  driver.mutable_state().events.push(
      code, std::span(reinterpret_cast<const uint8_t*>(data.data()), data.size()));
}

using DriverEventTest = AgentTest;

TEST_F(DriverEventTest, MessagesAreFilteredByFamilyAndActivity) {
  struct Case {
    uint32_t value;
    bool active;
    const char* expected;  // log text, empty for nothing
  } const cases[] = {
      {0xF9488001, true, "Launching File\r\n"},  // data only ever comes through the queue
      {0xF9488001, false, ""},
      {message(1, 0x523), true, ""},
      {0xFC000000 | (0x522 << 14) | 7, true, ""},
      {message(7), true, "Chord Event\r\n"},
      {message(4), true, ""},
      {message(20), true, ""},
      {message(16), true, "Horizontal Scrolling Changed\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    start_log();
    background_app_active = c.active ? 1 : 0;
    cx_notify(nullptr, {}, c.value, 0);
    close_diagnostic_window();
    EXPECT_EQ(log(), c.expected);
  }
}

TEST_F(DriverEventTest, QueueIsDrainedOnlyWhileActiveAndUnknownCodesAreSkipped) {
  queue(driver_, 20, "ignored");
  queue(driver_, 2, std::string("http://example.org/\0", 20));
  queue(driver_, 9, "");
  cx_notify(nullptr, {}, message(kEventsQueued), 0);
  EXPECT_EQ(driver_.state().events.size(), 3u);

  background_app_active = 1;
  timer_driver_poll_count = 30;
  cx_notify(nullptr, {}, message(kEventsQueued), 0);
  EXPECT_EQ(driver_.state().events.size(), 0u);
  EXPECT_EQ(timer_driver_poll_count, 0);
  const std::string text = log();
  EXPECT_NE(text.find("Launching URL\r\n"), std::string::npos);
  EXPECT_EQ(launcher_.opened, std::vector<std::string>{"http://example.org/"});
  // A paste without text is logged and skipped.
  EXPECT_NE(text.find("Paste Text\r\n"), std::string::npos);
  EXPECT_EQ(count_in_log("paste_text"), 0);
}

using SessionTest = AgentTest;

TEST_F(SessionTest, OwnUserActivatesAndDevicesAreSentOnce) {
  run_control_panel(fourcc("VCXT"), 0);
  EXPECT_EQ(set_active_uid(true), 1);
  EXPECT_EQ(active_user().uid, 1u);
  EXPECT_EQ(active_user().state, 2);

  handle_UID_event(14, 501);  // another user: nothing changes
  EXPECT_EQ(background_app_active, 0u);
  handle_UID_event(14, 1);
  handle_UID_event(14, 1);
  EXPECT_EQ(background_app_active, 1u);
  EXPECT_EQ(initialized_devices, 1u);
  EXPECT_EQ(count_in_log("Updaing ADBID32 Firmware"), 1);
  EXPECT_EQ(count_in_log("Setting Device Descriptors"), 1);
  EXPECT_EQ(count_in_log("Background App Activating"), 2);
  EXPECT_FALSE(driver_.state().devices.descriptors().empty());
  EXPECT_EQ(sent_ids(), "bact bact ");
}

TEST_F(SessionTest, DeactivationSavesOnlyWhenTheControlPanelAnswersOne) {
  for (const int16_t answer : {int16_t{1}, int16_t{2}, int16_t{0}}) {
    SCOPED_TRACE(answer);
    reset_agent_state();
    events_.sent.clear();
    run_control_panel(fourcc("sprf"), answer);
    background_app_active = 1;
    active_app_sig = fourcc("ttxt");
    const int saves_before = count_in_log("(writing prefs)");
    UserSessionDeactivatedNotificationHandler(nullptr, nullptr, nullptr);
    EXPECT_EQ(count_in_log("(writing prefs)") - saves_before, answer == 1 ? 1 : 0);
    EXPECT_EQ(active_app_sig, answer == 1 ? 0u : fourcc("ttxt"));
    EXPECT_EQ(user_session_active | background_app_active, 0u);
    EXPECT_EQ(active_user().state, 1);
    ASSERT_EQ(events_.sent.size(), 1u);
    EXPECT_EQ(events_.sent[0].mode, platform::AESendMode::wait_reply);
    EXPECT_EQ(events_.sent[0].timeout, platform::kNoTimeOut);
  }
}

TEST_F(SessionTest, OffConsoleOnlyWithdrawsItsOwnUser) {
  user_session_active = 0;
  set_active_uid(true);
  handle_UID_event(15, 1);    // the console changed hands: not for this agent
  handle_UID_event(14, 501);  // another user's code
  EXPECT_EQ(active_user().state, 2);
  handle_UID_event(14, 1);
  EXPECT_EQ(active_user().state, 1);
  EXPECT_EQ(background_app_active, 0u);

  UserSessionActivatedNotificationHandler(nullptr, nullptr, nullptr);
  EXPECT_EQ(user_session_active, 1u);
  EXPECT_EQ(active_user().state, 2);
  handle_UID_event(15, 1);  // on the console: announce again
  EXPECT_NE(log().find("UID Event with uid=1, action=15"), std::string::npos);
  EXPECT_NE(log().find("(background_uid=1, user_session_active=true)"), std::string::npos);
}

using ForegroundTest = AgentTest;

// Ticks count on while the agent is inactive; the first tick past the
// fiftieth of an active one drains the queue.
TEST_F(ForegroundTest, FiftiethTickRemovesTheLoginItemOnceAndDrainsOnlyWhenActive) {
  installForegroundAppTimer();
  queue(driver_, 6, "");
  loop_.advance(std::chrono::milliseconds(1000 + 48 * 200));
  EXPECT_EQ(timer_driver_poll_count, 49);
  EXPECT_EQ(removed_login_item, 0u);
  loop_.advance(std::chrono::milliseconds(200));  // 10.8 s: the 50th tick
  EXPECT_EQ(removed_login_item, 1u);
  EXPECT_EQ(timer_driver_poll_count, 50);
  EXPECT_EQ(driver_.state().events.size(), 1u);
  EXPECT_EQ(processes_.front_queries, 0);
  background_app_active = 1;
  loop_.advance(std::chrono::milliseconds(200));
  EXPECT_EQ(driver_.state().events.size(), 0u);
  EXPECT_EQ(timer_driver_poll_count, 0);
  EXPECT_EQ(count_in_log("Opening Home Page"), 1);
  EXPECT_EQ(launcher_.opened, std::vector<std::string>{"(browser)"});
  timer_driver_poll_count = 32767;
  foregroundAppTimerAction(nullptr, nullptr);
  EXPECT_EQ(timer_driver_poll_count, -32768);
  removeForegroundAppTimer();
}

TEST_F(ForegroundTest, SwitchesFollowSignatureThenName) {
  background_app_active = 1;
  struct Step {
    platform::OSType signature;
    const char* name;
    const char* sent;  // the driver's front name afterwards
  } const steps[] = {
      {fourcc("ttxt"), "TextEdit", "TextEdit"},
      {fourcc("ttxt"), "TextEdit Helper", "TextEdit"},  // one creator, one application
      {platform::kUnknownSignature, "Foo", "Foo"},
      {platform::kUnknownSignature, "Foobar", "Foobar"},
      {platform::kUnknownSignature, "Foobaz", "Foobaz"},
      {platform::kUnknownSignature, "Foobaz", "Foobaz"},
      {fourcc("MSIE"), "", ""},
  };
  uint32_t pid = 100;
  for (const Step& s : steps) {
    SCOPED_TRACE(s.name);
    processes_.list.insert(processes_.list.begin(), {{0, ++pid}, s.signature, s.name});
    foregroundAppTimerAction(nullptr, nullptr);
    EXPECT_EQ(driver_.state().apps.front_name(), s.sent);
  }
  EXPECT_EQ(count_in_log("Switching App to "), 5);
  processes_.list.clear();  // no front process: nothing sent
  foregroundAppTimerAction(nullptr, nullptr);
  EXPECT_EQ(count_in_log("Switching App to "), 5);
}

// The real main loop and X11 process service on a private X server, where
// corvex-desktopctl plays the window manager.
TEST_F(ForegroundTest, FocusChangesReachTheDriverBeforeTheFirstTick) {
  const Xvfb xvfb;
  ASSERT_FALSE(xvfb.display().empty());
  const ScopedEnv display("DISPLAY", xvfb.display());
  platform::set_event_loop(nullptr);
  platform::set_processes(nullptr);
  background_app_active = 1;
  installForegroundAppTimer();
  auto& loop = platform::event_loop();
  for (const std::string name : {"Alpha", "Beta"}) {
    ASSERT_EQ(run_command({CX_DESKTOPCTL, "front", name}).exit_status, 0);
    const auto check =
        loop.add_timer(std::chrono::milliseconds(2), std::chrono::milliseconds(2), [&] {
          if (driver_.state().apps.front_name() == name) loop.quit();
        });
    const auto give_up = loop.add_one_shot(std::chrono::milliseconds(800), [&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(driver_.state().apps.front_name(), name);
  }
  EXPECT_EQ(timer_driver_poll_count, 0);  // the first tick comes after a second
  EXPECT_EQ(count_in_log("Switching App to "), 2);
  removeForegroundAppTimer();
}

using SetupTest = AgentTest;

TEST_F(SetupTest, SetUpReachesTheLoopAndTearDownUndoesIt) {
  use_agent_log();
  queue(driver_, 2, "http://example.org/");      // pressed while no agent listened
  setenv("CORVEX_SYSTEM_VERSION", "0x1028", 1);  // no fast user switching
  ASSERT_EQ(setup_backgroundapp(), 0);
  unsetenv("CORVEX_SYSTEM_VERSION");
  EXPECT_EQ(driver_.state().events.size(), 0u);
  EXPECT_TRUE(launcher_.opened.empty());
  for (const platform::OSType id : {fourcc("wprf"), fourcc("rdpf"), fourcc("gbac"), fourcc("minf")})
    EXPECT_TRUE(events_.handlers().has_handler(fourcc("cxvx"), id)) << platform::fourcc_text(id);
  EXPECT_EQ(events_.served, std::vector<platform::OSType>{fourcc("VCVX")});
  EXPECT_EQ(active_user().state, 2);
  EXPECT_EQ(loop_.timer_count(), 1u);
  EXPECT_EQ(loop_.watch_count(), 1u);

  // The menu extra's switch is read as a short; without one it is off.
  platform::AppleEvent show(fourcc("cxvx"), fourcc("mnex"), {}), reply;
  EXPECT_EQ(events_.handlers().dispatch(platform::AppleEvent(show), reply), platform::noErr);
  EXPECT_EQ(menuExtraVisible, 0u);
  show.put_shor(fourcc("data"), 1);
  EXPECT_EQ(events_.handlers().dispatch(show, reply), platform::noErr);
  EXPECT_EQ(menuExtraVisible, 1u);
  platform::AppleEvent quit(fourcc("aevt"), fourcc("quit"), {});
  EXPECT_EQ(events_.handlers().dispatch(quit, reply), platform::noErr);
  EXPECT_TRUE(loop_.quit_requested());

  cleanup_backgroundapp();
  EXPECT_EQ(active_user().state, 1);
  EXPECT_EQ(loop_.watch_count(), 0u);
  EXPECT_FALSE(driver_connected);
  const std::string text = log();
  for (const char* line :
       {"===============================\r\nCorvex Background.app Diagnostic Report\r\n",
        "Connecting to Driver\r\nChecking driver version\r\nInitializing AE Handlers\r\n",
        "Installing Appset Timer\r\n",
        "End of Corvex Background.app Diagnostic Report\r\n>>>>>>>>>>>>>>>><<<<<<<<<<<<<<<\r\n"})
    EXPECT_NE(text.find(line), std::string::npos) << line;
}

TEST_F(SetupTest, ALostDriverIsSoughtAfterPausesDoublingFromHalfASecondToTenSeconds) {
  setenv("CORVEX_SYSTEM_VERSION", "0x1028", 1);
  ASSERT_EQ(setup_backgroundapp(), 0);
  unsetenv("CORVEX_SYSTEM_VERSION");
  driver_.stop();
  ::testing::internal::CaptureStderr();
  set_active_uid(true);  // finds the driver gone
  loop_.advance(std::chrono::milliseconds(26000));
  // Tries at 0.5, 1.5, 3.5, 7.5, 15.5 and 25.5 s; the next after 10 s more.
  ASSERT_TRUE(driver_.start());
  loop_.advance(std::chrono::milliseconds(9400));
  EXPECT_FALSE(driver_connected);
  loop_.advance(std::chrono::milliseconds(100));
  EXPECT_TRUE(driver_connected);
  EXPECT_EQ(active_user().state, 2);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Corvex - Driver comm failed with error 0xe00002c0 and output=0\n"
            "Corvex Background: lost the driver, reconnecting\n"
            "Corvex Background: the driver is back\n");
  cleanup_backgroundapp();
}

// Each refusal is reported on stderr, and set-up is still torn down.
TEST_F(SetupTest, OnlyTheExactDriverInterfaceIsAcceptedAndAMissingDriverIsReported) {
  use_agent_log();
  const auto nowhere = platform::make_socket_user_client_service(dir_.file("none"));
  const struct {
    uint16_t version;
    uint8_t revision;
    platform::UserClientService* service;
    int status;
    const char* error;
  } cases[] = {
      {0x0300, 2, service_.get(), -10011,
       "Corvex Background: Driver version mismatch.\n\t\t\tDriver Version: 0x300(0x2)\n"
       "    App Version: 0x300(0x1)\n"},
      {0x0301, 1, service_.get(), -10011, "Driver Version: 0x301(0x1)\n"},
      {0x0300, 1, nowhere.get(), -10010, "Corvex Background: could not connect to driver\n"},
  };
  int reports = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    driver_.mutable_state().devices.interface_version = c.version;
    driver_.mutable_state().devices.interface_revision = c.revision;
    platform::set_user_client_service(c.service);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(setup_backgroundapp(), c.status);
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
    cleanup_backgroundapp();
    EXPECT_EQ(count_in_log("End of Corvex Background.app Diagnostic Report"), ++reports);
  }
}

}  // namespace
}  // namespace cx::test
