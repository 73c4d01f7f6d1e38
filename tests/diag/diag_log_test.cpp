#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_state.h"
#include "diag/diag_writers.h"
#include "tests/diag/temp_dir.h"

namespace cx {
namespace {

constexpr uint32_t kBanner = 0x20000;
constexpr uint32_t kTrace = 0x1ffff;
constexpr uint32_t kRepair = 0xFFFF0000;

class DiagLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    diag_reset_state();
    log_ = dir_.file("log.txt");
    use_log(log_, 0);
  }
  void TearDown() override { diag_reset_state(); }

  void use_log(const std::string& path, int append) {
    cc_diag_set_window_info("Title", path.c_str(), 100, 300, 700, 300, 500, 0, append);
  }
  std::string log() {
    close_diagnostic_window();
    return test::read_all(log_);
  }

  test::TempDir dir_;
  std::string log_;
};

TEST_F(DiagLogTest, DefaultsWriteOnlyRepairNotes) {
  diag_line("banner", kBanner);
  diag_line("trace", kTrace);
  diag_line("repair", kRepair);
  EXPECT_EQ(log(), "repair\r\n");
}

TEST_F(DiagLogTest, DisplayLevelSelectsCategoriesAndLevels) {
  cc_diag_set_display_level(0x3ffff);
  diag_line("banner", kBanner);
  diag_line("trace", kTrace);
  cc_diag_set_display_level(0x1fffe);
  diag_line("banner2", kBanner);
  diag_line("trace2", kTrace);
  diag_line("category1 level0", 0x10000);
  diag_line("repair", kRepair);
  EXPECT_EQ(log(), "banner\r\ntrace\r\ncategory1 level0\r\nrepair\r\n");
  EXPECT_EQ(is_cc_displevel(0x1fffe), 1);
  EXPECT_EQ(is_cc_displevel(0x2fffe), 0);
}

TEST_F(DiagLogTest, NullTextWritesNothing) {
  diag_line(nullptr, kRepair);
  diag_3line(nullptr, nullptr, nullptr, kRepair);
  diag_3line("a", nullptr, "c", kRepair);
  EXPECT_EQ(log(), "ac\r\n");
}

struct SplitCase {
  const char* name;
  std::string text;
  std::string file;
};

class DiagSplitTest : public DiagLogTest, public ::testing::WithParamInterface<SplitCase> {};

