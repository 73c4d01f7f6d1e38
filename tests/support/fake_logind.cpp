#include "tests/support/fake_logind.h"

#include <gio/gio.h>
#include <signal.h>
#include <stdlib.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/linux/apple_events_glib.h"

namespace cx::test {
namespace {

using platform::dbus_ae::ConnectionPtr;
using platform::dbus_ae::ErrorPtr;
using platform::dbus_ae::NodeInfoPtr;
using platform::dbus_ae::ObjectUnref;
using platform::dbus_ae::VariantPtr;

constexpr const char* kSystemBusVariable = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr const char* kBusName = "org.freedesktop.login1";
constexpr const char* kManagerPath = "/org/freedesktop/login1";
constexpr const char* kManager = "org.freedesktop.login1.Manager";
constexpr const char* kSession = "org.freedesktop.login1.Session";

constexpr const char* kInterfaces = R"xml(<node>
  <interface name="org.freedesktop.login1.Manager">
    <method name="GetSession">
      <arg type="s" direction="in"/><arg type="o" direction="out"/>
    </method>
    <method name="GetSessionByPID">
      <arg type="u" direction="in"/><arg type="o" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.login1.Session">
    <property name="Id" type="s" access="read"/>
    <property name="User" type="(uo)" access="read"/>
    <property name="Seat" type="(so)" access="read"/>
    <property name="Active" type="b" access="read"/>
  </interface>
</node>)xml";

// Any uid may connect (tests play other users), and nothing is forbidden.
constexpr const char* kBusConfig = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

}  // namespace

struct FakeLogind::Impl {
  struct Session {
    uint32_t uid;
    bool active;
    std::string seat;
  };
  // What a session object's callbacks are given.
  struct Object {
    Impl* self;
    std::string id;
    unsigned registration;
  };

  std::string dir, address, error;
  std::optional<std::string> previous_bus;
  std::unique_ptr<GSubprocess, ObjectUnref> daemon;
  GMainContext* context = nullptr;
  GMainLoop* loop = nullptr;
  std::thread thread;
  ConnectionPtr connection;
  NodeInfoPtr info{nullptr, g_dbus_node_info_unref};
  unsigned manager_registration = 0;
  std::map<std::string, std::unique_ptr<Object>> objects;  // loop thread only

  std::mutex mutex;  // guards the two below, read by the loop thread
  std::map<std::string, Session> sessions;
  std::map<pid_t, std::string> processes;

  bool start_bus();
  bool serve();  // on the loop thread
  void shut_down();

  // Runs `f` on the loop thread and waits for it: objects must be
  // registered there to be served there.
  template <typename F>
  void on_loop(F f) {
    std::packaged_task<void()> task(f);
    std::future<void> done = task.get_future();
    g_main_context_invoke(
        context,
        [](gpointer data) -> gboolean {
          (*static_cast<std::packaged_task<void()>*>(data))();
          return G_SOURCE_REMOVE;
        },
        &task);
    done.wait();
  }

  void manager_call(GDBusConnection* c, const gchar* sender, const gchar* method,
                    GVariant* parameters, GDBusMethodInvocation* invocation);
  GVariant* session_property(const std::string& id, const gchar* name);
  void register_session(const std::string& id);
};

bool FakeLogind::Impl::start_bus() {
  char pattern[] = "/tmp/cxlogind.XXXXXX";
  if (!mkdtemp(pattern)) {
    error = "no temporary directory";
    return false;
  }
  dir = pattern;
  const std::string config = dir + "/bus.conf";
  char text[1024];
  std::snprintf(text, sizeof text, kBusConfig, (dir + "/system_bus_socket").c_str());
  std::ofstream(config) << text;

  GError* raw = nullptr;
  daemon.reset(g_subprocess_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE, &raw, "dbus-daemon", "--nofork",
                                "--print-address", "--config-file", config.c_str(), nullptr));
  ErrorPtr failure(raw);
  if (!daemon) {
    error = std::string("dbus-daemon: ") + failure->message;
    return false;
  }
  std::unique_ptr<GDataInputStream, ObjectUnref> out(
      g_data_input_stream_new(g_subprocess_get_stdout_pipe(daemon.get())));
  gsize length = 0;
  gchar* line = g_data_input_stream_read_line(out.get(), &length, nullptr, nullptr);
  if (!line || length == 0) {
    g_free(line);
    error = "dbus-daemon printed no address";
    return false;
  }
  address = line;
  g_free(line);
  // Set before any thread of ours runs; programs started later inherit it.
  if (const char* before = getenv(kSystemBusVariable)) previous_bus = before;
  setenv(kSystemBusVariable, address.c_str(), 1);
  return true;
}

