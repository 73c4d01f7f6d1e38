#include "tests/support/fake_notifications.h"

#include <gio/gio.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "platform/linux/apple_events_glib.h"

namespace cx::test {
namespace {

using platform::dbus_ae::ConnectionPtr;
using platform::dbus_ae::NodeInfoPtr;
using platform::dbus_ae::VariantPtr;

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kInterface = R"xml(<node>
  <interface name="org.freedesktop.Notifications">
    <method name="Notify">
      <arg type="s"/><arg type="u"/><arg type="s"/><arg type="s"/><arg type="s"/>
      <arg type="as"/><arg type="a{sv}"/><arg type="i"/><arg type="u" direction="out"/>
    </method>
  </interface>
</node>)xml";

Notification decode(GVariant* parameters) {
  const gchar *app = nullptr, *summary = nullptr, *body = nullptr;
  GVariant* hints = nullptr;
  g_variant_get(parameters, "(&su&s&s&s^a&s@a{sv}i)", &app, nullptr, nullptr, &summary, &body,
                nullptr, &hints, nullptr);
  Notification n{app, summary, body};
  guchar urgency = 0;
  if (g_variant_lookup(hints, "urgency", "y", &urgency)) n.urgency = urgency;
  g_variant_unref(hints);
  return n;
}

}  // namespace

struct FakeNotifications::Impl {
  std::function<void()> on_notify;
  std::string error;
  GMainContext* context = g_main_context_new();
  GMainLoop* loop = g_main_loop_new(context, FALSE);
  std::thread thread;
  ConnectionPtr connection;
  NodeInfoPtr info{g_dbus_node_info_new_for_xml(kInterface, nullptr), g_dbus_node_info_unref};

  mutable std::mutex mutex;
  mutable std::condition_variable arrived;
  std::vector<Notification> received;

  bool serve();
};

bool FakeNotifications::Impl::serve() {
  const gchar* address = g_getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address) {
    connection.reset(g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
  }
  if (!connection) {
    error = "cannot connect to the session bus";
    return false;
  }
  static const GDBusInterfaceVTable vtable = {
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
         GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
        auto& d = *static_cast<Impl*>(data);
        if (d.on_notify) d.on_notify();
        guint32 id = 0;
        {
          const std::lock_guard lock(d.mutex);
          d.received.push_back(decode(parameters));
          id = static_cast<guint32>(d.received.size());
        }
        d.arrived.notify_all();
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", id));
      },
      nullptr,
      nullptr,
      {}};
  g_dbus_connection_register_object(connection.get(), kPath, info->interfaces[0], &vtable, this,
                                    nullptr, nullptr);
  const VariantPtr reply(g_dbus_connection_call_sync(
      connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", kName, 0u), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
  guint32 result = 0;
  if (reply) g_variant_get(reply.get(), "(u)", &result);
  if (result != 1) error = "could not own org.freedesktop.Notifications";
  return result == 1;
}

FakeNotifications::FakeNotifications(std::function<void()> on_notify)
    : impl_(std::make_unique<Impl>()) {
  Impl& d = *impl_;
  d.on_notify = std::move(on_notify);
  std::promise<bool> ready;
  std::future<bool> served = ready.get_future();
  d.thread = std::thread([&d, &ready] {
    g_main_context_push_thread_default(d.context);
    const bool ok = d.serve();
    ready.set_value(ok);
    if (ok) g_main_loop_run(d.loop);
    if (d.connection) g_dbus_connection_close_sync(d.connection.get(), nullptr, nullptr);
    d.connection.reset();
    while (g_main_context_iteration(d.context, FALSE)) {
    }
    g_main_context_pop_thread_default(d.context);
  });
  served.get();
}

FakeNotifications::~FakeNotifications() {
  // Queued on the loop's context, so that it also ends a loop not yet running.
  g_main_context_invoke(
      impl_->context,
      [](gpointer loop) {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
      },
      impl_->loop);
  if (impl_->thread.joinable()) impl_->thread.join();
  g_main_loop_unref(impl_->loop);
  g_main_context_unref(impl_->context);
}

bool FakeNotifications::ok() const {
  return impl_->error.empty();
}

const std::string& FakeNotifications::error() const {
  return impl_->error;
}

std::vector<Notification> FakeNotifications::received() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->received;
}

bool FakeNotifications::wait_for(size_t count) const {
  std::unique_lock lock(impl_->mutex);
  return impl_->arrived.wait_for(lock, std::chrono::seconds(5),
                                 [&] { return impl_->received.size() >= count; });
}

}  // namespace cx::test
