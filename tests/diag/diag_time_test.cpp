#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_state.h"
#include "diag/diag_timestamp.h"
#include "diag/diag_writers.h"
#include "platform/clock.h"
#include "tests/diag/temp_dir.h"

namespace cx {
namespace {

class FakeClock final : public platform::Clock {
 public:
  bool time_of_day(platform::TimeOfDay& out) override {
    out = now;
    return ok;
  }
  platform::TimeOfDay now{0, 0};
  bool ok = true;
};

class DiagTimeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::set_clock(&clock_);
    diag_reset_state();
    cc_diag_set_window_info(nullptr, log_.c_str(), 0, 0, 0, 0, 0, 0, 0);
  }
  void TearDown() override {
    diag_reset_state();
    platform::set_clock(nullptr);
  }

  // The user ID as the stamp shows it: at least three digits.
  static std::string uid_field() {
    std::string uid = std::to_string(getuid());
    if (uid.size() < 3) uid.insert(0, 3 - uid.size(), '0');
    return "(" + uid + ")";
  }

  FakeClock clock_;
  test::TempDir dir_;
  std::string log_ = dir_.file("log.txt");
};

TEST_F(DiagTimeTest, StampIsUtcTimeOfDayWithUnpaddedMicroseconds) {
  // Local time must not matter.
  ::setenv("TZ", "Asia/Kathmandu", 1);
  ::tzset();
  clock_.now = {3 * 86400 + 3 * 3600 + 4 * 60 + 5, 5123};
  EXPECT_EQ(std::string(timestamp()), uid_field() + " 03:04:05.5123");
  clock_.now = {86399, 0};
  EXPECT_EQ(std::string(timestamp()), uid_field() + " 23:59:59.0");
  clock_.now = {1700000000, 999999};  // 2023-11-14 22:13:20 UTC
  EXPECT_EQ(std::string(timestamp()), uid_field() + " 22:13:20.999999");
  ::unsetenv("TZ");
  ::tzset();
}

TEST_F(DiagTimeTest, UnreadableClockGivesEmptyStamp) {
  clock_.ok = false;
  EXPECT_STREQ(timestamp(), "");
}

TEST_F(DiagTimeTest, StampAsPrintfPrefix) {
  cc_diag_set_display_level(0x406000);
  clock_.now = {3600, 42};
  diag_printf("%s:Corvex Background: User Session Activated\n", timestamp());
  close_diagnostic_window();
  EXPECT_EQ(test::read_all(log_),
            uid_field() + " 01:00:00.42:Corvex Background: User Session Activated\r\n");
}

TEST_F(DiagTimeTest, DateAndTimeItemUsesLocalShortFormats) {
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  clock_.now = {86400 + 3 * 3600 + 4 * 60 + 5, 0};
  diag_timestamp(0xFFFF0000);
  diag_timestamp(0x20000);
  clock_.ok = false;
  diag_timestamp(0xFFFF0000);  // an empty stamp is an empty text: no line
  close_diagnostic_window();
  ::unsetenv("TZ");
  ::tzset();
  EXPECT_EQ(test::read_all(log_), "01/02/70 -- 03:04:05\r\n");
}

}  // namespace
}  // namespace cx
