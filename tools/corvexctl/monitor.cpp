#include "tools/corvexctl/monitor.h"

#include <glib-unix.h>
#include <glib.h>
#include <sys/time.h>

#include <csignal>
#include <cstdio>
#include <ctime>

#include "platform/apple_events.h"

namespace cx::corvexctl {
namespace {

using namespace cx::platform;

constexpr OSType kSuite = fourcc("cxvx");
constexpr OSType kControlPanel = fourcc("VCXT");

struct Notification {
  OSType id;
  const char* text;
};
constexpr Notification kNotifications[] = {
    {fourcc("UPDt"), "the attached mice changed"},
    {fourcc("cord"), "a chord was pressed"},
    {fourcc("bact"), "the agent is active in this session"},
};
constexpr OSType kDeactivate = fourcc("bdac");

// One line, local time to the millisecond, flushed so that a pipe sees it at once.
void print_line(const char* text) {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  std::printf("%s.%03ld %s\n", stamp, static_cast<long>(now.tv_usec / 1000), text);
  std::fflush(stdout);
}

OSErr on_notification(const AppleEvent& event, AppleEvent&, intptr_t refcon) {
  const auto* notification = reinterpret_cast<const Notification*>(refcon);
  print_line((fourcc_text(event.event_id()) + ": " + notification->text).c_str());
  return noErr;
}

// refcon is the answer: 1 asks the agent to save.
OSErr on_deactivate(const AppleEvent&, AppleEvent& reply, intptr_t refcon) {
  const auto answer = static_cast<int16_t>(refcon);
  print_line(answer == 1 ? "bdac: the agent is deactivating; answered 1 (save)"
                         : "bdac: the agent is deactivating; answered 0 (do not save)");
  return reply.is_null() ? noErr : reply.put_shor(keyDirectObject, answer);
}

gboolean on_signal(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_CONTINUE;
}

}  // namespace

int run_monitor(bool save) {
  AppleEventService& events = apple_events();
  for (const Notification& notification : kNotifications) {
    events.handlers().install(kSuite, notification.id, on_notification,
                              reinterpret_cast<intptr_t>(&notification));
  }
  events.handlers().install(kSuite, kDeactivate, on_deactivate, save ? 1 : 0);

  switch (events.serve(kControlPanel)) {
    case AEServeResult::ok:
      break;
    case AEServeResult::no_transport:
      std::fprintf(stderr, "corvexctl: cannot reach the session bus\n");
      return 3;
    case AEServeResult::signature_taken:
      std::fprintf(stderr, "corvexctl: another control panel (VCXT) is already running\n");
      return 3;
  }
  print_line(save ? "monitoring as VCXT; bdac will be answered 1 (save)"
                  : "monitoring as VCXT; bdac will be answered 0 (do not save)");

  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  const guint int_source = g_unix_signal_add(SIGINT, on_signal, loop);
  const guint term_source = g_unix_signal_add(SIGTERM, on_signal, loop);
  g_main_loop_run(loop);
  g_source_remove(int_source);
  g_source_remove(term_source);
  g_main_loop_unref(loop);
  return 0;
}

}  // namespace cx::corvexctl
