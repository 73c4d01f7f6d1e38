#include "platform/linux/menu_extra/dbus_menu.h"

#include <vector>

namespace cx::menu_extra {
namespace {

constexpr const char* kInterface = "com.canonical.dbusmenu";

constexpr char kIntrospection[] = R"xml(<node>
  <interface name="com.canonical.dbusmenu">
    <method name="GetLayout">
      <arg type="i" name="parentId" direction="in"/>
      <arg type="i" name="recursionDepth" direction="in"/>
      <arg type="as" name="propertyNames" direction="in"/>
      <arg type="u" name="revision" direction="out"/>
      <arg type="(ia{sv}av)" name="layout" direction="out"/>
    </method>
    <method name="GetGroupProperties">
      <arg type="ai" name="ids" direction="in"/>
      <arg type="as" name="propertyNames" direction="in"/>
      <arg type="a(ia{sv})" name="properties" direction="out"/>
    </method>
    <method name="GetProperty">
      <arg type="i" name="id" direction="in"/>
      <arg type="s" name="name" direction="in"/>
      <arg type="v" name="value" direction="out"/>
    </method>
    <method name="Event">
      <arg type="i" name="id" direction="in"/>
      <arg type="s" name="eventId" direction="in"/>
      <arg type="v" name="data" direction="in"/>
      <arg type="u" name="timestamp" direction="in"/>
    </method>
    <method name="EventGroup">
      <arg type="a(isvu)" name="events" direction="in"/>
      <arg type="ai" name="idErrors" direction="out"/>
    </method>
    <method name="AboutToShow">
      <arg type="i" name="id" direction="in"/>
      <arg type="b" name="needUpdate" direction="out"/>
    </method>
    <method name="AboutToShowGroup">
      <arg type="ai" name="ids" direction="in"/>
      <arg type="ai" name="updatesNeeded" direction="out"/>
      <arg type="ai" name="idErrors" direction="out"/>
    </method>
    <signal name="ItemsPropertiesUpdated">
      <arg type="a(ia{sv})" name="updatedProps"/>
      <arg type="a(ias)" name="removedProps"/>
    </signal>
    <signal name="LayoutUpdated">
      <arg type="u" name="revision"/>
      <arg type="i" name="parent"/>
    </signal>
    <property name="Version" type="u" access="read"/>
    <property name="TextDirection" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
  </interface>
</node>)xml";

// Commands of the agent's callback.
constexpr int kToggleHorizontalScrolling = 1;
constexpr int kQueryHorizontalScrolling = -1;
constexpr int kOpenControlPanel = 2;

constexpr guint32 kProtocolVersion = 3;
constexpr gint32 kRootId = 0;
constexpr gint32 kHorizontalScrollingId = 1;

struct MenuItem {
  gint32 id;
  const char* label;
  bool checkmark;
  int command;
};

constexpr MenuItem kItems[] = {
    {kHorizontalScrollingId, "Horizontal Scrolling", true, kToggleHorizontalScrolling},
    {2, "Open Corvex Preferences...", false, kOpenControlPanel},
};

const MenuItem* find_item(gint32 id) {
  for (const MenuItem& item : kItems) {
    if (item.id == id) return &item;
  }
  return nullptr;
}

bool is_known(gint32 id) {
  return id == kRootId || find_item(id) != nullptr;
}

// An empty name list asks for every property.
bool wanted(const gchar* const* names, const char* name) {
  return names == nullptr || names[0] == nullptr || g_strv_contains(names, name);
}

std::vector<gint32> all_ids() {
  std::vector<gint32> ids{kRootId};
  for (const MenuItem& item : kItems) ids.push_back(item.id);
  return ids;
}

std::vector<gint32> int_array(GVariant* array) {
  gsize count = 0;
  const auto* values =
      static_cast<const gint32*>(g_variant_get_fixed_array(array, &count, sizeof(gint32)));
  return std::vector<gint32>(values, values + count);
}

GVariant* new_int_array(const std::vector<gint32>& values) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, values.data(), values.size(),
                                   sizeof(gint32));
}

void return_unknown_item(GDBusMethodInvocation* invocation, gint32 id) {
  g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                        "Unknown menu item %d", id);
}

using NameList = std::unique_ptr<const gchar*, GFree>;

}  // namespace

DbusMenu::DbusMenu(GDBusConnection* connection, CXMenuExtraCallback callback)
    : connection_(connection),
      callback_(callback),
      horizontal_scrolling_(callback(kQueryHorizontalScrolling) != 0) {}

