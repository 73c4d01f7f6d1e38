// This process's login session as systemd-logind tells it, over the system
// bus (DBUS_SYSTEM_BUS_ADDRESS when set): the session of this process, or for
// a process outside any session (a user service) that of XDG_SESSION_ID, else
// the user's graphical session; and whether it is on the console: Active, at
// a seat.
#pragma once

#include <gio/gio.h>

#include <functional>
#include <string>

#include "platform/linux/apple_events_glib.h"

namespace cx::fast_user_switch {

class LogindSession {
 public:
  enum class State { OnConsole, OffConsole, Unreachable };

  LogindSession() = default;
  LogindSession(const LogindSession&) = delete;
  LogindSession& operator=(const LogindSession&) = delete;
  ~LogindSession();

  // Finds the session and its state. OffConsole also when there is none.
  State find();
  // Calls `changed` on the main loop with each new value of the session's
  // Active property; false when there is no session to follow.
  bool follow(std::function<void(bool active)> changed);

 private:
  static void on_properties_changed(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                    const gchar*, GVariant* parameters, gpointer self);
  platform::dbus_ae::VariantPtr call(const char* destination, const char* path,
                                     const char* interface, const char* method,
                                     GVariant* parameters, const GVariantType* reply_type,
                                     State& failure);
  bool connect();
  bool find_path(State& failure);

  platform::dbus_ae::ConnectionPtr connection_;
  std::string path_;
  bool on_seat_ = false;
  guint subscription_ = 0;
  std::function<void(bool)> changed_;
};

}  // namespace cx::fast_user_switch
