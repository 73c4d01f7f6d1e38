#include "platform/preferences.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "plist/plist_io.h"
#include "plist/value.h"
#include "tests/support/temp_dir.h"

namespace cx::platform {
namespace {

class PreferencesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("XDG_CONFIG_HOME", dir_.file("config").c_str(), 1);
    ::setenv("CORVEX_LOCAL_PREFERENCES", dir_.file("local").c_str(), 1);
    ::setenv("CORVEX_MACHINE_ID", "m1", 1);
  }
  void TearDown() override {
    for (const char* v : {"XDG_CONFIG_HOME", "CORVEX_LOCAL_PREFERENCES", "CORVEX_MACHINE_ID"})
      ::unsetenv(v);
  }
  // Stores {"k": value} for one scope of domain d.x in the given format.
  void store(PrefUser user, PrefHost host, int32_t value, plist::Format format) {
    auto dict = plist::make_dictionary();
    dict->set("k", plist::make_int32(value));
    const std::string path = preference_file_path("d.x", user, host);
    test::write_file(path, "");
    ASSERT_TRUE(plist::write_plist_file(path, *dict, format).ok());
  }
  static int32_t read(const char* key, const char* domain, PrefUser user, PrefHost host) {
    const plist::ValueRef v = copy_preference_value(key, domain, user, host);
    const auto* n = plist::as<plist::Number>(v);
    return n ? static_cast<int32_t>(n->int_value()) : -1;
  }

  test::TempDir dir_;
};

TEST_F(PreferencesTest, EachScopeHasItsOwnFile) {
  const std::string root = dir_.path();
  EXPECT_EQ(preference_file_path("d.x", PrefUser::Current, PrefHost::Any),
            root + "/config/corvex/Preferences/d.x.plist");
  EXPECT_EQ(preference_file_path("d.x", PrefUser::Current, PrefHost::Current),
            root + "/config/corvex/Preferences/ByHost/d.x.m1.plist");
  EXPECT_EQ(preference_file_path("d.x", PrefUser::Any, PrefHost::Current),
            root + "/local/d.x.plist");
  store(PrefUser::Current, PrefHost::Any, 1, plist::Format::Xml);
  store(PrefUser::Current, PrefHost::Current, 2, plist::Format::Binary);
  store(PrefUser::Any, PrefHost::Any, 3, plist::Format::Binary);
  EXPECT_EQ(read("k", "d.x", PrefUser::Current, PrefHost::Any), 1);
  EXPECT_EQ(read("k", "d.x", PrefUser::Current, PrefHost::Current), 2);
  EXPECT_EQ(read("k", "d.x", PrefUser::Any, PrefHost::Current), 3);
  EXPECT_EQ(read("other", "d.x", PrefUser::Any, PrefHost::Any), -1);
  ::setenv("CORVEX_MACHINE_ID", "../evil", 1);  // cannot name a file: falls back
  EXPECT_EQ(preference_file_path("d.x", PrefUser::Current, PrefHost::Current),
            root + "/config/corvex/Preferences/ByHost/d.x.localhost.plist");
}

TEST_F(PreferencesTest, MissingUnreadableOrUnnamableGiveNoValue) {
  EXPECT_EQ(copy_preference_value("k", "d.x", PrefUser::Current, PrefHost::Any), nullptr);
  test::write_file(preference_file_path("d.x", PrefUser::Current, PrefHost::Any), "not a plist");
  EXPECT_EQ(copy_preference_value("k", "d.x", PrefUser::Current, PrefHost::Any), nullptr);
  // A root that is not a dictionary holds no keys.
  const std::string path = preference_file_path("d.y", PrefUser::Current, PrefHost::Any);
  ASSERT_TRUE(plist::write_plist_file(path, *plist::make_string("k"), plist::Format::Xml).ok());
  EXPECT_EQ(copy_preference_value("k", "d.y", PrefUser::Current, PrefHost::Any), nullptr);
  EXPECT_EQ(preference_file_path("../d", PrefUser::Current, PrefHost::Any), "");
  EXPECT_EQ(preference_file_path("", PrefUser::Any, PrefHost::Any), "");
  EXPECT_EQ(copy_preference_value("k", "../d.x", PrefUser::Current, PrefHost::Any), nullptr);
}

