// Two users logged in at once, each with the real agent in a session of its
// own, on one reference driver; a fake logind on a private system bus says
// which session is on the console. Only root can run programs as two users.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/fake_logind.h"
#include "tests/support/login_session.h"
#include "tests/support/other_user.h"
#include "tests/support/scoped_env.h"
#include "tests/support/user_session.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

// An old binary preference file (version 2): acceleration 9 and a chord speed
// of the user's own, so that the driver shows whose settings it holds.
void write_old_preferences(const LoginSession& user, char high, char low) {
  fs::create_directories(user.preferences());
  std::ofstream(user.preferences() + "/com.velcorra.corvex.pref", std::ios::binary)
      << std::string("200\x09\0\0", 6) + high + low + std::string(6, '\0');
}

TEST(TwoSessions, OnlyTheConsoleAgentServesAndASwitchHandsTheDriverOver) {
  if (!can_play_other_users()) GTEST_SKIP() << "needs root to run agents as two users";
  const uid_t second = another_known_user();
  if (second == 0) GTEST_SKIP() << "needs a second user known to the system";
  unsetenv("DISPLAY");
  UserSession machine;
  ASSERT_TRUE(machine.ready());
  chmod(machine.dir().c_str(), 0755);  // the driver's sockets, for every user
  // The driver keeps to its uid rule; the agents follow the fake logind.
  const ScopedEnv no_logind("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + machine.dir() + "/no-bus");
  ASSERT_TRUE(machine.start_driver()) << machine.driver->errors();
  FakeLogind logind;
  ASSERT_TRUE(logind.ok()) << logind.error();
  LoginSession ann(kNobody, "c1"), ben(second, "c2");
  ASSERT_TRUE(ann.ready() && ben.ready());
  logind.add_session("c1", ann.uid(), {}, true);
  logind.add_session("c2", ben.uid(), {}, false);
  write_old_preferences(ann, '\x01', '\x41');
  write_old_preferences(ben, '\x02', '\x8e');
  std::string state;
  auto driver_shows = [&](uid_t uid, const std::string& user, const std::string& chord_speed) {
    return eventually([&] {
      state = machine.driverctl({"state"}).out;
      return state.find("active user: uid " + std::to_string(uid) + " (" + user + ")") !=
                 std::string::npos &&
             state.find("  9: " + chord_speed + " 00 00\n") != std::string::npos;
    });
  };

  const auto ann_panel = ann.start({Programs::corvexctl, "monitor", "--save"});
  const auto ben_panel = ben.start({Programs::corvexctl, "monitor", "--no-save"});
  ASSERT_TRUE(ann_panel->wait_for_output("monitoring as VCXT")) << ann_panel->errors();
  ASSERT_TRUE(ben_panel->wait_for_output("monitoring as VCXT")) << ben_panel->errors();
  ann.start_agent();
  ben.start_agent();
  ASSERT_TRUE(ann.agent_reports("active")) << ann.agent->errors();
  EXPECT_TRUE(ben.logged("UID = " + std::to_string(ben.uid()) + ", user session is inactive"))
      << ben.log();
  EXPECT_TRUE(driver_shows(ann.uid(), "active", "01 41")) << state;
  EXPECT_TRUE(ben.agent_reports("inactive"));

  // Off the console: asked, saved (the panel said 1), cleared.
  logind.set_active("c1", false);
  EXPECT_TRUE(ann_panel->wait_for_output("bdac"));
  EXPECT_TRUE(ann.logged("(writing prefs)"));
  EXPECT_TRUE(ann.agent_reports("inactive"));
  EXPECT_TRUE(eventually([&] {
    return read_file(ann.preferences() + "/com.velcorra.corvex.plist").find("<integer>321<") !=
           std::string::npos;
  }));
  EXPECT_TRUE(driver_shows(ann.uid(), "cleared", "01 41")) << state;

  // The other session comes on: its agent claims the driver and loads its
  // own user's settings.
  logind.set_active("c2", true);
  ASSERT_TRUE(ben.agent_reports("active")) << ben.agent->errors();
  EXPECT_TRUE(ben_panel->wait_for_output("bact"));
  EXPECT_TRUE(driver_shows(ben.uid(), "active", "02 8e")) << state;
  EXPECT_TRUE(ann.agent_reports("inactive"));

  // And back: the panel said 0, so nothing of ben's is written; ann gets the
  // settings she saved, the device table is not sent again.
  logind.set_active("c2", false);
  EXPECT_TRUE(ben_panel->wait_for_output("bdac"));
  EXPECT_TRUE(ben.agent_reports("inactive"));
  logind.set_active("c1", true);
  ASSERT_TRUE(ann.agent_reports("active"));
  EXPECT_TRUE(driver_shows(ann.uid(), "active", "01 41")) << state;
  EXPECT_FALSE(fs::exists(ben.preferences() + "/com.velcorra.corvex.plist"));
  EXPECT_EQ(count_of(ben.log(), "(writing prefs)"), 0);
  for (LoginSession* user : {&ann, &ben}) {
    EXPECT_EQ(count_of(user->log(), "Setting Device Descriptors"), 1) << user->uid();
    EXPECT_EQ(user->agent->terminate(), 0) << user->agent->errors();
  }
  EXPECT_EQ(count_of(ann.log(), "Background App Activating"), 2);
}

}  // namespace
}  // namespace cx::test
