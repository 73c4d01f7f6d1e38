// The device descriptor table: descriptions to records, the device bundle's
// rules, the sort, and the upload and firmware call at the reference driver.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "driver/device_descriptor.h"
#include "driver/device_requests.h"
#include "driver/device_table.h"
#include "driver/driver_connection.h"
#include "platform/linux/user_client_socket.h"
#include "platform/user_client.h"
#include "plist/plist_io.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/event_codes.h"
#include "refdriver/request_handler.h"
#include "refdriver/transport_server.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

std::string test_data() {
  return std::getenv("CX_TEST_DATA");
}

// The description dictionary of a small property-list text.
std::shared_ptr<plist::Dictionary> description(const std::string& body) {
  const std::string text = "<plist version=\"1.0\"><dict>" + body + "</dict></plist>";
  auto result = plist::read_plist({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  EXPECT_TRUE(result.value) << result.error;
  return std::dynamic_pointer_cast<plist::Dictionary>(result.value);
}

dev_desc converted(const std::string& body, int expected_status = 0) {
  dev_desc record;
  set_dev_desc_default(record);
  EXPECT_EQ(convert_plist_to_dev_desc(record, *description(body)), expected_status) << body;
  return record;
}

uint32_t id_at(const device_table_block& block, size_t i) {
  return load_be32(&block[i * kDeviceRecordSize + 28]);
}

// Points the main bundle into `folder`, which need not exist: the device
// bundle is looked for beside it.
class MainBundleBeside {
 public:
  explicit MainBundleBeside(const std::string& folder) {
    setenv("CORVEX_BUNDLE", (folder + "/Corvex Background").c_str(), 1);
  }
  ~MainBundleBeside() { unsetenv("CORVEX_BUNDLE"); }
};

TEST(DeviceDescriptor, EveryFieldAtItsOffset) {
  const dev_desc record = converted(
      "<key>ProductID</key><string>0x0130</string>"
      "<key>VendorID</key><string>123456789</string>"
      "<key>InterfaceNumber</key><integer>-2</integer>"
      "<key>DevType</key><integer>2</integer><key>DevKind</key><integer>3</integer>"
      "<key>UniqueID</key><integer>4294967294</integer>"
      "<key>ADBResolution</key><integer>400</integer>"
      "<key>Buttons</key><dict><key>ButtonCount</key><integer>5</integer>"
      "<key>HasWheel</key><true/><key>HasRing</key><false/><key>HasPanWheel</key><true/>"
      "<key>IsWheelReversed</key><true/></dict>"
      "<key>NumPresets</key><integer>2</integer><key>FirstPreset</key><integer>18</integer>"
      "<key>MoveMultiplier</key><integer>12</integer>"
      "<key>WirelessBatteryID</key><integer>513</integer>"
      "<key>AccelerationTableIndex</key><integer>7</integer>"
      "<key>SpecialKeys</key><integer>16909060</integer>"
      "<key>BluetoothIDSource</key><integer>1</integer>"
      "<key>KeyboardID</key><integer>65537</integer>"
      "<key>Unknown</key><array/>");
  std::array<uint8_t, kDeviceRecordSize> bytes;
  bytes.fill(0xEE);
  encode_dev_desc(record, bytes);
  const std::array<uint8_t, kDeviceRecordSize> expected = {
      '0',  'x',  '0',  '1',  '3', '0', 0,    0,    0,   0,  // ProductID
      '1',  '2',  '3',  '4',  '5', '6', '7',  '8',  '9', 0,  // VendorID
      0xFF, 0xFF, 0xFF, 0xFE,                                // InterfaceNumber -2
      0,    2,    0,    3,                                   // DevType, DevKind
      0xFF, 0xFF, 0xFF, 0xFE,                                // UniqueID
      0,    0,    0x01, 0x90,                                // ADBResolution 400
      0,    0,    0,    5,    0,   0,   0,    1,    0,   0, 0, 0,
      0,    0,    0,    1,                                         // buttons, wheel, ring, pan
      0,    2,    0,    18,   0,   12,  0x02, 0x01,                // presets, move, battery id
      0,    0,    0,    1,                                         // IsWheelReversed
      0,    7,    0,    0,                                         // acceleration, unused
      0x01, 0x02, 0x03, 0x04, 0,   0,   0,    1,    0,   1, 0, 1,  // keys, bluetooth, keyboard
  };
  EXPECT_EQ(bytes, expected);
}

TEST(DeviceDescriptor, DefaultsAndTheirRules) {
  std::array<uint8_t, kDeviceRecordSize> bytes;
  encode_dev_desc(converted(""), bytes);
  EXPECT_EQ(load_be16(&bytes[24]), 1);                    // DevType
  EXPECT_EQ(load_be16(&bytes[26]), 1);                    // DevKind
  EXPECT_EQ(load_be32(&bytes[28]), kUnassignedUniqueID);  // no UniqueID given
  EXPECT_EQ(load_be32(&bytes[36]), 1u);                   // ButtonCount
  EXPECT_EQ(load_be16(&bytes[56]), 10);                   // MoveMultiplier

  EXPECT_EQ(converted("<key>MoveMultiplier</key><integer>0</integer>").MoveMultiplier, 10);
  EXPECT_EQ(converted("<key>IsWireless</key><true/>").WirelessBatteryID, 1);
  EXPECT_EQ(converted("<key>IsWireless</key><false/>").WirelessBatteryID, 0);
  // Either order gives the explicit identifier.
  EXPECT_EQ(converted("<key>WirelessBatteryID</key><integer>3</integer>"
                      "<key>IsWireless</key><true/>")
                .WirelessBatteryID,
            3);
  EXPECT_EQ(converted("<key>IsWireless</key><true/>"
                      "<key>WirelessBatteryID</key><integer>3</integer>")
                .WirelessBatteryID,
            3);
  // A larger identifier already set is kept.
  EXPECT_EQ(
      converted("<key>WirelessBatteryID</key><integer>4</integer>"
                "<key>Group</key><dict><key>WirelessBatteryID</key><integer>6</integer></dict>")
          .WirelessBatteryID,
      4);
}

TEST(DeviceDescriptor, UnreadableValuesFailTheConversion) {
  for (const char* body : {
           "<key>ButtonCount</key><string>5</string>",
           "<key>HasWheel</key><integer>1</integer>",
           "<key>ProductID</key><string>0123456789</string>",  // ten characters
           "<key>VendorID</key><integer>1</integer>",
           "<key>DevType</key><integer>65536</integer>",
           "<key>UniqueID</key><integer>4294967296</integer>",
           "<key>MoveMultiplier</key><real>1.5</real>",
           "<key>Group</key><dict><key>DevKind</key><true/></dict>",
       }) {
    converted(body, kUnreadableDescription);
  }
  EXPECT_EQ(converted("<key>DevType</key><integer>-1</integer>").DevType, 0xFFFF);
  EXPECT_EQ(converted("<key>ButtonCount</key><real>3.0</real>").ButtonCount, 3u);
}

TEST(DeviceTable, SortIsAscendingUnsignedAndStable) {
  const std::vector<uint32_t> ids = {5, 0x80000000, 2, 5, 9, 2};
  device_table_block block(ids.size() * kDeviceRecordSize);
  for (size_t i = 0; i < ids.size(); ++i) {
    store_be32(&block[i * kDeviceRecordSize + 28], ids[i]);
    block[i * kDeviceRecordSize] = static_cast<uint8_t>('a' + i);  // original place
  }
  sort_plist_data(block);
  const std::vector<std::pair<uint32_t, char>> expected = {{2, 'c'}, {2, 'f'}, {5, 'a'},
                                                           {5, 'd'}, {9, 'e'}, {0x80000000, 'b'}};
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(id_at(block, i), expected[i].first) << i;
    EXPECT_EQ(block[i * kDeviceRecordSize], expected[i].second) << i;
  }
}

TEST(DeviceTable, HiddenAndEmptyPathsAreFiltered) {
  const std::vector<std::string> paths = {"/b/A.plist", "/b/.A.plist", "",
                                          "B.plist",    ".C.plist",    "/b/dir/"};
  EXPECT_EQ(filter_hidden_files(paths), (std::vector<std::string>{"/b/A.plist", "B.plist"}));
}

TEST(DeviceTable, TestBundleFollowsTheRules) {
  MainBundleBeside main(test_data() + "/devices");
  const auto bundle = dirt_bundle_create();
  ASSERT_TRUE(bundle);
  CaptureStderr();
  const auto block = device_properties_copy(*bundle);
  const std::string errors = GetCapturedStderr();
  ASSERT_TRUE(block);
  ASSERT_EQ(block->size(), 4 * kDeviceRecordSize);
  // 2.0.1 (7), the hidden file (8), the unreadable description (3) and the
  // broken file (6) give nothing; the description without an id sorts last.
  EXPECT_EQ(id_at(*block, 0), 2u);
  EXPECT_EQ(id_at(*block, 1), 5u);
  EXPECT_EQ(id_at(*block, 2), 9u);
  EXPECT_EQ(id_at(*block, 3), kUnassignedUniqueID);
  EXPECT_EQ(load_be16(&(*block)[0 * kDeviceRecordSize + 58]), 1);   // IsWireless alone
  EXPECT_EQ(load_be16(&(*block)[1 * kDeviceRecordSize + 56]), 10);  // MoveMultiplier 0
  EXPECT_EQ(load_be16(&(*block)[2 * kDeviceRecordSize + 58]), 3);   // id before IsWireless
  EXPECT_EQ(load_be32(&(*block)[3 * kDeviceRecordSize + 36]), 3u);

  const std::string broken = bundle->resources_path() + "/Broken.plist";
  EXPECT_NE(errors.find("Corvex Background: Invalid Device Property List:" + broken + "\n"),
            std::string::npos)
      << errors;
  EXPECT_NE(errors.find("...Failed with the following error string: "), std::string::npos);
  EXPECT_EQ(errors.find("Hidden"), std::string::npos);
}

int stop_at_second(const std::string& key, const plist::Dictionary&, void* context) {
  auto& keys = *static_cast<std::vector<std::string>*>(context);
  keys.push_back(key);
  return keys.size() == 2 ? 77 : 0;
}

TEST(DeviceTable, CallbackResultEndsTheEnumeration) {
  MainBundleBeside main(test_data() + "/devices");
  const auto bundle = dirt_bundle_create();
  ASSERT_TRUE(bundle);
  std::vector<std::string> keys;
  CaptureStderr();
  EXPECT_EQ(enumerate_cxdevices(*bundle, stop_at_second, &keys), 77);
  GetCapturedStderr();
  EXPECT_EQ(keys, (std::vector<std::string>{"Five", "Two"}));
}

TEST(DeviceTable, RealProductTable) {
  MainBundleBeside main(CX_RESOURCES_DIR);
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
      EXPECT_LT(id_at(*block, i - 1), id_at(*block, i)) << "identifiers are distinct";
    }
    EXPECT_NE(load_be32(r + 28), kUnassignedUniqueID);
    const uint32_t buttons = load_be32(r + 36);
    two_button |= buttons == 2 && load_be32(r + 40) == 0;
    ring_trackball |= buttons == 4 && load_be32(r + 44) == 1 && load_be16(r + 26) == 2;
    five_wheel |= buttons == 5 && load_be32(r + 40) == 1;
    wireless |= load_be16(r + 58) != 0;
  }
  EXPECT_TRUE(two_button && ring_trackball && five_wheel && wireless);
}

