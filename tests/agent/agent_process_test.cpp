// The real corvex-background against the real reference driver and a
// control panel on a private session bus, driven the way a user session
// drives them: corvex-driverctl for the hardware side, corvexctl for the
// control panel.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/ae_test_process.h"
#include "tests/support/xvfb.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;
using testing::BackgroundProcess;
using testing::PrivateSessionBus;
using testing::run_command;

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

int count(const std::string& text, const std::string& part) {
  int n = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

// Polls `probe` for up to five seconds.
template <typename Probe>
bool eventually(Probe probe) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    if (probe()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return probe();
}

class AgentProcessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/cxproc.XXXXXX";
    dir_ = mkdtemp(pattern);
    setenv("CORVEX_IOKIT_DIR", (dir_ + "/iokit").c_str(), 1);
    setenv("CORVEX_SHARED_DIR", dir_.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (dir_ + "/config").c_str(), 1);
    setenv("CORVEX_MACHINE_ID", "test", 1);
    setenv("CORVEX_BUNDLE", CX_AGENT_BUNDLE, 1);
    unsetenv("DISPLAY");
    const std::string byhost = dir_ + "/config/corvex/Preferences/ByHost";
    fs::create_directories(byhost);
    std::ofstream(byhost + "/com.velcorra.corvex.background.diags.test.plist")
        << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
           "<key>Displevel</key><integer>4456447</integer>\n</dict>\n</plist>\n";
    bus_ = std::make_unique<PrivateSessionBus>();
    ASSERT_FALSE(bus_->address().empty()) << "dbus-daemon did not start";
  }

  void TearDown() override {
    agent_.reset();
    driver_.reset();
    bus_.reset();
    fs::remove_all(dir_);
  }

  void start_driver(std::vector<std::string> options = {}) {
    options.insert(options.begin(), CX_DRIVERD);
    driver_ = std::make_unique<BackgroundProcess>(options);
    ASSERT_TRUE(driver_->wait_for_output("serving")) << driver_->errors();
  }
  void start_agent() {
    agent_ = std::make_unique<BackgroundProcess>(std::vector<std::string>{CX_AGENT});
  }

  std::string log() const { return read_file(dir_ + "/CXBkgnd_Diags.txt"); }
  bool logged(const std::string& text) const {
    return eventually([&] { return log().find(text) != std::string::npos; });
  }
  std::string driverctl(const std::vector<std::string>& args) {
    std::vector<std::string> argv{CX_DRIVERCTL};
    argv.insert(argv.end(), args.begin(), args.end());
    return run_command(argv).out;
  }
  testing::CommandResult corvexctl(const std::vector<std::string>& args) {
    std::vector<std::string> argv{CX_CORVEXCTL};
    argv.insert(argv.end(), args.begin(), args.end());
    return run_command(argv);
  }
  bool agent_active() {
    return eventually([&] { return corvexctl({"status"}).out == "active\n"; });
  }

  std::string dir_;
  std::unique_ptr<PrivateSessionBus> bus_;
  std::unique_ptr<BackgroundProcess> driver_, agent_;
};

TEST_F(AgentProcessTest, ServesTheDriverAndTheControlPanelUntilQuit) {
  start_driver();
  BackgroundProcess monitor({CX_CORVEXCTL, "monitor", "--save"});
  ASSERT_TRUE(monitor.wait_for_output("monitoring as VCXT"));
  start_agent();
  ASSERT_TRUE(agent_active()) << agent_->errors();
  EXPECT_TRUE(monitor.wait_for_output("bact"));
  EXPECT_NE(driverctl({"state"}).find("active user: uid 1 (active)"), std::string::npos)
      << driverctl({"state"});

  driverctl({"devices-changed"});
  driverctl({"chord"});
  EXPECT_TRUE(monitor.wait_for_output("UPDt"));
  EXPECT_TRUE(monitor.wait_for_output("cord"));
  driverctl({"event", "2", "687474703a2f2f6578616d706c652e6f72672f00"});
  driverctl({"hscroll"});
  EXPECT_TRUE(logged("Launching URL\r\n"));
  EXPECT_TRUE(logged("Horizontal Scrolling Changed\r\n"));

  const testing::CommandResult info = corvexctl({"mouse-info"});
  EXPECT_EQ(info.exit_status, 0) << info.err;
  EXPECT_NE(info.out.find("0x0300"), std::string::npos) << info.out;
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"save"}, {"restore", "buttons"}, {"menu-extra", "show"}}) {
    const testing::CommandResult r = corvexctl(args);
    EXPECT_EQ(r.exit_status, 0) << args[0] << ": " << r.err;
  }

  EXPECT_EQ(corvexctl({"quit"}).exit_status, 0);
  EXPECT_EQ(agent_->wait_exit(), 0) << agent_->errors();
  const std::string text = log();
  EXPECT_NE(text.find("End of Corvex Background.app Diagnostic Report"), std::string::npos);
  EXPECT_EQ(text.find("Setting Device Descriptors"), text.rfind("Setting Device Descriptors"));
  EXPECT_NE(driverctl({"state"}).find("active user: uid 1 (cleared)"), std::string::npos);
}

