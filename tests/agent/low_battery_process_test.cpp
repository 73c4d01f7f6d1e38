// Low-battery alerts end to end: corvex-driverctl plays the device, the real
// agent answers, and a notification server on the session's private bus
// shows what the user would see.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/fake_notifications.h"
#include "tests/support/scoped_env.h"
#include "tests/support/user_session.h"

namespace cx::test {
namespace {

TEST(LowBatteryProcessTest, AlertTimesSurviveARestartOfAgentAndDriver) {
  unsetenv("DISPLAY");
  UserSession session;
  ASSERT_TRUE(session.ready());
  const ScopedEnv no_logind("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + session.dir() + "/no-bus");
  const ScopedEnv local("CORVEX_LOCAL_PREFERENCES", session.dir() + "/local");
  FakeNotifications server;
  ASSERT_TRUE(server.ok()) << server.error();

  auto start = [&] {
    ASSERT_TRUE(session.start_driver()) << session.driver->errors();
    session.start_agent();
    ASSERT_TRUE(session.agent_active()) << session.agent->errors();
  };
  start();
  session.driverctl({"low-battery", "31"});
  ASSERT_TRUE(server.wait_for(1));

  EXPECT_EQ(session.corvexctl({"quit"}).exit_status, 0);
  EXPECT_EQ(session.agent->wait_exit(), 0);
  session.driver->terminate();
  start();
  // Within the driver's minimum interval: the time kept by the agent stops
  // the second alert of device 31; device 30 has none yet and gets its own.
  session.driverctl({"low-battery", "31"});
  session.driverctl({"low-battery", "30"});
  ASSERT_TRUE(server.wait_for(2));
  const std::vector<Notification> got = server.received();
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0].summary, "The battery of “Corvex Wireless Mouse Rechargeable” is low.");
  EXPECT_EQ(got[1].summary, "The battery of “Corvex Wireless Mouse” is low.");
  EXPECT_EQ(got[1].urgency, 2);
}

}  // namespace
}  // namespace cx::test
