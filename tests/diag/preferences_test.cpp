#include "platform/preferences.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "plist/plist_io.h"
#include "plist/value.h"
#include "tests/support/rename_hook.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"

namespace cx::platform {
namespace {

class PreferencesTest : public ::testing::Test {
 protected:
  // Writes root to path, making the folders on the way.
  static void put(const std::string& path, const plist::Value& root, plist::Format format) {
    test::write_file(path, "");
    ASSERT_TRUE(plist::write_plist_file(path, root, format).ok());
  }
  static int32_t read(const char* key, const char* domain, PrefUser user, PrefHost host) {
    const plist::ValueRef v = copy_preference_value(key, domain, user, host);
    const auto* n = plist::as<plist::Number>(v);
    return n ? static_cast<int32_t>(n->int_value()) : -1;
  }

  test::TempDir dir_;
  test::ScopedEnv config_{"XDG_CONFIG_HOME", dir_.file("config")},
      local_{"CORVEX_LOCAL_PREFERENCES", dir_.file("local")}, host_{"CORVEX_MACHINE_ID", "m1"};
};

TEST_F(PreferencesTest, EachScopeHasItsOwnFileName) {
  const std::string root = dir_.path();
  EXPECT_EQ(preference_file_path("d.x", PrefUser::Any, PrefHost::Current),
            root + "/local/d.x.plist");
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

  const auto theirs = plist::make_dictionary({{"gone", plist::make_int32(1)},
                                              {"other", plist::make_int32(7)},
                                              {"k", plist::make_int32(1)}});
  put(path, *theirs, plist::Format::Binary);
  EXPECT_EQ(copy_preference_value("gone", "d.m", user, host), nullptr) << "removal pending";

  ASSERT_TRUE(synchronize_preferences("d.m", user, host));
  const plist::ReadResult merged = plist::read_plist_file(path);
  EXPECT_EQ(merged.format, plist::Format::Binary) << "as it was";
  EXPECT_TRUE(plist::equal(merged.value, plist::make_dictionary({{"other", plist::make_int32(7)},
                                                                 {"k", plist::make_int32(5)}})));
  const auto folder = std::filesystem::path(path).parent_path();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2)
      << "the file and its lock, no temporary left behind";
}

TEST_F(PreferencesTest, UnwritableOrForeignFileKeepsThePendingChanges) {
  const auto user = PrefUser::Any;
  const auto host = PrefHost::Current;
  const std::string local = dir_.file("local");
  const std::string file = preference_file_path("d.u", user, host);
  const std::string target = dir_.file("target");
  test::write_file(target, "theirs");
  for (const bool link : {false, true}) {
    // Root ignores permission bits, so a file stands where the folder should be.
    SCOPED_TRACE(link ? "domain file is a link" : "folder cannot be created");
    if (link) {
      std::filesystem::create_directories(local);
      std::filesystem::create_symlink(target, file);
    } else {
      test::write_file(local, "x");
    }
    set_preference_value("k", plist::make_int32(4), "d.u", user, host);
    EXPECT_FALSE(synchronize_preferences("d.u", user, host));
    EXPECT_EQ(read("k", "d.u", user, host), 4);
    EXPECT_EQ(test::read_file(target), "theirs");
    std::filesystem::remove(link ? file : local);
    EXPECT_TRUE(synchronize_preferences("d.u", user, host));
    std::filesystem::remove(file);
    EXPECT_EQ(read("k", "d.u", user, host), -1) << "written, so no longer pending";
  }
}

constexpr auto kMe = PrefUser::Current;
constexpr auto kAnyHost = PrefHost::Any;

// Sets d.k = value in this process and synchronizes; what went to stderr.
std::string set_and_sync(const char* domain, int32_t value, bool& written) {
  set_preference_value("k", plist::make_int32(value), domain, kMe, kAnyHost);
  ::testing::internal::CaptureStderr();
  written = synchronize_preferences(domain, kMe, kAnyHost);
  return ::testing::internal::GetCapturedStderr();
}

// A file that cannot be read is left as it is, says why and keeps the change
// pending.
TEST_F(PreferencesTest, UnreadableFilesAreNeverReplaced) {
  const std::string path = preference_file_path("d.r", kMe, kAnyHost);
  const std::pair<std::string, const char*> cases[] = {
      {"<plist><dict>\n<key>a</key><strin>x</string>", "line 2, column 13"},
      {"<plist><array/></plist>", "top level is not a dictionary"},
  };
  for (const auto& [content, why] : cases) {
    SCOPED_TRACE(content);
    test::write_file(path, content);
    bool written = true;
    const std::string said = set_and_sync("d.r", 4, written);
    EXPECT_FALSE(written);
    EXPECT_EQ(read("k", "d.r", kMe, kAnyHost), 4);
    EXPECT_NE(said.find(path + ": " + why), std::string::npos) << said;
    EXPECT_EQ(test::read_file(path), content);
  }
}

TEST_F(PreferencesTest, FilesKeepTheirModeAndLinksIntoTheUsersFoldersAreWrittenThrough) {
  const std::string path = preference_file_path("d.p", kMe, kAnyHost);
  bool written = false;
  set_and_sync("d.p", 1, written);
  struct stat st {};
  ASSERT_EQ(::stat(dir_.file("config/corvex").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  ::chmod(path.c_str(), 0640);
  set_and_sync("d.p", 2, written);
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);

  const std::string dotfile = dir_.file("dotfiles/d.p.plist");
  std::filesystem::create_directories(dir_.file("dotfiles"));
  std::filesystem::rename(path, dotfile);
  std::filesystem::create_symlink(dotfile, path);
  for (const mode_t folder_mode : {0700u, 0777u}) {  // only the user may change it; anyone may
    ::chmod(dir_.file("dotfiles").c_str(), folder_mode);
    const std::string said = set_and_sync("d.p", static_cast<int32_t>(folder_mode), written);
    EXPECT_EQ(written, folder_mode == 0700u) << said;
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(plist::as<plist::Number>(
                  plist::as<plist::Dictionary>(plist::read_plist_file(dotfile).value)->get("k"))
                  ->int_value(),
              0700);
  }
}

// A value handed over to be written at once stays pending as it was handed
// over when the write fails.
TEST_F(PreferencesTest, AHeldLockFailsTheWriteAndStaleTemporariesGo) {
  const std::string path = preference_file_path("d.l", kMe, kAnyHost);
  test::write_file(path + ".Ab12Cd", "left by a killed writer");
  test::write_file(path + ".lock", "");
  const int held = ::open((path + ".lock").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(held, LOCK_EX), 0);
  const auto list = plist::make_array();
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(write_preference_value("list", list, "d.l", kMe, kAnyHost));
  ::testing::internal::GetCapturedStderr();
  list->append(plist::make_int32(2));
  ::close(held);
  bool written = false;
  set_and_sync("d.l", 1, written);
  EXPECT_TRUE(written);
  EXPECT_EQ(plist::as<plist::Array>(copy_preference_value("list", "d.l", kMe, kAnyHost))->size(),
            0u);
  EXPECT_FALSE(std::filesystem::exists(path + ".Ab12Cd"));
}

// Setting what a hand-written file already holds leaves it byte for byte.
TEST_F(PreferencesTest, ASynchronizeThatChangesNothingLeavesTheFileAlone) {
  const std::string path = preference_file_path("d.s", kMe, kAnyHost);
  const std::string hand_written =
      "<plist version=\"1.0\"><dict> <key>k</key> <integer>4</integer> </dict></plist>";
  test::write_file(path, hand_written);
  set_preference_value("absent", nullptr, "d.s", kMe, kAnyHost);
  bool written = false;
  set_and_sync("d.s", 4, written);
  EXPECT_TRUE(written);
  EXPECT_EQ(test::read_file(path), hand_written);
}

// A settled file read again comes from memory: each reader still gets its
// own value, and a change in place of the same size is seen.
TEST_F(PreferencesTest, ReadsOfAnUnchangedFileAreEachTheReadersOwn) {
  const std::string path = preference_file_path("d.c", kMe, kAnyHost);
  const auto list_of = [](const char* text) {
    auto list = plist::make_array();
    list->append(plist::make_string(text));
    return plist::make_dictionary({{"list", list}});
  };
  put(path, *list_of("a"), plist::Format::Xml);
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));  // past any file clock tick
  for (int pass = 0; pass < 2; ++pass) {
    const plist::ValueRef list = copy_preference_value("list", "d.c", kMe, kAnyHost);
    ASSERT_EQ(plist::as<plist::Array>(list)->size(), 1u) << pass;
    plist::as<plist::Array>(list)->append(plist::make_int32(1));
  }
  const auto theirs = list_of("b");
  ASSERT_TRUE(plist::write_plist_file(path, *theirs, plist::Format::Xml).ok());
  EXPECT_TRUE(
      plist::equal(copy_preference_value("list", "d.c", kMe, kAnyHost), theirs->get("list")));
}

