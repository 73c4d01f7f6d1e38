#include "tests/support/fake_logind.h"

#include <gio/gio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>

#include "platform/linux/apple_events_glib.h"
#include "tests/support/child_process.h"
#include "tests/support/dbus_service.h"

namespace cx::test {
namespace {

using platform::dbus_ae::NodeInfoPtr;
using platform::dbus_ae::VariantPtr;

constexpr const char* kSystemBusVariable = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr const char* kManagerPath = "/org/freedesktop/login1";
constexpr const char* kSessionsPath = "/org/freedesktop/login1/session";
constexpr const char* kSession = "org.freedesktop.login1.Session";
constexpr const char* kUsersPath = "/org/freedesktop/login1/user";
constexpr const char* kUser = "org.freedesktop.login1.User";

std::string user_path(uint32_t uid) {
  return std::string(kUsersPath) + "/_" + std::to_string(uid);
}

// Tests name their sessions with a letter and then letters and digits, which
// logind's escaping of a path label leaves as they are.
std::string session_path(const std::string& id) {
  return std::string(kSessionsPath) + "/" + id;
}

constexpr const char* kInterfaces = R"xml(<node>
  <interface name="org.freedesktop.login1.Manager">
    <method name="GetSession"><arg type="s"/><arg type="o" direction="out"/></method>
    <method name="GetSessionByPID"><arg type="u"/><arg type="o" direction="out"/></method>
    <method name="GetUser"><arg type="u"/><arg type="o" direction="out"/></method>
  </interface>
  <interface name="org.freedesktop.login1.Session">
    <property name="Id" type="s" access="read"/>
    <property name="User" type="(uo)" access="read"/>
    <property name="Seat" type="(so)" access="read"/>
    <property name="Active" type="b" access="read"/>
  </interface>
  <interface name="org.freedesktop.login1.User">
    <property name="Display" type="(so)" access="read"/>
  </interface>
</node>)xml";

}  // namespace

struct FakeLogind::Impl {
  struct Session {
    std::string id;
    uint32_t uid;
    bool active;
    std::string seat;
  };

  std::string dir, address, error;
  std::optional<std::string> previous_bus;
  std::unique_ptr<PrivateSessionBus> bus;
  std::unique_ptr<DbusService> service;
  NodeInfoPtr info{g_dbus_node_info_new_for_xml(kInterfaces, nullptr), g_dbus_node_info_unref};

  std::mutex mutex;                          // guards the two below, read by the loop thread
  std::map<std::string, Session> sessions;   // by object path
  std::map<pid_t, std::string> processes;    // to object path
  std::map<uint32_t, std::string> displays;  // each user's graphical session, by uid

  bool start_bus();
  // On the service's thread, so that its objects are served there.
  bool serve(GDBusConnection* connection);
  void shut_down();
  void manager_call(GDBusConnection* c, const gchar* sender, const gchar* method,
                    GVariant* parameters, GDBusMethodInvocation* invocation);
  GVariant* session_property(const gchar* path, const gchar* name, GError** error);
  GVariant* user_property(const gchar* path, GError** error);
};

bool FakeLogind::Impl::start_bus() {
  char pattern[] = "/tmp/cxlogind.XXXXXX";
  if (!mkdtemp(pattern)) {
    error = "no temporary directory";
    return false;
  }
  dir = pattern;
  // Programs of other users reach the bus's socket too.
  chmod(pattern, 0755);
  if (const char* before = getenv(kSystemBusVariable)) previous_bus = before;
  // Set before any thread of ours runs; programs started later inherit it.
  bus = std::make_unique<PrivateSessionBus>(kSystemBusVariable, write_open_bus_config(dir));
  address = bus->address();
  if (address.empty()) error = "dbus-daemon did not start";
  return !address.empty();
}

