// Questions to systemd-logind over a private system-bus connection
// (DBUS_SYSTEM_BUS_ADDRESS when set), shared by the session helper and the
// reference driver.
#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <string>

#include "platform/linux/apple_events_glib.h"

namespace cx::platform::logind {

inline constexpr const char* kName = "org.freedesktop.login1";
inline constexpr const char* kManagerPath = "/org/freedesktop/login1";
inline constexpr const char* kManager = "org.freedesktop.login1.Manager";
inline constexpr const char* kSession = "org.freedesktop.login1.Session";
inline constexpr const char* kUser = "org.freedesktop.login1.User";
inline constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
// Callers wait on the answers; a logind slower than this counts as absent.
inline constexpr int kTimeoutMs = 500;

// Errors that say nothing about the process, only that logind did not answer.
// logind's own errors (NoSessionForPID) arrive as G_IO_ERROR_DBUS_ERROR.
inline bool no_answer(const GError* error) {
  if (error->domain == G_IO_ERROR) return error->code != G_IO_ERROR_DBUS_ERROR;
  if (error->domain != G_DBUS_ERROR) return false;
  switch (error->code) {
    case G_DBUS_ERROR_SERVICE_UNKNOWN:
    case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
    case G_DBUS_ERROR_NO_REPLY:
    case G_DBUS_ERROR_TIMEOUT:
    case G_DBUS_ERROR_TIMED_OUT:
    case G_DBUS_ERROR_DISCONNECTED:
    case G_DBUS_ERROR_NO_SERVER:
    case G_DBUS_ERROR_NO_NETWORK:
      return true;
    default:
      return false;
  }
}

// Not GIO's shared singleton: that one ends the process when the bus goes
// away, and once closed it is not made again. Null when there is no bus.
inline dbus_ae::ConnectionPtr connect_system_bus() {
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
  if (address == nullptr) return nullptr;
  dbus_ae::ConnectionPtr connection(g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  g_free(address);
  return connection;
}

// A call to `destination`; null with `error` set when it gives no answer.
inline dbus_ae::VariantPtr call(GDBusConnection* connection, const char* destination,
                                const char* path, const char* interface, const char* method,
                                GVariant* parameters, const GVariantType* reply_type,
                                dbus_ae::ErrorPtr& error) {
  GError* raw = nullptr;
  dbus_ae::VariantPtr reply(g_dbus_connection_call_sync(
      connection, destination, path, interface, method, parameters, reply_type,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeoutMs, nullptr, &raw));
  error.reset(raw);
  return reply;
}

// The object path of the user's graphical session ("Display"); empty when
// the user has none, or when logind gives no answer (`error` set). A user
// service runs outside every session and stands for its user's graphical
// session, as polkit takes it.
inline std::string user_display(GDBusConnection* connection, uint32_t uid,
                                dbus_ae::ErrorPtr& error) {
  const dbus_ae::VariantPtr user(call(connection, kName, kManagerPath, kManager, "GetUser",
                                      g_variant_new("(u)", uid), G_VARIANT_TYPE("(o)"), error));
  if (!user) return {};
  const gchar* user_path = nullptr;
  g_variant_get(user.get(), "(&o)", &user_path);
  const dbus_ae::VariantPtr reply(call(connection, kName, user_path, kProperties, "Get",
                                       g_variant_new("(ss)", kUser, "Display"),
                                       G_VARIANT_TYPE("(v)"), error));
  if (!reply) return {};
  const dbus_ae::VariantPtr display(g_variant_get_child_value(reply.get(), 0));
  const dbus_ae::VariantPtr value(g_variant_get_variant(display.get()));
  const gchar* id = "";
  const gchar* session_path = "";
  if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE("(so)")))
    g_variant_get(value.get(), "(&s&o)", &id, &session_path);
  return *id == '\0' ? std::string() : std::string(session_path);
}

// From a session's GetAll reply: whether it is Active, and whether it has a
// seat. A session without one (a remote login) is Active to logind but sits
// at no console, the way uaccess and polkit's allow_active see it.
struct SessionPlace {
  bool active = false;
  bool on_seat = false;
};
inline SessionPlace session_place(GVariant* get_all_reply) {
  const dbus_ae::VariantPtr properties(g_variant_get_child_value(get_all_reply, 0));
  gboolean active = FALSE;
  const gchar* seat = nullptr;
  const gchar* seat_path = nullptr;
  g_variant_lookup(properties.get(), "Active", "b", &active);
  g_variant_lookup(properties.get(), "Seat", "(&s&o)", &seat, &seat_path);
  return {active != FALSE, seat != nullptr && *seat != '\0'};
}

}  // namespace cx::platform::logind
