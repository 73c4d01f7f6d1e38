// The preference store end to end: user file -> read pass -> reference
// driver -> write pass -> user file.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/agent_state.h"
#include "model/act_item.h"
#include "plist/plist_io.h"
#include "prefs/pref_files.h"
#include "tests/prefs/pref_fixture.h"
#include "tests/support/golden.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

constexpr char kLevel[] = "SystemWideData/AccelerationData/Tball2AccelLevel";

TEST_F(PrefStoreTest, SavingTheDefaultsLeavesOnlyVersionAndSetNames) {
  active_app_sig = 0x74747874;
  load();
  EXPECT_EQ(active_app_sig, 0u) << "an activation forgets the front application";
  EXPECT_EQ(save(), 1);
  EXPECT_EQ(user_file_bytes(), read_text("saved/defaults.plist"));
}

TEST_F(PrefStoreTest, LeafKeepsStoresOrDeletes) {
  const struct {
    const char* what;
    std::optional<int> user;
    uint8_t driver;
    std::optional<int> saved;
  } cases[] = {
      {"kept while the driver holds it", 5, 5, 5},
      {"kept although equal to the default", 3, 3, 3},
      {"stored when the driver differs", std::nullopt, 7, 7},
      {"replaced by the driver's value", 5, 6, 6},
      {"deleted when the driver holds the default", 5, 3, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto levels = plist::make_dictionary();
    if (c.user) levels->set("Tball2AccelLevel", plist::make_int32(*c.user));
    write_user(plist::make_dictionary(
        {{"SystemWideData", plist::make_dictionary({{"AccelerationData", levels}})}}));
    load();
    ASSERT_EQ(global_record(2)[0], c.user.value_or(3));
    driver_.mutable_state().globals.fixed(2)->at(0) = c.driver;
    save();
    const plist::ValueRef saved = at(read_user(), kLevel);
    const auto* level = plist::as<plist::Number>(saved);
    EXPECT_EQ(level ? std::optional<int>(level->int_value()) : std::nullopt, c.saved);
    if (!c.saved) {
      EXPECT_FALSE(at(read_user(), "SystemWideData")) << "nor the emptied parents";
    }
  }
}

TEST_F(PrefStoreTest, RecordsReachTheDriverAndComeBack) {
  load();
  const std::vector<uint8_t> default_table = global_record(94);
  write_file(user_file(), read_text("user/records.plist"));
  load();
  EXPECT_EQ(app_record("Default", 72), (std::vector<uint8_t>{3, 0, 0, 2}));
  EXPECT_EQ(global_record(9)[0] << 8 | global_record(9)[1], 321);
  EXPECT_EQ(global_record(94)[131], 99);
  EXPECT_EQ(global_record(94)[1], 1);  // first threshold, big-endian

  // The second flag of the same word changes alone; the table is the default again.
  driver_.mutable_state().global_record(94)[131] = default_table[131];
  driver_.mutable_state().apps.global().data.fixed(72)->at(3) = 2 | 4;
  save();
  EXPECT_EQ(user_file_bytes(), read_text("saved/records.plist"));
}

TEST_F(PrefStoreTest, OldLayoutIsMigrated) {
  const plist::ValueRef old = plist::read_plist_file(data_path("migrate_3.0.0.plist")).value;
  ASSERT_TRUE(plist::as<plist::Dictionary>(old));
  auto user = std::static_pointer_cast<plist::Dictionary>(plist::deep_copy(old.get()));
  reconcile_old_user_plist(&user, "3.1.0");
  EXPECT_TRUE(plist::equal(user.get(), old.get()));
  reconcile_old_user_plist(&user, "3.0.0");
  EXPECT_TRUE(
      plist::equal(user, plist::read_plist_file(data_path("migrate_3.0.0.expected.plist")).value));

  // A file without a version is taken as 3.0.0.
  write_user(plist::deep_copy(old.get()));
  load();
  EXPECT_EQ(global_record(2), (std::vector<uint8_t>{6, 6, 6, 6, 6}));
}

TEST_F(PrefStoreTest, SetsTheDriverDroppedGoAndNewOnesAreAdded) {
  write_file(user_file(), read_text("user/sets.plist"));
  load();
  auto& apps = driver_.mutable_state().apps;
  ASSERT_EQ(apps.listed_count(), 2u);
  EXPECT_EQ(apps.listed(0)->key, "com.apple.TextEdit");
  EXPECT_EQ(apps.listed(1)->key, "Default") << "the defaults' set, loaded after the user's";
  EXPECT_EQ(app_record("com.apple.TextEdit", 72), (std::vector<uint8_t>{5, 0, 0, 0}));

  ASSERT_EQ(driver_.mutable_state().delete_app_set("com.apple.TextEdit"), 1);
  apps.select("com.apple.Preview", "Preview");
  apps.edited().data.write(72, std::vector<uint8_t>{9, 0, 0, 0});
  apps.select_global();
  save();
  EXPECT_EQ(user_file_bytes(), read_text("saved/sets.plist"));
}

// Each file holds one bad value beside a valid chording speed, which must
// still reach the driver unless the file cannot be read at all; the file
// itself stays as it was. The last file's valid level stays in the driver.
TEST_F(PrefStoreTest, BadValuesAreSkippedAndTheirSiblingsApply) {
  const std::set<fs::path> files{fs::directory_iterator(data_path("bad_values")), {}};
  ASSERT_EQ(files.size(), 11u);
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    write_file(user_file(), read_file(file.string()));
    const auto before = user_file_bytes();
    load();
    const bool unreadable = file.filename().string().find("unreadable") != std::string::npos;
    EXPECT_EQ(global_record(9)[0] << 8 | global_record(9)[1], unreadable ? 200 : 321);
    EXPECT_EQ(user_file_bytes(), before);
  }
  EXPECT_EQ(global_record(2)[1], 7) << "the valid level beside the bad one";
}

