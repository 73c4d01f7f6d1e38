// The GLib main loop, for real, with short intervals. That it serves the
// sources D-Bus and X11 attach themselves is left to the agent's process tests.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <vector>

#include "platform/event_loop.h"

namespace cx::platform {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Runs the loop until `deadline` at most, so a broken source fails the test
// instead of hanging it.
void run_for(std::chrono::milliseconds deadline) {
  auto guard = event_loop().add_one_shot(deadline, [] { event_loop().quit(); });
  event_loop().run();
}

TEST(GlibEventLoop, FdWatchFiresUntilItsHandleIsDroppedEvenFromItsCallback) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  char c;
  int calls = 0;
  EventSourceHandle watch = event_loop().watch_fd(fds[0], [&] {
    EXPECT_EQ(read(fds[0], &c, 1), 1);
    if (++calls == 2) event_loop().quit();
  });
  EXPECT_EQ(write(fds[1], "xx", 2), 2);
  run_for(2s);
  EXPECT_EQ(calls, 2);
  watch.reset();
  EXPECT_EQ(write(fds[1], "x", 1), 1);
  run_for(50ms);
  EXPECT_EQ(calls, 2);

  watch = event_loop().watch_fd(fds[0], [&] {
    ++calls;
    watch.reset();  // data left unread: a live watch would fire again at once
  });
  run_for(50ms);
  EXPECT_EQ(calls, 3);
  close(fds[0]);
  close(fds[1]);
}

TEST(GlibEventLoop, TimerWaitsItsFirstDelayThenKeepsItsInterval) {
  std::vector<Clock::time_point> ticks;
  const auto start = Clock::now();
  EventSourceHandle timer = event_loop().add_timer(200ms, 10ms, [&] {
    ticks.push_back(Clock::now());
    if (ticks.size() == 5) event_loop().quit();
  });
  run_for(5s);
  ASSERT_EQ(ticks.size(), 5u);
  EXPECT_GE(ticks[0] - start, 200ms);
  // The phase is kept: tick n is due at first + n * interval.
  for (std::size_t i = 1; i < ticks.size(); ++i) EXPECT_GE(ticks[i] - start, 200ms + i * 10ms);
  // Repeating the first delay would take 800 ms or more.
  EXPECT_LT(ticks[4] - ticks[0], 600ms);
}

TEST(GlibEventLoop, OneShotFiresOnceUnlessDroppedFirst) {
  int timer_calls = 0, dropped_calls = 0, shot_calls = 0;
  EventSourceHandle timer = event_loop().add_timer(10ms, 10ms, [&] { ++timer_calls; });
  EventSourceHandle dropped = event_loop().add_one_shot(10ms, [&] { ++dropped_calls; });
  EventSourceHandle shot = event_loop().add_one_shot(5ms, [&] { ++shot_calls; });
  timer.reset();
  dropped.reset();
  run_for(60ms);
  EXPECT_EQ(timer_calls, 0);
  EXPECT_EQ(dropped_calls, 0);
  EXPECT_EQ(shot_calls, 1);
  shot.reset();  // after firing: must not release the finished source twice
}

TEST(GlibEventLoop, QuitEndsTheInnermostRunAndAnEarlyQuitIsKept) {
  std::vector<int> order;
  auto outer = event_loop().add_one_shot(1ms, [&] {
    auto inner = event_loop().add_one_shot(1ms, [&] {
      order.push_back(1);
      event_loop().quit();
    });
    event_loop().run();  // a modal loop, as a dialog runs
    order.push_back(2);
  });
  auto after = event_loop().add_one_shot(30ms, [&] {
    order.push_back(3);
    event_loop().quit();
  });
  run_for(2s);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));

  event_loop().quit();
  const auto start = Clock::now();
  run_for(2s);
  EXPECT_LT(Clock::now() - start, 1s);
}

}  // namespace
}  // namespace cx::platform
