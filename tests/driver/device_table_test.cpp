// The device descriptor table: descriptions to records, the device bundle's
// rules and the sort, and the upload to the reference driver served in
// process.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "driver/device_descriptor.h"
#include "driver/device_table.h"
#include "driver/driver_connection.h"
#include "plist/plist_io.h"
#include "tests/support/agent_link.h"
#include "tests/support/golden.h"
#include "tests/support/reference_driver.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

using Bytes = std::vector<uint8_t>;

dev_desc converted(const std::string& body, int expected_status = 0) {
  const std::string text = "<plist version=\"1.0\"><dict>" + body + "</dict></plist>";
  auto result = plist::read_plist({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  auto dict = std::dynamic_pointer_cast<plist::Dictionary>(result.value);
  dev_desc record;
  set_dev_desc_default(record);
  if (!dict)
    ADD_FAILURE() << result.error;
  else
    EXPECT_EQ(convert_plist_to_dev_desc(record, *dict), expected_status) << body;
  return record;
}

std::string integer(const char* key, int64_t value) {
  return "<key>" + std::string(key) + "</key><integer>" + std::to_string(value) + "</integer>";
}

uint32_t id_at(const uint8_t* records, size_t i) {
  return load_be32(records + i * kDeviceRecordSize + 28);
}

TEST(DeviceDescriptor, EveryFieldAtItsOffset) {
  std::array<uint8_t, kDeviceRecordSize> bytes;
  bytes.fill(0xEE);
  encode_dev_desc(converted(read_text("every_field.xml")), bytes);
  EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), read_hex("every_field.hex"));
}

TEST(DeviceDescriptor, DefaultsAndTheirRules) {
  std::array<uint8_t, kDeviceRecordSize> bytes;
  encode_dev_desc(converted(""), bytes);
  // DevType and DevKind 1, no UniqueID given, ButtonCount 1.
  EXPECT_EQ(Bytes(bytes.begin() + 24, bytes.begin() + 40),
            (Bytes{0, 1, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 1}));
  const std::string wireless = "<key>IsWireless</key><true/>",
                    id3 = integer("WirelessBatteryID", 3);
  const struct {
    std::string body;
    int move, battery;
  } cases[] = {
      {"", 10, 0},
      {integer("MoveMultiplier", 0), 10, 0},
      {wireless, 10, 1},
      {"<key>IsWireless</key><false/>", 10, 0},
      {id3 + wireless, 10, 3},  // either order gives the explicit identifier
      {wireless + id3, 10, 3},
      // A larger identifier already set is kept.
      {integer("WirelessBatteryID", 4) + "<key>Group</key><dict>" + id3 + "</dict>", 10, 4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.body);
    const dev_desc record = converted(c.body);
    EXPECT_EQ(record.MoveMultiplier, c.move);
    EXPECT_EQ(record.WirelessBatteryID, c.battery);
  }
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

TEST(DeviceTable, SortIsAscendingUnsignedAndStableAndHiddenPathsAreFiltered) {
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
    EXPECT_EQ(id_at(block.data(), i), expected[i].first) << i;
    EXPECT_EQ(block[i * kDeviceRecordSize], expected[i].second) << i;
  }
  const std::vector<std::string> paths = {"/b/A.plist", "/b/.A.plist", "",
                                          "B.plist",    ".C.plist",    "/b/dir/"};
  EXPECT_EQ(filter_hidden_files(paths), (std::vector<std::string>{"/b/A.plist", "B.plist"}));
}

// The reference driver with three ADBID32 mice for the firmware call; the
// main bundle is pointed at a folder, the device bundle is looked for beside it.
class DeviceUploadTest : public ::testing::Test {
 protected:
  DeviceUploadTest() : driver_({}, 3) {}
  void SetUp() override { ASSERT_TRUE(driver_.running()) << driver_.error(); }
  void TearDown() override { unsetenv("CORVEX_BUNDLE"); }
  void use_bundle_beside(const std::string& folder) {
    setenv("CORVEX_BUNDLE", (folder + "/Corvex Background").c_str(), 1);
  }
  // What the driver holds once the agent has let go.
  const std::vector<refdriver::Descriptor>& uploaded() {
    DisconnectFromDriver();
    driver_.stop();
    return driver_.state().devices.descriptors();
  }