bool FakeLogind::Impl::serve(GDBusConnection* connection) {
  static const GDBusInterfaceVTable manager = {
      [](GDBusConnection* c, const gchar* sender, const gchar*, const gchar*, const gchar* method,
         GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
        static_cast<Impl*>(data)->manager_call(c, sender, method, parameters, invocation);
      },
      nullptr,
      nullptr,
      {}};
  static const GDBusInterfaceVTable session = {
      nullptr,
      [](GDBusConnection*, const gchar*, const gchar* path, const gchar* interface,
         const gchar* property, GError** failure, gpointer data) {
        Impl* self = static_cast<Impl*>(data);
        return std::string_view(interface) == kUser
                   ? self->user_property(path, failure)
                   : self->session_property(path, property, failure);
      },
      nullptr,
      {}};
  // Every session and user object is one node of a subtree, so that adding a
  // session registers nothing.
  static const GDBusSubtreeVTable subtree = {
      [](GDBusConnection*, const gchar*, const gchar*, gpointer) { return g_new0(gchar*, 1); },
      [](GDBusConnection*, const gchar*, const gchar* path, const gchar*, gpointer data) {
        const char* name = std::string_view(path).starts_with(kUsersPath) ? kUser : kSession;
        auto** infos = g_new0(GDBusInterfaceInfo*, 2);
        infos[0] = g_dbus_interface_info_ref(
            g_dbus_node_info_lookup_interface(static_cast<Impl*>(data)->info.get(), name));
        return infos;
      },
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
         gpointer* object_data, gpointer data) {
        *object_data = data;
        return &session;
      },
      {}};
  return g_dbus_connection_register_object(connection, kManagerPath, info->interfaces[0], &manager,
                                           this, nullptr, nullptr) != 0 &&
         g_dbus_connection_register_subtree(connection, kSessionsPath, &subtree,
                                            G_DBUS_SUBTREE_FLAGS_DISPATCH_TO_UNENUMERATED_NODES,
                                            this, nullptr, nullptr) != 0 &&
         g_dbus_connection_register_subtree(connection, kUsersPath, &subtree,
                                            G_DBUS_SUBTREE_FLAGS_DISPATCH_TO_UNENUMERATED_NODES,
                                            this, nullptr, nullptr) != 0;
}

