#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "diag/diag_config.h"
#include "diag/diag_state.h"
#include "tests/diag/temp_dir.h"

namespace cx {
namespace {

constexpr char kDomain[] = "com.velcorra.corvex.background.diags";

std::string plist_file(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n<dict>\n" +
         body + "</dict>\n</plist>\n";
}

class DiagReadInfoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("XDG_CONFIG_HOME", dir_.path().c_str(), 1);
    ::setenv("CORVEX_MACHINE_ID", "testhost", 1);
    diag_reset_state();
  }
  void TearDown() override {
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("CORVEX_MACHINE_ID");
    diag_reset_state();
  }
  std::string by_host_file() const {
    return dir_.file(std::string("corvex/Preferences/ByHost/") + kDomain + ".testhost.plist");
  }

  test::TempDir dir_;
};

TEST_F(DiagReadInfoTest, AppliesOnlyValuesOfTheExpectedType) {
  test::write_all(by_host_file(), plist_file("<key>Displevel</key><integer>262143</integer>\n"
                                             "<key>ShowWindow</key><string>yes</string>\n"
                                             "<key>Append</key><true/>\n"
                                             "<key>Title</key><string>Diags</string>\n"
                                             "<key>Filename</key><string>/tmp/d.txt</string>\n"
                                             "<key>X</key><real>7.9</real>\n"
                                             "<key>Y</key><string>5</string>\n"
                                             "<key>Width</key><integer>640</integer>\n"
                                             "<key>MaxLines</key><false/>\n"));
  cc_diag_read_info(kDomain);
  EXPECT_EQ(diaginfo.category_mask, 0x3);
  EXPECT_EQ(diaginfo.level, 0xffff);
  EXPECT_EQ(diaginfo.show_window, 0);
  EXPECT_EQ(diaginfo.append, 1);
  EXPECT_STREQ(diaginfo.title, "Diags");
  EXPECT_STREQ(diaginfo.file_name, "/tmp/d.txt");
  EXPECT_EQ(diaginfo.x, 7);
  EXPECT_EQ(diaginfo.y, 50);
  EXPECT_EQ(diaginfo.width, 640);
  EXPECT_EQ(diaginfo.height, 300);
  EXPECT_EQ(diaginfo.max_lines, 500);
}

TEST_F(DiagReadInfoTest, DisplayLevelAboveInt32WrapsToItsLowBits) {
  test::write_all(by_host_file(), plist_file("<key>Displevel</key><integer>4294901760</integer>\n"
                                             "<key>ShowWindow</key><true/>\n"));
  cc_diag_read_info(kDomain);
  EXPECT_EQ(diaginfo.category_mask, 0xffff);
  EXPECT_EQ(diaginfo.level, 0);
  EXPECT_EQ(diaginfo.show_window, 1);
}

TEST_F(DiagReadInfoTest, OtherScopesAndBadFilesAreIgnored) {
  // Only the current user's current-host file counts.
  test::write_all(dir_.file(std::string("corvex/Preferences/") + kDomain + ".plist"),
                  plist_file("<key>Width</key><integer>1</integer>\n"));
  cc_diag_read_info(kDomain);
  EXPECT_EQ(diaginfo.width, 400);
  test::write_all(by_host_file(), "<plist><dict><key>Width</key><integer>2");
  cc_diag_read_info(kDomain);
  EXPECT_EQ(diaginfo.width, 400);
  cc_diag_read_info(nullptr);
  EXPECT_EQ(diaginfo.width, 400);
}

TEST_F(DiagReadInfoTest, TextThatDoesNotFitIsIgnored) {
  const std::string fits(255, 'f');
  test::write_all(by_host_file(),
                  plist_file("<key>Title</key><string>" + std::string(256, 't') +
                             "</string>\n<key>Filename</key><string>" + fits + "</string>\n"));
  cc_diag_read_info(kDomain);
  EXPECT_STREQ(diaginfo.title, "CC Diagnostics Window");
  EXPECT_EQ(std::string(diaginfo.file_name), fits);
}

}  // namespace
}  // namespace cx
