// The agent's driver link against the reference driver over real sockets and
// real shared memory.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/actlist_requests.h"
#include "driver/app_requests.h"
#include "driver/device_descriptor.h"
#include "driver/device_requests.h"
#include "driver/device_table.h"
#include "driver/driver_connection.h"
#include "driver/response_requests.h"
#include "driver/transfer_request.h"
#include "model/act_item_chain.h"
#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "platform/linux/user_client_socket.h"
#include "tests/support/agent_link.h"
#include "tests/support/golden.h"
#include "tests/support/reference_driver.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

class ReferenceDriverTest : public ::testing::Test {
 protected:
  explicit ReferenceDriverTest(uint32_t adb_mice = 0) : driver_({}, adb_mice) {}
  void SetUp() override { ASSERT_TRUE(driver_.running()) << driver_.error(); }
  void TearDown() override { unsetenv("CORVEX_BUNDLE"); }

  ReferenceDriver driver_;
  AgentLink link_{driver_.dir()};
};

std::array<uint8_t, kActionNameSize> name_record(const char* text) {
  std::array<uint8_t, kActionNameSize> record{};
  std::memcpy(record.data(), text, std::strlen(text));
  return record;
}

act_item_chain two_step_chain() {
  return act_item_chain(
      {make_act_item(0, 0x0102, 1, 0x0001, 7), make_act_item(4, 9, 2, 0x3000, 0)});
}

// Builds response blocks in place behind SetResponseDataStart, growing the
// request buffer and starting again when they do not fit.
int16_t store_click_responses(uint8_t first_button, int count, uint16_t items_per_response) {
  std::vector<act_item> items(items_per_response, click_actlist[0]);
  for (;;) {
    CXTransferContext ctx;
    uint32_t capacity = 0, avail = 0, reply_length = 0;
    SetResponseDataStart(&ctx, &capacity);
    for (int i = 0; i < count; ++i) {
      uint8_t* at = CXTransferAvailSpace(&ctx, &avail);
      CXTransferTakeSpace(
          &ctx, build_actlist_response_block(at, avail, 0, static_cast<uint8_t>(first_button + i),
                                             0, false, items.data(), items_per_response, "Clicks"));
    }
    const uint32_t length = CXTransferEnd(&ctx);
    if (length <= capacity) return SetResponseData(&reply_length);
    if (!ResizeInputSharedMemory(length)) return -101;
  }
}

TEST_F(ReferenceDriverTest, LargeRequestsAndRepliesGrowBothBuffers) {
  // 200 responses of 60 items: about 200 KiB each way.
  ASSERT_EQ(store_click_responses(0, 200, 60), 200);
  EXPECT_EQ(in_shmem->size, 0x40000u);
  uint32_t len = 0;
  int16_t status = 0;
  ASSERT_NE(GetResponses(0, 200, 0, 0, &len, &status), nullptr);
  EXPECT_EQ(status, 200);
  EXPECT_GT(len, 0x30000u);
  EXPECT_EQ(out_shmem->size, 0x40000u);
}

// Run only as the second agent of TwoAgentsShareOneDriver, in its own process.
TEST(SecondAgent, DISABLED_SeesAndChangesTheFirstAgentsSettings) {
  ASSERT_EQ(ConnectToDriver(), 1);
  std::array<act_item, 4> items{};
  ASSERT_EQ(GetActionList(0, 5, items), 2);
  EXPECT_EQ(items[1].act, 0x3000);
  EXPECT_EQ(InControlPanel(1), 0);  // the first agent holds control-panel mode
  EXPECT_EQ(SetActionName(0, 5, 0, name_record("Set by the second agent")), 1);
  DisconnectFromDriver();
}

TEST_F(ReferenceDriverTest, TwoAgentsShareOneDriver) {
  const act_item_chain chain = two_step_chain();
  SetActionList(0, 5, chain.head());
  ASSERT_EQ(InControlPanel(1), 1);
  const std::string command = "CORVEX_IOKIT_DIR='" + driver_.dir() + "' '" +
                              std::filesystem::read_symlink("/proc/self/exe").string() +
                              "' '--gtest_filter=SecondAgent.*' --gtest_also_run_disabled_tests";
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::array<uint8_t, kActionNameSize> name{};
  EXPECT_EQ(GetActionName(0, 5, 0, name), 1);
  EXPECT_EQ(name, name_record("Set by the second agent"));
  EXPECT_EQ(InControlPanel(0), 1);
}

