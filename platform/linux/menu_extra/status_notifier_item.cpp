#include "platform/linux/menu_extra/status_notifier_item.h"

#include <string_view>

namespace cx::menu_extra {
namespace {

constexpr const char* kInterface = "org.kde.StatusNotifierItem";

constexpr char kIntrospection[] = R"xml(<node>
  <interface name="org.kde.StatusNotifierItem">
    <property name="Category" type="s" access="read"/>
    <property name="Id" type="s" access="read"/>
    <property name="Title" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="IconName" type="s" access="read"/>
    <property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
    <property name="ItemIsMenu" type="b" access="read"/>
    <property name="Menu" type="o" access="read"/>
    <method name="Activate">
      <arg type="i" name="x" direction="in"/>
      <arg type="i" name="y" direction="in"/>
    </method>
    <method name="SecondaryActivate">
      <arg type="i" name="x" direction="in"/>
      <arg type="i" name="y" direction="in"/>
    </method>
    <method name="ContextMenu">
      <arg type="i" name="x" direction="in"/>
      <arg type="i" name="y" direction="in"/>
    </method>
    <method name="Scroll">
      <arg type="i" name="delta" direction="in"/>
      <arg type="s" name="orientation" direction="in"/>
    </method>
    <signal name="NewToolTip"/>
    <signal name="NewStatus">
      <arg type="s" name="status"/>
    </signal>
  </interface>
</node>)xml";

constexpr const char* kTitle = "Corvex";
constexpr const char* kIconName = "input-mouse";

}  // namespace

StatusNotifierItem::StatusNotifierItem(GDBusConnection* connection, const DbusMenu& menu)
    : connection_(connection), menu_(menu) {}

bool StatusNotifierItem::export_object(GError** error) {
  static const GDBusInterfaceVTable vtable = {&on_method_call, &on_get_property, nullptr, {}};
  introspection_.reset(g_dbus_node_info_new_for_xml(kIntrospection, error));
  if (!introspection_) return false;
  const guint id = g_dbus_connection_register_object(
      connection_, kObjectPath, introspection_->interfaces[0], &vtable, this, nullptr, error);
  if (id == 0) return false;
  registration_.emplace(connection_, id);
  return true;
}

void StatusNotifierItem::set_active(bool active) {
  if (active == active_) return;
  active_ = active;
  emit("NewStatus", g_variant_new("(s)", status()));
}

void StatusNotifierItem::toggle_changed() {
  emit("NewToolTip", nullptr);
}

void StatusNotifierItem::emit(const char* signal, GVariant* parameters) const {
  g_dbus_connection_emit_signal(connection_, nullptr, kObjectPath, kInterface, signal, parameters,
                                nullptr);
}

GVariant* StatusNotifierItem::tool_tip() const {
  return g_variant_new(
      "(s@a(iiay)ss)", kIconName, g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0), kTitle,
      menu_.horizontal_scrolling() ? "Horizontal scrolling is on" : "Horizontal scrolling is off");
}

// The item is a menu, so panels open it themselves; the activation requests have nothing to do.
void StatusNotifierItem::on_method_call(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                        const gchar*, GVariant*, GDBusMethodInvocation* invocation,
                                        gpointer) {
  g_dbus_method_invocation_return_value(invocation, nullptr);
}

GVariant* StatusNotifierItem::on_get_property(GDBusConnection*, const gchar*, const gchar*,
                                              const gchar*, const gchar* property_name,
                                              GError** error, gpointer self) {
  const auto* item = static_cast<const StatusNotifierItem*>(self);
  const std::string_view property(property_name);
  if (property == "Category") return g_variant_new_string("Hardware");
  if (property == "Id") return g_variant_new_string("corvex-menu-extra");
  if (property == "Title") return g_variant_new_string(kTitle);
  if (property == "Status") return g_variant_new_string(item->status());
  if (property == "IconName") return g_variant_new_string(kIconName);
  if (property == "ToolTip") return item->tool_tip();
  if (property == "ItemIsMenu") return g_variant_new_boolean(TRUE);
  if (property == "Menu") return g_variant_new_object_path(DbusMenu::kObjectPath);
  g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "Unknown property %s",
              property_name);
  return nullptr;
}

}  // namespace cx::menu_extra
