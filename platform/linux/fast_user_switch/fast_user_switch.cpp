// The "FastUserSwitch" helper bundle: the session's user and whether it is
// on the console, and the console switches as they happen, from
// systemd-logind. Linked with -z nodelete: the agent unloads the helper right
// after registering, and the subscription must outlive that.
#include <unistd.h>

#include <cstdio>

#include "platform/fast_user_switch_api.h"
#include "platform/linux/fast_user_switch/logind_session.h"

namespace {

using cx::fast_user_switch::LogindSession;

struct Helper {
  LogindSession session;
  bool asked = false;
  LogindSession::State state = LogindSession::State::Unreachable;
  bool on_console = true;
  CXSessionEventHandler activated = nullptr;
  CXSessionEventHandler deactivated = nullptr;
};

Helper& helper() {
  static Helper instance;
  return instance;
}

LogindSession::State session_state() {
  Helper& h = helper();
  if (h.asked) return h.state;
  h.asked = true;
  h.state = h.session.find();
  // Without logind nobody can tell sessions apart: the agent serves as the
  // only one, as on a system without fast user switching.
  if (h.state == LogindSession::State::Unreachable) {
    std::fputs(
        "Corvex Background: systemd-logind cannot be reached; this session counts as active\n",
        stderr);
  }
  h.on_console = h.state != LogindSession::State::OffConsole;
  return h.state;
}

void console_changed(bool on_console) {
  Helper& h = helper();
  if (on_console == h.on_console) return;
  h.on_console = on_console;
  const CXSessionEventHandler handler = on_console ? h.activated : h.deactivated;
  if (handler != nullptr) handler(nullptr, nullptr, nullptr);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t GetUserSessionInfo(uint32_t* uid,
                                                                             uint8_t* is_active) {
  session_state();
  *uid = static_cast<uint32_t>(getuid());
  *is_active = helper().on_console ? 1 : 0;
  return 0;
}

extern "C" __attribute__((visibility("default"))) int32_t RegisterUserSwitchNotifications(
    CXSessionEventHandler activated, CXSessionEventHandler deactivated) {
  Helper& h = helper();
  h.activated = activated;
  h.deactivated = deactivated;
  if (session_state() != LogindSession::State::Unreachable) h.session.follow(console_changed);
  return 0;
}
