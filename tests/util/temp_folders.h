// A fresh folder tree per test, with the agent's folders pointed into it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "util/file_path.h"
#include "util/folder_ids.h"

namespace cx::test {

class TempFolders : public ::testing::Test {
 protected:
  void SetUp() override {
    // Taken once: TMPDIR is pointed into the tree below.
    static const std::string pattern_text =
        (std::filesystem::temp_directory_path() / "cx_util_XXXXXX").string();
    std::string pattern = pattern_text;
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    setenv("XDG_DATA_HOME", (root_ / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root_ / "config").c_str(), 1);
    setenv("TMPDIR", (root_ / "tmp").c_str(), 1);
    setenv("CORVEX_SHARED_DIR", (root_ / "shared").c_str(), 1);
    for (const char* d : {"tmp", "shared", "work"}) std::filesystem::create_directories(root_ / d);
    ASSERT_TRUE(set_filepath(&work_, (root_ / "work").string(), 0));
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::string in_work(const std::string& name) const { return (root_ / "work" / name).string(); }
  static void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  std::filesystem::path root_;
  sfilepath work_{};
};

}  // namespace cx::test
