// The agent's one main loop: file-descriptor watches, timers and whatever
// else the platform dispatches on it (Apple events). Every source is an owned
// handle; dropping the handle removes the source, also from inside its own
// callback.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace cx::platform {

class EventSource {
 public:
  virtual ~EventSource() = default;
};

using EventSourceHandle = std::unique_ptr<EventSource>;

class EventLoop {
 public:
  using Callback = std::function<void()>;

  virtual ~EventLoop() = default;

  // Dispatches until quit(). A quit() asked for while no run() is active
  // makes the next run() return at once, so a quit that races start-up is
  // not lost.
  virtual void run() = 0;
  // Ends the innermost run() after the current callback returns.
  virtual void quit() = 0;

  // Calls `on_ready` while `fd` is readable, has hung up or is in error; the
  // callback must read or drop the watch, or it is called again at once.
  virtual EventSourceHandle watch_fd(int fd, Callback on_ready) = 0;
  // Fires after `first`, then every `interval` (which must be positive).
  // Ticks missed while the loop was blocked are skipped, not replayed.
  virtual EventSourceHandle add_timer(std::chrono::milliseconds first,
                                      std::chrono::milliseconds interval, Callback on_tick) = 0;
  // Fires once after `delay`; dropping the handle before then cancels it.
  virtual EventSourceHandle add_one_shot(std::chrono::milliseconds delay, Callback on_fire) = 0;
};

// The process-wide loop: the platform's, unless a test installed another.
EventLoop& event_loop();
// Installs `loop` (not owned; null restores the platform's loop).
void set_event_loop(EventLoop* loop);

}  // namespace cx::platform
