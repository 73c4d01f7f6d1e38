// Bundles as folders: resources by name and type, the main bundle and its
// override, the interface file. Loading a helper bundle is the agent's
// menu-extra tests' part, its own interface file its process tests'.
#include "platform/bundles.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

class BundleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    fs::create_directories(resources_);
  }
  void TearDown() override { unsetenv("CORVEX_BUNDLE"); }
  void write(const std::string& name, const std::string& text) {
    std::ofstream(resources_ / name, std::ios::binary) << text;
  }
  std::unique_ptr<platform::Bundle> host() {
    return platform::Bundle::open((root_ / "Host.app").string() + "/");
  }
  int32_t open_nib(const std::string& text, std::unique_ptr<platform::NibReference>& nib) {
    write("Face.ui", text);
    return platform::create_nib_reference(*host(), "Face", nib);
  }

  test::TempDir dir_{"cxbundle"};
  fs::path root_{dir_.path()};
  fs::path resources_{root_ / "Host.app" / "Contents" / "Resources"};
};

TEST_F(BundleTest, ResourcesByNameAndType) {
  for (const char* name : {"b.plist", "a.plist", ".hidden.plist", "c.txt", "plist", "B.plist"})
    write(name, "x");
  fs::create_directories(resources_ / "Helper.bundle");
  const auto bundle = host();
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->path(), (root_ / "Host.app").string());
  EXPECT_EQ(bundle->parent_path(), root_.string());

  const std::string r = resources_.string() + "/";
  EXPECT_EQ(
      bundle->resource_paths_of_type("plist"),
      (std::vector<std::string>{r + ".hidden.plist", r + "B.plist", r + "a.plist", r + "b.plist"}));
  EXPECT_EQ(bundle->resource_path("a", "plist"), r + "a.plist");
  EXPECT_EQ(bundle->resource_path("plist", ""), r + "plist");
  EXPECT_EQ(bundle->resource_path("Helper", "bundle"), r + "Helper.bundle");
  EXPECT_FALSE(bundle->resource_path("missing", "plist"));
  EXPECT_FALSE(bundle->resource_path("../Resources/a", "plist"));
  EXPECT_TRUE(bundle->resource_paths_of_type("strings").empty());
  // A bundle without its executable names the file it missed.
  std::string error;
  EXPECT_FALSE(bundle->load_executable(error));
  EXPECT_NE(error.find("Host.so"), std::string::npos) << error;

  EXPECT_FALSE(platform::Bundle::open((resources_ / "a.plist").string()));  // a file
  EXPECT_FALSE(platform::Bundle::open((root_ / "none").string()));
  EXPECT_FALSE(platform::Bundle::open(""));
}

TEST_F(BundleTest, MainBundleFollowsItsOverride) {
  unsetenv("CORVEX_BUNDLE");
  EXPECT_TRUE(platform::main_bundle_path().ends_with("/lib/corvex/Corvex Background"));
  setenv("CORVEX_BUNDLE", (root_.string() + "/Host.app//").c_str(), 1);
  EXPECT_EQ(platform::main_bundle().path(), root_.string() + "/Host.app");
  EXPECT_EQ(platform::main_bundle().parent_path(), root_.string());
  // The main bundle is there even when its folder is not; it finds nothing.
  setenv("CORVEX_BUNDLE", (root_.string() + "/Elsewhere").c_str(), 1);
  EXPECT_EQ(platform::main_bundle().path(), root_.string() + "/Elsewhere");
  EXPECT_FALSE(platform::main_bundle().resource_path("a", "plist"));
}

TEST_F(BundleTest, InterfaceFilesAndTheirMenuBar) {
  std::unique_ptr<platform::NibReference> nib;
  EXPECT_EQ(platform::create_nib_reference(*host(), "Face", nib),
            platform::nib_status::cant_find_nib_file);
  EXPECT_FALSE(nib);

  ASSERT_EQ(open_nib("<interface><object class=\"GtkMenuBar\" id=\"MenuBar\"><child>"
                     "<object class=\"GtkMenuItem\" id=\"App\"/></child></object></interface>",
                     nib),
            0);
  ASSERT_TRUE(nib);
  ASSERT_EQ(nib->objects().size(), 2u);
  EXPECT_EQ(nib->objects()[1].id, "App");
  EXPECT_EQ(platform::set_menu_bar_from_nib(*nib, "MenuBar"), 0);
  EXPECT_EQ(platform::set_menu_bar_from_nib(*nib, "App"),
            platform::nib_status::object_not_of_requested_type);
  EXPECT_EQ(platform::set_menu_bar_from_nib(*nib, "MainMenu"),
            platform::nib_status::cant_find_object);

  ASSERT_EQ(open_nib("<interface><object class=\"GtkMenu\" id=\"Menu\"/></interface>", nib), 0);
  EXPECT_EQ(platform::set_menu_bar_from_nib(*nib, "MenuBar"),
            platform::nib_status::cant_find_object);

  // Not well formed, or not an interface file at all.
  EXPECT_EQ(open_nib("<interface><object class=\"GtkMenuBar\" id=\"MenuBar\"></interface>", nib),
            platform::nib_status::cant_find_nib_file);
  EXPECT_EQ(open_nib("<menu id=\"MenuBar\"/>", nib), platform::nib_status::cant_find_nib_file);
  EXPECT_FALSE(nib);
}

}  // namespace
}  // namespace cx::test