// The agent and a control panel both change the file: the second one's
// whole read-merge-rename falls inside the first one's.
TEST_F(PreferencesTest, ASecondWriterBetweenReadAndRenameLosesNothing) {
  int go[2];
  ASSERT_EQ(::pipe(go), 0);
  const pid_t other = ::fork();
  ASSERT_GE(other, 0);
  if (other == 0) {
    char c = 0;
    if (::read(go[0], &c, 1) != 1) ::_exit(2);
    set_preference_value("theirs", plist::make_int32(2), "d.w", kMe, kAnyHost);
    ::_exit(synchronize_preferences("d.w", kMe, kAnyHost) ? 0 : 1);
  }
  int status = -1;
  test::before_next_rename([&] {
    ASSERT_EQ(::write(go[1], "g", 1), 1);
    // Time enough for the other writer to finish, were it not locked out.
    test::eventually([&] { return ::waitpid(other, &status, WNOHANG) == other; },
                     std::chrono::seconds(1));
  });
  set_preference_value("mine", plist::make_int32(1), "d.w", kMe, kAnyHost);
  ASSERT_TRUE(synchronize_preferences("d.w", kMe, kAnyHost));
  if (status == -1) ::waitpid(other, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(read("mine", "d.w", kMe, kAnyHost), 1);
  EXPECT_EQ(read("theirs", "d.w", kMe, kAnyHost), 2);
}

}  // namespace
}  // namespace cx::platform