bool DbusMenu::export_object(GError** error) {
  static const GDBusInterfaceVTable vtable = {&on_method_call, &on_get_property, nullptr, {}};
  introspection_.reset(g_dbus_node_info_new_for_xml(kIntrospection, error));
  if (!introspection_) return false;
  const guint id = g_dbus_connection_register_object(
      connection_, kObjectPath, introspection_->interfaces[0], &vtable, this, nullptr, error);
  if (id == 0) return false;
  registration_.emplace(connection_, id);
  return true;
}

bool DbusMenu::refresh() {
  const bool on = callback_(kQueryHorizontalScrolling) != 0;
  if (on == horizontal_scrolling_) return false;
  horizontal_scrolling_ = on;
  ++revision_;
  emit_toggle_changed();
  if (toggle_listener_) toggle_listener_();
  return true;
}

void DbusMenu::emit_toggle_changed() {
  GVariantBuilder updated;
  g_variant_builder_init(&updated, G_VARIANT_TYPE("a(ia{sv})"));
  g_variant_builder_add(&updated, "(i@a{sv})", kHorizontalScrollingId,
                        item_properties(kHorizontalScrollingId, nullptr));
  g_dbus_connection_emit_signal(
      connection_, nullptr, kObjectPath, kInterface, "ItemsPropertiesUpdated",
      g_variant_new("(a(ia{sv})@a(ias))", &updated,
                    g_variant_new_array(G_VARIANT_TYPE("(ias)"), nullptr, 0)),
      nullptr);
  // Hosts that only follow the layout revision refetch on this one.
  g_dbus_connection_emit_signal(connection_, nullptr, kObjectPath, kInterface, "LayoutUpdated",
                                g_variant_new("(ui)", revision_, kRootId), nullptr);
}

GVariant* DbusMenu::item_properties(gint32 id, const gchar* const* names) const {
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
  if (id == kRootId) {
    if (wanted(names, "children-display")) {
      g_variant_builder_add(&properties, "{sv}", "children-display",
                            g_variant_new_string("submenu"));
    }
  } else if (const MenuItem* item = find_item(id)) {
    if (wanted(names, "label")) {
      g_variant_builder_add(&properties, "{sv}", "label", g_variant_new_string(item->label));
    }
    if (item->checkmark && wanted(names, "toggle-type")) {
      g_variant_builder_add(&properties, "{sv}", "toggle-type", g_variant_new_string("checkmark"));
    }
    if (item->checkmark && wanted(names, "toggle-state")) {
      g_variant_builder_add(&properties, "{sv}", "toggle-state",
                            g_variant_new_int32(horizontal_scrolling_ ? 1 : 0));
    }
  }
  return g_variant_builder_end(&properties);
}

GVariant* DbusMenu::item_layout(gint32 id, gint32 depth, const gchar* const* names) const {
  GVariantBuilder children;
  g_variant_builder_init(&children, G_VARIANT_TYPE("av"));
  if (id == kRootId && depth != 0) {
    for (const MenuItem& item : kItems) {
      g_variant_builder_add(&children, "v", item_layout(item.id, depth - 1, names));
    }
  }
  return g_variant_new("(i@a{sv}av)", id, item_properties(id, names), &children);
}

void DbusMenu::get_layout(GVariant* parameters, GDBusMethodInvocation* invocation) const {
  gint32 parent = 0;
  gint32 depth = 0;
  const gchar** raw_names = nullptr;
  g_variant_get(parameters, "(ii^a&s)", &parent, &depth, &raw_names);
  const NameList names(raw_names);
  if (!is_known(parent)) return return_unknown_item(invocation, parent);
  g_dbus_method_invocation_return_value(
      invocation, g_variant_new("(u@(ia{sv}av))", revision_,
                                item_layout(parent, depth < 0 ? -1 : depth, names.get())));
}

