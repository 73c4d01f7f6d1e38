#include "util/open_files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/folders.h"
#include "tests/support/user_folders.h"
#include "util/file_ops.h"

namespace cx {
namespace {

using OpenFiles = test::UserFolders;

TEST_F(OpenFiles, ReadWriteSeekRoundTrip) {
  ASSERT_TRUE(create_file("data", &work_, 0, 0));
  const int16_t ref = open_file("data", &work_, kReadWritePermission);
  ASSERT_GT(ref, 0);
  EXPECT_EQ(write_file(ref, "0123456789", 10), 10);
  EXPECT_EQ(get_file_size(ref), 10);
  ASSERT_TRUE(seek_file(ref, -4, kFromEnd));
  char buf[16] = {};
  EXPECT_EQ(read_file(ref, buf, 16), 4) << "short only at the end";
  EXPECT_STREQ(buf, "6789");
  ASSERT_TRUE(seek_file(ref, 2, kFromStart));
  ASSERT_TRUE(seek_file(ref, 3, kFromMark));
  EXPECT_EQ(get_file_position(ref), 5);
  EXPECT_FALSE(seek_file(ref, 11, kFromStart)) << "past the end";
  EXPECT_FALSE(seek_file(ref, 0, 0)) << "unknown mode";
  EXPECT_EQ(get_file_position(ref), 5) << "a refused seek does not move";
  ASSERT_TRUE(set_file_size(ref, 3));
  EXPECT_EQ(get_file_position(ref), 3) << "pulled back to the new end";
  ASSERT_TRUE(set_file_size(ref, 6));
  EXPECT_TRUE(close_file(ref));
  EXPECT_EQ(test::read_file(in_work("data")), std::string("012\0\0\0", 6));
  EXPECT_FALSE(close_file(ref)) << "already closed";
  EXPECT_EQ(read_file(ref, buf, 1), -1);
}

TEST_F(OpenFiles, PermissionsAndLockedFiles) {
  test::write_file(in_work("f"), "abc");
  char c = 0;
  const int16_t ro = open_file("f", &work_, kReadPermission);
  const int16_t wo = open_file("f", &work_, kWritePermission);
  EXPECT_EQ(write_file(ro, "x", 1), -1);
  EXPECT_FALSE(set_file_size(ro, 0));
  EXPECT_EQ(read_file(wo, &c, 1), -1);
  EXPECT_EQ(open_file("f", &work_, 7), -1) << "unknown permission";
  close_file(ro);
  close_file(wo);
  ASSERT_TRUE(make_file_readonly("f", &work_));
  EXPECT_EQ(open_file("f", &work_, kReadWritePermission), -1);
  EXPECT_EQ(open_file("f", &work_, kWritePermission), -1);
  const int16_t current = open_file("f", &work_, kCurrentPermission);
  ASSERT_GT(current, 0) << "falls back to read-only";
  EXPECT_EQ(write_file(current, "x", 1), -1);
  EXPECT_EQ(read_file(current, &c, 1), 1);
  EXPECT_EQ(c, 'a');
  close_file(current);
  EXPECT_EQ(open_file("missing", &work_, kReadPermission), -1);
}

TEST_F(OpenFiles, ReferenceNumbersAreReusedAndRunOut) {
  test::write_file(in_work("f"), "abc");
  std::vector<int16_t> refs;
  for (int i = 0; i < kMaxOpenFiles; ++i) refs.push_back(open_file("f", &work_, kReadPermission));
  EXPECT_GT(refs.back(), 0);
  EXPECT_EQ(open_file("f", &work_, kReadPermission), -1) << "table full";
  ASSERT_TRUE(close_file(refs[5]));
  EXPECT_EQ(open_file("f", &work_, kReadPermission), refs[5]) << "lowest free number";
  for (int16_t ref : refs) EXPECT_TRUE(close_file(ref));
}

TEST_F(OpenFiles, SymbolicLinksAndOtherNonFilesAreRefused) {
  test::write_file(in_work("target"), "secret");
  ASSERT_EQ(symlink(in_work("target").c_str(), in_work("link").c_str()), 0);
  EXPECT_FALSE(file_exists("link", &work_));
  EXPECT_EQ(open_file("link", &work_, kReadPermission), -1);
  EXPECT_FALSE(create_file("link", &work_, 0, 0)) << "a planted link is not replaced";
  ASSERT_EQ(mkfifo(in_work("pipe").c_str(), 0600), 0);
  EXPECT_EQ(open_file("pipe", &work_, kReadPermission), -1) << "and without blocking";
  EXPECT_EQ(test::read_file(in_work("target")), "secret");
}

TEST_F(OpenFiles, SystemFolderLocationSearchesTheSystemFolders) {
  const std::string prefs = platform::folder_path(platform::Folder::UserPreferences);
  std::filesystem::create_directories(prefs);
  test::write_file(prefs + "/Corvex Preferences", "200");
  sfilepath tmp{};
  ASSERT_TRUE(get_sys_temporary_folder(&tmp));
  const int16_t ref = open_file("Corvex Preferences", &tmp, kReadPermission);
  char v[4] = {};
  EXPECT_EQ(read_file(ref, v, 3), 3);
  EXPECT_STREQ(v, "200");
  close_file(ref);
  tmp.sysFolder = 0;
  EXPECT_EQ(open_file("Corvex Preferences", &tmp, kReadPermission), -1);
}

}  // namespace
}  // namespace cx
