// Apple events over the user's D-Bus session bus (GIO GDBus). A participant
// owns com.velcorra.corvex.sig.S<signature> and serves Dispatch on the default
// GLib main context; a `psn ` target is the participant whose owner has that pid.
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "platform/apple_events.h"
#include "platform/linux/apple_events_glib.h"
#include "platform/linux/apple_events_wire.h"
#include "util/byte_order.h"

namespace cx::platform {
namespace {

using namespace dbus_ae;

constexpr char kBusService[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kBusInterface[] = "org.freedesktop.DBus";
constexpr guint32 kRequestNameDoNotQueue = 4;
constexpr guint32 kRequestNamePrimaryOwner = 1;
constexpr guint32 kRequestNameAlreadyOwner = 4;

void on_dispatch(GDBusConnection* connection, const gchar*, const gchar*, const gchar*,
                 const gchar*, GVariant* parameters, GDBusMethodInvocation* invocation,
                 gpointer user_data) {
  const auto* table = static_cast<const AEHandlerTable*>(user_data);
  guint32 event_class = 0;
  guint32 event_id = 0;
  GVariant* params = nullptr;
  g_variant_get(parameters, "(uu@a(uuay))", &event_class, &event_id, &params);
  const VariantPtr params_owner(params);

  const bool wants_reply =
      (g_dbus_message_get_flags(g_dbus_method_invocation_get_message(invocation)) &
       G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0;
  AppleEvent reply = wants_reply ? AppleEvent::make_reply() : AppleEvent();
  AppleEvent event(event_class, event_id, AEDesc{});
  if (const OSErr refused = add_parameters_from_variant(params, event); refused != noErr) {
    if (!reply.is_null()) reply.put_long(keyErrorNumber, refused);
  } else {
    table->dispatch(event, reply);
  }
  // GDBus drops the return of a call that expects none, but the invocation must still be finished.
  g_dbus_method_invocation_return_value(
      invocation, g_variant_new("(@a(uuay))", parameters_to_variant(reply.parameters())));
  // A handler may have ended the main loop (quit): the reply must leave before the process does.
  g_dbus_connection_flush_sync(connection, nullptr, nullptr);
}

constexpr GDBusInterfaceVTable kVTable = {on_dispatch, nullptr, nullptr, {}};

class DBusAppleEvents final : public AppleEventService {
 public:
  ~DBusAppleEvents() override {
    if (registration_ != 0) g_dbus_connection_unregister_object(bus_.get(), registration_);
  }

  AEHandlerTable& handlers() override { return handlers_; }

  AEServeResult serve(OSType signature) override {
    GDBusConnection* bus = connection();
    if (bus == nullptr) return AEServeResult::no_transport;
    if (registration_ == 0) {
      const NodeInfoPtr node(g_dbus_node_info_new_for_xml(kIntrospection, nullptr),
                             g_dbus_node_info_unref);
      registration_ = g_dbus_connection_register_object(bus, kObjectPath, node->interfaces[0],
                                                        &kVTable, &handlers_, nullptr, nullptr);
      if (registration_ == 0) return AEServeResult::no_transport;
    }
    const std::string name = bus_name_for_signature(signature);
    const VariantPtr answer =
        call_bus("RequestName", g_variant_new("(su)", name.c_str(), kRequestNameDoNotQueue));
    if (!answer) return AEServeResult::no_transport;
    guint32 result = 0;
    g_variant_get(answer.get(), "(u)", &result);
    if (result == kRequestNamePrimaryOwner || result == kRequestNameAlreadyOwner)
      return AEServeResult::ok;
    return AEServeResult::signature_taken;
  }

  OSErr send(const AppleEvent& event, AppleEvent* reply, AESendMode mode,
             int32_t timeout) override {
    std::string name;
    if (const OSErr err = resolve_target(event.target(), mode, name); err != noErr) return err;

    const MessagePtr message(
        g_dbus_message_new_method_call(name.c_str(), kObjectPath, kInterface, kMethod));
    g_dbus_message_set_body(message.get(),
                            g_variant_new("(uu@a(uuay))", event.event_class(), event.event_id(),
                                          parameters_to_variant(event.parameters())));
    GError* raw_error = nullptr;
    if (mode == AESendMode::no_reply) {
      g_dbus_message_set_flags(
          message.get(), static_cast<GDBusMessageFlags>(G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED |
                                                        G_DBUS_MESSAGE_FLAGS_NO_AUTO_START));
      // Flushed so that a sender exiting right after still delivers the event.
      const bool sent =
          g_dbus_connection_send_message(bus_.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                         nullptr, &raw_error) &&
          g_dbus_connection_flush_sync(bus_.get(), nullptr, &raw_error);
      const ErrorPtr error(raw_error);
      return sent ? noErr : send_error_to_oserr(error.get());
    }

    // Our own main loop cannot answer while we wait for it: as the Apple
    // Event Manager does, an event to ourselves goes straight to the handler.
    if (is_own_name(name)) {
      AppleEvent answer = AppleEvent::make_reply();
      handlers_.dispatch(event, answer);
      if (reply != nullptr) *reply = std::move(answer);
      return noErr;
    }
    g_dbus_message_set_flags(message.get(), G_DBUS_MESSAGE_FLAGS_NO_AUTO_START);
    const MessagePtr answer(g_dbus_connection_send_message_with_reply_sync(
        bus_.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, timeout_to_msec(timeout),
        nullptr, nullptr, &raw_error));
    if (!answer || g_dbus_message_to_gerror(answer.get(), &raw_error)) {
      const ErrorPtr error(raw_error);
      return send_error_to_oserr(error.get());
    }
    GVariant* body = g_dbus_message_get_body(answer.get());
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(a(uuay))")))
      return errAEWrongDataType;
    if (reply != nullptr) {
      *reply = AppleEvent::make_reply();
      const VariantPtr params(g_variant_get_child_value(body, 0));
      return add_parameters_from_variant(params.get(), *reply);
    }
    return noErr;
  }

  // Asks the bus who owns the signature's name: never a walk over all names,
  // which anyone on the bus can make as long as they like.
  OSErr find_process_by_signature(OSType signature, ProcessSerialNumber& psn) override {
    psn = ProcessSerialNumber{};
    if (connection() == nullptr) return procNotFound;
    const VariantPtr answer =
        call_bus("GetNameOwner", g_variant_new("(s)", bus_name_for_signature(signature).c_str()));
    const char* owner = nullptr;
    if (answer) g_variant_get(answer.get(), "(&s)", &owner);
    uint32_t pid = 0;
    if (owner == nullptr || !owner_pid(owner, pid)) return procNotFound;
    // A `psn ` target made from this answer goes to this connection.
    found_owners_[pid] = owner;
    psn.lowLongOfPSN = pid;
    return noErr;
  }

 private:
  GDBusConnection* connection() {
    if (!bus_) bus_.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    return bus_.get();
  }

  // The bus daemon's answer, or null when the call failed.
  VariantPtr call_bus(const char* method, GVariant* args) {
    return VariantPtr(g_dbus_connection_call_sync(bus_.get(), kBusService, kBusPath, kBusInterface,
                                                  method, args, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                                                  nullptr, nullptr));
  }

  bool owner_pid(const std::string& name, uint32_t& pid) {
    const VariantPtr answer =
        call_bus("GetConnectionUnixProcessID", g_variant_new("(s)", name.c_str()));
    if (!answer) return false;
    g_variant_get(answer.get(), "(u)", &pid);
    return true;
  }

  bool is_own_name(const std::string& name) {
    const VariantPtr answer = call_bus("GetNameOwner", g_variant_new("(s)", name.c_str()));
    const char* owner = nullptr;
    if (answer) g_variant_get(answer.get(), "(&s)", &owner);
    return owner != nullptr &&
           std::strcmp(owner, g_dbus_connection_get_unique_name(bus_.get())) == 0;
  }

  bool has_owner(const std::string& name) {
    const VariantPtr answer = call_bus("NameHasOwner", g_variant_new("(s)", name.c_str()));
    gboolean owned = FALSE;
    if (answer) g_variant_get(answer.get(), "(b)", &owned);
    return owned;
  }

  // The participant's name whose owner has process ID `pid`: the connection
  // last found for it by signature while it still has that pid (unique names
  // are never reused), else the first participant name that does.
  bool name_of_pid(uint32_t pid, std::string& name) {
    if (const auto found = found_owners_.find(pid); found != found_owners_.end()) {
      uint32_t owner = 0;
      if (owner_pid(found->second, owner) && owner == pid) {
        name = found->second;
        return true;
      }
      found_owners_.erase(found);
    }
    const VariantPtr answer = call_bus("ListNames", nullptr);
    if (!answer) return false;
    GVariantIter* names = nullptr;
    g_variant_get(answer.get(), "(as)", &names);
    const char* candidate = nullptr;
    bool found = false;
    while (!found && g_variant_iter_next(names, "&s", &candidate)) {
      uint32_t owner = 0;
      if (std::strncmp(candidate, kSignatureNamePrefix, sizeof kSignatureNamePrefix - 1) == 0 &&
          owner_pid(candidate, owner) && owner == pid) {
        name = candidate;
        found = true;
      }
    }
    g_variant_iter_free(names);
    return found;
  }

  OSErr resolve_target(const AEDesc& target, AESendMode mode, std::string& name) {
    if (connection() == nullptr) return procNotFound;
    if (target.descriptorType == typeApplSignature && target.data.size() == 4) {
      name = bus_name_for_signature(load_be32(target.data.data()));
      // A call that expects no reply gets no error back either: look first.
      return mode == AESendMode::wait_reply || has_owner(name) ? noErr : procNotFound;
    }
    ProcessSerialNumber psn{};
    if (desc_to_psn(target, psn) != noErr || psn.highLongOfPSN != 0 || psn.lowLongOfPSN == 0 ||
        !name_of_pid(psn.lowLongOfPSN, name)) {
      return procNotFound;
    }
    return noErr;
  }

  ConnectionPtr bus_;
  guint registration_ = 0;
  AEHandlerTable handlers_;
  std::map<uint32_t, std::string> found_owners_;  // pid -> unique connection name
};

AppleEventService* installed_service = nullptr;

}  // namespace

AppleEventService& apple_events() {
  static DBusAppleEvents platform_service;
  return installed_service != nullptr ? *installed_service : platform_service;
}

void set_apple_events(AppleEventService* service) {
  installed_service = service;
}

}  // namespace cx::platform
