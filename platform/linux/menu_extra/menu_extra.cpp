#include <gio/gio.h>

#include <cstdio>
#include <memory>

#include "platform/linux/menu_extra/dbus_menu.h"
#include "platform/linux/menu_extra/gdbus_handles.h"
#include "platform/linux/menu_extra/menu_extra_api.h"
#include "platform/linux/menu_extra/status_notifier_item.h"
#include "platform/linux/menu_extra/watcher_registration.h"

namespace cx::menu_extra {
namespace {

struct ConnectionClose {
  void operator()(GDBusConnection* connection) const {
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
  }
};
using ConnectionPtr = std::unique_ptr<GDBusConnection, ConnectionClose>;

// A connection of our own rather than the process's shared one: closing it on clean-up drops
// every registration at once, and the agent's own use of the bus is left alone.
ConnectionPtr connect_session_bus(GError** error) {
  const GCharPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, error));
  if (!address) return nullptr;
  return ConnectionPtr(g_dbus_connection_new_for_address_sync(
      address.get(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, error));
}

// The status item with its menu and its registration, alive while the connection is.
class MenuExtra {
 public:
  static std::unique_ptr<MenuExtra> create(CXMenuExtraCallback callback) {
    GError* raw_error = nullptr;
    ConnectionPtr connection = connect_session_bus(&raw_error);
    std::unique_ptr<MenuExtra> extra;
    if (connection) {
      extra.reset(new MenuExtra(std::move(connection), callback));
      if (!extra->export_objects(&raw_error)) extra.reset();
    }
    if (raw_error != nullptr) {
      const GErrorPtr error(raw_error);
      std::fprintf(stderr, "CXMenuExtra: no status item: %s\n", error->message);
    }
    return extra;
  }

  void update() { menu_.refresh(); }
  void set_visible(bool visible) { item_.set_active(visible); }

 private:
  MenuExtra(ConnectionPtr connection, CXMenuExtraCallback callback)
      : connection_(std::move(connection)),
        menu_(connection_.get(), callback),
        item_(connection_.get(), menu_) {
    menu_.on_toggle_changed([this] { item_.toggle_changed(); });
  }

  bool export_objects(GError** error) {
    if (!menu_.export_object(error) || !item_.export_object(error)) return false;
    watcher_ = std::make_unique<WatcherRegistration>(
        connection_.get(), g_dbus_connection_get_unique_name(connection_.get()));
    return true;
  }

  // Declared in set-up order; torn down in reverse, the connection last.
  ConnectionPtr connection_;
  DbusMenu menu_;
  StatusNotifierItem item_;
  std::unique_ptr<WatcherRegistration> watcher_;
};

std::unique_ptr<MenuExtra> g_menu_extra;

}  // namespace
}  // namespace cx::menu_extra

using cx::menu_extra::g_menu_extra;
using cx::menu_extra::MenuExtra;

extern "C" {

void initializeBundle(CXMenuExtraCallback callback) {
  g_menu_extra.reset();
  if (callback != nullptr) g_menu_extra = MenuExtra::create(callback);
}

void update(void) {
  if (g_menu_extra) g_menu_extra->update();
}

void cleanup(void) {
  g_menu_extra.reset();
}

void setVisible(int visible) {
  if (g_menu_extra) g_menu_extra->set_visible(visible != 0);
}
}