void DbusMenu::get_group_properties(GVariant* parameters, GDBusMethodInvocation* invocation) const {
  GVariant* raw_ids = nullptr;
  const gchar** raw_names = nullptr;
  g_variant_get(parameters, "(@ai^a&s)", &raw_ids, &raw_names);
  const NameList names(raw_names);
  std::vector<gint32> ids = int_array(raw_ids);
  g_variant_unref(raw_ids);
  if (ids.empty()) ids = all_ids();
  GVariantBuilder result;
  g_variant_builder_init(&result, G_VARIANT_TYPE("a(ia{sv})"));
  for (const gint32 id : ids) {
    if (is_known(id)) {
      g_variant_builder_add(&result, "(i@a{sv})", id, item_properties(id, names.get()));
    }
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(a(ia{sv}))", &result));
}

void DbusMenu::get_property(GVariant* parameters, GDBusMethodInvocation* invocation) const {
  gint32 id = 0;
  const gchar* name = nullptr;
  g_variant_get(parameters, "(i&s)", &id, &name);
  if (!is_known(id)) return return_unknown_item(invocation, id);
  GVariant* properties = g_variant_ref_sink(item_properties(id, nullptr));
  GVariant* value = g_variant_lookup_value(properties, name, nullptr);
  g_variant_unref(properties);
  if (value == nullptr) {
    return g_dbus_method_invocation_return_error(
        invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, "Unknown property %s", name);
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(v)", value));
  g_variant_unref(value);
}

void DbusMenu::event(GVariant* parameters, GDBusMethodInvocation* invocation) {
  gint32 id = 0;
  const gchar* event_id = nullptr;
  g_variant_get_child(parameters, 0, "i", &id);
  g_variant_get_child(parameters, 1, "&s", &event_id);
  if (!is_known(id)) return return_unknown_item(invocation, id);
  const MenuItem* item = g_str_equal(event_id, "clicked") ? find_item(id) : nullptr;
  const CXMenuExtraCallback callback = callback_;
  // Answer first: the agent may block (opening the control panel) or call back into us.
  g_dbus_method_invocation_return_value(invocation, nullptr);
  if (item != nullptr) callback(item->command);
}

void DbusMenu::event_group(GVariant* parameters, GDBusMethodInvocation* invocation) {
  GVariantIter* events = nullptr;
  g_variant_get(parameters, "(a(isvu))", &events);
  std::vector<gint32> id_errors;
  std::vector<int> commands;
  gint32 id = 0;
  const gchar* event_id = nullptr;
  GVariant* data = nullptr;
  guint32 timestamp = 0;
  while (g_variant_iter_loop(events, "(i&svu)", &id, &event_id, &data, &timestamp)) {
    if (!is_known(id)) {
      id_errors.push_back(id);
    } else if (const MenuItem* item = find_item(id); item && g_str_equal(event_id, "clicked")) {
      commands.push_back(item->command);
    }
  }
  g_variant_iter_free(events);
  const CXMenuExtraCallback callback = callback_;
  g_dbus_method_invocation_return_value(invocation,
                                        g_variant_new("(@ai)", new_int_array(id_errors)));
  for (const int command : commands) callback(command);
}

void DbusMenu::about_to_show(GVariant* parameters, GDBusMethodInvocation* invocation) {
  gint32 id = 0;
  g_variant_get(parameters, "(i)", &id);
  if (!is_known(id)) return return_unknown_item(invocation, id);
  const bool changed = refresh();
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(b)", changed));
}

void DbusMenu::about_to_show_group(GVariant* parameters, GDBusMethodInvocation* invocation) {
  GVariant* raw_ids = nullptr;
  g_variant_get(parameters, "(@ai)", &raw_ids);
  const std::vector<gint32> ids = int_array(raw_ids);
  g_variant_unref(raw_ids);
  std::vector<gint32> id_errors;
  for (const gint32 id : ids) {
    if (!is_known(id)) id_errors.push_back(id);
  }
  std::vector<gint32> updates;
  if (refresh()) updates.push_back(kHorizontalScrollingId);
  g_dbus_method_invocation_return_value(
      invocation, g_variant_new("(@ai@ai)", new_int_array(updates), new_int_array(id_errors)));
}

void DbusMenu::on_method_call(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                              const gchar* method_name, GVariant* parameters,
                              GDBusMethodInvocation* invocation, gpointer self) {
  auto* menu = static_cast<DbusMenu*>(self);
  const std::string_view method(method_name);
  if (method == "GetLayout") return menu->get_layout(parameters, invocation);
  if (method == "GetGroupProperties") return menu->get_group_properties(parameters, invocation);
  if (method == "GetProperty") return menu->get_property(parameters, invocation);
  if (method == "Event") return menu->event(parameters, invocation);
  if (method == "EventGroup") return menu->event_group(parameters, invocation);
  if (method == "AboutToShow") return menu->about_to_show(parameters, invocation);
  if (method == "AboutToShowGroup") return menu->about_to_show_group(parameters, invocation);
  g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD,
                                        "Unknown method %s", method_name);
}

GVariant* DbusMenu::on_get_property(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                    const gchar* property_name, GError** error, gpointer) {
  const std::string_view property(property_name);
  if (property == "Version") return g_variant_new_uint32(kProtocolVersion);
  if (property == "TextDirection") return g_variant_new_string("ltr");
  if (property == "Status") return g_variant_new_string("normal");
  g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "Unknown property %s",
              property_name);
  return nullptr;
}

}  // namespace cx::menu_extra
