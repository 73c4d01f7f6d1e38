// The device descriptor table: descriptions to records, the device bundle's
// rules and the sort. The upload is tested against the reference driver.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "driver/device_descriptor.h"
#include "driver/device_table.h"
#include "plist/plist_io.h"
#include "tests/support/golden.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

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

std::string hex(std::span<const uint8_t> bytes) {
  std::string out;
  for (uint8_t b : bytes)
    out += "0123456789ABCDEF"[b >> 4] + std::string(1, "0123456789ABCDEF"[b & 15]);
  return out;
}

uint32_t id_at(const device_table_block& block, size_t i) {
  return load_be32(&block[i * kDeviceRecordSize + 28]);
}

// Points the main bundle into the test data: the device bundle is looked for beside it.
class DeviceBundleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("CORVEX_BUNDLE", test::data_path("devices/Corvex Background").c_str(), 1);
    bundle = dirt_bundle_create();
    ASSERT_TRUE(bundle);
  }
  void TearDown() override { unsetenv("CORVEX_BUNDLE"); }
  decltype(dirt_bundle_create()) bundle;
};

TEST(DeviceDescriptor, EveryFieldAtItsOffset) {
  const dev_desc record = converted(
      "<key>ProductID</key><string>0x0130</string><key>VendorID</key><string>123456789</string>" +
      integer("InterfaceNumber", -2) + integer("DevType", 2) + integer("DevKind", 3) +
      integer("UniqueID", 4294967294) + integer("ADBResolution", 400) + "<key>Buttons</key><dict>" +
      integer("ButtonCount", 5) + "<key>HasWheel</key><true/><key>HasRing</key><false/>" +
      "<key>HasPanWheel</key><true/><key>IsWheelReversed</key><true/></dict>" +
      integer("NumPresets", 2) + integer("FirstPreset", 18) + integer("MoveMultiplier", 12) +
      integer("WirelessBatteryID", 513) + integer("AccelerationTableIndex", 7) +
      integer("SpecialKeys", 0x01020304) + integer("BluetoothIDSource", 1) +
      integer("KeyboardID", 65537) + "<key>Unknown</key><array/>");
  std::array<uint8_t, kDeviceRecordSize> bytes;
  bytes.fill(0xEE);
  encode_dev_desc(record, bytes);
  std::string expected =
      "30783031333000000000 31323334353637383900"  // ProductID, VendorID
      "FFFFFFFE 0002 0003 FFFFFFFE 00000190"       // interface, type, kind, unique id, ADB
      "00000005 00000001 00000000 00000001"        // buttons, wheel, ring, pan wheel
      "0002 0012 000C 0201 00000001 0007 0000"     // presets, move, battery, reversed, table
      "01020304 00000001 00010001";                // keys, Bluetooth source, keyboard
  std::erase(expected, ' ');
  EXPECT_EQ(hex(bytes), expected);
}

TEST(DeviceDescriptor, DefaultsAndTheirRules) {
  std::array<uint8_t, kDeviceRecordSize> bytes;
  encode_dev_desc(converted(""), bytes);
  // DevType and DevKind 1, no UniqueID given, ButtonCount 1.
  EXPECT_EQ(hex(bytes).substr(48, 32), "00010001FFFFFFFF0000000000000001");
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
    EXPECT_EQ(id_at(block, i), expected[i].first) << i;
    EXPECT_EQ(block[i * kDeviceRecordSize], expected[i].second) << i;
  }
  const std::vector<std::string> paths = {"/b/A.plist", "/b/.A.plist", "",
                                          "B.plist",    ".C.plist",    "/b/dir/"};
  EXPECT_EQ(filter_hidden_files(paths), (std::vector<std::string>{"/b/A.plist", "B.plist"}));
}

TEST_F(DeviceBundleTest, TestBundleFollowsTheRules) {
  testing::internal::CaptureStderr();
  const auto block = device_properties_copy(*bundle);
  const std::string errors = testing::internal::GetCapturedStderr();
  ASSERT_TRUE(block);
  ASSERT_EQ(block->size(), 4 * kDeviceRecordSize);
  // 2.0.1 (7), the hidden file (8), the unreadable description (3) and the
  // broken file (6) give nothing; the description without an id sorts last.
  const std::array<uint32_t, 4> ids = {2, 5, 9, kUnassignedUniqueID};
  for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(id_at(*block, i), ids[i]);
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

TEST_F(DeviceBundleTest, CallbackResultEndsTheEnumeration) {
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
}

}  // namespace
}  // namespace cx::test
