// Who may become the driver's active user, decided by a logind on a private
// system bus: only a process of an active session at a seat (root: anyone), and the
// uid rule alone while logind cannot be reached.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "refdriver/logind_sessions.h"
#include "tests/refdriver/handler_harness.h"
#include "tests/support/fake_logind.h"

namespace cx::refdriver {
namespace {

using namespace testing;

TEST(ConsoleClaims, OnlyAProcessOfAnActiveSessionMakesItsUserActive) {
  test::FakeLogind logind;
  ASSERT_TRUE(logind.ok()) << logind.error();
  // The test's own process sits in the active session: a pid of 0 must not
  // be taken for it.
  logind.add_session("c1", 1000, {101}, false);
  logind.add_session("c2", 1001, {102, getpid()}, true);
  logind.add_session("remote", 1004, {104}, true, "");
  LogindSessions sessions;  // finds the fake through DBUS_SYSTEM_BUS_ADDRESS
  Harness h(&sessions);
  const ClientPeer away{1, 1000, 101}, console{2, 1001, 102}, nowhere{3, 1002, 777},
      no_pid{4, 1003, 0}, root{5, 0, 777}, remote{6, 1004, 104};

  h.steps({{rq::CXAccessGlobalData, claim(1000), kPermission},
           {rq::CXAccessGlobalData, claim(1000, 1), kDone},
           {rq::CXAccessGlobalData, claim(1), kPermission}},
          &away);
  h.steps({{rq::CXAccessGlobalData, claim(1002), kPermission}}, &nowhere);
  h.steps({{rq::CXAccessGlobalData, claim(1003), kPermission}}, &no_pid);
  h.steps({{rq::CXAccessGlobalData, claim(1004), kPermission}}, &remote);
  EXPECT_TRUE(h.sink.messages.empty());
  h.steps({{rq::CXAccessGlobalData, claim(1001), kDone}}, &console);
  EXPECT_EQ(h.sink.messages, (std::vector<std::pair<uint32_t, uint64_t>>{{14, 1001}}));

  // The console switches: the new session's user may take over.
  logind.set_active("c2", false);
  logind.set_active("c1", true);
  h.steps({{rq::CXAccessGlobalData, claim(1001), kPermission}}, &console);
  h.steps({{rq::CXAccessGlobalData, claim(1000), kDone}}, &away);
  h.steps({{rq::CXAccessGlobalData, claim(1234), kDone}}, &root);
  EXPECT_EQ(h.sink.messages.back(), (std::pair<uint32_t, uint64_t>(14, 1234)));

  // Without logind a client may claim its own uid again, and the log says so once.
  logind.stop();
  h.steps({{rq::CXAccessGlobalData, claim(1002), kDone},
           {rq::CXAccessGlobalData, claim(1002, 1), kDone},
           {rq::CXAccessGlobalData, claim(1002), kDone}},
          &nowhere);
  EXPECT_EQ(std::count_if(h.sink.lines.begin(), h.sink.lines.end(),
                          [](const std::string& l) {
                            return l.starts_with("systemd-logind cannot be reached");
                          }),
            1);
}

// A user unit's agent runs in no session: its user's graphical session
// decides, and a remote login never does.
TEST(ConsoleClaims, AProcessOutsideEverySessionStandsForItsUsersGraphicalSession) {
  test::FakeLogind logind;
  ASSERT_TRUE(logind.ok()) << logind.error();
  logind.add_session("ssh5", 1005, {}, true, "");
  logind.add_session("g5", 1005, {}, false);
  logind.add_session("ssh6", 1006, {}, true, "");
  LogindSessions sessions;
  Harness h(&sessions);
  const ClientPeer service{1, 1005, 105}, remote_user{2, 1006, 106};

  h.steps({{rq::CXAccessGlobalData, claim(1005), kPermission}}, &service);
  h.steps({{rq::CXAccessGlobalData, claim(1006), kPermission}}, &remote_user);
  logind.set_active("g5", true);
  h.steps({{rq::CXAccessGlobalData, claim(1005), kDone}}, &service);
  EXPECT_EQ(h.sink.messages, (std::vector<std::pair<uint32_t, uint64_t>>{{14, 1005}}));
}

}  // namespace
}  // namespace cx::refdriver
