#pragma once

#include <gio/gio.h>

#include <string>

namespace cx::menu_extra {

// Registers the item with org.kde.StatusNotifierWatcher whenever a watcher owns that name:
// at once when one is running, and again each time one appears later.
class WatcherRegistration {
 public:
  WatcherRegistration(GDBusConnection* connection, std::string service);
  WatcherRegistration(const WatcherRegistration&) = delete;
  WatcherRegistration& operator=(const WatcherRegistration&) = delete;
  ~WatcherRegistration();

 private:
  static void on_watcher_appeared(GDBusConnection* connection, const gchar* name,
                                  const gchar* owner, gpointer self);

  std::string service_;
  guint watch_id_;
};

}  // namespace cx::menu_extra
