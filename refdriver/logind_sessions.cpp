#include "refdriver/logind_sessions.h"

namespace cx::refdriver {
namespace {

using platform::dbus_ae::ErrorPtr;
using platform::dbus_ae::VariantPtr;

constexpr int kTimeoutMs = 500;
constexpr const char* kLogind = "org.freedesktop.login1";

// Errors that say nothing about the process, only that logind did not answer.
// logind's own errors (NoSessionForPID) arrive as G_IO_ERROR_DBUS_ERROR.
bool unreachable(const GError* error) {
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

}  // namespace

bool LogindSessions::connect() {
  if (connection_ && !g_dbus_connection_is_closed(connection_.get())) return true;
  connection_.reset();
  // DBUS_SYSTEM_BUS_ADDRESS when set. Not the shared singleton: a closed
  // one would not be made again.
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
  if (!address) return false;
  connection_.reset(g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  g_free(address);
  return connection_ != nullptr;
}

VariantPtr LogindSessions::call(const char* path, const char* interface, const char* method,
                                GVariant* parameters, const GVariantType* reply_type,
                                Answer& failure) {
  GError* raw = nullptr;
  VariantPtr reply(g_dbus_connection_call_sync(
      connection_.get(), kLogind, path, interface, method, parameters, reply_type,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeoutMs, nullptr, &raw));
  if (!reply) {
    const ErrorPtr error(raw);
    failure = unreachable(error.get()) ? Answer::Unreachable : Answer::NotActive;
  }
  return reply;
}

ConsoleSessions::Answer LogindSessions::process_is_active(int32_t pid) {
  // Pid 0 would ask about the driver's own process.
  if (pid <= 0) return Answer::NotActive;
  if (!connect()) return Answer::Unreachable;
  Answer failure = Answer::NotActive;
  const VariantPtr session(call("/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                "GetSessionByPID", g_variant_new("(u)", static_cast<guint32>(pid)),
                                G_VARIANT_TYPE("(o)"), failure));
  if (!session) return failure;
  const gchar* path = nullptr;
  g_variant_get(session.get(), "(&o)", &path);
  const VariantPtr reply(call(path, "org.freedesktop.DBus.Properties", "GetAll",
                              g_variant_new("(s)", "org.freedesktop.login1.Session"),
                              G_VARIANT_TYPE("(a{sv})"), failure));
  if (!reply) return failure;
  const VariantPtr properties(g_variant_get_child_value(reply.get(), 0));
  gboolean active = FALSE;
  const gchar* seat = nullptr;
  const gchar* seat_path = nullptr;
  g_variant_lookup(properties.get(), "Active", "b", &active);
  // A session without a seat (a remote login, a service) is "active" to
  // logind but sits at no console.
  g_variant_lookup(properties.get(), "Seat", "(&s&o)", &seat, &seat_path);
  return active && seat && *seat ? Answer::Active : Answer::NotActive;
}

}  // namespace cx::refdriver