// Global and per-application sets, every response kind, records: what the
// driver is given it gives back, and the saved dictionary is the one loaded.
TEST_F(PrefStoreTest, RichFileRoundTripsThroughTheDriver) {
  const plist::ValueRef rich = plist::read_plist_file(data_path("rich_user.plist")).value;
  write_user(rich);
  ::testing::internal::CaptureStderr();
  load();
  EXPECT_EQ(save(), 1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(plist::equal(read_user(), rich));
  // Saving what is saved changes nothing and keeps the file before as a backup.
  const auto first = user_file_bytes();
  load();
  save();
  EXPECT_EQ(user_file_bytes(), first);
  EXPECT_EQ(read_file(fs::path(user_file()).parent_path() / "~com.Velcorra.Corvex.plist"), first);

  // The control panel makes the global button 4 a plain click; its name stays.
  std::vector<uint8_t> click(2 * kActItemWireSize);
  encode_act_item(make_act_item(0, 0, 1, 1, 0), click.data());
  encode_act_item(make_act_item(0, 0, 2, 2, 0), click.data() + kActItemWireSize);
  auto& state = driver_.mutable_state();
  ASSERT_EQ(state.store_list(state.apps.global(), refdriver::response_key(0, 3, 0), click), 1);
  save();
  EXPECT_EQ(user_file_bytes(), read_text("saved/rich_b4_click.plist"));
}

// A restore sends one section's defaults, the buttons only of the edited set,
// and leaves the file alone; the next save drops those values of the user's.
TEST_F(PrefStoreTest, RestoreSendsDefaultsAndTheNextSaveDropsTheUsersValues) {
  const plist::ValueRef rich = plist::read_plist_file(data_path("rich_user.plist")).value;
  write_user(rich);
  load();
  ASSERT_EQ(global_record(2), (std::vector<uint8_t>{3, 6, 3, 4, 4}));
  EXPECT_EQ(retore_default_prefs(&pref_data, 7), 0);
  EXPECT_EQ(retore_default_prefs(&pref_data, 2), 1);
  EXPECT_EQ(retore_default_prefs(&pref_data, 1), 1);
  EXPECT_EQ(global_record(2), (std::vector<uint8_t>{3, 3, 3, 4, 4}));
  EXPECT_TRUE(plist::equal(read_user(), rich));
  save();
  EXPECT_EQ(user_file_bytes(), read_text("saved/restored.plist"));
}

}  // namespace
}  // namespace cx::test