void FakeLogind::Impl::manager_call(GDBusConnection* c, const gchar* sender, const gchar* method,
                                    GVariant* parameters, GDBusMethodInvocation* invocation) {
  std::string path;
  if (std::string_view(method) == "GetSession") {
    const gchar* asked = nullptr;
    g_variant_get(parameters, "(&s)", &asked);
    const std::lock_guard lock(mutex);
    if (sessions.count(session_path(asked)) == 0) {
      g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.login1.NoSuchSession",
                                                 "No session known by that name");
      return;
    }
    path = session_path(asked);
  } else if (std::string_view(method) == "GetUser") {
    guint32 uid = 0;
    g_variant_get(parameters, "(u)", &uid);
    const std::lock_guard lock(mutex);
    const bool known = std::any_of(sessions.begin(), sessions.end(),
                                   [uid](const auto& s) { return s.second.uid == uid; });
    if (!known) {
      g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.login1.NoSuchUser",
                                                 "User not known or not logged in");
      return;
    }
    path = user_path(uid);
  } else {
    guint32 pid = 0;
    g_variant_get(parameters, "(u)", &pid);
    if (pid == 0) {
      // As logind does: the caller's own process.
      const VariantPtr own(g_dbus_connection_call_sync(
          c, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
          "GetConnectionUnixProcessID", g_variant_new("(s)", sender), G_VARIANT_TYPE("(u)"),
          G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
      if (own) g_variant_get(own.get(), "(u)", &pid);
    }
    const std::lock_guard lock(mutex);
    const auto it = processes.find(static_cast<pid_t>(pid));
    if (it == processes.end()) {
      g_dbus_method_invocation_return_dbus_error(invocation,
                                                 "org.freedesktop.login1.NoSessionForPID",
                                                 "PID does not belong to any known session");
      return;
    }
    path = it->second;
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", path.c_str()));
}

GVariant* FakeLogind::Impl::session_property(const gchar* path, const gchar* name,
                                             GError** failure) {
  const std::lock_guard lock(mutex);
  const auto it = sessions.find(path);
  if (it == sessions.end()) {
    g_set_error_literal(failure, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT, "No such session");
    return nullptr;
  }
  const Session& session = it->second;
  const std::string_view property(name);
  if (property == "Id") return g_variant_new_string(session.id.c_str());
  if (property == "Active") return g_variant_new_boolean(session.active);
  if (property == "Seat") {
    const std::string seat =
        session.seat.empty() ? "/" : "/org/freedesktop/login1/seat/" + session.seat;
    return g_variant_new("(so)", session.seat.c_str(), seat.c_str());
  }
  return g_variant_new("(uo)", session.uid, user_path(session.uid).c_str());
}

GVariant* FakeLogind::Impl::user_property(const gchar* path, GError** failure) {
  const std::lock_guard lock(mutex);
  for (const auto& [uid, display] : displays) {
    if (user_path(uid) != path) continue;
    const std::string id = display.empty() ? "" : sessions.at(display).id;
    return g_variant_new("(so)", id.c_str(), display.empty() ? "/" : display.c_str());
  }
  g_set_error_literal(failure, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT, "No such user");
  return nullptr;
}

void FakeLogind::Impl::shut_down() {
  if (service) service->stop();
  bus.reset();
}

FakeLogind::FakeLogind() : impl_(std::make_unique<Impl>()) {
  Impl& d = *impl_;
  if (!d.start_bus()) return;
  d.service = std::make_unique<DbusService>(
      d.address, "org.freedesktop.login1",
      [&d](GDBusConnection* connection) { return d.serve(connection); });
  d.error = d.service->error();
  if (!d.error.empty()) d.shut_down();
}

FakeLogind::~FakeLogind() {
  stop();
  if (!impl_->address.empty()) {
    if (impl_->previous_bus) {
      setenv(kSystemBusVariable, impl_->previous_bus->c_str(), 1);
    } else {
      unsetenv(kSystemBusVariable);
    }
  }
  impl_->service.reset();
  if (!impl_->dir.empty()) std::filesystem::remove_all(impl_->dir);
}

bool FakeLogind::ok() const {
  return impl_->error.empty();
}

const std::string& FakeLogind::error() const {
  return impl_->error;
}

const std::string& FakeLogind::address() const {
  return impl_->address;
}

void FakeLogind::add_session(const std::string& id, uint32_t uid, const std::vector<pid_t>& pids,
                             bool active, const std::string& seat) {
  const std::lock_guard lock(impl_->mutex);
  impl_->sessions[session_path(id)] = {id, uid, active, seat};
  std::string& display = impl_->displays[uid];
  if (display.empty() && !seat.empty()) display = session_path(id);
  for (const pid_t pid : pids) impl_->processes[pid] = session_path(id);
}

void FakeLogind::set_active(const std::string& id, bool active) {
  {
    const std::lock_guard lock(impl_->mutex);
    impl_->sessions.at(session_path(id)).active = active;
  }
  GDBusConnection* connection = impl_->service ? impl_->service->connection() : nullptr;
  if (!connection) return;
  GVariantBuilder changed;
  g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&changed, "{sv}", "Active", g_variant_new_boolean(active));
  g_dbus_connection_emit_signal(
      connection, nullptr, session_path(id).c_str(), "org.freedesktop.DBus.Properties",
      "PropertiesChanged",
      g_variant_new("(sa{sv}@as)", kSession, &changed, g_variant_new_strv(nullptr, 0)), nullptr);
}

void FakeLogind::stop() {
  impl_->shut_down();
}

}  // namespace cx::test
