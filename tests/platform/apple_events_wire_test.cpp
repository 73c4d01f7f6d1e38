#include <gtest/gtest.h>

#include <vector>

#include "platform/apple_events.h"
#include "platform/linux/apple_events_glib.h"
#include "platform/linux/apple_events_wire.h"

namespace cx::platform::dbus_ae {
namespace {

TEST(AppleEventWire, BusNamesAreUpperCaseHexOfTheSignature) {
  EXPECT_EQ(bus_name_for_signature(fourcc("VCVX")), "com.velcorra.corvex.sig.S56435658");
  EXPECT_EQ(bus_name_for_signature(fourcc("VCXT")), "com.velcorra.corvex.sig.S56435854");
  EXPECT_EQ(bus_name_for_signature(fourcc("sprf")), "com.velcorra.corvex.sig.S73707266");
  EXPECT_EQ(bus_name_for_signature(0x0000ABCD), "com.velcorra.corvex.sig.S0000ABCD");
}

TEST(AppleEventWire, ParametersTravelAsKeywordTypeBytesInOrder) {
  AppleEvent event(fourcc("cxvx"), fourcc("rdpf"), AEDesc{});
  event.put_shor(fourcc("data"), 2);
  event.put_param(fourcc("btni"), make_text_desc("\x03"));
  event.put_param(fourcc("none"), AEDesc{});
  const VariantPtr wire(g_variant_ref_sink(parameters_to_variant(event.parameters())));
  gchar* text = g_variant_print(wire.get(), FALSE);
  // 'data' 'shor' [0, 2], 'btni' 'TEXT' [3], 'none' 'null' [].
  EXPECT_STREQ(text,
               "[(1684108385, 1936224114, [0x00, 0x02]), (1651797609, 1413830740, [0x03]), "
               "(1852796517, 1853189228, [])]");
  g_free(text);

  AppleEvent back = AppleEvent::make_reply();
  add_parameters_from_variant(wire.get(), back);
  EXPECT_EQ(back.parameters(), event.parameters());
}

TEST(AppleEventWire, ParametersFromTextFormAsGdbusWouldSendThem) {
  GError* raw = nullptr;
  const VariantPtr wire(g_variant_parse(G_VARIANT_TYPE("a(uuay)"),
                                        "[(0x2d2d2d2d, 0x6c6f6e67, [0xff, 0xff, 0xf9, 0x54]),"
                                        " (0x2d2d2d2d, 0x73686f72, [0x00, 0x01])]",
                                        nullptr, nullptr, &raw));
  ASSERT_TRUE(wire) << raw->message;
  AppleEvent event = AppleEvent::make_reply();
  add_parameters_from_variant(wire.get(), event);
  // A repeated keyword replaces the earlier value, as put_param does.
  ASSERT_EQ(event.parameters().size(), 1u);
  EXPECT_EQ(*event.find_param(keyDirectObject), make_shor_desc(1));
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
