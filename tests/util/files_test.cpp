#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/golden.h"
#include "tests/support/user_folders.h"
#include "util/byte_order.h"
#include "util/file_info.h"
#include "util/file_ops.h"
#include "util/finder_info.h"
#include "util/resource_fork.h"
#include "util/sidecar_files.h"

namespace cx {
namespace {

constexpr uint32_t kType = 0x70726566;     // 'pref'
constexpr uint32_t kCreator = 0x43587678;  // 'CXvx'

using Files = test::UserFolders;

TEST_F(Files, CreateReplacesTheOldFileWithItsForkAndInfo) {
  test::write_file(in_work("prefs"), "old contents");
  ASSERT_TRUE(create_rsrc_fork("prefs", &work_));
  ASSERT_TRUE(set_finder_attributes("prefs", &work_, 0x4000));
  ASSERT_TRUE(create_file("prefs", &work_, kType, kCreator));
  EXPECT_EQ(test::read_file(in_work("prefs")), "");
  EXPECT_EQ(open_rsrc_fork("prefs", &work_, 1), -1) << "old fork went with the old file";
  sfileinfo info{};
  ASSERT_TRUE(get_file_info("prefs", &work_, &info));
  EXPECT_EQ(info.fileType, kType);
  EXPECT_EQ(info.fileCreator, kCreator);
  EXPECT_EQ(info.finderFlags, 0u);
  ASSERT_TRUE(make_file_readonly("prefs", &work_));
  EXPECT_FALSE(create_file("prefs", &work_, 0, 0)) << "a locked file is not deleted";
  ASSERT_TRUE(make_file_readwrite("prefs", &work_));
  EXPECT_TRUE(delete_file("prefs", &work_));
  EXPECT_FALSE(file_exists("prefs", &work_));
}

TEST_F(Files, FinderInfoIsStoredBigEndianWithSidecarFallback) {
  ASSERT_TRUE(create_file("f", &work_, kType, kCreator));
  const sfileinfo info{0x54455854, 0x74747874, 0x1234};
  ASSERT_TRUE(set_file_info("f", &work_, &info));
  FinderInfo raw{};
  const ssize_t n = getxattr(in_work("f").c_str(), kFinderInfoAttribute, raw.data(), raw.size());
  if (n < 0 && errno == ENOTSUP) {  // no user attributes here: the bytes are in the sidecar
    ASSERT_TRUE(read_finder_info_sidecar(in_work("._f.finf"), raw));
  } else {
    ASSERT_EQ(n, static_cast<ssize_t>(kFinderInfoSize));
  }
  EXPECT_EQ(std::string(raw.begin(), raw.begin() + 10), "TEXTttxt\x12\x34");
  ASSERT_TRUE(set_finder_attributes("f", &work_, 0x0100));
  sfileinfo back{};
  ASSERT_TRUE(get_file_info("f", &work_, &back));
  EXPECT_EQ(back.fileType, 0x54455854u) << "flags change alone";
  EXPECT_EQ(back.finderFlags, 0x0100u);
  ASSERT_TRUE(make_file_readonly("f", &work_));
  EXPECT_FALSE(set_finder_attributes("f", &work_, 0));
  EXPECT_FALSE(get_file_info("missing", &work_, &back));

  // A file without the attribute: the sidecar is read; a damaged one counts as no info.
  test::write_file(in_work("plain"), "");
  std::string sidecar;
  ASSERT_TRUE(sidecar_path("plain", &work_, Sidecar::FinderData, sidecar));
  EXPECT_EQ(sidecar, in_work("._plain.finf"));
  FinderInfo stored{};
  store_be32(stored.data() + kFinderTypeOffset, kType);
  ASSERT_TRUE(write_finder_info_sidecar(sidecar, stored));
  ASSERT_TRUE(get_file_info("plain", &work_, &back));
  EXPECT_EQ(back.fileType, kType);
  test::write_file(sidecar, "short");
  ASSERT_TRUE(get_file_info("plain", &work_, &back));
  EXPECT_EQ(back.fileType, 0u);
}

TEST_F(Files, RenameAndMoveNeverReplaceAndCarryTheFork) {
  ASSERT_TRUE(create_file("a", &work_, kType, kCreator));
  ASSERT_TRUE(add_rsrc_string_to_new_file("a", &work_, 128, "fork"));
  test::write_file(in_work("taken"), "keep");
  EXPECT_FALSE(rename_file("a", &work_, "taken"));
  EXPECT_EQ(test::read_file(in_work("taken")), "keep");
  test::write_file(in_work("._b.rsrc"), "stale fork of a deleted b");
  ASSERT_TRUE(rename_file("a", &work_, "b"));
  EXPECT_EQ(test::read_file(in_work("._b.rsrc")).size(), 256u + 9 + 50) << "a's fork replaced it";
  sfilepath sub{};
  ASSERT_TRUE(create_subfolder("Sub", &work_, &sub));
  ASSERT_TRUE(move_file("b", &work_, &sub));
  EXPECT_FALSE(file_exists("b", &work_));
  EXPECT_EQ(test::read_file(in_work("Sub/._b.rsrc")).size(), 256u + 9 + 50);
  test::write_file(in_work("b"), "");
  EXPECT_FALSE(move_file("b", &work_, &sub)) << "name taken in the destination";
  test::write_file(in_work("._q.rsrc"), "stale");
  ASSERT_TRUE(rename_file("b", &work_, "q"));
  EXPECT_EQ(open_rsrc_fork("q", &work_, 1), -1) << "a stale fork is not adopted";
  EXPECT_FALSE(rename_file("missing", &work_, "c"));
}

TEST_F(Files, StringResourceForkBytes) {
  test::write_file(in_work("r"), "");
  ASSERT_TRUE(add_rsrc_string_to_new_file("r", &work_, -16455, "Hi"));
  const std::vector<uint8_t> golden = test::read_hex("str_fork.hex");
  EXPECT_EQ(test::read_file(in_work("._r.rsrc")), std::string(golden.begin(), golden.end()));
  EXPECT_FALSE(add_rsrc_string_to_new_file("r", &work_, 1, "again")) << "fork not empty";
  const int16_t ref = open_rsrc_fork("r", &work_, 1);
  ASSERT_GT(ref, 0);
  EXPECT_TRUE(close_rsrc_fork(ref));
  ASSERT_TRUE(make_file_readonly("r", &work_));
  EXPECT_EQ(open_rsrc_fork("r", &work_, 3), -1) << "the file's lock covers its fork";
  EXPECT_FALSE(create_rsrc_fork("r", &work_));
}

}  // namespace
}  // namespace cx
