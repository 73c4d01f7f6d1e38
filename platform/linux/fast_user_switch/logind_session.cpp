#include "platform/linux/fast_user_switch/logind_session.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/linux/logind.h"

namespace cx::fast_user_switch {
namespace {

using platform::dbus_ae::ErrorPtr;
using platform::dbus_ae::VariantPtr;

namespace logind = platform::logind;

}  // namespace

LogindSession::~LogindSession() {
  if (subscription_ != 0) g_dbus_connection_signal_unsubscribe(connection_.get(), subscription_);
}

bool LogindSession::connect() {
  if (!connection_) connection_ = logind::connect_system_bus();
  return connection_ != nullptr;
}

VariantPtr LogindSession::call(const char* destination, const char* path, const char* interface,
                               const char* method, GVariant* parameters,
                               const GVariantType* reply_type, State& failure) {
  ErrorPtr error;
  VariantPtr reply(logind::call(connection_.get(), destination, path, interface, method, parameters,
                                reply_type, error));
  if (!reply) failure = logind::no_answer(error.get()) ? State::Unreachable : State::OffConsole;
  return reply;
}

bool LogindSession::find_path(State& failure) {
  VariantPtr session(call(logind::kName, logind::kManagerPath, logind::kManager, "GetSessionByPID",
                          g_variant_new("(u)", static_cast<guint32>(getpid())),
                          G_VARIANT_TYPE("(o)"), failure));
  const char* id = std::getenv("XDG_SESSION_ID");
  if (!session && failure == State::OffConsole && id != nullptr && *id != '\0') {
    session = call(logind::kName, logind::kManagerPath, logind::kManager, "GetSession",
                   g_variant_new("(s)", id), G_VARIANT_TYPE("(o)"), failure);
  }
  if (session) {
    const gchar* path = nullptr;
    g_variant_get(session.get(), "(&o)", &path);
    path_ = path;
    return true;
  }
  if (failure != State::OffConsole) return false;
  ErrorPtr error;
  path_ = logind::user_display(connection_.get(), getuid(), error);
  if (error && logind::no_answer(error.get())) failure = State::Unreachable;
  return !path_.empty();
}

LogindSession::State LogindSession::find() {
  if (!connect()) return State::Unreachable;
  State failure = State::OffConsole;
  if (!find_path(failure)) return failure;
  const VariantPtr reply(call(logind::kName, path_.c_str(), logind::kProperties, "GetAll",
                              g_variant_new("(s)", logind::kSession), G_VARIANT_TYPE("(a{sv})"),
                              failure));
  if (!reply) return failure;
  const logind::SessionPlace place = logind::session_place(reply.get());
  on_seat_ = place.on_seat;
  return place.active && on_seat_ ? State::OnConsole : State::OffConsole;
}

bool LogindSession::follow(std::function<void(bool)> changed) {
  if (path_.empty() || !on_seat_) return false;
  // Only logind's own signals count: any client may send one on this path.
  State failure = State::OffConsole;
  const VariantPtr owner(call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                              "org.freedesktop.DBus", "GetNameOwner",
                              g_variant_new("(s)", logind::kName), G_VARIANT_TYPE("(s)"), failure));
  if (!owner) return false;
  const gchar* sender = nullptr;
  g_variant_get(owner.get(), "(&s)", &sender);
  changed_ = std::move(changed);
  subscription_ = g_dbus_connection_signal_subscribe(
      connection_.get(), sender, logind::kProperties, "PropertiesChanged", path_.c_str(),
      logind::kSession, G_DBUS_SIGNAL_FLAGS_NONE, on_properties_changed, this, nullptr);
  return true;
}

void LogindSession::on_properties_changed(GDBusConnection*, const gchar*, const gchar*,
                                          const gchar*, const gchar*, GVariant* parameters,
                                          gpointer self) {
  auto* const session = static_cast<LogindSession*>(self);
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) return;
  const VariantPtr properties(g_variant_get_child_value(parameters, 1));
  gboolean active = FALSE;
  if (g_variant_lookup(properties.get(), "Active", "b", &active)) {
    session->changed_(active != FALSE);
    return;
  }
  // Announced without its value: ask for it.
  const VariantPtr invalidated(g_variant_get_child_value(parameters, 2));
  const gchar** names = g_variant_get_strv(invalidated.get(), nullptr);
  const bool listed = names != nullptr && g_strv_contains(names, "Active");
  g_free(names);
  if (!listed) return;
  State failure = State::OffConsole;
  const VariantPtr reply(session->call(logind::kName, session->path_.c_str(), logind::kProperties,
                                       "Get", g_variant_new("(ss)", logind::kSession, "Active"),
                                       G_VARIANT_TYPE("(v)"), failure));
  if (!reply) return;
  const VariantPtr value(g_variant_get_child_value(reply.get(), 0));
  const VariantPtr inner(g_variant_get_variant(value.get()));
  if (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_BOOLEAN)) {
    session->changed_(g_variant_get_boolean(inner.get()) != FALSE);
  }
}

}  // namespace cx::fast_user_switch
