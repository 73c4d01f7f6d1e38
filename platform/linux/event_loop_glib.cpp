// The main loop on GLib's default main context, the one GIO dispatches D-Bus
// method calls on, so Apple events are served by the same loop.
#include <glib-unix.h>
#include <glib.h>

#include <cstdint>
#include <utility>

#include "platform/event_loop.h"

namespace cx::platform {
namespace {

using Callback = EventLoop::Callback;

// Owns one reference to an attached source. The callback lives in the
// source's callback data, which GLib keeps alive until a running dispatch
// returns, so a handle may be dropped from inside its own callback.
class GlibSource final : public EventSource {
 public:
  explicit GlibSource(GSource* source) : source_(source) {}
  ~GlibSource() override {
    g_source_destroy(source_);
    g_source_unref(source_);
  }
  GlibSource(const GlibSource&) = delete;
  GlibSource& operator=(const GlibSource&) = delete;

 private:
  GSource* source_;
};

void delete_callback(gpointer data) {
  delete static_cast<Callback*>(data);
}

EventSourceHandle attach(GSource* source, GSourceFunc fn, Callback cb) {
  g_source_set_callback(source, fn, new Callback(std::move(cb)), delete_callback);
  g_source_attach(source, g_main_context_default());
  return std::make_unique<GlibSource>(source);
}

gboolean on_fd_ready(gint /*fd*/, GIOCondition /*condition*/, gpointer data) {
  (*static_cast<Callback*>(data))();
  return G_SOURCE_CONTINUE;
}

// A timer with its own first delay and interval; GLib's timeout sources
// know only one period. Times are GLib's monotonic microseconds.
struct TimerSource {
  GSource base;
  gint64 interval_us;  // 0: fires once
};

gboolean timer_dispatch(GSource* source, GSourceFunc fn, gpointer data) {
  auto* timer = reinterpret_cast<TimerSource*>(source);
  if (timer->interval_us > 0) {
    // Keep the original phase, but skip ticks missed while the loop was
    // blocked rather than firing them in a burst.
    const gint64 now = g_source_get_time(source);
    gint64 next = g_source_get_ready_time(source) + timer->interval_us;
    if (next <= now) next += ((now - next) / timer->interval_us + 1) * timer->interval_us;
    g_source_set_ready_time(source, next);
  }
  fn(data);
  return timer->interval_us > 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

GSourceFuncs timer_funcs = {nullptr, nullptr, timer_dispatch, nullptr, nullptr, nullptr};

gboolean on_timer(gpointer data) {
  (*static_cast<Callback*>(data))();
  return G_SOURCE_CONTINUE;  // the dispatch function decides
}

EventSourceHandle add_timer_source(std::chrono::milliseconds first,
                                   std::chrono::milliseconds interval, Callback cb) {
  GSource* source = g_source_new(&timer_funcs, sizeof(TimerSource));
  reinterpret_cast<TimerSource*>(source)->interval_us =
      std::chrono::duration_cast<std::chrono::microseconds>(interval).count();
  const auto first_us = std::chrono::duration_cast<std::chrono::microseconds>(first).count();
  g_source_set_ready_time(source, g_get_monotonic_time() + (first_us > 0 ? first_us : 0));
  return attach(source, on_timer, std::move(cb));
}

class GlibEventLoop final : public EventLoop {
 public:
  void run() override {
    if (std::exchange(quit_pending_, false)) return;
    GMainLoop* loop = g_main_loop_new(g_main_context_default(), FALSE);
    GMainLoop* outer = std::exchange(current_, loop);
    g_main_loop_run(loop);
    current_ = outer;
    g_main_loop_unref(loop);
  }

  void quit() override {
    if (current_ != nullptr)
      g_main_loop_quit(current_);
    else
      quit_pending_ = true;
  }

  EventSourceHandle watch_fd(int fd, Callback on_ready) override {
    GSource* source =
        g_unix_fd_source_new(fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR));
    return attach(source, G_SOURCE_FUNC(on_fd_ready), std::move(on_ready));
  }

  EventSourceHandle add_timer(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                              Callback on_tick) override {
    if (interval <= std::chrono::milliseconds::zero()) interval = std::chrono::milliseconds(1);
    return add_timer_source(first, interval, std::move(on_tick));
  }

  EventSourceHandle add_one_shot(std::chrono::milliseconds delay, Callback on_fire) override {
    return add_timer_source(delay, std::chrono::milliseconds::zero(), std::move(on_fire));
  }

 private:
  GMainLoop* current_ = nullptr;
  bool quit_pending_ = false;
};

GlibEventLoop g_glib_loop;
EventLoop* g_loop = &g_glib_loop;

}  // namespace

EventLoop& event_loop() {
  return *g_loop;
}
void set_event_loop(EventLoop* loop) {
  g_loop = loop ? loop : &g_glib_loop;
}

}  // namespace cx::platform
