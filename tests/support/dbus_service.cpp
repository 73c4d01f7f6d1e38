#include "tests/support/dbus_service.h"

#include <future>
#include <thread>

#include "platform/linux/apple_events_glib.h"

namespace cx::test {

using platform::dbus_ae::ConnectionPtr;
using platform::dbus_ae::VariantPtr;

struct DbusService::Impl {
  std::string error;
  GMainContext* context = g_main_context_new();
  GMainLoop* loop = g_main_loop_new(context, FALSE);
  std::thread thread;
  ConnectionPtr connection;

  bool start(const std::string& address, const std::string& name,
             const std::function<bool(GDBusConnection*)>& serve);
};

bool DbusService::Impl::start(const std::string& address, const std::string& name,
                              const std::function<bool(GDBusConnection*)>& serve) {
  connection.reset(g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  if (!connection) {
    error = "cannot connect to the bus";
    return false;
  }
  if (!serve(connection.get())) {
    error = "cannot register the objects of " + name;
    return false;
  }
  const VariantPtr reply(g_dbus_connection_call_sync(
      connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", name.c_str(), 0u), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
  guint32 result = 0;
  if (reply) g_variant_get(reply.get(), "(u)", &result);
  if (result != 1) error = "could not own " + name;
  return result == 1;
}

DbusService::DbusService(const std::string& address, const std::string& name,
                         std::function<bool(GDBusConnection*)> serve)
    : impl_(std::make_unique<Impl>()) {
  Impl& d = *impl_;
  std::promise<bool> ready;
  std::future<bool> served = ready.get_future();
  d.thread = std::thread([&d, &ready, &address, &name, &serve] {
    g_main_context_push_thread_default(d.context);
    const bool ok = d.start(address, name, serve);
    ready.set_value(ok);
    if (ok) g_main_loop_run(d.loop);
    if (d.connection) g_dbus_connection_close_sync(d.connection.get(), nullptr, nullptr);
    d.connection.reset();
    while (g_main_context_iteration(d.context, FALSE)) {
    }
    g_main_context_pop_thread_default(d.context);
  });
  if (!served.get()) stop();
}

DbusService::~DbusService() {
  stop();
  g_main_loop_unref(impl_->loop);
  g_main_context_unref(impl_->context);
}

const std::string& DbusService::error() const {
  return impl_->error;
}

GDBusConnection* DbusService::connection() const {
  return impl_->connection.get();
}

void DbusService::stop() {
  if (!impl_->thread.joinable()) return;
  // Queued on the loop's context, so that it also ends a loop not yet running.
  g_main_context_invoke(
      impl_->context,
      [](gpointer loop) {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
      },
      impl_->loop);
  impl_->thread.join();
}

}  // namespace cx::test