// Someone else's change, made between this process's set and its synchronize,
// survives; this process's sets and removals land on top of it.
TEST_F(PreferencesTest, SetIsSeenAtOnceAndMergedOnSynchronize) {
  const auto user = PrefUser::Current;
  const auto host = PrefHost::Current;  // ByHost/ does not exist yet
  set_preference_value("k", plist::make_int32(5), "d.m", user, host);
  set_preference_value("gone", nullptr, "d.m", user, host);
  EXPECT_EQ(read("k", "d.m", user, host), 5);
  const std::string path = preference_file_path("d.m", user, host);
  EXPECT_FALSE(std::filesystem::exists(path)) << "nothing written before synchronize";

  auto theirs = plist::make_dictionary();
  theirs->set("gone", plist::make_int32(1));
  theirs->set("other", plist::make_int32(7));
  theirs->set("k", plist::make_int32(1));
  test::write_file(path, "");
  ASSERT_TRUE(plist::write_plist_file(path, *theirs, plist::Format::Binary).ok());
  EXPECT_EQ(copy_preference_value("gone", "d.m", user, host), nullptr) << "removal pending";

  ASSERT_TRUE(synchronize_preferences("d.m", user, host));
  const plist::ReadResult merged = plist::read_plist_file(path);
  EXPECT_EQ(merged.format, plist::Format::Xml);
  auto expected = plist::make_dictionary();
  expected->set("other", plist::make_int32(7));
  expected->set("k", plist::make_int32(5));
  EXPECT_TRUE(plist::equal(merged.value, expected));
  const auto folder = std::filesystem::path(path).parent_path();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2)
      << "the file and its lock, no temporary left behind";

  // Written changes are forgotten: the file speaks again, and a second
  // synchronize has nothing to write.
  theirs->set("k", plist::make_int32(9));
  ASSERT_TRUE(plist::write_plist_file(path, *theirs, plist::Format::Xml).ok());
  EXPECT_EQ(read("k", "d.m", user, host), 9);
  EXPECT_TRUE(synchronize_preferences("d.m", user, host));
  EXPECT_EQ(read("k", "d.m", user, host), 9);
}

TEST_F(PreferencesTest, UnwritableOrForeignFileKeepsThePendingChanges) {
  const auto user = PrefUser::Any;
  const auto host = PrefHost::Current;
  const std::string local = dir_.file("local");
  const std::string target = dir_.file("target");
  test::write_file(target, "theirs");
  const struct {
    const char* name;
    void (*block)(const std::string& local, const std::string& target);
    void (*unblock)(const std::string& local);
  } cases[] = {
      // Root ignores permission bits, so a file stands where the folder should be.
      {"folder cannot be created",
       [](const std::string& l, const std::string&) { test::write_file(l, "x"); },
       [](const std::string& l) { std::filesystem::remove(l); }},
      {"domain file is a link",
       [](const std::string& l, const std::string& t) {
         std::filesystem::create_directories(l);
         std::filesystem::create_symlink(t, l + "/d.u.plist");
       },
       [](const std::string& l) { std::filesystem::remove(l + "/d.u.plist"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    c.block(local, target);
    set_preference_value("k", plist::make_int32(4), "d.u", user, host);
    EXPECT_FALSE(synchronize_preferences("d.u", user, host));
    EXPECT_EQ(read("k", "d.u", user, host), 4);
    EXPECT_EQ(test::read_file(target), "theirs");
    c.unblock(local);
    EXPECT_TRUE(synchronize_preferences("d.u", user, host));
    std::filesystem::remove(preference_file_path("d.u", user, host));
    EXPECT_EQ(read("k", "d.u", user, host), -1) << "written, so no longer pending";
  }
}

}  // namespace
}  // namespace cx::platform
