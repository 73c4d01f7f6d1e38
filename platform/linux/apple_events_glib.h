// Owned GLib references for the D-Bus backend of Apple events.
#pragma once

#include <gio/gio.h>

#include <memory>

namespace cx::platform::dbus_ae {

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct VariantUnref {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};

using ConnectionPtr = std::unique_ptr<GDBusConnection, ObjectUnref>;
using MessagePtr = std::unique_ptr<GDBusMessage, ObjectUnref>;
using NodeInfoPtr = std::unique_ptr<GDBusNodeInfo, decltype(&g_dbus_node_info_unref)>;
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;
using ErrorPtr = std::unique_ptr<GError, ErrorFree>;

}  // namespace cx::platform::dbus_ae
