// Old binary preference files, built byte by byte, imported into the
// reference driver; then set aside and saved as property lists.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "driver/driver_connection.h"
#include "prefs/legacy_import.h"
#include "tests/prefs/pref_fixture.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

struct Bytes {
  std::string data;
  Bytes& raw(std::string_view s) {
    data += s;
    return *this;
  }
  Bytes& fill(size_t n, char c) {
    data.append(n, c);
    return *this;
  }
  Bytes& be16(uint16_t v) {
    uint8_t b[2];
    store_be16(b, v);
    return raw({reinterpret_cast<char*>(b), 2});
  }
  Bytes& be32(uint32_t v) {
    uint8_t b[4];
    store_be32(b, v);
    return raw({reinterpret_cast<char*>(b), 4});
  }
  // An action item; the stored link is junk that the reader must not keep.
  Bytes& item(uint16_t mods, uint16_t ch12, uint8_t seq, uint16_t act) {
    be16(mods);
    data += static_cast<char>(ch12 & 0xFF);
    data += static_cast<char>(ch12 >> 8);
    data += static_cast<char>(seq);
    data += '\0';
    return be16(act).be32(0).be32(0xDEADBEEF);
  }
  Bytes& name(std::string_view text, uint16_t flags) {
    return raw(text).fill(34 - text.size(), '\0').be16(flags);
  }
  Bytes& block(uint16_t id, std::string_view payload) {
    return be16(static_cast<uint16_t>(payload.size())).be16(id).raw(payload);
  }
};

constexpr std::string_view kUrl{"abc\0", 4};

// The older layout: two lists (button 2, preset button 19), their names,
// one dataspace, and the application data and chord speed unless "100".
std::string older_file(std::string_view version, int buttons) {
  Bytes f;
  f.raw(version).raw("\x07\x01\x02");
  for (int b = 0; b < buttons; ++b) f.be16(b == 2 ? 2 : b == 19 ? 1 : 0);
  f.item(0, 0, 1, 1).item(0, 0, 2, 2).item(0, 5, 1, 0x0400);
  for (int b = 0; b < buttons; ++b) f.be16(b == 2 || b == 19 ? 1 : 0);
  f.name("Tap", 0).name("Home", 1);
  f.be16(1).be16(4).block(5, kUrl);
  if (version != "100") f.fill(434, 'Z').be32(321);
  return f.data;
}

std::string v2_head() {
  return Bytes{}.raw({"200\x09\x00\x00", 6}).be32(321).be16(1).be16(3).block(260, {"xy\0", 3}).data;
}

std::string v2_file() {
  Bytes f{v2_head()};
  f.raw("com.example.edit").fill(16, '\0').raw("Edit").fill(124, '\0').be32(5).raw("cache");
  f.raw("com.example.mail").fill(16, '\0').raw("Mail").fill(124, '\0').be32(2).raw("mm");
  return f.data;
}

class LegacyImportTest : public PrefStoreTest {
 protected:
  std::string prefs_dir() const { return fs::path(user_file()).parent_path(); }
  void write_old(const std::string& name, const std::string& bytes) {
    fs::create_directories(prefs_dir());
    std::ofstream(prefs_dir() + "/" + name, std::ios::binary) << bytes;
  }
  bool old_exists(const std::string& name) const { return fs::exists(prefs_dir() + "/" + name); }
  int import() {
    DisconnectFromDriver();
    version2_ = 0;
    return read_prefs(&version2_);
  }
  const refdriver::StoredResponse* global_response(uint8_t mods, uint8_t button) {
    return driver_.state().response(driver_.state().apps.global(),
                                    refdriver::response_key(mods, button, 0));
  }
  std::string cache_of(const std::string& key) {
    const auto* set = driver_.mutable_state().apps.find_listed(key);
    return set ? std::string(set->cache.begin(), set->cache.end()) : "<none>";
  }
  int version2_ = 0;
};

struct OlderCase {
  const char* file;
  const char* version;
  int buttons;
};

TEST_F(LegacyImportTest, OlderLayoutsReachTheDriver) {
  for (const OlderCase& c :
       {OlderCase{"Corvex Preferences", "101", 26}, OlderCase{"Corvex Preferences", "100", 25},
        OlderCase{"Corvex Preferences", "9.9", 26}, OlderCase{"Velcorra Preferences", "", 26}}) {
    SCOPED_TRACE(c.version);
    DisconnectFromDriver();
    driver_.stop();
    ASSERT_TRUE(driver_.start());
    driver_.mutable_state().apps.global().data.fixed(8)->assign(2, 0xFF);
    fs::remove_all(prefs_dir());
    write_old(c.file, older_file(c.version, c.buttons));
    ASSERT_EQ(import(), 1);
    EXPECT_EQ(version2_, 0);
    const std::string_view v = c.version;
    EXPECT_EQ(global_record(2), (std::vector<uint8_t>{7, 7, 7, 7, 7}));
    EXPECT_EQ(global_record(16), (std::vector<uint8_t>{0, 0, 0, 0}));
    const auto* tap = global_response(0, 2);
    ASSERT_TRUE(tap && tap->item_count() == 2);
    EXPECT_EQ(tap->items[7], 1);
    EXPECT_EQ(tap->items[16 + 7], 2);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(tap->name.data())), "Tap");
    const auto* home = global_response(0, 19);
    ASSERT_TRUE(home && home->item_count() == 1);
    EXPECT_EQ(load_be16(&home->name[34]), 0x8003);
    const auto& spaces = driver_.state().apps.global().dataspaces;
    ASSERT_TRUE(spaces.count(5));
    EXPECT_EQ(std::string(spaces.at(5).begin(), spaces.at(5).end()), kUrl);
    const bool flags_cleared = v == "100" || v == "101";
    EXPECT_EQ(app_record("Default", 8), std::vector<uint8_t>(2, flags_cleared ? 0 : 0xFF));
    if (v == "100") {
      EXPECT_EQ(app_record("Default", 72), (std::vector<uint8_t>{1, 0, 0, 0}));
      const auto* chord = global_response(0, 5);
      ASSERT_TRUE(chord && chord->item_count() == 1);
      EXPECT_EQ(std::vector<uint8_t>(chord->items.begin(), chord->items.begin() + 8),
                (std::vector<uint8_t>{0, 12, 0, 0, 8, 0, 0, 2}));
      EXPECT_EQ(std::string(reinterpret_cast<const char*>(chord->name.data())), "Make Alias");
      ASSERT_TRUE(global_response(0, 4));
      EXPECT_EQ(global_response(0, 4)->items[1], 4);
    } else {
      EXPECT_EQ(app_record("Default", 17), std::vector<uint8_t>(434, 'Z'));
      EXPECT_EQ(global_record(9), (std::vector<uint8_t>{0, 0, 1, 0x41}));
    }
  }
}

