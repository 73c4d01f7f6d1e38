#include "platform/linux/menu_extra/watcher_registration.h"

#include <utility>

namespace cx::menu_extra {
namespace {

constexpr const char* kWatcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";

}  // namespace

WatcherRegistration::WatcherRegistration(GDBusConnection* connection, std::string service)
    : service_(std::move(service)),
      watch_id_(g_bus_watch_name_on_connection(connection, kWatcherName,
                                               G_BUS_NAME_WATCHER_FLAGS_NONE, &on_watcher_appeared,
                                               nullptr, this, nullptr)) {}

WatcherRegistration::~WatcherRegistration() {
  g_bus_unwatch_name(watch_id_);
}

void WatcherRegistration::on_watcher_appeared(GDBusConnection* connection, const gchar*,
                                              const gchar* owner, gpointer self) {
  const auto* registration = static_cast<const WatcherRegistration*>(self);
  // No reply handler: one left pending in the main loop would outlive an unloaded helper.
  // A watcher that refuses us leaves the item unshown, which is all we could do about it.
  g_dbus_connection_call(connection, owner, kWatcherPath, kWatcherName,
                         "RegisterStatusNotifierItem",
                         g_variant_new("(s)", registration->service_.c_str()), nullptr,
                         G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
}

}  // namespace cx::menu_extra
