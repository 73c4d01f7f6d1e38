// corvex-desktopctl on a private Xvfb, read back through the agent's own
// process service.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/processes.h"
#include "tests/support/child_process.h"
#include "tests/support/xvfb.h"

namespace cx::platform {
namespace {

std::string name_of(const ProcessInfo& info) {
  return std::string(reinterpret_cast<const char*>(info.name.data() + 1), info.name[0]);
}

TEST(Desktopctl, FrontBringsANewApplicationOfTheToolsPidThatOutlivesIt) {
  test::Xvfb server;
  ASSERT_FALSE(server.display().empty()) << "Xvfb could not be started";
  setenv("DISPLAY", server.display().c_str(), 1);

  std::vector<uint32_t> tools;
  for (const char* name : {"Safari", "TextEdit"}) {
    SCOPED_TRACE(name);
    test::BackgroundProcess tool({CX_DESKTOPCTL, "front", name});
    const auto pid = static_cast<uint32_t>(tool.pid());
    ASSERT_EQ(tool.wait_exit(), 0) << tool.errors();
    tools.push_back(pid);
    ProcessSerialNumber psn{};
    ASSERT_EQ(GetFrontProcess(&psn), noErr);
    EXPECT_EQ(psn.lowLongOfPSN, pid);
    ProcessInfo info{};
    ASSERT_EQ(GetProcessInformation(&psn, &info), noErr);
    EXPECT_EQ(name_of(info), name);
  }
  // Both windows stayed when their tools exited.
  std::vector<uint32_t> listed;
  for (ProcessSerialNumber psn = kNoProcess; GetNextProcess(&psn) == noErr;)
    listed.push_back(psn.lowLongOfPSN);
  EXPECT_EQ(listed, tools);

  EXPECT_EQ(test::run_command({CX_DESKTOPCTL, "front"}).exit_status, 2);
  unsetenv("DISPLAY");
}

}  // namespace
}  // namespace cx::platform
