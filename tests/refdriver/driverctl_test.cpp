// corvex-driverd run as a child process in a temporary service directory,
// used by an agent over the user-client sockets and told what to simulate
// by corvex-driverctl.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "driver/actlist_requests.h"
#include "model/builtin_actlists.h"
#include "platform/linux/user_client_socket.h"
#include "refdriver/control_socket.h"
#include "refdriver/transport_server.h"
#include "tests/support/agent_link.h"
#include "tests/support/user_session.h"

namespace cx::refdriver {
namespace {

namespace fs = std::filesystem;
using platform::kIOReturnSuccess;

// The messages that arrive within a second.
std::vector<platform::InterestMessage> messages(platform::InterestNotifier& notifier) {
  std::vector<platform::InterestMessage> got;
  pollfd p{notifier.fd(), POLLIN, 0};
  if (poll(&p, 1, 1000) > 0) notifier.read_pending(got);
  return got;
}

TEST(DriverDaemon, ServesAgentsAndTakesCommandsFromTheControlTool) {
  test::UserSession daemon;
  ASSERT_TRUE(daemon.start_driver({"--adb-instances", "1", "--verbose"}));
  struct stat st {};
  ASSERT_EQ(stat((daemon.services() + "/" + std::string(kControlSocketName)).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  // The agent's own link, and a listener for the driver's messages.
  const test::AgentLink agent(daemon.services());
  ASSERT_EQ(ConnectToDriver(), 1);
  const auto service = platform::make_socket_user_client_service(daemon.services());
  std::unique_ptr<platform::InterestNotifier> notifier;
  ASSERT_EQ(service->open_interest(std::string(kMouseDriverService), notifier), kIOReturnSuccess);
  EXPECT_EQ(SetActionList(0, 0, home_page_actlist.data()), 0);

  EXPECT_EQ(daemon.driverctl({"front", "Safari"}).exit_status, 0);
  const test::CommandResult press = daemon.driverctl({"press", "0"});
  EXPECT_EQ(press.exit_status, 0);
  EXPECT_EQ(press.out + press.err, "");
  const auto pressed = messages(*notifier);
  ASSERT_EQ(pressed.size(), 1u);
  EXPECT_EQ(pressed[0].type, 0xF9488FFFu);

  // ADBID32Mouse instance 1 takes its structure method.
  std::unique_ptr<platform::UserClientConnection> adb;
  ASSERT_EQ(service->open(std::string(kAdbMouseService) + ".1", adb), kIOReturnSuccess);
  const uint8_t input[4] = {0, 0, 0, 1};
  size_t out_len = 0;
  EXPECT_EQ(adb->call_struct(0, input, {}, out_len), kIOReturnSuccess);

  const std::string out = daemon.driverctl({"state"}).out;
  EXPECT_NE(out.find("front application: Safari -> global set"), std::string::npos) << out;
  EXPECT_NE(out.find("button 0 mods 0x00: \"\" flags 0x0000, 1 items 5200/1/0"), std::string::npos)
      << out;
  EXPECT_NE(out.find("ADBID32 firmware calls: 1"), std::string::npos) << out;
  const test::CommandResult bad = daemon.driverctl({"press", "999"});
  EXPECT_EQ(bad.exit_status, 1);
  EXPECT_EQ(bad.err, "corvex-driverctl: error: button and modifiers are 0 to 255\n");
  EXPECT_EQ(daemon.driverctl({}).exit_status, 2);
  // A line far longer than the driver takes: it closes while the tool still writes.
  const test::CommandResult cut =
      daemon.driverctl(std::vector<std::string>(8, std::string(100000, 'x')));
  EXPECT_EQ(cut.exit_status, 2);
  EXPECT_TRUE(cut.err.starts_with("corvex-driverctl: the driver closed the connection")) << cut.err;

  EXPECT_EQ(daemon.driver->terminate(), 0);
  EXPECT_TRUE(fs::is_empty(daemon.services()));
  EXPECT_EQ(daemon.driverctl({"state"}).exit_status, 2);
}

}  // namespace
}  // namespace cx::refdriver
