#pragma once

#include <gio/gio.h>

#include <optional>

#include "platform/linux/menu_extra/dbus_menu.h"
#include "platform/linux/menu_extra/gdbus_handles.h"

namespace cx::menu_extra {

// The org.kde.StatusNotifierItem object that panels show; its menu is the DbusMenu.
class StatusNotifierItem {
 public:
  static constexpr const char* kObjectPath = "/StatusNotifierItem";

  StatusNotifierItem(GDBusConnection* connection, const DbusMenu& menu);
  StatusNotifierItem(const StatusNotifierItem&) = delete;
  StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;

  bool export_object(GError** error);

  // "Active" shows the item, "Passive" hides it; NewStatus only on a change.
  void set_active(bool active);
  // The tooltip tells the toggle's state.
  void toggle_changed();

 private:
  static void on_method_call(GDBusConnection* connection, const gchar* sender,
                             const gchar* object_path, const gchar* interface_name,
                             const gchar* method_name, GVariant* parameters,
                             GDBusMethodInvocation* invocation, gpointer self);
  static GVariant* on_get_property(GDBusConnection* connection, const gchar* sender,
                                   const gchar* object_path, const gchar* interface_name,
                                   const gchar* property_name, GError** error, gpointer self);

  const char* status() const { return active_ ? "Active" : "Passive"; }
  GVariant* tool_tip() const;
  void emit(const char* signal, GVariant* parameters) const;

  GDBusConnection* connection_;
  const DbusMenu& menu_;
  bool active_ = false;
  NodeInfoPtr introspection_;
  std::optional<ExportedObject> registration_;
};

}  // namespace cx::menu_extra
