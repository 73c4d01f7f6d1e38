#include "tests/support/fake_browser.h"

#include "platform/linux/apple_events_glib.h"
#include "platform/linux/apple_events_wire.h"
#include "tests/support/dbus_service.h"

namespace cx::test {

using namespace platform;

FakeBrowser::FakeBrowser(OSType signature, const AEHandlerTable& handlers) : handlers_(handlers) {
  static const GDBusInterfaceVTable vtable = {
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
         GVariant* parameters, GDBusMethodInvocation* invocation, gpointer table) {
        guint32 event_class = 0, event_id = 0;
        GVariant* params = nullptr;
        g_variant_get(parameters, "(uu@a(uuay))", &event_class, &event_id, &params);
        const dbus_ae::VariantPtr owned(params);
        AppleEvent event(event_class, event_id, AEDesc{});
        AppleEvent reply = AppleEvent::make_reply();
        if (dbus_ae::add_parameters_from_variant(params, event) == noErr)
          static_cast<const AEHandlerTable*>(table)->dispatch(event, reply);
        g_dbus_method_invocation_return_value(
            invocation,
            g_variant_new("(@a(uuay))", dbus_ae::parameters_to_variant(reply.parameters())));
      },
      nullptr,
      nullptr,
      {}};
  const char* address = g_getenv("DBUS_SESSION_BUS_ADDRESS");
  service_ = std::make_unique<DbusService>(
      address ? address : "", dbus_ae::bus_name_for_signature(signature),
      [this](GDBusConnection* connection) {
        const dbus_ae::NodeInfoPtr node(
            g_dbus_node_info_new_for_xml(dbus_ae::kIntrospection, nullptr), g_dbus_node_info_unref);
        return g_dbus_connection_register_object(
                   connection, dbus_ae::kObjectPath, node->interfaces[0], &vtable,
                   const_cast<AEHandlerTable*>(&handlers_), nullptr, nullptr) != 0;
      });
}

FakeBrowser::~FakeBrowser() = default;

const std::string& FakeBrowser::error() const {
  return service_->error();
}

}  // namespace cx::test
