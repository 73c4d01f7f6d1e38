#include "platform/preferences.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "plist/plist_io.h"
#include "plist/value.h"
#include "tests/diag/temp_dir.h"

namespace cx::platform {
namespace {

class PreferencesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("XDG_CONFIG_HOME", (dir_.path() / "config").c_str(), 1);
    ::setenv("CORVEX_LOCAL_PREFERENCES", (dir_.path() / "local").c_str(), 1);
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
    test::write_all(path, "");
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
  const std::string root = dir_.path().string();
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
  test::write_all(preference_file_path("d.x", PrefUser::Current, PrefHost::Any), "not a plist");
  EXPECT_EQ(copy_preference_value("k", "d.x", PrefUser::Current, PrefHost::Any), nullptr);
  // A root that is not a dictionary holds no keys.
  const std::string path = preference_file_path("d.y", PrefUser::Current, PrefHost::Any);
  ASSERT_TRUE(plist::write_plist_file(path, *plist::make_string("k"), plist::Format::Xml).ok());
  EXPECT_EQ(copy_preference_value("k", "d.y", PrefUser::Current, PrefHost::Any), nullptr);
  EXPECT_EQ(preference_file_path("../d", PrefUser::Current, PrefHost::Any), "");
  EXPECT_EQ(preference_file_path("", PrefUser::Any, PrefHost::Any), "");
  EXPECT_EQ(copy_preference_value("k", "../d.x", PrefUser::Current, PrefHost::Any), nullptr);
}

}  // namespace
}  // namespace cx::platform
