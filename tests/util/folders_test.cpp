#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/folders.h"
#include "tests/support/user_folders.h"
#include "util/file_ops.h"
#include "util/file_path.h"
#include "util/file_spec.h"
#include "util/folder_ids.h"

namespace cx {
namespace {

using platform::Folder;
using platform::folder_path;

class Folders : public test::UserFolders {
 protected:
  static std::string make(Folder f) {
    std::filesystem::create_directories(folder_path(f));
    return folder_path(f);
  }
  static std::string dir_of(const sfilepath& p) {
    std::string d;
    EXPECT_TRUE(filepath_dir(&p, d));
    return d;
  }
};

TEST_F(Folders, SystemFoldersMustExistAndAreFlagged) {
  sfilepath p{};
  EXPECT_FALSE(get_sys_base_folder(&p)) << "folders are not created by a lookup";
  EXPECT_FALSE(get_prefs_filepath(&p));
  const std::string system = make(Folder::System);
  ASSERT_TRUE(get_prefs_filepath(&p)) << "falls back to the System Folder";
  EXPECT_EQ(dir_of(p), system);
  EXPECT_EQ(p.sysFolder, 1);
  const std::string prefs = make(Folder::UserPreferences);
  ASSERT_TRUE(get_prefs_filepath(&p));
  EXPECT_EQ(dir_of(p), prefs);

  // The same directory always gets the same ID, whatever the spelling of its path.
  sfilepath a{};
  sfilepath b{};
  ASSERT_TRUE(get_sys_base_folder(&a));
  ASSERT_TRUE(set_filepath(&b, system + "//./", 0));
  EXPECT_EQ(a.dirID, b.dirID);
  std::string d;
  const sfilepath bogus{kRootVolume, 0x7FFFFFF0, 0};
  EXPECT_FALSE(filepath_dir(&bogus, d));
  const sfilepath other_volume{static_cast<int16_t>(kRootVolume + 1), a.dirID, 0};
  EXPECT_FALSE(filepath_dir(&other_volume, d));
}

TEST_F(Folders, SearchOrderOfSystemFolders) {
  for (Folder f :
       {Folder::System, Folder::Extensions, Folder::ControlPanels, Folder::UserPreferences}) {
    make(f);
  }
  sfilepath tmp{};
  ASSERT_TRUE(get_sys_temporary_folder(&tmp));
  EXPECT_EQ(search_file_in_system_folder("CX File", &tmp), nullptr);
  for (Folder f : {Folder::Temporary, Folder::UserPreferences, Folder::ControlPanels,
                   Folder::Extensions, Folder::System}) {
    test::write_file(folder_path(f) + "/CX File", "x");  // each copy sits earlier in the order
    sfilepath* found = search_file_in_system_folder("CX File", &work_);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(dir_of(*found), folder_path(f));
    EXPECT_EQ(found->sysFolder, 1);
    release_filepath(found);
  }
  // A system-folder location that holds the file wins over the order.
  sfilepath* here = search_file_in_system_folder("CX File", &tmp);
  ASSERT_NE(here, nullptr);
  EXPECT_EQ(here->dirID, tmp.dirID);
  release_filepath(here);
  // A plain location is not searched itself.
  test::write_file(in_work("Only Here"), "x");
  EXPECT_EQ(search_file_in_system_folder("Only Here", &work_), nullptr);
}

TEST_F(Folders, SubfoldersAndParents) {
  sfilepath sub{};
  EXPECT_FALSE(get_subfolder_filepath("Cache", &work_, &sub));
  ASSERT_TRUE(create_subfolder("Cache", &work_, &sub));
  EXPECT_FALSE(create_subfolder("Cache", &work_, &sub)) << "exists already";
  EXPECT_TRUE(folder_exists("Cache", &work_));
  EXPECT_FALSE(file_exists("Cache", &work_));
  sfilepath again{};
  ASSERT_TRUE(get_subfolder_filepath("Cache", &work_, &again));
  EXPECT_EQ(again.dirID, sub.dirID);
  sfilepath parent{};
  ASSERT_TRUE(get_parent_filepath(&sub, &parent));
  EXPECT_EQ(parent.dirID, work_.dirID);
  ASSERT_TRUE(get_parent_filepath(&parent, &parent)) << "in place";
  EXPECT_EQ(dir_of(parent), root_.string());
  sfilepath root{};
  ASSERT_TRUE(set_filepath(&root, "/", 0));
  EXPECT_EQ(root.dirID, kRootDirID);
  EXPECT_FALSE(get_parent_filepath(&root, &parent));
  const std::string too_long(256, 'n');
  for (const char* bad : {"", ".", "..", "Cache/x", too_long.c_str()}) {
    EXPECT_FALSE(create_subfolder(bad, &work_, &sub)) << bad;
  }
  test::write_file(in_work("plain"), "x");
  EXPECT_FALSE(get_subfolder_filepath("plain", &work_, &sub));
}

TEST_F(Folders, FileSpecRoundTrip) {
  FSSpec fss{};
  ASSERT_TRUE(make_fsspec("Not Yet There", &work_, &fss));
  char name[kFSSpecNameSize];
  ASSERT_TRUE(get_fss_name(&fss, name));
  EXPECT_STREQ(name, "Not Yet There");
  sfilepath back{};
  ASSERT_TRUE(get_fss_filepath(&fss, &back));
  EXPECT_EQ(back.dirID, work_.dirID);
  EXPECT_TRUE(make_fsspec(std::string(63, 'n').c_str(), &work_, &fss));
  EXPECT_FALSE(make_fsspec(std::string(64, 'n').c_str(), &work_, &fss));
  fss.name[0] = 64;  // corrupt: longer than the field holds
  EXPECT_FALSE(get_fss_name(&fss, name));
  fss.parID = 0x7FFFFFF0;
  EXPECT_FALSE(get_fss_filepath(&fss, &back));
}

}  // namespace
}  // namespace cx
