#include <gtest/gtest.h>

#include <vector>

#include "platform/apple_events.h"
#include "platform/linux/apple_events_glib.h"
#include "platform/linux/apple_events_wire.h"

namespace cx::platform::dbus_ae {
namespace {

// The agent's own name is checked, through gdbus, by the bus tests.
TEST(AppleEventWire, BusNamesAreUpperCaseHexOfTheSignature) {
  EXPECT_EQ(bus_name_for_signature(0x0000ABCD), "com.velcorra.corvex.sig.S0000ABCD");
}

// Refused whole, before a byte is copied: too many parameters, or too much data.
TEST(AppleEventWire, OversizedParameterArraysAreRefused) {
  const auto wire_of = [](size_t count, size_t data_size) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a(uuay)"));
    const std::vector<uint8_t> data(data_size);
    for (size_t i = 0; i < count; ++i) {
      g_variant_builder_add(&builder, "(uu@ay)", static_cast<guint32>(i), typeWildCard,
                            g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data.data(), data.size(),
                                                      sizeof(uint8_t)));
    }
    return VariantPtr(g_variant_ref_sink(g_variant_builder_end(&builder)));
  };
  const struct {
    size_t count, data_size;
    OSErr result;
  } cases[] = {
      {kMaxAEParameters, 4, noErr},    {kMaxAEParameters + 1, 4, paramErr}, {100000, 0, paramErr},
      {1, kMaxAEDataSize - 64, noErr}, {1, kMaxAEDataSize, paramErr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.count);
    AppleEvent event = AppleEvent::make_reply();
    EXPECT_EQ(add_parameters_from_variant(wire_of(c.count, c.data_size).get(), event), c.result);
    EXPECT_EQ(event.parameters().size(), c.result == noErr ? c.count : 0);
  }
}

TEST(AppleEventWire, DbusErrorsBecomeSendResults) {
  struct Case {
    GQuark domain;
    int code;
    OSErr expected;
  };
  const Case cases[] = {
      {G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN, procNotFound},
      {G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER, procNotFound},
      {G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY, connectionInvalid},
      {G_DBUS_ERROR, G_DBUS_ERROR_DISCONNECTED, connectionInvalid},
      {G_IO_ERROR, G_IO_ERROR_CLOSED, connectionInvalid},
      {G_IO_ERROR, G_IO_ERROR_TIMED_OUT, errAETimeout},
      {G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT, errAETimeout},
      {G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT, errAEEventNotHandled},
      {G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD, errAEEventNotHandled},
  };
  for (const Case& c : cases) {
    const ErrorPtr error(g_error_new_literal(c.domain, c.code, "x"));
    EXPECT_EQ(send_error_to_oserr(error.get()), c.expected) << c.code;
  }
}

TEST(AppleEventWire, TimeoutsInTicks) {
  EXPECT_EQ(timeout_to_msec(kNoTimeOut), G_MAXINT);
  EXPECT_EQ(timeout_to_msec(kAEDefaultTimeout), 120000);
  EXPECT_EQ(timeout_to_msec(60), 1000);
  EXPECT_EQ(timeout_to_msec(1), 17);
  EXPECT_EQ(timeout_to_msec(INT32_MAX), G_MAXINT);
}

}  // namespace
}  // namespace cx::platform::dbus_ae
