#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/system_version.h"

namespace cx::platform {
namespace {

class SystemVersion : public ::testing::Test {
 protected:
  void TearDown() override { unsetenv("CORVEX_SYSTEM_VERSION"); }
  static int32_t sysv() {
    int32_t v = 0;
    EXPECT_EQ(Gestalt(kGestaltSystemVersion, &v), 0);
    return v;
  }
};

TEST_F(SystemVersion, AnswersTenFourNineUnlessOverridden) {
  unsetenv("CORVEX_SYSTEM_VERSION");
  EXPECT_EQ(sysv(), 0x1049);
  setenv("CORVEX_SYSTEM_VERSION", "0x1028", 1);
  EXPECT_EQ(sysv(), 0x1028);
  setenv("CORVEX_SYSTEM_VERSION", "102F", 1);
  EXPECT_EQ(sysv(), 0x102F);
  setenv("CORVEX_SYSTEM_VERSION", "0X1030", 1);
  EXPECT_EQ(system_version(), 0x1030u);
}

TEST_F(SystemVersion, UnparsableOverridesAreIgnored) {
  for (const char* bad :
       {"", "0x", "10.4.9", "0x1028 ", " 0x1028", "-1", "0x1g", "0x100000000", "0x0x10"}) {
    setenv("CORVEX_SYSTEM_VERSION", bad, 1);
    EXPECT_EQ(sysv(), 0x1049) << '"' << bad << '"';
  }
}

TEST_F(SystemVersion, OtherSelectorsAreUndefinedAndLeaveTheAnswerAlone) {
  int32_t v = 7;
  EXPECT_EQ(Gestalt(0x71642020 /* 'qd  ' */, &v), kGestaltUndefSelectorErr);
  EXPECT_EQ(v, 7);
}

}  // namespace
}  // namespace cx::platform
