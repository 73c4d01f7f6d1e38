#include <gtest/gtest.h>

#include "platform/system_version.h"
#include "tests/support/scoped_env.h"

namespace cx::platform {
namespace {

// 10.4.9 unless CORVEX_SYSTEM_VERSION holds a whole hex number.
TEST(SystemVersion, AnswersTenFourNineUnlessOverridden) {
  const struct {
    const char* override;  // null: unset
    int32_t version;
  } cases[] = {
      {nullptr, 0x1049},   {"0x1028", 0x1028}, {"102F", 0x102F},   {"0X1030", 0x1030},
      {"", 0x1049},        {"0x", 0x1049},     {"10.4.9", 0x1049}, {"0x1028 ", 0x1049},
      {" 0x1028", 0x1049}, {"-1", 0x1049},     {"0x1g", 0x1049},   {"0x100000000", 0x1049},
      {"0x0x10", 0x1049},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.override ? c.override : "(unset)");
    const test::ScopedEnv env("CORVEX_SYSTEM_VERSION", c.override);
    int32_t v = 0;
    EXPECT_EQ(Gestalt(kGestaltSystemVersion, &v), 0);
    EXPECT_EQ(v, c.version);
  }
  int32_t v = 7;
  EXPECT_EQ(Gestalt(0x71642020 /* 'qd  ' */, &v), kGestaltUndefSelectorErr);
  EXPECT_EQ(v, 7);
}

}  // namespace
}  // namespace cx::platform
