// The real corvex-background against the real reference driver and a
// control panel on a private session bus, driven the way a user session
// drives them: corvex-driverctl for the hardware side, corvexctl for the
// control panel.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/fake_logind.h"
#include "tests/support/scoped_env.h"
#include "tests/support/user_session.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

class AgentProcessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("DISPLAY");
    ASSERT_TRUE(session_.ready()) << "dbus-daemon did not start";
  }
  void start_driver() { ASSERT_TRUE(session_.start_driver()) << session_.driver->errors(); }
  std::string driverctl(const std::vector<std::string>& args) {
    return session_.driverctl(args).out;
  }
  bool logged(const std::string& text) const { return session_.logged(text); }
  bool driver_serves(const std::string& state) {
    const std::string line = "active user: uid " + std::to_string(getuid()) + " (" + state + ")";
    return driverctl({"state"}).find(line) != std::string::npos;
  }

  UserSession session_;
  // Whatever logind the machine runs has no session for the tests: without
  // one the agent counts as on the console and the driver keeps to the uid rule.
  ScopedEnv no_logind_{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + session_.dir() + "/no-bus"};
};

// Also a user with only an old binary preference file, an agent found beside
// its staged bundle, a second agent of the session, and no logind at all.
TEST_F(AgentProcessTest, ServesTheDriverAndTheControlPanelUntilQuit) {
  const fs::path prefs = fs::path(session_.dir()) / "config/corvex/Preferences";
  fs::create_directories(prefs);
  // Version 2: acceleration 9, chord speed 321, no dataspaces, no sets.
  std::ofstream(prefs / "com.velcorra.corvex.pref", std::ios::binary)
      << std::string("200\x09\0\0\x01\x41\0\0\0\0\0\0", 14);
  unsetenv("CORVEX_BUNDLE");
  start_driver();
  BackgroundProcess monitor({Programs::corvexctl, "monitor", "--save"});
  ASSERT_TRUE(monitor.wait_for_output("monitoring as VCXT"));
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(monitor.wait_for_output("bact"));
  EXPECT_TRUE(driver_serves("active")) << driverctl({"state"});
  EXPECT_TRUE(fs::exists(prefs / "~com.velcorra.corvex.pref"));
  EXPECT_FALSE(fs::exists(prefs / "com.velcorra.corvex.pref"));
  BackgroundProcess second({Programs::agent});
  EXPECT_EQ(second.wait_exit(), -10025 & 0xFF);
  EXPECT_NE(second.errors().find("another agent already serves this session"), std::string::npos)
      << second.errors();

  driverctl({"devices-changed"});
  driverctl({"chord"});
  EXPECT_TRUE(monitor.wait_for_output("UPDt"));
  EXPECT_TRUE(monitor.wait_for_output("cord"));

  for (const auto& args : std::vector<std::vector<std::string>>{
           {"save"}, {"restore", "buttons"}, {"menu-extra", "show"}}) {
    const CommandResult r = session_.corvexctl(args);
    EXPECT_EQ(r.exit_status, 0) << args[0] << ": " << r.err;
  }
  const std::string saved = read_file(prefs / "com.velcorra.corvex.plist");
  EXPECT_NE(saved.find("<integer>321</integer>"), std::string::npos) << saved;

  EXPECT_EQ(session_.corvexctl({"quit"}).exit_status, 0);
  EXPECT_EQ(session_.agent->wait_exit(), 0) << session_.agent->errors();
  const std::string text = session_.log();
  EXPECT_EQ(count_of(text, "End of Corvex Background.app Diagnostic Report"), 2);  // both agents
  EXPECT_EQ(count_of(text, "Setting Device Descriptors"), 1);
  EXPECT_TRUE(driver_serves("cleared"));
  const std::string errors = session_.agent->errors();
  EXPECT_EQ(count_of(errors, "systemd-logind cannot be reached"), 1) << errors;
}

TEST_F(AgentProcessTest, AsAUserServiceFollowsItsUsersGraphicalSession) {
  FakeLogind logind;
  ASSERT_TRUE(logind.ok()) << logind.error();
  // Neither its process nor XDG_SESSION_ID names a session, as under a user unit.
  unsetenv("XDG_SESSION_ID");
  logind.add_session("g8", getuid(), {}, true);
  start_driver();  // after logind: the driver asks it too
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(driver_serves("active"));
  logind.set_active("g8", false);
  EXPECT_TRUE(eventually([&] { return session_.corvexctl({"status"}).out == "inactive\n"; }));
  EXPECT_EQ(session_.agent->terminate(), 0);
}

TEST_F(AgentProcessTest, SurvivesTheDriverRestartingAndActsOnPressesAfterwards) {
  start_driver();
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();

  kill(session_.driver->pid(), SIGKILL);
  session_.driver->wait_exit();
  EXPECT_TRUE(eventually([&] { return session_.corvexctl({"status"}).out == "inactive\n"; }));
  start_driver();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(driver_serves("active"));
  driverctl({"event", "2", "687474703a2f2f6578616d706c652e6f72672f00"});
  EXPECT_TRUE(logged("Launching URL\r\n"));

  // Said once; the new driver was set up from the start, devices included.
  EXPECT_EQ(
      count_of(session_.agent->errors(), "Corvex Background: lost the driver, reconnecting\n"), 1);
  const std::string text = session_.log();
  EXPECT_EQ(count_of(text, "Driver connection lost"), 1) << text;
  EXPECT_EQ(count_of(text, "Setting Device Descriptors"), 2);
  EXPECT_EQ(count_of(text, "Background App Activating"), 2);
}

}  // namespace
}  // namespace cx::test