  ReferenceDriver driver_;
  AgentLink link_{driver_.dir()};
};

TEST_F(DeviceUploadTest, TestBundleFollowsTheRulesAndReachesTheDriverSorted) {
  use_bundle_beside(data_path("devices"));
  const auto bundle = dirt_bundle_create();
  ASSERT_TRUE(bundle);
  // A callback's non-zero result ends the enumeration and is its result.
  std::vector<std::string> keys;
  const auto stop_at_second = [](const std::string& key, const plist::Dictionary&, void* context) {
    auto& seen = *static_cast<std::vector<std::string>*>(context);
    seen.push_back(key);
    return seen.size() == 2 ? 77 : 0;
  };
  testing::internal::CaptureStderr();
  EXPECT_EQ(enumerate_cxdevices(*bundle, stop_at_second, &keys), 77);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(keys, (std::vector<std::string>{"Five", "Two"}));

  testing::internal::CaptureStderr();
  EXPECT_EQ(setDeviceDescriptors(), 0);
  const std::string errors = testing::internal::GetCapturedStderr();
  const std::string broken = bundle->resources_path() + "/Broken.plist";
  EXPECT_NE(errors.find("Corvex Background: Invalid Device Property List:" + broken + "\n"),
            std::string::npos)
      << errors;
  EXPECT_NE(errors.find("...Failed with the following error string: "), std::string::npos);
  EXPECT_EQ(errors.find("Hidden"), std::string::npos);
  // 2.0.1 (7), the hidden file (8), the unreadable description (3) and the
  // broken file (6) give nothing; the description without an id sorts last.
  const auto& table = uploaded();
  ASSERT_EQ(table.size(), 4u);
  const std::array<uint32_t, 4> ids = {2, 5, 9, kUnassignedUniqueID};
  for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(id_at(table[i].data(), 0), ids[i]);
  EXPECT_EQ(load_be16(&table[0][58]), 1);   // IsWireless alone
  EXPECT_EQ(load_be16(&table[1][56]), 10);  // MoveMultiplier 0
  EXPECT_EQ(load_be16(&table[2][58]), 3);   // id before IsWireless
  EXPECT_EQ(load_be32(&table[3][36]), 3u);
}

TEST_F(DeviceUploadTest, RealProductTableIsAcceptedAndCoversTheDeviceKinds) {
  use_bundle_beside(CX_RESOURCES_DIR);
  const auto bundle = dirt_bundle_create();
  ASSERT_TRUE(bundle);
  testing::internal::CaptureStderr();
  const auto block = device_properties_copy(*bundle);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_TRUE(block);
  const size_t count = block->size() / kDeviceRecordSize;
  ASSERT_GE(count, 4u);
  bool two_button = false, ring_trackball = false, five_wheel = false, wireless = false;
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* r = &(*block)[i * kDeviceRecordSize];
    EXPECT_LT(i > 0 ? id_at(block->data(), i - 1) : 0u, id_at(r, 0)) << "ascending and distinct";
    EXPECT_NE(id_at(r, 0), kUnassignedUniqueID);
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
  const auto& table = uploaded();
  ASSERT_EQ(table.size(), count);
  for (size_t i = 0; i < count; ++i) {
    EXPECT_TRUE(std::equal(table[i].begin(), table[i].end(), &(*block)[i * kDeviceRecordSize]));
  }
}

TEST_F(DeviceUploadTest, MissingBundleSendsNothingAndFirmwareCallReachesEveryAdbMouseOnce) {
  use_bundle_beside(driver_.dir() + "/nowhere");
  EXPECT_EQ(setDeviceDescriptors(), kNoDeviceBundle);
  updateADBID32Firmware();
  EXPECT_TRUE(uploaded().empty());
  EXPECT_EQ(driver_.state().firmware_updates, 3u);
}

}  // namespace
}  // namespace cx::test
