// corvex-driverd run as a child process in a temporary service directory,
// used by an agent over the user-client sockets and told what to simulate
// by corvex-driverctl.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "model/act_item.h"
#include "model/builtin_actlists.h"
#include "platform/linux/user_client_socket.h"
#include "refdriver/control_socket.h"
#include "refdriver/request_codes.h"
#include "refdriver/transport_server.h"
#include "tests/support/user_session.h"

namespace cx::refdriver {
namespace {

namespace fs = std::filesystem;
using platform::kIOReturnSuccess;

// The agent's side: a user client with its two mapped buffers.
struct Agent {
  explicit Agent(const std::string& dir) : service(platform::make_socket_user_client_service(dir)) {
    const std::string mouse(kMouseDriverService);
    if (service->open(mouse, connection) != kIOReturnSuccess) return;
    service->open_interest(mouse, notifier);
    for (int i = 0; i < 2; ++i) {
      const int64_t size[] = {0x10000};
      int64_t type[] = {0};
      connection->call_scalar(0, size, type);
      types[i] = type[0];
      connection->map_memory(static_cast<uint32_t>(type[0]), buffers[i]);
    }
  }
  bool ready() const { return connection && notifier && buffers[0] && buffers[1]; }

  // One request through selector 4: the reply's status and data.
  int16_t request(uint32_t code, const std::vector<uint8_t>& params, std::vector<uint8_t>& data) {
    CXTransferContext ctx;
    CXTransferStartWithRequest(&ctx, buffers[0]->address(), 0x10000, code);
    CXTransferAdd(&ctx, params.data(), static_cast<uint32_t>(params.size()));
    CXTransferEnd(&ctx);
    int64_t out[] = {0};
    if (connection->call_scalar(4, types, out) != kIOReturnSuccess) return -999;
    uint32_t length = 0;
    int16_t status = 0;
    const uint8_t* reply =
        CXTransferValidateWithResult(buffers[1]->address(), 0x10000, &length, &status);
    data.assign(reply, reply + length);
    return status;
  }
  // The messages that arrive within a second.
  std::vector<platform::InterestMessage> messages() {
    std::vector<platform::InterestMessage> got;
    pollfd p{notifier->fd(), POLLIN, 0};
    if (poll(&p, 1, 1000) > 0) notifier->read_pending(got);
    return got;
  }

  std::unique_ptr<platform::UserClientService> service;
  std::unique_ptr<platform::UserClientConnection> connection;
  std::unique_ptr<platform::InterestNotifier> notifier;
  int64_t types[2] = {0, 0};
  std::unique_ptr<platform::MemoryMapping> buffers[2];
};

TEST(DriverDaemon, ServesAgentsAndTakesCommandsFromTheControlTool) {
  test::UserSession daemon;
  ASSERT_TRUE(daemon.start_driver({"--adb-instances", "1", "--verbose"}));
  struct stat st {};
  ASSERT_EQ(stat((daemon.services() + "/" + std::string(kControlSocketName)).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  Agent agent(daemon.services());
  ASSERT_TRUE(agent.ready());
  std::vector<uint8_t> params = {0, 0, 0, 0, 0, 1};  // button 0, mods 0, count 1
  params.resize(6 + 16);
  encode_act_item(home_page_actlist[0], &params[6]);
  std::vector<uint8_t> data;
  EXPECT_EQ(agent.request(request::SetActionList, params, data), 1);

  EXPECT_EQ(daemon.driverctl({"front", "Safari"}).exit_status, 0);
  const test::CommandResult press = daemon.driverctl({"press", "0"});
  EXPECT_EQ(press.exit_status, 0);
  EXPECT_EQ(press.out + press.err, "");
  const auto messages = agent.messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].type, 0xF9488FFFu);
  EXPECT_EQ(agent.request(request::GetNextBackgroundEvent, {}, data), 6);
  EXPECT_EQ(agent.request(request::GetNextBackgroundEvent, {}, data), 0);

  EXPECT_EQ(daemon.driverctl({"notify", "7", "9"}).exit_status, 0);
  const auto chord = agent.messages();
  ASSERT_EQ(chord.size(), 1u);
  EXPECT_EQ(chord[0].type, 0xF9488007u);
  EXPECT_EQ(chord[0].argument, 9u);

  // ADBID32Mouse instance 1 takes its structure method.
  std::unique_ptr<platform::UserClientConnection> adb;
  ASSERT_EQ(agent.service->open(std::string(kAdbMouseService) + ".1", adb), kIOReturnSuccess);
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
