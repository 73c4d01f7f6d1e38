// The window manager's focus changes reach the driver at once, not on the
// foreground timer's next tick: the agent core on the real main loop and
// the X11 process service, corvex-desktopctl playing the window manager.
#include <chrono>
#include <string>

#include "agent/agent_state.h"
#include "agent/foreground_app.h"
#include "platform/event_loop.h"
#include "tests/support/agent_core.h"
#include "tests/support/child_process.h"
#include "tests/support/scoped_env.h"
#include "tests/support/xvfb.h"

namespace cx::test {
namespace {

class FrontWatchTest : public AgentTest {
 protected:
  void SetUp() override {
    AgentTest::SetUp();
    ASSERT_FALSE(xvfb_.display().empty());
    platform::set_event_loop(nullptr);
    platform::set_processes(nullptr);
  }

  // Runs the main loop until the driver's front application is `name`,
  // for at most `limit`.
  void run_until_front(const std::string& name, std::chrono::milliseconds limit) {
    auto& loop = platform::event_loop();
    const auto check =
        loop.add_timer(std::chrono::milliseconds(2), std::chrono::milliseconds(2), [&] {
          if (driver_.state().apps.front_name() == name) loop.quit();
        });
    const auto give_up = loop.add_one_shot(limit, [&] { loop.quit(); });
    loop.run();
  }

  Xvfb xvfb_;
  ScopedEnv display_{"DISPLAY", xvfb_.display()};
};

TEST_F(FrontWatchTest, FocusChangesReachTheDriverBeforeTheFirstTick) {
  background_app_active = 1;
  installForegroundAppTimer();
  for (const char* name : {"Alpha", "Beta"}) {
    ASSERT_EQ(run_command({CX_DESKTOPCTL, "front", name}).exit_status, 0);
    // The timer's first tick comes after a second.
    run_until_front(name, std::chrono::milliseconds(kForegroundTimerFirstMs - 200));
    EXPECT_EQ(driver_.state().apps.front_name(), name);
  }
  EXPECT_EQ(timer_driver_poll_count, 0);
  EXPECT_EQ(count_in_log("Switching App to "), 2);
  removeForegroundAppTimer();
}

}  // namespace
}  // namespace cx::test
