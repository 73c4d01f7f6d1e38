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

uint32_t id_at(const uint8_t* records, size_t i) {
  return load_be32(records + i * kDeviceRecordSize + 28);
}

TEST(DeviceDescriptor, EveryFieldAtItsOffset) {
  std::array<uint8_t, kDeviceRecordSize> bytes;
  bytes.fill(0xEE);
  encode_dev_desc(converted(read_text("every_field.xml")), bytes);
  EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), read_hex("every_field.hex"));
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
  testing::internal::CaptureStderr();
  EXPECT_EQ(setDeviceDescriptors(), 0);
  const std::string errors = testing::internal::GetCapturedStderr();
  const std::string broken = bundle->resources_path() + "/Broken.plist";
  EXPECT_NE(errors.find("Corvex Background: Invalid Device Property List:" + broken + "\n"),
            std::string::npos)
      << errors;
  EXPECT_EQ(errors.find("Hidden"), std::string::npos);
  // 2.0.1 (7), the hidden file (8), the unreadable description (3) and the
  // broken file (6) give nothing; ids sort unsigned, so the description
  // without one sorts last.
  const auto& table = uploaded();
  const std::array<uint32_t, 7> ids = {2, 5, 9, 12, 13, 14, kUnassignedUniqueID};
  ASSERT_EQ(table.size(), ids.size());
  // The battery identifier of IsWireless alone, of none, of one before and
  // after IsWireless, of IsWireless false, of a larger one kept over its group's.
  const std::array<uint16_t, 7> batteries = {1, 0, 3, 0, 3, 4, 0};
  for (size_t i = 0; i < ids.size(); ++i) {
    EXPECT_EQ(id_at(table[i].data(), 0), ids[i]);
    EXPECT_EQ(load_be16(&table[i][58]), batteries[i]) << ids[i];
  }
  // Defaults: DevType and DevKind 1, ButtonCount 1, MoveMultiplier 10 (also for 0).
  EXPECT_EQ(Bytes(&table[1][24], &table[1][28]), (Bytes{0, 1, 0, 1}));
  EXPECT_EQ(load_be32(&table[1][36]), 1u);
  EXPECT_EQ(load_be16(&table[1][56]), 10);
  EXPECT_EQ(load_be16(&table[6][56]), 10);
  EXPECT_EQ(load_be32(&table[6][36]), 3u);
}

TEST_F(DeviceUploadTest, RealProductTableIsAcceptedSortedAndOurOwn) {
  use_bundle_beside(CX_RESOURCES_DIR);
  const auto bundle = dirt_bundle_create();
  ASSERT_TRUE(bundle);
  testing::internal::CaptureStderr();
  const auto block = device_properties_copy(*bundle);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_TRUE(block);
  const size_t count = block->size() / kDeviceRecordSize;
  for (size_t i = 0; i < count; ++i) {
    EXPECT_LT(i > 0 ? id_at(block->data(), i - 1) : 0u, id_at(block->data(), i))
        << "ascending and distinct";
    EXPECT_NE(id_at(block->data(), i), kUnassignedUniqueID);
  }
  // Product names are our own: none borrowed from another maker's line.
  std::vector<std::string> names;
  enumerate_cxdevices(
      *bundle,
      [](const std::string& key, const plist::Dictionary&, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(key);
        return 0;
      },
      &names);
  EXPECT_EQ(names.size(), 6u);
  EXPECT_EQ(count, names.size());
  for (const std::string& name : names) EXPECT_TRUE(name.starts_with("Corvex ")) << name;

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
