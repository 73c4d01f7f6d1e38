#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_state.h"
#include "diag/diag_timestamp.h"
#include "diag/diag_writers.h"
#include "platform/clock.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"

namespace cx {
namespace {

constexpr uint32_t kBanner = 0x20000;
constexpr uint32_t kTrace = 0x1ffff;
constexpr uint32_t kRepair = 0xFFFF0000;

class FakeClock final : public platform::Clock {
 public:
  bool time_of_day(platform::TimeOfDay& out) override {
    out = now;
    return ok;
  }
  platform::TimeOfDay now{0, 0};
  bool ok = true;
};

constexpr char kDomain[] = "com.velcorra.corvex.background.diags";

class DiagLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::set_clock(&clock_);
    diag_reset_state();
    use_log(0);
  }
  void TearDown() override {
    diag_reset_state();
    platform::set_clock(nullptr);
    ::unsetenv("TZ");
    ::tzset();
  }
  void use_log(int append) {
    cc_diag_set_window_info("Title", log_.c_str(), 100, 300, 700, 300, 500, 0, append);
  }
  std::string log() {
    close_diagnostic_window();
    return test::read_file(log_);
  }
  static void set_tz(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  // Writes the current user's current-host file with the given dictionary body and reads it.
  void read_info(const std::string& body, const std::string& file = "ByHost/") {
    const std::string name = file == "ByHost/" ? file + kDomain + ".testhost" : file + kDomain;
    test::write_file(
        dir_.file("corvex/Preferences/" + name + ".plist"),
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + body +
            "</dict>\n</plist>\n");
    cc_diag_read_info(kDomain);
  }

  FakeClock clock_;
  test::TempDir dir_;
  std::string log_ = dir_.file("log.txt");
  test::ScopedEnv config_{"XDG_CONFIG_HOME", dir_.path()}, host_{"CORVEX_MACHINE_ID", "testhost"};
};

TEST_F(DiagLogTest, DisplayLevelFiltersCategoriesAndLevels) {
  // Defaults: only repair notes.
  diag_line("banner", kBanner);
  diag_line("trace", kTrace);
  diag_line("repair", kRepair);
  cc_diag_set_display_level(0x3ffff);
  diag_line("banner", kBanner);
  diag_line("trace", kTrace);
  cc_diag_set_display_level(0x1fffe);
  diag_line("banner2", kBanner);
  diag_line("trace2", kTrace);
  diag_line("category1 level0", 0x10000);
  diag_line(nullptr, kRepair);
  diag_3line(nullptr, nullptr, nullptr, kRepair);
  diag_3line("a", nullptr, "c", kRepair);
  EXPECT_EQ(log(), "repair\r\nbanner\r\ntrace\r\ncategory1 level0\r\nac\r\n");
}

TEST_F(DiagLogTest, LineSplittingEndsEveryLineInCrLf) {
  std::string long_text;
  for (int i = 0; i < 2500; ++i) long_text += static_cast<char>('a' + i % 26);
  const struct {
    std::string text, file;
  } cases[] = {{"a\r\nb", "a\r\nb\r\n"},
               {"a\n\n\nb", "a\r\n\r\nb\r\n"},
               {"a\r\r\r\rb", "a\r\n\r\nb\r\n"},
               {"a\n", "a\r\n"},
               {long_text, long_text.substr(0, 1024) + "\r\n" + long_text.substr(1024, 1024) +
                               "\r\n" + long_text.substr(2048) + "\r\n"},
               // Exact multiples of the line size: no empty line after a full one.
               {long_text.substr(0, 2048),
                long_text.substr(0, 1024) + "\r\n" + long_text.substr(1024, 1024) + "\r\n"},
               {long_text.substr(0, 1024) + "\nb", long_text.substr(0, 1024) + "\r\nb\r\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text.substr(0, 10)));
    use_log(0);
    std::filesystem::remove(log_);
    diag_line(c.text.c_str(), kRepair);
    EXPECT_EQ(log(), c.file);
  }
  std::filesystem::remove(log_);
  diag_line("", kRepair);
  close_diagnostic_window();
  EXPECT_FALSE(std::filesystem::exists(log_)) << "empty text does not create the file";
}

TEST_F(DiagLogTest, OverwriteWithoutTruncatingOrAppendAcrossReopen) {
  test::write_file(log_, "0123456789ABCDEF\n");
  diag_line("xy", kRepair);
  EXPECT_EQ(log(), "xy\r\n456789ABCDEF\n");
  test::write_file(log_, "old\r\n");
  use_log(1);
  diag_line("one", kRepair);
  close_diagnostic_window();
  diag_line("two", kRepair);
  EXPECT_EQ(log(), "old\r\none\r\ntwo\r\n");
}

TEST_F(DiagLogTest, OnlyARegularFileIsWritten) {
  const std::string target = dir_.file("target.txt");
  test::write_file(target, "keep");
  std::filesystem::create_symlink(target, log_);
  diag_line("refused", kRepair);
  EXPECT_EQ(diaginfo.file_open, 0);
  EXPECT_EQ(test::read_file(target), "keep");
  std::filesystem::remove(log_);
  ASSERT_EQ(::mkfifo(log_.c_str(), 0600), 0);
  const int reader = ::open(log_.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  diag_line("refused", kRepair);
  EXPECT_EQ(diaginfo.file_open, 0);
  char byte;
  EXPECT_LE(::read(reader, &byte, 1), 0);
  ::close(reader);
  std::filesystem::remove(log_);
  diag_line("later", kRepair);  // the next line tries again
  EXPECT_EQ(log(), "later\r\n");
}

// Another user's file planted under the log's name in the shared folder.
TEST_F(DiagLogTest, AFileOfAnotherUserIsNotWritten) {
  test::write_file(log_, "theirs");
  if (::chown(log_.c_str(), ::geteuid() + 1, ::getegid()) != 0)
    GTEST_SKIP() << "only root can give a file to another user";
  ::testing::internal::CaptureStderr();
  diag_line("UID 0 logged in", kRepair);
  diag_line("again", kRepair);
  const std::string said = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(diaginfo.file_open, 0);
  EXPECT_EQ(test::read_file(log_), "theirs");
  EXPECT_EQ(said, "Corvex Background: no diagnostic log is written: " + log_ +
                      " belongs to another user.\n");
}

TEST_F(DiagLogTest, NumbersRectanglesAndPrintf) {
  diag_value_base("ID 0x", 255, 16, " has been used more than once.  Correcting.", kRepair);
  diag_value(nullptr, -42, kRepair);
  diag_value("zero=", 0, kRepair);
  diag_value_base(nullptr, -1295, 36, "!", kRepair);
  diag_value(nullptr, INT32_MIN, kRepair);
  diag_value_unsigned("u", 0xFFFFFFFFu, 2, nullptr, kRepair);
  const cx_diag_rect r{{1, 2, 3, -4}};
  diag_rectangle("r=", &r, kRepair);
  diag_rectangle(nullptr, &r, kTrace);
  diag_printf("%s", "filtered");  // printf has its own level
  cc_diag_set_display_level(0x40ffff);
  diag_printf("%d:%s", 7, std::string(600, 'x').c_str());
  EXPECT_EQ(log(),
            "ID 0xFF has been used more than once.  Correcting.\r\n"
            "-42\r\nzero=0\r\n-ZZ!\r\n-2147483648\r\n"
            "u11111111111111111111111111111111\r\n"
            "r={ 1, 2, 3, -4 }\r\n7:" +
                std::string(509, 'x') + "\r\n");
}

TEST_F(DiagLogTest, WindowTextsAreCutTo255) {
  const std::string long_text(300, 't');
  cc_diag_set_window_info(long_text.c_str(), long_text.c_str(), 1, 2, 3, 4, 5, 1, 1);
  EXPECT_EQ(std::string(diaginfo.title), long_text.substr(0, 255));
  cc_diag_set_window_info(nullptr, nullptr, 6, 7, 8, 9, 10, 0, 0);
  EXPECT_EQ(std::string(diaginfo.title), long_text.substr(0, 255)) << "null keeps the old text";
  EXPECT_EQ(diaginfo.max_lines, 10);
}

TEST_F(DiagLogTest, StampIsUserIdAndUtcTimeOfDayWithUnpaddedMicroseconds) {
  std::string uid = std::to_string(getuid());  // at least three digits
  uid = "(" + std::string(uid.size() < 3 ? 3 - uid.size() : 0, '0') + uid + ")";
  set_tz("Asia/Kathmandu");  // local time must not matter
  const struct {
    platform::TimeOfDay now;
    const char* text;
  } cases[] = {{{3 * 86400 + 3 * 3600 + 4 * 60 + 5, 5123}, " 03:04:05.5123"},
               {{3600, 42}, " 01:00:00.42"}};
  for (const auto& c : cases) {
    clock_.now = c.now;
    EXPECT_EQ(std::string(timestamp()), uid + c.text);
  }
  clock_.ok = false;
  EXPECT_STREQ(timestamp(), "") << "unreadable clock";
}

TEST_F(DiagLogTest, DateAndTimeItemUsesLocalShortFormats) {
  set_tz("UTC");
  clock_.now = {86400 + 3 * 3600 + 4 * 60 + 5, 0};
  diag_timestamp(0xFFFF0000);
  diag_timestamp(0x20000);
  clock_.ok = false;
  diag_timestamp(0xFFFF0000);  // an empty stamp is an empty text: no line
  EXPECT_EQ(log(), "01/02/70 -- 03:04:05\r\n");
}

// Settings read onto the defaults.
class DiagReadInfoTest : public DiagLogTest {
 protected:
  void SetUp() override { diag_reset_state(); }
};

TEST_F(DiagReadInfoTest, AppliesOnlyValuesOfTheExpectedType) {
  read_info(
      "<key>Displevel</key><integer>262143</integer><key>ShowWindow</key><string>yes</string>"
      "<key>Append</key><true/><key>Title</key><string>Diags</string>"
      "<key>Filename</key><string>/tmp/d.txt</string><key>X</key><real>7.9</real>"
      "<key>Y</key><string>5</string><key>Width</key><integer>640</integer>"
      "<key>MaxLines</key><false/>");
  EXPECT_EQ(diaginfo.category_mask, 0x3);
  EXPECT_EQ(diaginfo.level, 0xffff);
  EXPECT_EQ(diaginfo.show_window, 0);
  EXPECT_EQ(diaginfo.append, 1);
  EXPECT_STREQ(diaginfo.title, "Diags");
  EXPECT_STREQ(diaginfo.file_name, "/tmp/d.txt");
  EXPECT_EQ(diaginfo.x, 7);
  EXPECT_EQ(diaginfo.y, 50);
  EXPECT_EQ(diaginfo.width, 640);
  EXPECT_EQ(diaginfo.max_lines, 500);
}

TEST_F(DiagReadInfoTest, OtherScopesBadFilesAndOverlongTextAreIgnored) {
  read_info("<key>Width</key><integer>1</integer>", "");  // any-host file: not read
  EXPECT_EQ(diaginfo.width, 400);
  read_info("<key>Width</key><integer>2</integer><key>Title</key>");  // malformed
  EXPECT_EQ(diaginfo.width, 400);
  cc_diag_read_info(nullptr);
  EXPECT_EQ(diaginfo.width, 400);
  read_info("<key>Title</key><string>" + std::string(256, 't') + "</string><key>Filename</key>" +
            "<string>" + std::string(255, 'f') + "</string><key>ShowWindow</key><true/>");
  EXPECT_STREQ(diaginfo.title, "CC Diagnostics Window");
  EXPECT_EQ(std::string(diaginfo.file_name), std::string(255, 'f'));
  EXPECT_EQ(diaginfo.show_window, 1);
}

}  // namespace
}  // namespace cx
