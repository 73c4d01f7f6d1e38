#pragma once

#include <gio/gio.h>

#include <functional>
#include <optional>
#include <utility>

#include "platform/linux/menu_extra/gdbus_handles.h"
#include "platform/linux/menu_extra/menu_extra_api.h"

namespace cx::menu_extra {

// The status item's menu as a com.canonical.dbusmenu object: a checkmark for horizontal
// scrolling and an item that opens the control panel.
class DbusMenu {
 public:
  static constexpr const char* kObjectPath = "/MenuBar";

  DbusMenu(GDBusConnection* connection, CXMenuExtraCallback callback);
  DbusMenu(const DbusMenu&) = delete;
  DbusMenu& operator=(const DbusMenu&) = delete;

  bool export_object(GError** error);

  // Asks the agent for the toggle again; true (and the change signalled) when it moved.
  bool refresh();
  bool horizontal_scrolling() const { return horizontal_scrolling_; }
  void on_toggle_changed(std::function<void()> listener) { toggle_listener_ = std::move(listener); }

 private:
  static void on_method_call(GDBusConnection* connection, const gchar* sender,
                             const gchar* object_path, const gchar* interface_name,
                             const gchar* method_name, GVariant* parameters,
                             GDBusMethodInvocation* invocation, gpointer self);
  static GVariant* on_get_property(GDBusConnection* connection, const gchar* sender,
                                   const gchar* object_path, const gchar* interface_name,
                                   const gchar* property_name, GError** error, gpointer self);

  void get_layout(GVariant* parameters, GDBusMethodInvocation* invocation) const;
  void get_group_properties(GVariant* parameters, GDBusMethodInvocation* invocation) const;
  void get_property(GVariant* parameters, GDBusMethodInvocation* invocation) const;
  void event(GVariant* parameters, GDBusMethodInvocation* invocation);
  void event_group(GVariant* parameters, GDBusMethodInvocation* invocation);
  void about_to_show(GVariant* parameters, GDBusMethodInvocation* invocation);
  void about_to_show_group(GVariant* parameters, GDBusMethodInvocation* invocation);

  GVariant* item_properties(gint32 id, const gchar* const* names) const;
  GVariant* item_layout(gint32 id, gint32 depth, const gchar* const* names) const;
  void emit_toggle_changed();

  GDBusConnection* connection_;
  CXMenuExtraCallback callback_;
  bool horizontal_scrolling_ = false;
  guint32 revision_ = 1;
  std::function<void()> toggle_listener_;
  NodeInfoPtr introspection_;
  std::optional<ExportedObject> registration_;
};

}  // namespace cx::menu_extra
