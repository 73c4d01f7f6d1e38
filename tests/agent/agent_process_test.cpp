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
  void start_driver(const std::vector<std::string>& options = {}) {
    ASSERT_TRUE(session_.start_driver(options)) << session_.driver->errors();
  }
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

TEST_F(AgentProcessTest, ServesTheDriverAndTheControlPanelUntilQuit) {
  start_driver();
  BackgroundProcess monitor({Programs::corvexctl, "monitor", "--save"});
  ASSERT_TRUE(monitor.wait_for_output("monitoring as VCXT"));
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(monitor.wait_for_output("bact"));
  EXPECT_TRUE(driver_serves("active")) << driverctl({"state"});

  driverctl({"devices-changed"});
  driverctl({"chord"});
  EXPECT_TRUE(monitor.wait_for_output("UPDt"));
  EXPECT_TRUE(monitor.wait_for_output("cord"));
  driverctl({"event", "2", "687474703a2f2f6578616d706c652e6f72672f00"});
  driverctl({"hscroll"});
  EXPECT_TRUE(logged("Launching URL\r\n"));
  EXPECT_TRUE(logged("Horizontal Scrolling Changed\r\n"));

  const CommandResult info = session_.corvexctl({"mouse-info"});
  EXPECT_EQ(info.exit_status, 0) << info.err;
  EXPECT_NE(info.out.find("0x0300"), std::string::npos) << info.out;
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"save"}, {"restore", "buttons"}, {"menu-extra", "show"}}) {
    const CommandResult r = session_.corvexctl(args);
    EXPECT_EQ(r.exit_status, 0) << args[0] << ": " << r.err;
  }

  EXPECT_EQ(session_.corvexctl({"quit"}).exit_status, 0);
  EXPECT_EQ(session_.agent->wait_exit(), 0) << session_.agent->errors();
  const std::string text = session_.log();
  EXPECT_NE(text.find("End of Corvex Background.app Diagnostic Report"), std::string::npos);
  EXPECT_EQ(text.find("Setting Device Descriptors"), text.rfind("Setting Device Descriptors"));
  EXPECT_TRUE(driver_serves("cleared"));
}

TEST_F(AgentProcessTest, RefusesADriverOfAnotherInterfaceVersion) {
  start_driver({"--interface-version", "0x0301"});
  session_.start_agent();
  EXPECT_EQ(session_.agent->wait_exit(), -10011 & 0xFF);
  EXPECT_NE(session_.agent->errors().find("Driver Version: 0x301(0x1)"), std::string::npos);
  EXPECT_TRUE(logged("End of Corvex Background.app Diagnostic Report"));
}

TEST_F(AgentProcessTest, SessionSwitchAsksTheControlPanelAndActivatesOnlyOnce) {
  // The agent's bundle with a FastUserSwitch helper beside the menu extra.
  const std::string bundle = session_.dir() + "/Corvex Background";
  fs::copy(Programs::bundle, bundle, fs::copy_options::recursive);
  const std::string helper = bundle + "/Contents/Resources/FastUserSwitch.bundle/Contents/MacOS";
  fs::create_directories(helper);
  fs::copy_file(CX_FUS_HELPER, helper + "/FastUserSwitch.so", fs::copy_options::overwrite_existing);
  const ScopedEnv bundle_variable("CORVEX_BUNDLE", bundle);

  start_driver();
  BackgroundProcess monitor({Programs::corvexctl, "monitor", "--save"});
  ASSERT_TRUE(monitor.wait_for_output("monitoring as VCXT"));
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(logged("UID = " + std::to_string(getuid()) + ", user session is active"));

  kill(session_.agent->pid(), SIGUSR1);  // off the console
  EXPECT_TRUE(monitor.wait_for_output("bdac"));
  EXPECT_TRUE(logged("(writing prefs)"));
  EXPECT_TRUE(eventually([&] { return session_.corvexctl({"status"}).out == "inactive\n"; }));

  kill(session_.agent->pid(), SIGUSR2);  // back again: settings reloaded, devices not resent
  ASSERT_TRUE(session_.agent_active());
  EXPECT_EQ(session_.agent->terminate(), 0);
  const std::string text = session_.log();
  EXPECT_EQ(text.find("Setting Device Descriptors"), text.rfind("Setting Device Descriptors"));
  EXPECT_NE(text.find("User Session Activated"), std::string::npos);
}

