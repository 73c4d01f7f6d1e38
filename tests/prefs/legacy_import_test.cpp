// Old binary preference files, spelt out byte by byte, imported into the
// reference driver, set aside, and saved as property lists.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "prefs/legacy_import.h"
#include "tests/prefs/pref_fixture.h"
#include "tests/support/golden.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;
using bytes = std::vector<uint8_t>;

std::string hex_file(const std::string& name) {
  const bytes b = read_hex("legacy/" + name);
  return {b.begin(), b.end()};
}

// Button 2 with two items and a name, preset button 19 with a name of flags
// 1, one dataspace; then application data and chord speed, except in "100".
const std::string kOlder = hex_file("older_101.hex");
const std::string kV2 = hex_file("version2.hex");
// The version 2 file up to its first application set.
constexpr size_t kV2HeadSize = 21;

class LegacyImportTest : public PrefStoreTest {
 protected:
  std::string path(const std::string& name) const {
    return fs::path(user_file()).parent_path() / name;
  }
  const refdriver::StoredResponse& global(uint8_t button) {
    static const refdriver::StoredResponse none;
    const auto* r = driver_.state().response(driver_.state().apps.global(),
                                             refdriver::response_key(0, button, 0));
    return r ? *r : none;
  }
};

TEST_F(LegacyImportTest, OlderLayoutsReachTheDriver) {
  for (const auto& [file, version, data] :
       {std::tuple{"Corvex Preferences", "101", kOlder},
        std::tuple{"Corvex Preferences", "100", hex_file("older_100.hex")},
        std::tuple{"Corvex Preferences", "9.9", "9.9" + kOlder.substr(3)},
        std::tuple{"Velcorra Preferences", "", kOlder.substr(3)}}) {
    SCOPED_TRACE(version);
    fs::remove_all(path(""));
    write_file(path(file), data);
    driver_.mutable_state().apps.global().data.fixed(8)->assign(2, 0xFF);
    ASSERT_EQ(read_prefs(nullptr), 1);
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

TEST_F(LegacyImportTest, StartUpImportsTheNewestFileAndSetsItAside) {
  write_file(path("com.velcorra.corvex.pref"), kV2);
  write_file(path("Corvex Preferences"), kOlder);
  write_file(path("Velcorra Preferences.old"), "");
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
}

// Every cut fails, except one inside an application set's key or name, which
// ends a version 2 file quietly; a failed start-up import leaves the file.
TEST_F(LegacyImportTest, ShortAndCorruptFilesFailAndStayWhereTheyWere) {
  for (size_t cut = 0; cut < kOlder.size(); ++cut) {
    write_file(path("Corvex Preferences"), kOlder.substr(0, cut));
    ASSERT_EQ(read_prefs(nullptr), 0) << cut;
  }
  std::string too_big = kOlder;
  too_big[217] = 3;  // the largest block is said to be 3 bytes, the block has 4
  write_file(path("Corvex Preferences"), too_big);
  EXPECT_EQ(read_prefs(nullptr), 0);
  for (size_t cut = 0; cut < kV2.size(); ++cut) {
    write_file(path("com.velcorra.corvex.pref"), kV2.substr(0, cut));
    ASSERT_EQ(read_prefs(nullptr), cut >= kV2HeadSize && cut < kV2HeadSize + 160) << cut;
  }
  write_file(path("com.velcorra.corvex.pref"), hex_file("version2_bad_cache.hex"));
  load();
  EXPECT_TRUE(fs::exists(path("com.velcorra.corvex.pref")));
  EXPECT_FALSE(fs::exists(path("~com.velcorra.corvex.pref")));
  EXPECT_EQ(global_record(2), bytes({3, 3, 3, 4, 4}));
}

}  // namespace
}  // namespace cx::test
