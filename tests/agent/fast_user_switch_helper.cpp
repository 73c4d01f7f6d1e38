// A "FastUserSwitch" helper for tests: the session is the process's user and
// on the console; SIGUSR1 takes it off the console, SIGUSR2 brings it back.
// Linked with -z nodelete, since the agent unloads it after registering.
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>
#include <unistd.h>

#include "platform/fast_user_switch_api.h"

namespace {

CXSessionEventHandler on_activated = nullptr;
CXSessionEventHandler on_deactivated = nullptr;

gboolean deliver(gpointer handler) {
  auto* const slot = static_cast<CXSessionEventHandler*>(handler);
  if (*slot != nullptr) (*slot)(nullptr, nullptr, nullptr);
  return G_SOURCE_CONTINUE;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t GetUserSessionInfo(uint32_t* uid,
                                                                             uint8_t* is_active) {
  *uid = static_cast<uint32_t>(getuid());
  *is_active = 1;
  return 0;
}

extern "C" __attribute__((visibility("default"))) int32_t RegisterUserSwitchNotifications(
    CXSessionEventHandler activated, CXSessionEventHandler deactivated) {
  on_activated = activated;
  on_deactivated = deactivated;
  g_unix_signal_add(SIGUSR1, deliver, &on_deactivated);
  g_unix_signal_add(SIGUSR2, deliver, &on_activated);
  return 0;
}
