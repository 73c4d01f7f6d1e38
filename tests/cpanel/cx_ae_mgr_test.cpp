// The agent's Apple-event handlers against the reference driver: the bound
// events' replies, and the data handlers' round trips through the driver.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/agent_state.h"
#include "cpanel/ae_codes.h"
#include "cpanel/cx_ae_mgr.h"
#include "driver/driver_connection.h"
#include "model/act_item.h"
#include "platform/linux/user_client_socket.h"
#include "tests/support/agent_link.h"
#include "tests/support/reference_driver.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

using platform::AEDesc;
using platform::AEEventHandlerProc;
using platform::AppleEvent;
using platform::OSErr;
using platform::OSType;

using Param = AppleEvent::Parameter;

Param byte_param(OSType key, uint8_t value) {
  return {key, platform::make_text_desc(std::string(1, static_cast<char>(value)))};
}
Param shor_param(OSType key, int16_t value) {
  return {key, platform::make_shor_desc(value)};
}
Param bytes_param(OSType key, std::vector<uint8_t> bytes) {
  return {key, platform::make_bytes_desc(platform::typeWildCard, std::move(bytes))};
}

struct Call {
  const char* what;
  AEEventHandlerProc handler;
  std::vector<Param> params;
  bool wants_reply;
  OSErr result;
  std::optional<Param> reply;  // the one parameter expected back, if any
};

// Runs each call in order (later calls see what earlier ones stored).
void run_calls(const std::vector<Call>& calls) {
  for (const Call& c : calls) {
    SCOPED_TRACE(c.what);
    AppleEvent event(ae_code::kSuite, 0, AEDesc{});
    for (const auto& [key, desc] : c.params) event.put_param(key, desc);
    AppleEvent reply = c.wants_reply ? AppleEvent::make_reply() : AppleEvent();
    EXPECT_EQ(c.handler(event, reply, 0), c.result);
    if (c.reply) {
      ASSERT_EQ(reply.parameters().size(), 1u);
      EXPECT_EQ(reply.parameters()[0].first, c.reply->first);
      EXPECT_EQ(reply.parameters()[0].second, c.reply->second);
    } else {
      EXPECT_TRUE(reply.parameters().empty());
    }
  }
}

class CXAEMgrTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(driver_.running()) << driver_.error();
    reset_agent_state();
  }
  void TearDown() override { reset_agent_state(); }

  ReferenceDriver driver_;
  AgentLink link_{driver_.dir()};
};

TEST_F(CXAEMgrTest, BoundHandlersReply) {
  const auto info = driver_.state().devices.mouse_info();
  const std::vector<uint8_t> mous(info.begin(), info.end());
  ASSERT_EQ(mous.size(), 180u);
  ASSERT_EQ(load_be16(&mous[2]), 0x0300);  // not just zeros
  const Param zero = shor_param(platform::keyDirectObject, 0);
  // clang-format off
  run_calls({
      {"wprf",              &CXAEMgr::WritePrefsEventHandler,             {}, true,  0,     zero},
      {"wprf, no reply",    &CXAEMgr::WritePrefsEventHandler,             {}, false, 0,     {}},
      {"rdpf without data", &CXAEMgr::RestoreDefaultPrefsEventHandler,   {}, true,  0,     zero},
      {"gbac inactive",     &CXAEMgr::GetBackgroundAppActiveEventHandler, {}, true,  0,     zero},
      {"minf, no reply",    &CXAEMgr::GetMouseInfoEventHandler,           {}, false, -1701, {}},
      {"minf",              &CXAEMgr::GetMouseInfoEventHandler,           {}, true,  0,
       bytes_param(ae_code::kMouseInfo, mous)},
  });
  background_app_active = 2;
  run_calls({
      {"gbac active",       &CXAEMgr::GetBackgroundAppActiveEventHandler, {}, true,  0,
       shor_param(platform::keyDirectObject, 1)},
  });
  // clang-format on
}

TEST_F(CXAEMgrTest, DataHandlersRoundTripThroughDriver) {
  // One item whose link field says "linked", as raw memory from the panel would.
  std::vector<uint8_t> item(kActItemWireSize);
  encode_act_item(make_act_item(0x0100, 0x0203, 1, 0x3000, 7), item.data());
  item[15] = 1;
  std::vector<uint8_t> relinked = item;
  relinked[15] = 0;
  const std::vector<uint8_t> text{'h', 'e', 'l', 'l', 'o', 0};
  const std::vector<uint8_t> record{1, 2, 3, 4, 5};  // global record 2 is 5 bytes
  const Param button = byte_param(ae_code::kButton, 5), mods = byte_param(ae_code::kModifiers, 0);
  const Param space = shor_param(ae_code::kDataIndex, 1),
              global = byte_param(ae_code::kDataType, 2);
  const auto dir = [](uint8_t d) { return byte_param(ae_code::kDirection, d); };
  const auto shor = [](int16_t v) { return shor_param(platform::keyDirectObject, v); };
  const auto direct = [](std::vector<uint8_t> b) {
    return bytes_param(platform::keyDirectObject, b);
  };
  using M = CXAEMgr;
  // clang-format off
  run_calls({
      {"size, no button", &M::GetActionListSizeEventHandler, {mods}, true, -1701, {}},
      {"set one item", &M::SetActionListEventHandler,
       {button, mods, bytes_param(ae_code::kActionList, item)}, true, 0, shor(0)},
      {"size", &M::GetActionListSizeEventHandler, {button, mods}, true, 0, shor(1)},
      {"get, no reply", &M::GetActionListEventHandler, {button, mods}, false, -1701, {}},
      {"get", &M::GetActionListEventHandler, {button, mods}, true, 0,
       bytes_param(ae_code::kActionList, relinked)},
      // Dataspaces: direction 0 writes, anything else reads; a missing hint asks for a new one.
      {"allocate", &M::AllocateSpaceEventHandler, {shor_param(ae_code::kData, 6)}, true, 0,
       shor(1)},
      {"write dataspace", &M::AccessDataEventHandler,
       {space, dir(0), bytes_param(ae_code::kData, text)}, true, 0, {}},
      {"dataspace size", &M::GetDataSizeEventHandler, {space}, true, 0, shor(6)},
      {"read dataspace", &M::AccessDataEventHandler, {space, dir(1)}, true, 0, direct(text)},
      // Global records: direction 1 writes here, and `data` is the length when reading.
      {"write global", &M::AccessGlobalDataEventHandler,
       {global, dir(1), bytes_param(ae_code::kData, record)}, true, 0, shor(1)},
      {"read global", &M::AccessGlobalDataEventHandler,
       {global, dir(2), shor_param(ae_code::kData, 5)}, true, 0, direct(record)},
  });
  // clang-format on
}

}  // namespace
}  // namespace cx::test