// The reference driver in this process, with kAdbMice ADBID32Mouse services.
class DeviceUploadTest : public ::testing::Test, public refdriver::DriverSink {
 protected:
  static constexpr uint32_t kAdbMice = 3;

  void SetUp() override {
    char pattern[] = "/tmp/cxdev.XXXXXX";
    ASSERT_TRUE(mkdtemp(pattern));
    dir_ = pattern;
    handler_ = std::make_unique<refdriver::RequestHandler>(state_, *this);
    std::string error;
    server_ = refdriver::TransportServer::create(dir_, kAdbMice, *handler_, error);
    ASSERT_TRUE(server_) << error;
    thread_ = std::thread([this] { server_->run(); });
    service_ = platform::make_socket_user_client_service(dir_);
    platform::set_user_client_service(service_.get());
  }
  void TearDown() override {
    stop();
    platform::set_user_client_service(nullptr);
    std::filesystem::remove_all(dir_);
  }
  // After this the driver's state may be read here.
  void stop() {
    DisconnectFromDriver();
    if (!server_) return;
    server_->stop();
    thread_.join();
    server_.reset();
  }

  void notify(uint32_t code, uint64_t argument) override {
    server_->post_interest(refdriver::message_type(code), argument);
  }
  void log(std::string_view) override {}

