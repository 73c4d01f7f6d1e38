#include <gtest/gtest.h>

#include <vector>

#include "platform/apple_events.h"

namespace cx::platform {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(AppleEventModel, FourCharCodesAndDescriptorBytes) {
  static_assert(fourcc("cxvx") == 0x63787678);
  static_assert(fourcc("psn ") == 0x70736E20);
  EXPECT_EQ(fourcc_text(fourcc("----")), "----");
  EXPECT_EQ(make_shor_desc(-2).data, (Bytes{0xFF, 0xFE}));
  EXPECT_EQ(make_long_desc(0x01020304).data, (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(make_cstr_desc("ab").data, (Bytes{'a', 'b', 0}));
  EXPECT_EQ(make_text_desc(std::string_view("\x05", 1)).data, (Bytes{5}));
  EXPECT_EQ(make_psn_desc({0, 0x1234}).data, (Bytes{0, 0, 0, 0, 0, 0, 0x12, 0x34}));
  EXPECT_EQ(make_signature_desc(fourcc("VCVX")).data, (Bytes{'V', 'C', 'V', 'X'}));

  ProcessSerialNumber psn{};
  ASSERT_EQ(desc_to_psn(make_psn_desc({7, 99}), psn), noErr);
  EXPECT_EQ(psn, (ProcessSerialNumber{7, 99}));
  EXPECT_EQ(desc_to_psn(AEDesc{typeProcessSerialNumber, Bytes(7)}, psn), errAECoercionFail);
  EXPECT_EQ(desc_to_psn(make_long_desc(1), psn), errAECoercionFail);
}

struct CoercionCase {
  AEDesc in;
  OSType wanted;
  OSErr result;
  AEDesc out;
};

TEST(AppleEventModel, CoercionTable) {
  const AEDesc shor_m1 = make_shor_desc(-1);
  const AEDesc long_m1 = make_long_desc(-1);
  const CoercionCase cases[] = {
      // Same type and **** pass the bytes through, whatever they are.
      {AEDesc{typeCString, {'x', 0}}, typeCString, noErr, AEDesc{typeCString, {'x', 0}}},
      {AEDesc{typeChar, {1, 2, 3}}, typeWildCard, noErr, AEDesc{typeChar, {1, 2, 3}}},
      // shor <-> long keep the sign.
      {shor_m1, typeSInt32, noErr, long_m1},
      {long_m1, typeSInt16, noErr, shor_m1},
      {make_long_desc(32767), typeSInt16, noErr, make_shor_desc(32767)},
      {make_long_desc(32768), typeSInt16, errAECoercionFail, {}},
      {make_long_desc(-32769), typeSInt16, errAECoercionFail, {}},
      // TEXT of the number's width converts both ways.
      {AEDesc{typeChar, {0x00, 0x07}}, typeSInt16, noErr, make_shor_desc(7)},
      {AEDesc{typeChar, {0xFF, 0xFF, 0xFF, 0xF0}}, typeSInt32, noErr, make_long_desc(-16)},
      {AEDesc{typeChar, {0x00, 0x07}}, typeSInt32, noErr, make_long_desc(7)},
      {make_shor_desc(0x0102), typeChar, noErr, AEDesc{typeChar, {1, 2}}},
      {make_long_desc(0x01020304), typeChar, noErr, AEDesc{typeChar, {1, 2, 3, 4}}},
      // TEXT of any other length, malformed numbers and other types fail.
      {AEDesc{typeChar, {7}}, typeSInt16, errAECoercionFail, {}},
      {AEDesc{typeChar, {0, 0, 7}}, typeSInt32, errAECoercionFail, {}},
      {AEDesc{typeSInt16, {1, 2, 3}}, typeSInt32, errAECoercionFail, {}},
      {make_cstr_desc("7"), typeSInt16, errAECoercionFail, {}},
      {make_shor_desc(7), typeCString, errAECoercionFail, {}},
      {AEDesc{typeWildCard, {0, 7}}, typeSInt16, errAECoercionFail, {}},
      {make_psn_desc({0, 1}), typeSInt32, errAECoercionFail, {}},
  };
  for (const CoercionCase& c : cases) {
    SCOPED_TRACE(fourcc_text(c.in.descriptorType) + " -> " + fourcc_text(c.wanted));
    AEDesc out;
    EXPECT_EQ(coerce_desc(c.in, c.wanted, out), c.result);
    if (c.result == noErr) {
      EXPECT_EQ(out, c.out);
    }
  }
}

TEST(AppleEventModel, ParametersKeepOrderReplaceAndReportMissing) {
  AppleEvent event(fourcc("cxvx"), fourcc("rdpf"), make_signature_desc(fourcc("VCVX")));
  EXPECT_EQ(event.descriptor_type(), typeAppleEvent);
  ASSERT_EQ(event.put_shor(fourcc("data"), 1), noErr);
  ASSERT_EQ(event.put_param(fourcc("btni"), make_text_desc("\x03")), noErr);
  ASSERT_EQ(event.put_long(fourcc("data"), 70000), noErr);
  ASSERT_EQ(event.parameters().size(), 2u);
  EXPECT_EQ(event.parameters()[0].first, fourcc("data"));
  EXPECT_EQ(event.parameters()[1].first, fourcc("btni"));

  int16_t shor = 0;
  int32_t lng = 0;
  AEDesc desc;
  EXPECT_EQ(event.get_shor(fourcc("data"), shor), errAECoercionFail);  // 70000 does not fit
  EXPECT_EQ(event.get_long(fourcc("data"), lng), noErr);
  EXPECT_EQ(lng, 70000);
  EXPECT_EQ(event.get_param(fourcc("btni"), typeChar, desc), noErr);
  EXPECT_EQ(desc.data, (Bytes{3}));
  EXPECT_EQ(event.get_shor(fourcc("btni"), shor), errAECoercionFail);
  EXPECT_EQ(event.get_shor(fourcc("modi"), shor), errAEDescNotFound);
  EXPECT_EQ(event.get_param(fourcc("modi"), typeWildCard, desc), errAEDescNotFound);

  AppleEvent no_reply;
  EXPECT_TRUE(no_reply.is_null());
  EXPECT_EQ(no_reply.put_shor(keyDirectObject, 1), errAEWrongDataType);
  EXPECT_TRUE(no_reply.parameters().empty());
}

TEST(AppleEventModel, ParameterCountAndDataSizeAreBounded) {
  AppleEvent event = AppleEvent::make_reply();
  for (OSType k = 1; k <= kMaxAEParameters; ++k) ASSERT_EQ(event.put_shor(k, 1), noErr);
  EXPECT_EQ(event.put_shor(0, 1), paramErr);
  EXPECT_EQ(event.put_param(1, AEDesc{typeWildCard, Bytes(kMaxAEDataSize - 2045)}), paramErr);
  EXPECT_EQ(event.put_param(1, AEDesc{typeWildCard, Bytes(kMaxAEDataSize - 2046)}), noErr);
}

OSErr answer_refcon(const AppleEvent&, AppleEvent& reply, intptr_t refcon) {
  return reply.put_long(keyDirectObject, static_cast<int32_t>(refcon));
}

AppleEvent event(const char (&id)[5]) {
  return AppleEvent(fourcc("cxvx"), fourcc(id), AEDesc{});
}

TEST(HandlerTable, RefconReplacementErrnAnd1708) {
  AEHandlerTable table;
  ASSERT_EQ(table.install(fourcc("cxvx"), fourcc("gbac"), answer_refcon, 1), noErr);
  ASSERT_EQ(table.install(fourcc("cxvx"), fourcc("gbac"), answer_refcon, 7), noErr);
  AppleEvent reply = AppleEvent::make_reply();
  EXPECT_EQ(table.dispatch(event("gbac"), reply), noErr);
  EXPECT_EQ(reply.parameters(),
            (std::vector<AppleEvent::Parameter>{{keyDirectObject, make_long_desc(7)}}));
  // Another class with the same ID is another event: errn -1708.
  reply = AppleEvent::make_reply();
  EXPECT_EQ(table.dispatch(AppleEvent(fourcc("aevt"), fourcc("gbac"), AEDesc{}), reply),
            errAEEventNotHandled);
  EXPECT_EQ(*reply.find_param(keyErrorNumber), make_long_desc(errAEEventNotHandled));

  EXPECT_TRUE(table.has_handler(fourcc("cxvx"), fourcc("gbac")));
  EXPECT_EQ(table.remove(fourcc("cxvx"), fourcc("gbac")), noErr);
  EXPECT_EQ(table.remove(fourcc("cxvx"), fourcc("gbac")), errAEEventNotHandled);
  reply = AppleEvent::make_reply();
  EXPECT_EQ(table.dispatch(event("gbac"), reply), errAEEventNotHandled);
  EXPECT_EQ(table.install(fourcc("cxvx"), fourcc("gbac"), nullptr, 0), paramErr);
}

// A handler's own line for a std::exception is checked by the bus tests.
TEST(HandlerTable, AnyExceptionIsCaughtWithoutALineUnlessOneWasGiven) {
  AEHandlerTable table;
  table.install(
      fourcc("cxvx"), fourcc("thri"),
      [](const AppleEvent&, AppleEvent&, intptr_t) -> OSErr { throw 1; }, 0);
  AppleEvent reply = AppleEvent::make_reply();
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(table.dispatch(event("thri"), reply), errAEEventFailed);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace cx::platform
