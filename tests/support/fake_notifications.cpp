#include "tests/support/fake_notifications.h"

#include <gio/gio.h>

#include <mutex>

#include "platform/linux/apple_events_glib.h"
#include "tests/support/dbus_service.h"

namespace cx::test {
namespace {

using platform::dbus_ae::NodeInfoPtr;

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
  NodeInfoPtr info{g_dbus_node_info_new_for_xml(kInterface, nullptr), g_dbus_node_info_unref};
  mutable std::mutex mutex;
  std::vector<Notification> received;
  std::string error;
  std::unique_ptr<DbusService> service;

  bool serve(GDBusConnection* connection);
};

bool FakeNotifications::Impl::serve(GDBusConnection* connection) {
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
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", id));
      },
      nullptr,
      nullptr,
      {}};
  return g_dbus_connection_register_object(connection, kPath, info->interfaces[0], &vtable, this,
                                           nullptr, nullptr) != 0;
}

FakeNotifications::FakeNotifications(std::function<void()> on_notify)
    : impl_(std::make_unique<Impl>()) {
  Impl& d = *impl_;
  d.on_notify = std::move(on_notify);
  const gchar* address = g_getenv("DBUS_SESSION_BUS_ADDRESS");
  if (!address) {
    d.error = "no session bus";
    return;
  }
  d.service = std::make_unique<DbusService>(
      address, kName, [&d](GDBusConnection* connection) { return d.serve(connection); });
  d.error = d.service->error();
}

FakeNotifications::~FakeNotifications() = default;

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

}  // namespace cx::test