// The device table upload, with three ADBID32 mice for the firmware call.
class DeviceUploadTest : public ReferenceDriverTest {
 protected:
  DeviceUploadTest() : ReferenceDriverTest(3) {}
  void use_bundle_beside(const std::string& folder) {
    setenv("CORVEX_BUNDLE", (folder + "/Corvex Background").c_str(), 1);
  }
};

TEST_F(DeviceUploadTest, TestTableReachesTheDriverSorted) {
  use_bundle_beside(data_path("devices"));
  CaptureStderr();
  EXPECT_EQ(setDeviceDescriptors(), 0);
  GetCapturedStderr();
  mouse_version_info info;
  ASSERT_EQ(GetMouseInfo(info), 1);
  EXPECT_EQ(load_be16(&info.bytes[6]), 4);  // descriptors in the driver's table
  ASSERT_EQ(info.bytes[5], 4);              // all taken as attached, in table order
  const std::array<uint32_t, 4> ids = {2, 5, 9, kUnassignedUniqueID};
  for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(load_be32(&info.bytes[12 + 24 * i]), ids[i]);
  EXPECT_EQ(load_be16(&info.bytes[12 + 24 * 0 + 12]), 1);   // WirelessBatteryID
  EXPECT_EQ(load_be16(&info.bytes[12 + 24 * 1 + 14]), 10);  // MoveMultiplier
  EXPECT_EQ(load_be16(&info.bytes[12 + 24 * 2 + 12]), 3);
}

TEST_F(DeviceUploadTest, RealProductTableIsAcceptedAndCoversTheDeviceKinds) {
  use_bundle_beside(CX_RESOURCES_DIR);
  const auto bundle = dirt_bundle_create();
  ASSERT_TRUE(bundle);
  CaptureStderr();
  const auto block = device_properties_copy(*bundle);
  EXPECT_EQ(GetCapturedStderr(), "");
  ASSERT_TRUE(block);
  const size_t count = block->size() / kDeviceRecordSize;
  ASSERT_GE(count, 4u);
  bool two_button = false, ring_trackball = false, five_wheel = false, wireless = false;
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* r = &(*block)[i * kDeviceRecordSize];
    if (i > 0) {
      EXPECT_LT(load_be32(r + 28 - kDeviceRecordSize), load_be32(r + 28)) << "distinct";
    }
    EXPECT_NE(load_be32(r + 28), kUnassignedUniqueID);
    const uint32_t buttons = load_be32(r + 36);
    two_button |= buttons == 2 && load_be32(r + 40) == 0;
    ring_trackball |= buttons == 4 && load_be32(r + 44) == 1 && load_be16(r + 26) == 2;
    five_wheel |= buttons == 5 && load_be32(r + 40) == 1;
    wireless |= load_be16(r + 58) != 0;
  }
  EXPECT_TRUE(two_button && ring_trackball && five_wheel && wireless);

  // Product names are our own: none borrowed from another maker's line.
  std::vector<std::string> names;
  enumerate_cxdevices(
      *bundle,
      [](const std::string& key, const plist::Dictionary&, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(key);
        return 0;
      },
      &names);
  EXPECT_EQ(names, (std::vector<std::string>{
                       "Corvex Optical Mouse", "Corvex Pro Wheel Mouse", "Corvex Ring Trackball",
                       "Corvex Lantern Trackball (ADB)", "Corvex Wireless Mouse",
                       "Corvex Wireless Mouse Rechargeable"}));

  EXPECT_EQ(setDeviceDescriptors(), 0);
  DisconnectFromDriver();
  driver_.stop();
  EXPECT_EQ(driver_.state().devices.descriptors().size(), count);
}

TEST_F(DeviceUploadTest, MissingBundleSendsNothingAndFirmwareCallReachesEveryAdbMouseOnce) {
  use_bundle_beside(driver_.dir() + "/nowhere");
  EXPECT_EQ(setDeviceDescriptors(), kNoDeviceBundle);
  updateADBID32Firmware();
  DisconnectFromDriver();
  driver_.stop();
  EXPECT_TRUE(driver_.state().devices.descriptors().empty());
  EXPECT_EQ(driver_.state().firmware_updates, 3u);
}

}  // namespace
}  // namespace cx::test