  std::string dir_;
  refdriver::DriverState state_;
  std::unique_ptr<refdriver::RequestHandler> handler_;
  std::unique_ptr<refdriver::TransportServer> server_;
  std::thread thread_;
  std::unique_ptr<platform::UserClientService> service_;
};

TEST_F(DeviceUploadTest, TableReachesTheDriverSorted) {
  ASSERT_EQ(ConnectToDriver(), 1);
  MainBundleBeside main(test_data() + "/devices");
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

TEST_F(DeviceUploadTest, RealProductTableIsAccepted) {
  ASSERT_EQ(ConnectToDriver(), 1);
  MainBundleBeside main(CX_RESOURCES_DIR);
  EXPECT_EQ(setDeviceDescriptors(), 0);
  mouse_version_info info;
  ASSERT_EQ(GetMouseInfo(info), 1);
  EXPECT_GE(load_be16(&info.bytes[6]), 4);
  stop();
  EXPECT_EQ(state_.devices.descriptors().size(), load_be16(&info.bytes[6]));
}

TEST_F(DeviceUploadTest, MissingDeviceBundleSendsNothing) {
  ASSERT_EQ(ConnectToDriver(), 1);
  MainBundleBeside main(dir_ + "/nowhere");
  EXPECT_EQ(setDeviceDescriptors(), kNoDeviceBundle);
  stop();
  EXPECT_TRUE(state_.devices.descriptors().empty());
}

TEST_F(DeviceUploadTest, FirmwareCallReachesEveryAdbMouseOnce) {
  updateADBID32Firmware();
  stop();
  EXPECT_EQ(state_.firmware_updates, kAdbMice);
}

}  // namespace
}  // namespace cx::test
