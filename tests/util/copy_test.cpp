#include "util/file_copy.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/user_folders.h"
#include "util/file_info.h"
#include "util/file_ops.h"
#include "util/open_files.h"
#include "util/resource_fork.h"

namespace cx {
namespace {

using Copy = test::UserFolders;

TEST_F(Copy, CopiesFromThePositionInChunksAndClosesBothEvenOnFailure) {
  std::string big;
  for (int i = 0; i < 3 * kCopyChunkSize + 17; ++i) big.push_back(static_cast<char>(i * 7));
  for (const auto& [source, from] : {std::pair<std::string, int>{"", 0}, {big, 5}}) {
    SCOPED_TRACE(source.size());
    test::write_file(in_work("src"), source);
    ASSERT_TRUE(create_file("out", &work_, 0, 0));
    const int16_t in = open_file("src", &work_, kReadPermission);
    const int16_t out = open_file("out", &work_, kWritePermission);
    ASSERT_TRUE(seek_file(in, from, kFromStart));
    EXPECT_TRUE(copy_and_close(in, out));
    EXPECT_FALSE(close_file(in));
    EXPECT_FALSE(close_file(out));
    EXPECT_EQ(test::read_file(in_work("out")), source.substr(from));
  }
  const int16_t in = open_file("src", &work_, kReadPermission);
  const int16_t out = open_file("out", &work_, kReadPermission);  // writes will fail
  EXPECT_FALSE(copy_and_close(in, out));
  EXPECT_FALSE(close_file(in)) << "closed although it failed";
  EXPECT_FALSE(close_file(out));
}

TEST_F(Copy, CopyCarriesInfoForkAndLock) {
  ASSERT_TRUE(create_file("src", &work_, 0x54455854, 0x43587678));
  test::write_file(in_work("src"), "data fork");
  ASSERT_TRUE(set_finder_attributes("src", &work_, 0x4100));
  ASSERT_TRUE(add_rsrc_string_to_new_file("src", &work_, 128, "fork"));
  ASSERT_TRUE(make_file_readonly("src", &work_));
  test::write_file(in_work("dst"), "old destination, longer than the source");
  sfilepath sub{};
  ASSERT_TRUE(create_subfolder("Backup", &work_, &sub));
  ASSERT_TRUE(copy_file("src", &work_, "dst", &work_));
  ASSERT_TRUE(copy_file("src", &work_, "~src", &sub));
  EXPECT_EQ(test::read_file(in_work("dst")), "data fork");
  EXPECT_EQ(test::read_file(in_work("Backup/._~src.rsrc")), test::read_file(in_work("._src.rsrc")));
  sfileinfo info{};
  ASSERT_TRUE(get_file_info("~src", &sub, &info));
  EXPECT_EQ(info.fileType, 0x54455854u);
  EXPECT_EQ(info.fileCreator, 0x43587678u);
  EXPECT_EQ(info.finderFlags, 0x4000u) << "inited bit cleared";
  EXPECT_TRUE(is_readonly("~src", &sub));
  ASSERT_TRUE(make_file_readwrite("src", &work_));
  EXPECT_FALSE(copy_file("src", &work_, "src", &work_)) << "not onto itself";
  EXPECT_EQ(test::read_file(in_work("src")), "data fork");
  EXPECT_FALSE(copy_file("missing", &work_, "new", &work_));
  EXPECT_FALSE(file_exists("new", &work_));
}

}  // namespace
}  // namespace cx
