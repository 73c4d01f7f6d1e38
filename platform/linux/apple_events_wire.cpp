#include "platform/linux/apple_events_wire.h"

#include <cstdio>

namespace cx::platform::dbus_ae {

std::string bus_name_for_signature(OSType signature) {
  char hex[9];
  std::snprintf(hex, sizeof hex, "%08X", static_cast<unsigned>(signature));
  return std::string(kSignatureNamePrefix) + hex;
}

GVariant* parameters_to_variant(const std::vector<AppleEvent::Parameter>& params) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(uuay)"));
  for (const auto& [keyword, desc] : params) {
    GVariant* data = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, desc.data.data(),
                                               desc.data.size(), sizeof(uint8_t));
    g_variant_builder_add(&builder, "(uu@ay)", keyword, desc.descriptorType, data);
  }
  return g_variant_builder_end(&builder);
}

OSErr add_parameters_from_variant(GVariant* params, AppleEvent& event) {
  // Both known without walking the array: its serialised size bounds the
  // data it carries.
  if (g_variant_n_children(params) > kMaxAEParameters ||
      g_variant_get_size(params) > kMaxAEDataSize)
    return paramErr;
  GVariantIter iter;
  g_variant_iter_init(&iter, params);
  guint32 keyword = 0;
  guint32 type = 0;
  GVariant* data = nullptr;
  while (g_variant_iter_next(&iter, "(uu@ay)", &keyword, &type, &data)) {
    gsize size = 0;
    const auto* bytes =
        static_cast<const uint8_t*>(g_variant_get_fixed_array(data, &size, sizeof(uint8_t)));
    const OSErr err =
        event.put_param(keyword, AEDesc{type, std::vector<uint8_t>(bytes, bytes + size)});
    g_variant_unref(data);
    if (err != noErr) return err;
  }
  return noErr;
}

OSErr send_error_to_oserr(const GError* error) {
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMED_OUT)) {
    return errAETimeout;
  }
  if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER)) {
    return procNotFound;
  }
  // The name is owned by something that does not serve Apple events.
  if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_INTERFACE)) {
    return errAEEventNotHandled;
  }
  // NoReply (the peer left mid-call), a closed connection, anything else.
  return connectionInvalid;
}

int timeout_to_msec(int32_t timeout) {
  constexpr int kDefaultMsec = 2 * 60 * 1000;
  if (timeout == kNoTimeOut) return G_MAXINT;
  if (timeout <= 0) return kDefaultMsec;
  const int64_t msec = (int64_t{timeout} * 1000 + 59) / 60;
  return msec > G_MAXINT ? G_MAXINT : static_cast<int>(msec);
}

}  // namespace cx::platform::dbus_ae