TEST_F(LegacyImportTest, Version2FileReplacesTheOthersAndItsSetsReachTheDriver) {
  write_old("com.velcorra.corvex.pref", v2_file());
  for (const char* old : {"Corvex Preferences", "Corvex Preferences.old", "Velcorra Preferences",
                          "Velcorra Preferences.old"})
    write_old(old, older_file("101", 26));
  ASSERT_EQ(import(), 1);
  EXPECT_EQ(version2_, 1);
  for (const char* old : {"Corvex Preferences", "Corvex Preferences.old", "Velcorra Preferences",
                          "Velcorra Preferences.old"})
    EXPECT_FALSE(old_exists(old)) << old;
  EXPECT_EQ(global_record(2), (std::vector<uint8_t>{9, 9, 9, 9, 9}));
  EXPECT_EQ(global_record(9), (std::vector<uint8_t>{0, 0, 1, 0x41}));
  const auto& spaces = driver_.state().dataspaces.global();
  ASSERT_TRUE(spaces.count(260));
  EXPECT_EQ(spaces.at(260), (std::vector<uint8_t>{'x', 'y', 0}));
  EXPECT_EQ(cache_of("com.example.edit"), "cache");
  EXPECT_EQ(cache_of("com.example.mail"), "mm");

  // Ending right after the dataspaces is a file without application sets.
  write_old("com.velcorra.corvex.pref", v2_head());
  ASSERT_EQ(import(), 1);
  EXPECT_EQ(driver_.state().apps.listed_count(), 0u);
}

// Every file cut short fails; so do counts that the data cannot back.
TEST_F(LegacyImportTest, ShortAndCorruptFilesFail) {
  const std::string older = older_file("101", 26);
  for (size_t cut = 0; cut < older.size(); ++cut) {
    write_old("Corvex Preferences", older.substr(0, cut));
    ASSERT_EQ(import(), 0) << "cut at " << cut;
  }
  const std::string v2 = v2_file();
  const size_t first_set = v2_head().size();
  const size_t second_set = first_set + 160 + 4 + 5;
  for (size_t cut = 0; cut < v2.size(); ++cut) {
    write_old("com.velcorra.corvex.pref", v2.substr(0, cut));
    // A set cut inside its key or name ends the file quietly.
    const bool in_names = (cut >= first_set && cut < first_set + 160) ||
                          (cut >= second_set && cut < second_set + 160);
    ASSERT_EQ(import(), in_names ? 1 : 0) << "cut at " << cut;
  }
  fs::remove(prefs_dir() + "/com.velcorra.corvex.pref");
  std::string too_big = older;
  too_big[3 + 3 + 52 + 48 + 52 + 72 + 3] = 3;  // largest block 3, block of 4
  write_old("Corvex Preferences", too_big);
  EXPECT_EQ(import(), 0);
  write_old("com.velcorra.corvex.pref",
            Bytes{v2_head()}.raw("k").fill(159, '\0').be32(0xFFFFFFF0).raw("short").data);
  EXPECT_EQ(import(), 0);
}

TEST_F(LegacyImportTest, StartUpImportsSetsTheFileAsideAndTheNextSaveKeepsIt) {
  write_old("com.velcorra.corvex.pref", v2_file());
  load();
  EXPECT_EQ(global_record(2), (std::vector<uint8_t>{9, 9, 9, 9, 9}));
  EXPECT_EQ(cache_of("com.example.edit"), "cache");
  EXPECT_FALSE(old_exists("com.velcorra.corvex.pref"));
  EXPECT_TRUE(old_exists("~com.velcorra.corvex.pref"));
  EXPECT_FALSE(read_user());
  save();
  const auto saved = read_user();
  const auto* level =
      plist::as<plist::Number>(at(saved, "SystemWideData/AccelerationData/Tball2AccelLevel"));
  ASSERT_TRUE(level);
  EXPECT_EQ(level->int_value(), 9);
  EXPECT_TRUE(at(saved, "ApplicationSetData/com.example.edit"));
}

TEST_F(LegacyImportTest, AFailedImportLeavesTheOldFileAndAppliesTheDefaults) {
  const std::string v2 = v2_file();
  write_old("com.velcorra.corvex.pref", v2.substr(0, v2_head().size() + 162));
  load();
  EXPECT_TRUE(old_exists("com.velcorra.corvex.pref"));
  EXPECT_FALSE(old_exists("~com.velcorra.corvex.pref"));
  EXPECT_EQ(global_record(2), (std::vector<uint8_t>{3, 3, 3, 4, 4}));
}

}  // namespace
}  // namespace cx::test
