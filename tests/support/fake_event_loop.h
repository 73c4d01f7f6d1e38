// A main loop on virtual time for tests: nothing sleeps. Timers fire when the
// test advances the clock (or run() jumps to the next deadline); fd watches
// fire when the test signals the descriptor.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/event_loop.h"

namespace cx::test {

class FakeEventLoop final : public platform::EventLoop {
 public:
  using Duration = std::chrono::milliseconds;

  std::size_t timer_count() const { return state_->timers.size(); }
  std::size_t watch_count() const { return state_->watches.size(); }
  bool quit_requested() const { return state_->quit; }

  // Moves virtual time forward by `d`, firing every timer that falls due on
  // the way, in deadline order (ties in creation order).
  void advance(Duration d) {
    const Duration end = state_->now + d;
    while (fire_next(end)) {
    }
    state_->now = end;
  }

  // Jumps from deadline to deadline until quit(); returns early when no
  // timer is left, since nothing else could wake a fake loop.
  void run() override {
    if (std::exchange(state_->quit, false)) return;
    while (!state_->quit && !state_->timers.empty()) fire_next(Duration::max());
    state_->quit = false;
  }

  void quit() override { state_->quit = true; }

  platform::EventSourceHandle watch_fd(int fd, Callback on_ready) override {
    state_->watches.emplace(state_->next_id, std::pair{fd, std::move(on_ready)});
    return std::make_unique<Handle>(state_, state_->next_id++);
  }

  platform::EventSourceHandle add_timer(Duration first, Duration interval,
                                        Callback on_tick) override {
    const Duration due = state_->now + std::max(first, Duration::zero());
    state_->timers.emplace(state_->next_id, Timer{due, interval, std::move(on_tick)});
    return std::make_unique<Handle>(state_, state_->next_id++);
  }

  platform::EventSourceHandle add_one_shot(Duration delay, Callback on_fire) override {
    return add_timer(delay, Duration::zero(), std::move(on_fire));
  }

 private:
  struct Timer {
    Duration due;
    Duration interval;  // zero: once
    Callback cb;
  };
  struct State {
    Duration now{0};
    bool quit = false;
    uint64_t next_id = 1;
    std::map<uint64_t, Timer> timers;
    std::map<uint64_t, std::pair<int, Callback>> watches;
  };

  // Removes its source; harmless after the loop itself is gone.
  class Handle final : public platform::EventSource {
   public:
    Handle(std::weak_ptr<State> state, uint64_t id) : state_(std::move(state)), id_(id) {}
    ~Handle() override {
      if (auto s = state_.lock()) {
        s->timers.erase(id_);
        s->watches.erase(id_);
      }
    }

   private:
    std::weak_ptr<State> state_;
    uint64_t id_;
  };

  // Fires the earliest timer due at or before `limit`; false when none is.
  bool fire_next(Duration limit) {
    auto next = state_->timers.end();
    for (auto it = state_->timers.begin(); it != state_->timers.end(); ++it)
      if (next == state_->timers.end() || it->second.due < next->second.due) next = it;
    if (next == state_->timers.end() || next->second.due > limit) return false;
    state_->now = next->second.due;
    // Copy the callback: the timer may be dropped while it runs.
    Callback cb = next->second.cb;
    if (next->second.interval > Duration::zero())
      next->second.due += next->second.interval;
    else
      state_->timers.erase(next);
    cb();
    return true;
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace cx::test
