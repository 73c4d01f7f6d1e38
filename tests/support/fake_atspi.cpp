#include "tests/support/fake_atspi.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/apple_events_glib.h"
#include "tests/support/dbus_service.h"

namespace cx::test {
namespace {

constexpr char kInterfaces[] = R"xml(<node>
  <interface name="org.a11y.atspi.Accessible">
    <method name="GetChildren"><arg type="a(so)" direction="out"/></method>
    <method name="GetRole"><arg type="u" direction="out"/></method>
    <method name="GetState"><arg type="au" direction="out"/></method>
  </interface>
  <interface name="org.a11y.atspi.Document">
    <method name="GetAttributeValue"><arg type="s"/><arg type="s" direction="out"/></method>
  </interface>
  <interface name="org.a11y.atspi.Text">
    <method name="GetText"><arg type="i"/><arg type="i"/><arg type="s" direction="out"/></method>
  </interface></node>)xml";

GVariant* answer(const A11yObject& o, const std::string& bus_name, std::string_view method,
                 GVariant* parameters) {
  if (method == "GetChildren") {
    GVariantBuilder children;
    g_variant_builder_init(&children, G_VARIANT_TYPE("a(so)"));
    for (const std::string& child : o.children)
      g_variant_builder_add(&children, "(so)", bus_name.c_str(), child.c_str());
    return g_variant_new("(a(so))", &children);
  }
  if (method == "GetRole") return g_variant_new("(u)", o.role);
  const guint32 words[2] = {o.states, 0};
  if (method == "GetState")
    return g_variant_new("(@au)", g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, words, 2, 4));
  const char* attribute = "DocURL";  // GetText has none
  if (method == "GetAttributeValue") g_variant_get(parameters, "(&s)", &attribute);
  return g_variant_new("(s)", std::string_view(attribute) == "DocURL" ? o.text.c_str() : "");
}

}  // namespace

FakeAtspi::FakeAtspi(std::vector<A11yObject> objects) : objects_(std::move(objects)) {
  static const platform::dbus_ae::NodeInfoPtr node(
      g_dbus_node_info_new_for_xml(kInterfaces, nullptr), g_dbus_node_info_unref);
  static const GDBusInterfaceVTable tree = {
      [](GDBusConnection*, const gchar*, const gchar* path, const gchar*, const gchar* method,
         GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
        const auto* self = static_cast<const FakeAtspi*>(data);
        const auto it = std::find_if(self->objects_.begin(), self->objects_.end(),
                                     [&](const A11yObject& o) { return o.path == path; });
        g_dbus_method_invocation_return_value(invocation,
                                              answer(*it, self->bus_name_, method, parameters));
      },
      nullptr,
      nullptr,
      {}};
  registry_ = std::make_unique<DbusService>(
      g_getenv("DBUS_SESSION_BUS_ADDRESS"), "org.a11y.atspi.Registry", [&](GDBusConnection* c) {
        bus_name_ = g_dbus_connection_get_unique_name(c);
        bool ok = true;
        for (const A11yObject& o : objects_)
          for (int i = 0; i < 3; ++i)
            ok = ok && g_dbus_connection_register_object(c, o.path.c_str(), node->interfaces[i],
                                                         &tree, this, nullptr, nullptr) != 0;
        return ok;
      });
}

FakeAtspi::~FakeAtspi() = default;

const std::string& FakeAtspi::error() const {
  return registry_->error();
}

}  // namespace cx::test
