// cx-desktop-standins SESSION UID: the desktop services a sandboxed session
// lacks, for the demo. systemd-logind on a private system bus (its address
// is the first line printed) with SESSION of UID on the console; SIGUSR1
// takes the session off the console, SIGUSR2 brings it back. A notification
// server on the session bus, printing each notification as the user reads it.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/fake_logind.h"
#include "tests/support/fake_notifications.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: cx-desktop-standins SESSION UID\n", stderr);
    return 2;
  }
  // Blocked before the services' threads start, so that only sigtimedwait sees them.
  sigset_t wanted;
  sigemptyset(&wanted);
  for (const int s : {SIGUSR1, SIGUSR2, SIGTERM, SIGINT}) sigaddset(&wanted, s);
  pthread_sigmask(SIG_BLOCK, &wanted, nullptr);

  cx::test::FakeLogind logind;
  cx::test::FakeNotifications notifications;
  if (!logind.ok() || !notifications.ok()) {
    std::fprintf(stderr, "cx-desktop-standins: %s%s\n", logind.error().c_str(),
                 notifications.error().c_str());
    return 1;
  }
  const std::string session = argv[1];
  logind.add_session(session, static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)), {}, true);
  std::printf("%s\n", logind.address().c_str());
  std::fflush(stdout);

  size_t shown = 0;
  const timespec tick{0, 100'000'000};
  for (;;) {
    const int s = sigtimedwait(&wanted, nullptr, &tick);
    if (s == SIGTERM || s == SIGINT) return 0;
    if (s == SIGUSR1 || s == SIGUSR2) {
      logind.set_active(session, s == SIGUSR2);
      std::printf("logind: session %s %s the console\n", session.c_str(),
                  s == SIGUSR2 ? "is back on" : "left");
    }
    const auto received = notifications.received();
    for (; shown < received.size(); ++shown) {
      const cx::test::Notification& n = received[shown];
      static constexpr const char* kUrgency[] = {"low", "normal", "critical"};
      const char* urgency = n.urgency >= 0 && n.urgency <= 2 ? kUrgency[n.urgency] : "unset";
      std::printf("notification from \"%s\", urgency %s:\n  %s\n  %s\n", n.app_name.c_str(),
                  urgency, n.summary.c_str(), n.body.c_str());
    }
    std::fflush(stdout);
  }
}
