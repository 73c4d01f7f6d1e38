// The alert program on a test display: its window maps and stays up until
// the user dismisses it; without a display it says so at once.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "platform/linux/alerts_dialog.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/xvfb.h"

namespace cx::test {
namespace {

TEST(AlertWindow, MapsOnADisplayAndWithoutOneShowsNothing) {
  unsetenv("DISPLAY");
  EXPECT_EQ(run_command({CX_ALERT_PROGRAM, "Corvex Background", "low", "soon"}).exit_status,
            platform::kAlertNoDisplay);
  EXPECT_EQ(run_command({CX_ALERT_PROGRAM, "too few"}).exit_status, platform::kAlertUsage);

  const Xvfb display;
  ASSERT_FALSE(display.display().empty()) << "Xvfb did not start";
  setenv("DISPLAY", display.display().c_str(), 1);
  const std::string title = "Corvex Alert Check";
  BackgroundProcess alert({CX_ALERT_PROGRAM, title, "The battery is low.", "Replace it soon."});
  EXPECT_TRUE(eventually([&] {
    return run_command({"xwininfo", "-name", title}).out.find("Map State: IsViewable") !=
           std::string::npos;
  })) << alert.errors();
  EXPECT_EQ(alert.wait_exit(300), -1) << "the alert went away by itself";
  unsetenv("DISPLAY");
}

}  // namespace
}  // namespace cx::test
