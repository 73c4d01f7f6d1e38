// Login items against the agent's own string tables and real preference files.
#include "util/login_items.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "agent/foreground_app.h"
#include "platform/preferences.h"
#include "plist/plist_io.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"

namespace cx::test {
namespace {

using Paths = std::vector<std::string>;

class LoginItemsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("LANGUAGE");
    cleanupPreferenceIdentifiers();
  }
  void TearDown() override { cleanupPreferenceIdentifiers(); }
  static std::string file(int all_users) {
    using platform::PrefHost, platform::PrefUser;
    return platform::preference_file_path("loginwindow",
                                          all_users ? PrefUser::Any : PrefUser::Current,
                                          all_users ? PrefHost::Current : PrefHost::Any);
  }
  static std::shared_ptr<plist::Array> items(const Paths& paths) {
    auto array = plist::make_array();
    for (const auto& p : paths)
      array->append(plist::make_dictionary(
          {{"Hide", plist::make_bool(false)}, {"Path", plist::make_string(p)}}));
    return array;
  }
  static std::shared_ptr<plist::Dictionary> root(const Paths& paths) {
    return plist::make_dictionary({{"AutoLaunchedApplicationDictionary", items(paths)}});
  }
  static void store(int all_users, const Paths& paths) {
    test::write_file(file(all_users), "");
    ASSERT_TRUE(plist::write_plist_file(file(all_users), *root(paths), plist::Format::Xml).ok());
  }
  // Whether the scope's file holds exactly these items.
  static bool holds(int all_users, const Paths& paths) {
    return plist::equal(plist::read_plist_file(file(all_users)).value, root(paths));
  }

  TempDir dir_;
  ScopedEnv bundle_{"CORVEX_BUNDLE", CX_AGENT_BUNDLE},
      config_{"XDG_CONFIG_HOME", dir_.file("config")},
      local_{"CORVEX_LOCAL_PREFERENCES", dir_.file("local")};
};

// Neighbours with the suffix both go; the suffix inside a path stays.
TEST_F(LoginItemsTest, DetectAndRemoveTouchOnlyTheAgentsEntries) {
  const struct {
    int all_users;
    Paths stored;
    bool detected;
    Paths after;
  } cases[] = {
      {0,
       {"/Apps/Corvex Background.app", "/Mail.app", "/old/CorvexBackground.app"},
       true,
       {"/Mail.app"}},
      {1, {"/x/CXBackground.app", "/y/CXBackground.app", "/Mail.app"}, true, {"/Mail.app"}},
      {0,
       {"/Mail.app", "/Corvex Background/Help"},
       false,
       {"/Mail.app", "/Corvex Background/Help"}},
      {1, {}, false, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stored.empty() ? "empty" : c.stored[0]);
    store(c.all_users, c.stored);
    EXPECT_EQ(detectLoginItems(c.all_users), c.detected);
    removeLoginItems(c.all_users);
    EXPECT_TRUE(holds(c.all_users, c.after));
  }
}

// The agent drops its entry from the user's list only when the entry is in
// both lists (the all-users one then starts it); the all-users list stays.
TEST_F(LoginItemsTest, UnusedItemLeavesOnlyTheUsersListWhenBothHoldIt) {
  const Paths agent = {"/Mail.app", "/x/CXBackground.app"};
  const struct {
    Paths user, all_users;
    int result;
  } cases[] = {
      {agent, agent, 1},
      {agent, {"/Mail.app"}, 0},
      {{"/Mail.app"}, agent, 0},
      {{"/Mail.app"}, {}, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.user.back() + " / " + (c.all_users.empty() ? "" : c.all_users.back()));
    store(0, c.user);
    store(1, c.all_users);
    const std::string all_users_before = test::read_file(file(1));
    const std::string user_before = test::read_file(file(0));
    EXPECT_EQ(removeUnusedLoginItem(), c.result);
    EXPECT_EQ(test::read_file(file(1)), all_users_before);
    if (c.result == 0) {
      EXPECT_EQ(test::read_file(file(0)), user_before);
    }
    EXPECT_EQ(detectLoginItems(0), c.result == 0 && c.user == agent);
  }
}

TEST_F(LoginItemsTest, AddReplacesStaleEntriesWithTheAgent) {
  for (int all_users : {0, 1}) {
    store(all_users, {"/old/Corvex Background.app", "/Mail.app", "/x/CorvexBackground.app"});
    for (int round = 0; round < 2; ++round) {  // the agent's own entry is replaced, not doubled
      EXPECT_TRUE(addLoginItems(all_users));
      EXPECT_TRUE(holds(all_users, {"/Mail.app", CX_AGENT_BUNDLE}));
    }
    EXPECT_TRUE(detectLoginItems(all_users));
  }
}

TEST_F(LoginItemsTest, MissingStringsFailQuietly) {
  store(0, {"/x/CXBackground.app"});
  const std::string before = test::read_file(file(0));
  setenv("CORVEX_BUNDLE", dir_.file("nowhere/Corvex Background").c_str(), 1);
  testing::internal::CaptureStderr();
  EXPECT_FALSE(detectLoginItems(0));
  removeLoginItems(0);
  EXPECT_FALSE(addLoginItems(0));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(test::read_file(file(0)), before);
}

}  // namespace
}  // namespace cx::test