TEST_F(AgentProcessTest, FollowsItsLogindSessionOnAndOffTheConsole) {
  start_driver();  // before logind: the driver keeps to the uid rule
  FakeLogind logind;
  ASSERT_TRUE(logind.ok()) << logind.error();
  // The agent's process is in no session, as a user service: XDG_SESSION_ID names it.
  logind.add_session("c7", getuid(), {}, true);
  const ScopedEnv session_id("XDG_SESSION_ID", "c7");
  BackgroundProcess monitor({Programs::corvexctl, "monitor", "--save"});
  ASSERT_TRUE(monitor.wait_for_output("monitoring as VCXT"));
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  const std::string uid = std::to_string(getuid());
  EXPECT_TRUE(logged("UID = " + uid + ", user session is active"));
  EXPECT_TRUE(driver_serves("active"));

  logind.set_active("c7", false);
  EXPECT_TRUE(monitor.wait_for_output("bdac"));
  EXPECT_TRUE(logged("User Session & Background App Dectivated"));
  EXPECT_TRUE(eventually([&] { return session_.corvexctl({"status"}).out == "inactive\n"; }));
  EXPECT_TRUE(driver_serves("cleared"));

  logind.set_active("c7", true);
  ASSERT_TRUE(session_.agent_active());
  EXPECT_TRUE(logged("User Session Activated"));
  // The driver asks the console session's agent to announce itself.
  EXPECT_EQ(session_.driverctl({"console-switch", uid}).exit_status, 0);
  EXPECT_TRUE(logged("UID Event with uid=" + uid + ", action=15"));
  EXPECT_TRUE(session_.agent_active());
  EXPECT_EQ(session_.agent->terminate(), 0);
  EXPECT_EQ(session_.agent->errors().find("cannot be reached"), std::string::npos);
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

TEST_F(AgentProcessTest, WithoutLogindTheSessionIsActiveAndTheAgentSaysSoOnce) {
  start_driver();
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(logged(", user session is active"));
  EXPECT_EQ(session_.agent->terminate(), 0);
  const std::string errors = session_.agent->errors();
  const std::string line = "systemd-logind cannot be reached";
  ASSERT_NE(errors.find(line), std::string::npos) << errors;
  EXPECT_EQ(errors.find(line), errors.rfind(line));
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

TEST_F(AgentProcessTest, RunsFromTheBuildTreeAndASecondAgentOfTheSessionLeaves) {
  unsetenv("CORVEX_BUNDLE");  // the staged bundle beside the executable
  start_driver();
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  BackgroundProcess second({Programs::agent});
  EXPECT_EQ(second.wait_exit(), -10025 & 0xFF);
  EXPECT_NE(second.errors().find("another agent already serves this session"), std::string::npos)
      << second.errors();
  EXPECT_TRUE(session_.agent_active());
}

// A user with only an old binary preference file: the agent imports it and
// sets it aside, and a save writes what the driver now holds.
TEST_F(AgentProcessTest, ImportsAnOldBinaryPreferenceFileAndSavesItAsAPropertyList) {
  const fs::path prefs = fs::path(session_.dir()) / "config/corvex/Preferences";
  fs::create_directories(prefs);
  // Version 2: acceleration 9, chord speed 321, no dataspaces, no sets.
  std::ofstream(prefs / "com.velcorra.corvex.pref", std::ios::binary)
      << std::string("200\x09\0\0\x01\x41\0\0\0\0\0\0", 14);
  start_driver();
  session_.start_agent();
  ASSERT_TRUE(session_.agent_active()) << session_.agent->errors();
  EXPECT_TRUE(fs::exists(prefs / "~com.velcorra.corvex.pref"));
  EXPECT_FALSE(fs::exists(prefs / "com.velcorra.corvex.pref"));
  EXPECT_EQ(session_.corvexctl({"save"}).exit_status, 0);
  const std::string saved = read_file(prefs / "com.velcorra.corvex.plist");
  EXPECT_NE(saved.find("<integer>321</integer>"), std::string::npos) << saved;
}

}  // namespace
}  // namespace cx::test