bool FakeLogind::Impl::serve() {
  GError* raw = nullptr;
  connection.reset(g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &raw));
  if (!connection) {
    error = std::string("connecting to the bus: ") + raw->message;
    g_error_free(raw);
    return false;
  }
  info.reset(g_dbus_node_info_new_for_xml(kInterfaces, nullptr));
  static const GDBusInterfaceVTable manager_vtable = {
      [](GDBusConnection* c, const gchar* sender, const gchar*, const gchar*, const gchar* method,
         GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
        static_cast<Impl*>(data)->manager_call(c, sender, method, parameters, invocation);
      },
      nullptr,
      nullptr,
      {}};
  manager_registration = g_dbus_connection_register_object(
      connection.get(), kManagerPath, g_dbus_node_info_lookup_interface(info.get(), kManager),
      &manager_vtable, this, nullptr, nullptr);
  VariantPtr reply(g_dbus_connection_call_sync(
      connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", kBusName, 0u), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
  guint32 result = 0;
  if (reply) g_variant_get(reply.get(), "(u)", &result);
  if (result != 1) {
    error = "could not own org.freedesktop.login1";
    return false;
  }
  return true;
}

void FakeLogind::Impl::manager_call(GDBusConnection* c, const gchar* sender, const gchar* method,
                                    GVariant* parameters, GDBusMethodInvocation* invocation) {
  std::string id;
  if (std::string_view(method) == "GetSession") {
    const gchar* asked = nullptr;
    g_variant_get(parameters, "(&s)", &asked);
    const std::lock_guard lock(mutex);
    if (sessions.count(asked)) id = asked;
    if (id.empty()) {
      g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.login1.NoSuchSession",
                                                 "No session known by that name");
      return;
    }
  } else {
    guint32 pid = 0;
    g_variant_get(parameters, "(u)", &pid);
    if (pid == 0) {
      // As logind does: the caller's own process.
      VariantPtr own(g_dbus_connection_call_sync(
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
    id = it->second;
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", session_path(id).c_str()));
}

GVariant* FakeLogind::Impl::session_property(const std::string& id, const gchar* name) {
  const std::lock_guard lock(mutex);
  const Session& session = sessions.at(id);
  const std::string_view property(name);
  if (property == "Id") return g_variant_new_string(id.c_str());
  if (property == "Active") return g_variant_new_boolean(session.active);
  if (property == "Seat") {
    const std::string seat =
        session.seat.empty() ? "/" : "/org/freedesktop/login1/seat/" + session.seat;
    return g_variant_new("(so)", session.seat.c_str(), seat.c_str());
  }
  const std::string user = "/org/freedesktop/login1/user/_" + std::to_string(session.uid);
  return g_variant_new("(uo)", session.uid, user.c_str());
}

void FakeLogind::Impl::register_session(const std::string& id) {
  static const GDBusInterfaceVTable session_vtable = {
      nullptr,
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* property,
         GError**, gpointer data) -> GVariant* {
        const auto* object = static_cast<Object*>(data);
        return object->self->session_property(object->id, property);
      },
      nullptr,
      {}};
  auto object = std::make_unique<Object>(Object{this, id, 0});
  object->registration =
      g_dbus_connection_register_object(connection.get(), session_path(id).c_str(),
                                        g_dbus_node_info_lookup_interface(info.get(), kSession),
                                        &session_vtable, object.get(), nullptr, nullptr);
  objects[id] = std::move(object);
}

void FakeLogind::Impl::shut_down() {
  if (thread.joinable()) {
    on_loop([this] {
      for (const auto& [id, object] : objects) {
        g_dbus_connection_unregister_object(connection.get(), object->registration);
      }
      if (manager_registration) {
        g_dbus_connection_unregister_object(connection.get(), manager_registration);
      }
      if (connection) g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
      g_main_loop_quit(loop);
    });
    thread.join();
  }
  objects.clear();
  connection.reset();
  if (daemon) {
    g_subprocess_send_signal(daemon.get(), SIGTERM);
    g_subprocess_wait(daemon.get(), nullptr, nullptr);
    daemon.reset();
  }
}

FakeLogind::FakeLogind() : impl_(std::make_unique<Impl>()) {
  Impl& d = *impl_;
  if (!d.start_bus()) return;
  d.context = g_main_context_new();
  d.loop = g_main_loop_new(d.context, FALSE);
  std::promise<bool> ready;
  std::future<bool> served = ready.get_future();
  d.thread = std::thread([&d, &ready] {
    g_main_context_push_thread_default(d.context);
    const bool ok = d.serve();
    ready.set_value(ok);
    if (ok) g_main_loop_run(d.loop);
    g_main_context_pop_thread_default(d.context);
  });
  if (!served.get()) {
    d.thread.join();
    d.shut_down();
  }
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
  if (impl_->loop) g_main_loop_unref(impl_->loop);
  if (impl_->context) g_main_context_unref(impl_->context);
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
  {
    const std::lock_guard lock(impl_->mutex);
    impl_->sessions[id] = {uid, active, seat};
    for (const pid_t pid : pids) impl_->processes[pid] = id;
  }
  if (impl_->thread.joinable()) impl_->on_loop([&] { impl_->register_session(id); });
}

void FakeLogind::add_process(const std::string& id, pid_t pid) {
  const std::lock_guard lock(impl_->mutex);
  impl_->processes[pid] = id;
}

void FakeLogind::set_active(const std::string& id, bool active) {
  {
    const std::lock_guard lock(impl_->mutex);
    impl_->sessions.at(id).active = active;
  }
  if (!impl_->connection) return;
  GVariantBuilder changed;
  g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&changed, "{sv}", "Active", g_variant_new_boolean(active));
  g_dbus_connection_emit_signal(
      impl_->connection.get(), nullptr, session_path(id).c_str(), "org.freedesktop.DBus.Properties",
      "PropertiesChanged",
      g_variant_new("(sa{sv}@as)", kSession, &changed, g_variant_new_strv(nullptr, 0)), nullptr);
}

std::string FakeLogind::session_path(const std::string& id) {
  // logind's escaping of a path label: anything but a letter or a digit, and
  // a leading digit, as _ and two hex digits.
  std::string path = "/org/freedesktop/login1/session/";
  for (std::size_t i = 0; i < id.size(); ++i) {
    const auto ch = static_cast<unsigned char>(id[i]);
    if (std::isalpha(ch) || (std::isdigit(ch) && i > 0)) {
      path += static_cast<char>(ch);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "_%02x", ch);
      path += escaped;
    }
  }
  return path;
}

void FakeLogind::stop() {
  impl_->shut_down();
}

}  // namespace cx::test
