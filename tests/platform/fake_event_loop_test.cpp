// The virtual-time loop that agent tests drive: it must keep the same
// contract as the GLib loop, only without sleeping.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "tests/support/fake_event_loop.h"

namespace cx::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

TEST(FakeEventLoop, TimersFireAtFirstDelayThenEveryIntervalInDeadlineOrder) {
  FakeEventLoop loop;
  std::vector<milliseconds> at;
  auto timer = loop.add_timer(1000ms, 200ms, [&] { at.push_back(loop.now()); });
  loop.advance(999ms);
  EXPECT_TRUE(at.empty());
  loop.advance(401ms);
  EXPECT_EQ(at, (std::vector<milliseconds>{1000ms, 1200ms, 1400ms}));
  // The 50th tick of a 1.0 s / 0.2 s timer comes 10.8 s after it was installed.
  loop.advance(10800ms - loop.now());
  EXPECT_EQ(at.size(), 50u);
  EXPECT_EQ(at.back(), 10800ms);

  FakeEventLoop other;
  std::vector<int> order;
  auto slow = other.add_timer(30ms, 30ms, [&] { order.push_back(30); });
  auto fast = other.add_timer(20ms, 20ms, [&] { order.push_back(20); });
  other.advance(60ms);
  // At 60 ms both are due: the older timer goes first.
  EXPECT_EQ(order, (std::vector<int>{20, 30, 20, 30, 20}));
}

TEST(FakeEventLoop, DroppingHandlesRemovesSourcesEvenFromTheirCallbacks) {
  FakeEventLoop loop;
  int ticks = 0, reads = 0;
  platform::EventSourceHandle timer;
  timer = loop.add_timer(10ms, 10ms, [&] {
    if (++ticks == 2) timer.reset();
  });
  platform::EventSourceHandle watch = loop.watch_fd(7, [&] { ++reads; });
  loop.advance(100ms);
  EXPECT_EQ(ticks, 2);
  EXPECT_EQ(loop.timer_count(), 0u);
  EXPECT_EQ(loop.signal_fd(7), 1);
  EXPECT_EQ(loop.signal_fd(8), 0);
  watch.reset();
  EXPECT_EQ(loop.signal_fd(7), 0);
  EXPECT_EQ(reads, 1);
}

TEST(FakeEventLoop, RunJumpsToDeadlinesUntilACallbackQuits) {
  FakeEventLoop loop;
  int ticks = 0, shots = 0;
  auto timer = loop.add_timer(1000ms, 200ms, [&] {
    if (++ticks == 3) loop.quit();
  });
  auto shot = loop.add_one_shot(1100ms, [&] { ++shots; });
  loop.run();
  EXPECT_EQ(ticks, 3);
  EXPECT_EQ(shots, 1);
  EXPECT_EQ(loop.now(), 1400ms);
  EXPECT_EQ(loop.timer_count(), 1u);  // the one-shot is gone, the timer stays
}

}  // namespace
}  // namespace cx::test