TEST_F(AgentProcessTest, RefusesADriverOfAnotherInterfaceVersion) {
  start_driver({"--interface-version", "0x0301"});
  start_agent();
  EXPECT_EQ(agent_->wait_exit(), -10011 & 0xFF);
  EXPECT_NE(agent_->errors().find("Driver Version: 0x301(0x1)"), std::string::npos);
  EXPECT_TRUE(logged("End of Corvex Background.app Diagnostic Report"));
}

TEST_F(AgentProcessTest, FrontApplicationChangesReachTheDriver) {
  const Xvfb display;
  ASSERT_FALSE(display.display().empty()) << "Xvfb did not start";
  setenv("DISPLAY", display.display().c_str(), 1);
  start_driver();
  start_agent();
  ASSERT_TRUE(agent_active()) << agent_->errors();
  for (const std::string app : {"TextEdit", "Safari"}) {
    EXPECT_EQ(run_command({CX_DESKTOPCTL, "front", app}).exit_status, 0);
    EXPECT_TRUE(eventually([&] {
      return driverctl({"state"}).find("front application: " + app + " ") != std::string::npos;
    })) << app;
  }
  EXPECT_TRUE(logged("Switching App to TextEdit\r\nSwitching App to Safari\r\n"));
}

TEST_F(AgentProcessTest, SessionSwitchAsksTheControlPanelAndActivatesOnlyOnce) {
  // The agent's bundle with a FastUserSwitch helper beside the menu extra.
  const std::string bundle = dir_ + "/Corvex Background";
  fs::copy(CX_AGENT_BUNDLE, bundle, fs::copy_options::recursive);
  const std::string helper = bundle + "/Contents/Resources/FastUserSwitch.bundle/Contents/MacOS";
  fs::create_directories(helper);
  fs::copy_file(CX_FUS_HELPER, helper + "/FastUserSwitch.so");
  setenv("CORVEX_BUNDLE", bundle.c_str(), 1);

  start_driver();
  BackgroundProcess monitor({CX_CORVEXCTL, "monitor", "--save"});
  ASSERT_TRUE(monitor.wait_for_output("monitoring as VCXT"));
  start_agent();
  ASSERT_TRUE(agent_active()) << agent_->errors();
  EXPECT_TRUE(logged("UID = " + std::to_string(getuid()) + ", user session is active"));

  kill(agent_->pid(), SIGUSR1);  // off the console
  EXPECT_TRUE(monitor.wait_for_output("bdac"));
  EXPECT_TRUE(logged("(writing prefs)"));
  EXPECT_TRUE(eventually([&] { return corvexctl({"status"}).out == "inactive\n"; }));

  kill(agent_->pid(), SIGUSR2);  // back again: settings reloaded, devices not resent
  ASSERT_TRUE(agent_active());
  EXPECT_EQ(agent_->terminate(), 0);
  const std::string text = log();
  EXPECT_EQ(text.find("Setting Device Descriptors"), text.rfind("Setting Device Descriptors"));
  EXPECT_NE(text.find("User Session Activated"), std::string::npos);
}

TEST_F(AgentProcessTest, SurvivesTheDriverRestartingAndActsOnPressesAfterwards) {
  start_driver();
  start_agent();
  ASSERT_TRUE(agent_active()) << agent_->errors();

  kill(driver_->pid(), SIGKILL);
  driver_->wait_exit();
  EXPECT_TRUE(eventually([&] { return corvexctl({"status"}).out == "inactive\n"; }));
  start_driver();
  ASSERT_TRUE(agent_active()) << agent_->errors();
  EXPECT_NE(driverctl({"state"}).find("active user: uid 1 (active)"), std::string::npos);
  driverctl({"event", "2", "687474703a2f2f6578616d706c652e6f72672f00"});
  EXPECT_TRUE(logged("Launching URL\r\n"));

  // Said once; the new driver was set up from the start, devices included.
  EXPECT_EQ(count(agent_->errors(), "Corvex Background: lost the driver, reconnecting\n"), 1);
  const std::string text = log();
  EXPECT_EQ(count(text, "Driver connection lost"), 1) << text;
  EXPECT_EQ(count(text, "Setting Device Descriptors"), 2);
  EXPECT_EQ(count(text, "Background App Activating"), 2);
}

TEST_F(AgentProcessTest, RunsFromTheBuildTreeAndASecondAgentOfTheSessionLeaves) {
  unsetenv("CORVEX_BUNDLE");  // the staged bundle beside the executable
  start_driver();
  start_agent();
  ASSERT_TRUE(agent_active()) << agent_->errors();
  BackgroundProcess second({CX_AGENT});
  EXPECT_EQ(second.wait_exit(), -10025 & 0xFF);
  EXPECT_NE(second.errors().find("another agent already serves this session"), std::string::npos)
      << second.errors();
  EXPECT_TRUE(agent_active());
}

}  // namespace
}  // namespace cx::test
