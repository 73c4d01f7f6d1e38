// Old binary preference files, built byte by byte, imported into the
// reference driver, set aside, and saved as property lists.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "driver/driver_connection.h"
#include "prefs/legacy_import.h"
#include "tests/prefs/pref_fixture.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;
using bytes = std::vector<uint8_t>;

std::string be16(uint32_t v) {
  return {static_cast<char>(v >> 8), static_cast<char>(v)};
}
std::string be32(uint32_t v) {
  return be16(v >> 16) + be16(v & 0xFFFF);
}
std::string pad(std::string text, size_t n) {
  text.resize(n);
  return text;
}
// The stored link is junk that the reader must not pass on.
std::string item(char seq, uint16_t act) {
  return be16(0) + be16(0) + seq + '\0' + be16(act) + be32(0) + be32(0xDEADBEEF);
}

// Button 2 with two items and a name, preset button 19 with a name of flags
// 1, one dataspace; then application data and chord speed, except in "100".
std::string older_file(const std::string& version, int buttons) {
  std::string f = version + "\x07\x01\x02", counts;
  for (int b = 0; b < buttons; ++b) {
    f += be16(b == 2 ? 2 : 0);
    counts += be16(b == 2 || b == 19);
  }
  f += item(1, 1) + item(2, 2) + counts + pad("Tap", 36) + pad("Home", 34) + be16(1);
  f += be16(1) + be16(4) + be16(4) + be16(5) + std::string("abc\0", 4);
  return version == "100" ? f : f + std::string(434, 'Z') + be32(321u << 16);
}

const std::string kV2Head = std::string("200\x09\0\0", 6) + be32(321u << 16) + be16(1) + be16(3) +
                            be16(3) + be16(260) + std::string("xy\0", 3);
const std::string kV2 =
    kV2Head + pad("com.example.edit", 32) + pad("Edit", 128) + be32(5) + "cache";

class LegacyImportTest : public PrefStoreTest {
 protected:
  std::string path(const std::string& name) const {
    return fs::path(user_file()).parent_path() / name;
  }
  void write_old(const std::string& name, const std::string& data) {
    fs::create_directories(path(""));
    std::ofstream(path(name), std::ios::binary) << data;
  }
  int import() {
    int version2 = 0;
    return read_prefs(&version2);
  }
  const refdriver::StoredResponse& global(uint8_t button) {
    static const refdriver::StoredResponse none;
    const auto* r = driver_.state().response(driver_.state().apps.global(),
                                             refdriver::response_key(0, button, 0));
    return r ? *r : none;
  }
};

TEST_F(LegacyImportTest, OlderLayoutsReachTheDriver) {
  for (const auto& [file, version, buttons] :
       {std::tuple{"Corvex Preferences", "101", 26}, std::tuple{"Corvex Preferences", "100", 25},
        std::tuple{"Corvex Preferences", "9.9", 26}, std::tuple{"Velcorra Preferences", "", 26}}) {
    SCOPED_TRACE(version);
    fs::remove_all(path(""));
    write_old(file, older_file(version, buttons));
    driver_.mutable_state().apps.global().data.fixed(8)->assign(2, 0xFF);
    ASSERT_EQ(import(), 1);
    const std::string v = version;
    EXPECT_EQ(global_record(2), bytes(5, 7));
    ASSERT_EQ(global(2).item_count(), 2u);
    EXPECT_EQ(bytes({global(2).items[7], global(2).items[23]}), bytes({1, 2}));
    EXPECT_EQ(load_be16(&global(19).name[34]), 0x8003);
    EXPECT_EQ(driver_.state().apps.global().dataspaces.at(5), bytes({'a', 'b', 'c', 0}));
    EXPECT_EQ(app_record("Default", 8), bytes(2, v == "100" || v == "101" ? 0 : 0xFF));
    if (v == "100") {
      EXPECT_EQ(app_record("Default", 72), bytes({1, 0, 0, 0}));
      EXPECT_EQ(bytes(global(5).items.begin(), global(5).items.end()),
                bytes({0, 12, 0, 0, 8, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0}));
    } else {
      EXPECT_EQ(app_record("Default", 17), bytes(434, 'Z'));
      EXPECT_EQ(global_record(9), bytes({1, 0x41, 0, 0}));
    }
  }
}

TEST_F(LegacyImportTest, StartUpImportsTheNewestFileSetsItAsideAndTheNextSaveKeepsIt) {
  write_old("com.velcorra.corvex.pref", kV2);
  write_old("Corvex Preferences", older_file("101", 26));
  write_old("Velcorra Preferences.old", "");
  load();
  EXPECT_EQ(global_record(2), bytes(5, 9));
  EXPECT_EQ(driver_.state().dataspaces.global().at(260), bytes({'x', 'y', 0}));
  const auto* set = driver_.mutable_state().apps.find_listed("com.example.edit");
  ASSERT_TRUE(set);
  EXPECT_EQ(set->cache, bytes({'c', 'a', 'c', 'h', 'e'}));
  for (const char* gone :
       {"com.velcorra.corvex.pref", "Corvex Preferences", "Velcorra Preferences.old"})
    EXPECT_FALSE(fs::exists(path(gone))) << gone;
  EXPECT_TRUE(fs::exists(path("~com.velcorra.corvex.pref")));
  save();
  const plist::ValueRef saved = read_user();
  const auto* system =
      plist::as<plist::Dictionary>(plist::as<plist::Dictionary>(saved)->get("SystemWideData"));
  ASSERT_TRUE(system);
  EXPECT_EQ(
      plist::as<plist::Number>(
          plist::as<plist::Dictionary>(system->get("AccelerationData"))->get("Tball2AccelLevel"))
          ->int_value(),
      9);
}

// Every cut fails, except one inside an application set's key or name, which
// ends a version 2 file quietly; a failed start-up import leaves the file.
TEST_F(LegacyImportTest, ShortAndCorruptFilesFailAndStayWhereTheyWere) {
  const std::string older = older_file("101", 26);
  for (size_t cut = 0; cut < older.size(); ++cut) {
    write_old("Corvex Preferences", older.substr(0, cut));
    ASSERT_EQ(import(), 0) << cut;
  }
  std::string too_big = older;
  too_big[217] = 3;  // the largest block is said to be 3 bytes, the block has 4
  write_old("Corvex Preferences", too_big);
  EXPECT_EQ(import(), 0);
  for (size_t cut = 0; cut < kV2.size(); ++cut) {
    write_old("com.velcorra.corvex.pref", kV2.substr(0, cut));
    ASSERT_EQ(import(), cut >= kV2Head.size() && cut < kV2Head.size() + 160) << cut;
  }
  write_old("com.velcorra.corvex.pref", kV2Head + pad("k", 160) + be32(0xFFFFFFF0) + "short");
  load();
  EXPECT_TRUE(fs::exists(path("com.velcorra.corvex.pref")));
  EXPECT_FALSE(fs::exists(path("~com.velcorra.corvex.pref")));
  EXPECT_EQ(global_record(2), bytes({3, 3, 3, 4, 4}));
}

}  // namespace
}  // namespace cx::test
