#include "platform/linux/alerts_gio.h"

#include <gio/gio.h>

#include <string>

#include "platform/linux/apple_events_glib.h"

namespace cx::platform {
namespace {

using dbus_ae::ConnectionPtr;
using dbus_ae::ErrorPtr;
using dbus_ae::VariantPtr;

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr guchar kUrgencyCritical = 2;
// The server answers at once; a hung one must not hold the agent for long.
constexpr int kCallTimeoutMs = 3000;

}  // namespace

bool notify_on_session_bus(std::string_view app_name, std::string_view summary,
                           std::string_view body) {
  // A connection of its own, not the process's shared one, which would end
  // the process when the bus goes away; alerts are rare.
  GError* raw_error = nullptr;
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &raw_error);
  ErrorPtr error(raw_error);
  if (!address) return false;
  ConnectionPtr bus(g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &raw_error));
  g_free(address);
  error.reset(raw_error);
  if (!bus) return false;

  GVariantBuilder hints;
  g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&hints, "{sv}", "urgency", g_variant_new_byte(kUrgencyCritical));
  const std::string app(app_name), title(summary), text(body);
  GVariant* args = g_variant_new("(susssasa{sv}i)", app.c_str(), 0u, "", title.c_str(),
                                 text.c_str(), nullptr, &hints, -1);
  // Without auto-start: a notification server that is not running now does
  // not count as there.
  VariantPtr reply(g_dbus_connection_call_sync(
      bus.get(), kService, kPath, kService, "Notify", args, G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeoutMs, nullptr, &raw_error));
  error.reset(raw_error);
  g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  return reply != nullptr;
}

}  // namespace cx::platform
