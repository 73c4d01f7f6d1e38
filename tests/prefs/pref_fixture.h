// A reference driver, a private preferences folder and a bundle folder with
// the shipped defaults beside it: everything a load or a save touches.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/user_client.h"
#include "plist/value.h"
#include "tests/support/reference_driver.h"
#include "tests/support/temp_dir.h"

namespace cx::test {

class PrefStoreTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Writes `root` as the user's "CXPrefData".
  void write_user(const plist::ValueRef& root);
  // The user's "CXPrefData" as the file holds it, or null.
  plist::ValueRef read_user() const;
  std::string user_file_bytes() const;
  std::string user_file() const;
  // A record of the driver: global data, or application data of set `key`.
  std::vector<uint8_t> global_record(uint16_t index) const;
  std::vector<uint8_t> app_record(const std::string& key, uint16_t index);
  // Loads the user's settings into the driver, as an activation does.
  void load();
  int save();

  TempDir dir_{"cxprefs"};
  ReferenceDriver driver_;
  std::unique_ptr<platform::UserClientService> service_;
};

// The value at a "/"-separated path, or null.
plist::ValueRef at(const plist::ValueRef& root, const std::string& path);

}  // namespace cx::test