TEST_P(DiagSplitTest, LinesEndInCrLf) {
  diag_line(GetParam().text.c_str(), kRepair);
  EXPECT_EQ(log(), GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(Splitting, DiagSplitTest,
                         ::testing::Values(SplitCase{"CrLf", "a\r\nb", "a\r\nb\r\n"},
                                           SplitCase{"LfCr", "a\n\rb", "a\r\nb\r\n"},
                                           SplitCase{"LfLf", "a\n\nb", "a\r\nb\r\n"},
                                           SplitCase{"LfLfLf", "a\n\n\nb", "a\r\n\r\nb\r\n"},
                                           SplitCase{"CrCrCrCr", "a\r\r\r\rb", "a\r\n\r\nb\r\n"},
                                           SplitCase{"LeadingLf", "\nb", "\r\nb\r\n"},
                                           SplitCase{"TrailingLf", "a\n", "a\r\n"},
                                           SplitCase{"Empty", "", ""}),
                         [](const auto& test_case) { return std::string(test_case.param.name); });

TEST_F(DiagLogTest, OverlongLineIsCutIntoBufferSizedLines) {
  std::string text;
  for (int i = 0; i < 2500; ++i) text += static_cast<char>('a' + i % 26);
  diag_line(text.c_str(), kRepair);
  EXPECT_EQ(log(), text.substr(0, 1024) + "\r\n" + text.substr(1024, 1024) + "\r\n" +
                       text.substr(2048) + "\r\n");
}

TEST_F(DiagLogTest, EmptyTextDoesNotCreateTheFile) {
  diag_line("", kRepair);
  close_diagnostic_window();
  EXPECT_FALSE(std::filesystem::exists(log_));
}

TEST_F(DiagLogTest, WithoutAppendOverwritesFromTheStartWithoutTruncating) {
  test::write_all(log_, "0123456789ABCDEF\n");
  diag_line("xy", kRepair);
  EXPECT_EQ(log(), "xy\r\n456789ABCDEF\n");
}

TEST_F(DiagLogTest, AppendKeepsOldContentAndReopensAfterClose) {
  test::write_all(log_, "old\r\n");
  use_log(log_, 1);
  diag_line("one", kRepair);
  close_diagnostic_window();
  diag_line("two", kRepair);
  EXPECT_EQ(log(), "old\r\none\r\ntwo\r\n");
}

TEST_F(DiagLogTest, MacSharedFolderMapsToTheSharedDirectory) {
  ::setenv("CORVEX_SHARED_DIR", dir_.path().c_str(), 1);
  cc_diag_set_window_info(nullptr, "/Users/Shared/CXBkgnd_Diags.txt", 0, 0, 0, 0, 0, 0, 1);
  diag_line("shared", kRepair);
  close_diagnostic_window();
  ::unsetenv("CORVEX_SHARED_DIR");
  EXPECT_EQ(test::read_all(dir_.file("CXBkgnd_Diags.txt")), "shared\r\n");
}

TEST_F(DiagLogTest, SymbolicLinkAtLogPathIsRefusedUntilRemoved) {
  const std::string target = dir_.file("target.txt");
  test::write_all(target, "keep");
  std::filesystem::create_symlink(target, log_);
  diag_line("refused", kRepair);
  EXPECT_EQ(diaginfo.file_open, 0);
  EXPECT_EQ(test::read_all(target), "keep");
  // The next line tries again.
  std::filesystem::remove(log_);
  diag_line("later", kRepair);
  EXPECT_EQ(log(), "later\r\n");
}

TEST_F(DiagLogTest, DirectoryAtLogPathIsRefused) {
  std::filesystem::create_directory(log_);
  diag_line("refused", kRepair);
  EXPECT_EQ(diaginfo.file_open, 0);
  EXPECT_TRUE(std::filesystem::is_empty(log_));
}

TEST_F(DiagLogTest, FifoAtLogPathIsRefused) {
  ASSERT_EQ(::mkfifo(log_.c_str(), 0600), 0);
  const int reader = ::open(log_.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  diag_line("refused", kRepair);
  EXPECT_EQ(diaginfo.file_open, 0);
  char byte;
  EXPECT_LE(::read(reader, &byte, 1), 0);
  ::close(reader);
}

TEST_F(DiagLogTest, NumbersInBasesAndSigns) {
  diag_value_base("ID 0x", 255, 16, " has been used more than once.  Correcting.", kRepair);
  diag_value(nullptr, -42, kRepair);
  diag_value("zero=", 0, kRepair);
  diag_value_base("b", 5, 2, nullptr, kRepair);
  diag_value_base(nullptr, -1295, 36, "!", kRepair);
  diag_value(nullptr, INT32_MIN, kRepair);
  diag_value_unsigned("u", 0xFFFFFFFFu, 2, nullptr, kRepair);
  diag_value_unsigned(nullptr, 0xFFFFFFFFu, 10, " max", kRepair);
  EXPECT_EQ(log(),
            "ID 0xFF has been used more than once.  Correcting.\r\n"
            "-42\r\nzero=0\r\nb101\r\n-ZZ!\r\n-2147483648\r\n"
            "u11111111111111111111111111111111\r\n4294967295 max\r\n");
}

TEST_F(DiagLogTest, Rectangle) {
  const cx_diag_rect r{{1, 2, 3, -4}};
  diag_rectangle("r=", &r, kRepair);
  diag_rectangle(nullptr, &r, kTrace);
  EXPECT_EQ(log(), "r={ 1, 2, 3, -4 }\r\n");
}

TEST_F(DiagLogTest, PrintfCutsAt511AndUsesItsOwnLevel) {
  diag_printf("%s", "filtered");
  cc_diag_set_display_level(0x40ffff);
  const std::string long_text(600, 'x');
  diag_printf("%d:%s", 7, long_text.c_str());
  EXPECT_EQ(log(), "7:" + long_text.substr(0, 509) + "\r\n");
}

TEST_F(DiagLogTest, WindowTextsAreCutTo255) {
  const std::string long_text(300, 't');
  cc_diag_set_window_info(long_text.c_str(), long_text.c_str(), 1, 2, 3, 4, 5, 1, 1);
  EXPECT_EQ(std::string(diaginfo.title), long_text.substr(0, 255));
  EXPECT_EQ(std::string(diaginfo.file_name), long_text.substr(0, 255));
  cc_diag_set_window_info(nullptr, nullptr, 6, 7, 8, 9, 10, 0, 0);
  EXPECT_EQ(std::string(diaginfo.title), long_text.substr(0, 255));
  EXPECT_EQ(diaginfo.x, 6);
  EXPECT_EQ(diaginfo.max_lines, 10);
  EXPECT_EQ(diaginfo.append, 0);
}

}  // namespace
}  // namespace cx
