#pragma once

#include <gio/gio.h>

#include <memory>

namespace cx::menu_extra {

struct GObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

struct GFree {
  void operator()(gpointer memory) const { g_free(memory); }
};
using GCharPtr = std::unique_ptr<gchar, GFree>;

struct NodeInfoUnref {
  void operator()(GDBusNodeInfo* info) const { g_dbus_node_info_unref(info); }
};
using NodeInfoPtr = std::unique_ptr<GDBusNodeInfo, NodeInfoUnref>;

// One object registration on a connection; unregistered when dropped.
class ExportedObject {
 public:
  ExportedObject(GDBusConnection* connection, guint id) : connection_(connection), id_(id) {}
  ExportedObject(const ExportedObject&) = delete;
  ExportedObject& operator=(const ExportedObject&) = delete;
  ~ExportedObject() { g_dbus_connection_unregister_object(connection_, id_); }

 private:
  GDBusConnection* connection_;
  guint id_;
};

}  // namespace cx::menu_extra
