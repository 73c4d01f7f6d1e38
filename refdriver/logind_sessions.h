// The console sessions as systemd-logind tells them, over the system bus
// (DBUS_SYSTEM_BUS_ADDRESS when set): the process's session
// (GetSessionByPID; for a process in none, its user's graphical session),
// then whether that session is Active and has a Seat, the way uaccess and
// polkit's allow_active decide. Each question waits a short
// time at most; a bus or logind that does not answer is Unreachable, and the
// connection is made again at the next question.
#pragma once

#include <gio/gio.h>

#include "platform/linux/apple_events_glib.h"
#include "refdriver/console_sessions.h"

namespace cx::refdriver {

class LogindSessions final : public ConsoleSessions {
 public:
  Answer process_is_active(int32_t pid, uint32_t uid) override;

 private:
  bool connect();
  // A call to logind; null, with `failure` set, when it gives no answer.
  platform::dbus_ae::VariantPtr call(const char* path, const char* interface, const char* method,
                                     GVariant* parameters, const GVariantType* reply_type,
                                     Answer& failure);

  platform::dbus_ae::ConnectionPtr connection_;
};

}  // namespace cx::refdriver
