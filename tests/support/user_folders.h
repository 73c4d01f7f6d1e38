// A fresh folder tree per test, with the user's folders (data, settings,
// temporary, shared) pointed into it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.h"
#include "util/file_path.h"
#include "util/folder_ids.h"

namespace cx::test {

class UserFolders : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    setenv("XDG_DATA_HOME", dir_.file("data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", dir_.file("config").c_str(), 1);
    setenv("TMPDIR", dir_.file("tmp").c_str(), 1);
    setenv("CORVEX_SHARED_DIR", dir_.file("shared").c_str(), 1);
    for (const char* d : {"tmp", "shared", "work"})
      std::filesystem::create_directories(dir_.file(d));
    ASSERT_TRUE(set_filepath(&work_, dir_.file("work"), 0));
  }

  std::string in_work(const std::string& name) const { return dir_.file("work/" + name); }

  TempDir dir_{"cxutil"};
  const std::filesystem::path root_{dir_.path()};
  sfilepath work_{};
};

}  // namespace cx::test
