// Every request of the reference driver, driven through its handler with
// transfer blocks built by the agent's writer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "model/act_item.h"
#include "model/action_codes.h"
#include "model/flattened_data.h"
#include "refdriver/driver_status.h"
#include "refdriver/event_codes.h"
#include "refdriver/request_codes.h"
#include "tests/refdriver/handler_harness.h"

namespace cx::refdriver {
namespace {

using testing::Answer;
using testing::Harness;
using testing::Wire;
namespace rq = request;

std::vector<uint8_t> items_wire(std::initializer_list<act_item> items, bool linked) {
  std::vector<uint8_t> out(items.size() * kActItemWireSize);
  size_t i = 0;
  for (act_item item : items) {
    act_item next{};
    item.link = linked && i + 1 < items.size() ? &next : nullptr;
    encode_act_item(item, &out[i++ * kActItemWireSize]);
  }
  return out;
}

std::array<uint8_t, 36> name_record(std::string_view name, uint16_t flags) {
  std::array<uint8_t, 36> r{};
  std::copy(name.begin(), name.end(), r.begin());
  r[32] = 0xFF;
  store_be16(&r[34], flags);
  return r;
}

std::array<uint8_t, 80> descriptor(uint32_t unique_id, uint32_t buttons, bool wheel,
                                   uint16_t battery_id, bool ring) {
  std::array<uint8_t, 80> d{};
  d[0] = 'P';
  store_be16(&d[24], 2);
  store_be16(&d[26], 3);
  store_be32(&d[28], unique_id);
  store_be32(&d[36], buttons);
  store_be32(&d[40], wheel);
  store_be32(&d[44], ring);
  store_be16(&d[56], 10);
  store_be16(&d[58], battery_id);
  return d;
}

Wire global_write(uint16_t index, std::span<const uint8_t> data) {
  return std::move(Wire().u32(static_cast<uint32_t>(data.size())).u16(index).u8(1).u8(0).raw(data));
}
Wire global_read(uint16_t index, uint32_t length) {
  return std::move(Wire().u32(length).u16(index).u8(2).u8(0));
}
Wire user_record(uint32_t uid, uint16_t state) {
  return std::move(Wire().u32(uid).u16(state).u16(0));
}
Wire button(uint8_t b, uint8_t mods, uint16_t entry = 0) {
  return std::move(Wire().u8(b).u8(mods).u16(entry));
}

TEST(RequestFraming, RepliesAreTransferBlocksWithTheStatus) {
  Harness h;
  std::vector<uint8_t> request(64);
  CXTransferContext ctx;
  CXTransferStartWithRequest(&ctx, request.data(), 64, rq::GetActionListSize);
  const Wire p = button(3, 0);
  CXTransferAdd(&ctx, p.bytes().data(), 4);
  CXTransferEnd(&ctx);
  std::vector<uint8_t> reply(64, 0xEE);
  EXPECT_EQ(h.handler.transfer(h.peer, request, reply), 8);
  EXPECT_EQ(std::vector<uint8_t>(reply.begin(), reply.begin() + 8),
            (std::vector<uint8_t>{0, 0, 0, 8, 0, 0, 0x43, 0x21}));

  // A reply as long as the buffer does not fit: its length comes back, the
  // buffer is untouched, and a queued event stays queued.
  ASSERT_TRUE(h.state.events.push(9, std::vector<uint8_t>(10, 'x')));
  CXTransferStartWithRequest(&ctx, request.data(), 64, rq::GetNextBackgroundEvent);
  CXTransferEnd(&ctx);
  std::vector<uint8_t> tight(18, 0xEE);
  EXPECT_EQ(h.handler.transfer(h.peer, request, tight), 18);
  EXPECT_TRUE(std::all_of(tight.begin(), tight.end(), [](uint8_t b) { return b == 0xEE; }));
  EXPECT_EQ(h.state.events.size(), 1u);
  std::vector<uint8_t> roomy(19);
  EXPECT_EQ(h.handler.transfer(h.peer, request, roomy), 18);
  EXPECT_EQ(h.state.events.size(), 0u);
  EXPECT_EQ(load_be16(&roomy[4]), 9);
}

TEST(RequestFraming, MalformedBlocksAreAnsweredWithErrors) {
  Harness h;
  std::vector<uint8_t> good(64);
  CXTransferContext ctx;
  CXTransferStartWithRequest(&ctx, good.data(), 64, rq::GetMouseInfo);
  const uint32_t length = CXTransferEnd(&ctx);
  EXPECT_EQ(h.send(h.peer, good).status, kDone);

  std::vector<uint8_t> bad = good;
  bad[length - 1] ^= 1;  // checksum
  EXPECT_EQ(h.send(h.peer, bad).status, kBadRequest);
  bad = good;
  store_be32(bad.data(), 5);
  EXPECT_EQ(h.send(h.peer, bad).status, kBadRequest);
  bad = good;
  store_be32(bad.data(), 65);  // longer than the buffer
  EXPECT_EQ(h.send(h.peer, bad).status, kBadRequest);
  EXPECT_EQ(h.send(h.peer, std::span<const uint8_t>(good).first(3)).status, kBadRequest);
  const Answer three = h.send(h.peer, std::vector<uint8_t>{0, 0, 0, 9, 0, 0, 0, 0x43, 0x21});
  EXPECT_TRUE(three.valid);
  EXPECT_EQ(three.status, kBadRequest);  // no room for a request code
  EXPECT_EQ(h.call(rq::count).status, kUnimplemented);
  EXPECT_EQ(h.call(0xFFFFFFFF).status, kUnimplemented);
}

TEST(RequestFraming, EveryRequestRefusesParametersOfTheWrongSize) {
  Harness h;
  const std::array<uint8_t, 36> name{};
  const std::vector<std::pair<uint32_t, Wire>> valid = {
      {rq::InitializeDriver, Wire().u16(0)},
      {rq::CXAccessData, Wire().u16(1).u16(0).u32(1)},
      {rq::CXAccessGlobalData, global_read(2, 5)},
      {rq::AllocateSpace, Wire().u16(0xFFFF).u16(4).u32(0)},
      {rq::DeallocateSpace, Wire().u16(300).u16(0).u32(0)},
      {rq::GetActionList, button(3, 0)},
      {rq::GetActionListSize, button(3, 0)},
      {rq::GetActionName, button(3, 0, 1)},
      {rq::GetDataSize, Wire().u16(1).u16(0).u32(0)},
      {rq::GetMenuActionList, button(3, 0, 1)},
      {rq::GetMenuActionListSize, button(3, 0, 1)},
      {rq::SetActionList, button(3, 0).u16(0)},
      {rq::SetActionName, button(3, 0).raw(name)},
      {rq::SetMenuActionList, button(3, 0, 2).u16(0)},
      {rq::CXAccessAppData, global_read(72, 4)},
      {rq::CXDoSwitchApp, Wire().u32(4).str("Foo")},
      {rq::CurrentEditApp, Wire().str("k").str("n")},
      {rq::GetAppName, Wire().u16(1)},
      {rq::DeleteAppName, Wire().str("x")},
      {rq::InControlPanel, Wire().u8(0)},
      {rq::GetCacheSize, Wire().u16(0)},
      {rq::AccessCacheData, Wire().u32(4).u16(0).u8(2).u8(0)},
      {rq::GetSingleResponse, button(3, 0, 0)},
      {rq::GetFullResponse, button(3, 0)},
      {rq::GetResponses, Wire().u8(0).u8(25).u8(0).u8(0).u32(0)},
      {rq::GetMenuNames, Wire().u16(8)},
      {rq::ExecuteMenuItems, Wire().u16(1)},
      {rq::SetAbsoluteMouse, Wire().u32(10).u32(20)},
  };
  for (const auto& [code, params] : valid) {
    SCOPED_TRACE(kRequestNames[code]);
    EXPECT_NE(h.call(code, {params}).status, kBadRequest);
    const uint8_t extra = 0;
    EXPECT_EQ(h.call(code, {params, std::span<const uint8_t>(&extra, 1)}).status, kBadRequest);
    const std::span<const uint8_t> all = params;
    EXPECT_EQ(h.call(code, {all.first(all.size() - 1)}).status, kBadRequest);
  }
  for (const uint32_t code : {rq::GetMouseInfo, rq::QueryEditApp, rq::GetNextBackgroundEvent,
                              rq::ClearAllMenuLists, rq::CheckMenuSize}) {
    SCOPED_TRACE(kRequestNames[code]);
    EXPECT_EQ(h.call(code, {Wire().u8(0)}).status, kBadRequest);
  }
}

TEST(DeviceRequests, MouseInformationDescribesTheAttachedDevices) {
  Harness h;
  const auto wheel_mouse = descriptor(12, 5, true, 0, false);
  const auto wireless_ball = descriptor(7, 2, false, 3, true);
  EXPECT_EQ(h.call(rq::InitializeDriver, {Wire().u16(2), wheel_mouse, wireless_ball}).status, 2);
  const Answer info = h.call(rq::GetMouseInfo);
  ASSERT_TRUE(info.valid);
  EXPECT_EQ(info.status, kDone);
  ASSERT_EQ(info.data.size(), 180u);
  EXPECT_EQ(std::vector<uint8_t>(info.data.begin(), info.data.begin() + 8),
            (std::vector<uint8_t>{0, 180, 0x03, 0x00, 1, 2, 0, 2}));
  // Where the agent reads each device's capability word.
  EXPECT_EQ(load_be32(&info.data[12]), 12u);
  EXPECT_EQ(load_be32(&info.data[16]), 0x400u | 5);
  EXPECT_EQ(load_be16(&info.data[20]), 2);  // DevType
  EXPECT_EQ(load_be32(&info.data[36]), 7u);
  EXPECT_EQ(load_be32(&info.data[40]), 0x100u | 0x200u | 2);
  EXPECT_EQ(load_be16(&info.data[36 + 12]), 3);  // WirelessBatteryID

  auto unterminated = wheel_mouse;
  std::fill_n(unterminated.begin(), 10, 'X');
  EXPECT_EQ(h.call(rq::InitializeDriver, {Wire().u16(1), unterminated}).status, kBadRequest);
  EXPECT_EQ(h.call(rq::InitializeDriver, {Wire().u16(2), wheel_mouse}).status, kBadRequest);
  EXPECT_EQ(h.state.devices.descriptors().size(), 2u);
}

TEST(DataRecords, GlobalAndApplicationRecordsKeepTheirSizes) {
  Harness h;
  const std::vector<uint8_t> levels = {1, 2, 3, 4, 5};
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(2, levels)}).status, kDone);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_read(2, 5)}).data, levels);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(2, std::vector<uint8_t>(4))}).status,
            kBadRequest);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {Wire().u32(0).u16(2).u8(3).u8(0)}).status, kBadRequest);

  // Indices nobody names hold what was written, within bounds.
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_read(500, 6)}).data, std::vector<uint8_t>(6));
  EXPECT_EQ(
      h.call(rq::CXAccessGlobalData, {global_write(500, std::vector<uint8_t>{7, 8, 9})}).status,
      kDone);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_read(500, 6)}).data,
            (std::vector<uint8_t>{7, 8, 9}));
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(501, std::vector<uint8_t>(513))}).status,
            kBadRequest);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_read(501, 513)}).status, kBadRequest);
  for (uint16_t i = 1; i < 64; ++i) {
    ASSERT_EQ(h.call(rq::CXAccessGlobalData,
                     {global_write(static_cast<uint16_t>(1000 + i), std::vector<uint8_t>{1})})
                  .status,
              kDone);
  }
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(2000, std::vector<uint8_t>{1})}).status,
            kNoRoom);

  // Application data belongs to the set being edited.
  const std::vector<uint8_t> scroll = {3, 0, 0, 6};
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("safari").str("Safari")}).status, kDone);
  EXPECT_EQ(h.call(rq::CXAccessAppData, {global_write(72, scroll)}).status, kDone);
  EXPECT_EQ(h.call(rq::CXAccessAppData, {global_read(72, 4)}).data, scroll);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("").str("")}).status, kDone);
  EXPECT_EQ(h.call(rq::CXAccessAppData, {global_read(72, 4)}).data, std::vector<uint8_t>(4));
  EXPECT_EQ(h.call(rq::CXAccessAppData, {global_write(17, std::vector<uint8_t>(434, 1))}).status,
            kDone);
}

TEST(ActiveUser, PeersMayClaimOnlyThemselves) {
  Harness h;
  const ClientPeer other{2, 1001, 43};
  const ClientPeer root{3, 0, 44};
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(98, user_record(1001, 2))}).status,
            kPermission);
  EXPECT_TRUE(h.sink.messages.empty());
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(98, user_record(1000, 3))}).status,
            kBadRequest);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_write(98, user_record(1000, 2))}).status, kDone);
  ASSERT_EQ(h.sink.messages.size(), 1u);
  EXPECT_EQ(h.sink.messages[0], (std::pair<uint32_t, uint64_t>(14, 1000)));
  EXPECT_EQ(message_type(14), 0xF948800Eu);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_read(98, 8)}).data,
            (std::vector<uint8_t>{0, 0, 0x03, 0xE8, 0, 2, 0, 0}));

  // Another user can neither unseat nor use the active user's driver...
  EXPECT_EQ(
      h.call_as(other, rq::CXAccessGlobalData, {global_write(98, user_record(1001, 1))}).status,
      kDone);
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {global_read(98, 8)}).data[5], 2);
  EXPECT_EQ(h.call_as(other, rq::GetActionListSize, {button(0, 0)}).status, kPermission);
  EXPECT_EQ(h.call_as(other, rq::GetMouseInfo, {}).status, kDone);
  ASSERT_TRUE(h.state.events.push(2, std::vector<uint8_t>{'u', 0}));
  EXPECT_EQ(h.call_as(other, rq::GetNextBackgroundEvent, {}).status, kNothing);
  EXPECT_EQ(h.state.events.size(), 1u);
  // ...but may take the driver over for itself, or as the placeholder uid.
  EXPECT_EQ(h.call_as(other, rq::CXAccessGlobalData, {global_write(98, user_record(1, 2))}).status,
            kDone);
  EXPECT_EQ(h.sink.messages.back(), (std::pair<uint32_t, uint64_t>(14, 1)));
  EXPECT_EQ(h.call_as(other, rq::GetActionListSize, {button(0, 0)}).status, 0);
  // Root may name anyone, and clear anyone.
  EXPECT_EQ(
      h.call_as(root, rq::CXAccessGlobalData, {global_write(98, user_record(1234, 2))}).status,
      kDone);
  EXPECT_EQ(h.call(rq::GetActionListSize, {button(0, 0)}).status, kPermission);
  EXPECT_EQ(h.call_as(root, rq::CXAccessGlobalData, {global_write(98, user_record(1, 1))}).status,
            kDone);
  EXPECT_EQ(h.call(rq::GetNextBackgroundEvent).status, 2);
}

TEST(Dataspaces, HintsIndicesAndLimits) {
  Harness h;
  auto allocate = [&](int16_t hint, int16_t size) {
    return h
        .call(rq::AllocateSpace,
              {Wire().u16(static_cast<uint16_t>(hint)).u16(static_cast<uint16_t>(size)).u32(0)})
        .status;
  };
  auto size_of = [&](int16_t index) {
    return h.call(rq::GetDataSize, {Wire().u16(static_cast<uint16_t>(index)).u16(0).u32(0)}).status;
  };
  auto deallocate = [&](int16_t index) {
    return h.call(rq::DeallocateSpace, {Wire().u16(static_cast<uint16_t>(index)).u16(0).u32(0)})
        .status;
  };
  EXPECT_EQ(allocate(-1, 6), 1);
  EXPECT_EQ(allocate(-1, 2), 2);
  EXPECT_EQ(allocate(-2, 3), 256);
  EXPECT_EQ(allocate(300, 4), 300);
  EXPECT_EQ(allocate(0, 1), 0);
  EXPECT_EQ(allocate(320, 4), kBadRequest);
  EXPECT_EQ(allocate(-3, 4), kBadRequest);
  EXPECT_EQ(allocate(-1, -1), kBadRequest);
  EXPECT_EQ(size_of(1), 6);
  EXPECT_EQ(size_of(300), 4);
  EXPECT_EQ(size_of(3), kNotFound);

  const std::vector<uint8_t> url = {'a', 'b', 0};
  EXPECT_EQ(h.call(rq::CXAccessData, {Wire().u16(1).u16(3).u32(0), url}).status, kDone);
  EXPECT_EQ(h.call(rq::CXAccessData, {Wire().u16(1).u16(10).u32(1)}).data,
            (std::vector<uint8_t>{'a', 'b', 0, 0, 0, 0}));
  EXPECT_EQ(h.call(rq::CXAccessData, {Wire().u16(2).u16(3).u32(0), url}).status, kBadRequest);
  EXPECT_EQ(h.call(rq::CXAccessData, {Wire().u16(9).u16(1).u32(1)}).status, kNotFound);

  // Local dataspaces belong to the edited set; -1 frees them all, not the global ones.
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("mail").str("Mail")}).status, kDone);
  EXPECT_EQ(size_of(1), kNotFound);
  EXPECT_EQ(size_of(256), 3);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("").str("")}).status, kDone);
  EXPECT_EQ(deallocate(-1), kDone);
  EXPECT_EQ(size_of(1), kNotFound);
  EXPECT_EQ(size_of(256), 3);
  EXPECT_EQ(deallocate(256), kDone);
  EXPECT_EQ(deallocate(256), kNotFound);
  EXPECT_EQ(deallocate(-2), kBadRequest);

  for (int i = 0; i < 63; ++i) ASSERT_GE(allocate(-2, 1), 256);
  EXPECT_EQ(allocate(-2, 1), kNoRoom);
  EXPECT_EQ(allocate(-1, 0x7FFF), 1);
}

TEST(ActionLists, ListsAndNamesPerButtonModifiersAndEntry) {
  Harness h;
  const auto two = items_wire({make_act_item(0, 0, 1, act_code::primary_press, 0),
                               make_act_item(0, 0, 2, act_code::primary_release, 7)},
                              true);
  EXPECT_EQ(h.call(rq::SetActionList, {button(4, 2), Wire().u16(2), two}).status, kDone);
  EXPECT_EQ(h.call(rq::GetActionListSize, {button(4, 2)}).status, 2);
  EXPECT_EQ(h.call(rq::GetActionListSize, {button(4, 0)}).status, 0);
  const Answer list = h.call(rq::GetActionList, {button(4, 2)});
  EXPECT_EQ(list.status, 2);
  // The stored links are cleared: they were the sender's.
  EXPECT_EQ(list.data, Wire()
                           .u16(2)
                           .raw(items_wire(
                               {make_act_item(0, 0, 1, 1, 0), make_act_item(0, 0, 2, 2, 7)}, false))
                           .bytes());
  EXPECT_EQ(h.call(rq::SetActionList, {button(4, 2), Wire().u16(3), two}).status, kBadRequest);
  EXPECT_EQ(h.call(rq::SetActionList, {button(4, 2), Wire().u16(0xFFFF)}).status, kBadRequest);

  EXPECT_EQ(h.call(rq::SetMenuActionList, {button(4, 2, 3), Wire().u16(2), two}).status, kDone);
  EXPECT_EQ(h.call(rq::GetMenuActionListSize, {button(4, 2, 3)}).status, 2);
  EXPECT_EQ(h.call(rq::GetMenuActionListSize, {button(4, 2, 2)}).status, 0);
  EXPECT_EQ(h.call(rq::GetMenuActionList, {button(4, 2, 256)}).status, kBadRequest);

  const auto name = name_record("Finder Copy", 0x8006);
  EXPECT_EQ(h.call(rq::SetActionName, {button(4, 2, 1), name}).status, kDone);
  const Answer got = h.call(rq::GetActionName, {button(4, 2, 1)});
  EXPECT_EQ(got.status, kDone);
  EXPECT_EQ(got.data, std::vector<uint8_t>(name.begin(), name.end()));
  const Answer none = h.call(rq::GetActionName, {button(4, 2, 0)});
  EXPECT_EQ(none.status, kNothing);
  EXPECT_EQ(none.data, std::vector<uint8_t>(36));

  // Preset buttons stay with the global set whatever set is edited.
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("mail").str("Mail")}).status, kDone);
  EXPECT_EQ(h.call(rq::GetActionListSize, {button(4, 2)}).status, 0);
  EXPECT_EQ(h.call(rq::SetActionList, {button(18, 0), Wire().u16(2), two}).status, kDone);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("").str("")}).status, kDone);
  EXPECT_EQ(h.call(rq::GetActionListSize, {button(18, 0)}).status, 2);
  EXPECT_EQ(h.call(rq::GetActionListSize, {button(4, 2)}).status, 2);
}

TEST(ApplicationSets, EditingListingDeletingAndTheFront) {
  Harness h;
  EXPECT_EQ(h.call(rq::QueryEditApp).data, (std::vector<uint8_t>{0, 0}));
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("Default").str("All Applications")}).status,
            kDone);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("safari").str("Safari")}).status, kDone);
  EXPECT_EQ(h.call(rq::QueryEditApp).data, Wire().str("safari").str("Safari").bytes());
  EXPECT_EQ(h.call(rq::GetAppName, {Wire().u16(1)}).data,
            Wire().str("Default").str("All Applications").bytes());
  EXPECT_EQ(h.call(rq::GetAppName, {Wire().u16(2)}).status, kDone);
  EXPECT_EQ(h.call(rq::GetAppName, {Wire().u16(3)}).status, kNotFound);
  EXPECT_EQ(h.call(rq::GetAppName, {Wire().u16(0)}).status, kNotFound);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str(std::string(32, 'k')).str("x")}).status,
            kBadRequest);

  // The front application picks its set by name.
  const auto click = items_wire({make_act_item(0, 0, 1, 1, 0)}, false);
  EXPECT_EQ(h.call(rq::SetActionList, {button(0, 0), Wire().u16(1), click}).status, kDone);
  EXPECT_EQ(h.call(rq::CXDoSwitchApp, {Wire().u32(7).str("Safari")}).status, kDone);
  EXPECT_EQ(h.state.apps.front().key, "safari");
  const std::vector<uint8_t> pascal = {4, 'M', 'a', 'i', 'l'};
  EXPECT_EQ(h.call(rq::CXDoSwitchApp, {Wire().u32(5).raw(pascal)}).status, kNothing);
  EXPECT_EQ(h.state.apps.front_name(), "Mail");

  // The cache of a set, addressed by its place in the list.
  const std::vector<uint8_t> cache = {1, 2, 3};
  EXPECT_EQ(h.call(rq::AccessCacheData, {Wire().u32(3).u16(1).u8(1).u8(0), cache}).data,
            Wire().u32(3).bytes());
  EXPECT_EQ(h.call(rq::GetCacheSize, {Wire().u16(1)}).data, Wire().u32(3).bytes());
  EXPECT_EQ(h.call(rq::AccessCacheData, {Wire().u32(5).u16(1).u8(2).u8(0)}).data,
            Wire().raw(cache).u16(0).u32(3).bytes());
  EXPECT_EQ(h.call(rq::AccessCacheData, {Wire().u32(70000).u16(1).u8(2).u8(0)}).status,
            kBadRequest);

  // Deleting the first set until none is left ends, and keeps the global settings.
  int rounds = 0;
  while (h.call(rq::GetAppName, {Wire().u16(1)}).status == kDone && rounds++ < 5) {
    const std::vector<uint8_t> names = h.call(rq::GetAppName, {Wire().u16(1)}).data;
    const std::string key(reinterpret_cast<const char*>(names.data()));
    EXPECT_EQ(h.call(rq::DeleteAppName, {Wire().str(key)}).status, kDone);
  }
  EXPECT_EQ(rounds, 2);
  EXPECT_EQ(h.call(rq::QueryEditApp).data, (std::vector<uint8_t>{0, 0}));
  EXPECT_EQ(h.call(rq::DeleteAppName, {Wire().str("safari")}).status, kNotFound);
  EXPECT_EQ(h.state.apps.front().id, 0u);

  for (int i = 0; i < 64; ++i) {
    ASSERT_EQ(h.call(rq::CurrentEditApp, {Wire().str("app" + std::to_string(i)).str("")}).status,
              kDone);
  }
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("one-more").str("")}).status, kNoRoom);
}

TEST(ApplicationSets, ControlPanelModeIsHeldByOneConnection) {
  Harness h;
  const ClientPeer second{7, 1000, 50};
  EXPECT_EQ(h.call(rq::InControlPanel, {Wire().u8(1)}).status, kDone);
  EXPECT_EQ(h.call_as(second, rq::InControlPanel, {Wire().u8(1)}).status, kNothing);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("mail").str("Mail")}).status, kDone);
  h.handler.closed(h.peer);
  EXPECT_EQ(h.state.apps.edited().id, 0u);  // leaving the mode edits the global set again
  EXPECT_EQ(h.call_as(second, rq::InControlPanel, {Wire().u8(1)}).status, kDone);
  EXPECT_EQ(h.call_as(second, rq::InControlPanel, {Wire().u8(0)}).status, kDone);
  EXPECT_EQ(h.call(rq::InControlPanel, {Wire().u8(1)}).status, kDone);
}

TEST(FlattenedExchange, MouseInformationAndActionLists) {
  Harness h;
  auto exchange = [&](const CXFlattenedData& request) {
    std::vector<uint8_t> in(request.getData(), request.getData() + request.getSize());
    in.resize(0x10000);
    std::vector<uint8_t> out(0x10000);
    EXPECT_EQ(h.handler.flattened(h.peer, in, out), 0);
    return CXFlattenedData(out.data(), out.size());
  };
  CXFlattenedData info_request;
  info_request.write(uint32_t{11});
  CXFlattenedData info = exchange(info_request);
  EXPECT_EQ(info.readShort(), kDone);
  EXPECT_EQ(load_be16(info.readMouseVersionInfo().bytes.data() + 2), 0x0300);

  act_item items[2] = {make_act_item(0, 0, 1, 4, 0), make_act_item(0, 0, 2, 8, 0)};
  items[0].link = &items[1];
  const auto name = name_record("Right-Click", 0);
  action_list_info info_record;
  std::copy(name.begin(), name.end(), info_record.bytes.begin());
  CXFlattenedData set;
  set.write(uint32_t{12});
  set.write(uint8_t{1});
  set.write(uint8_t{0});
  set.write(items);
  set.write(info_record);
  EXPECT_EQ(exchange(set).readShort(), kDone);

  CXFlattenedData get;
  get.write(uint32_t{5});
  get.write(uint8_t{1});
  get.write(uint8_t{0});
  CXFlattenedData list = exchange(get);
  EXPECT_EQ(list.readShort(), kDone);
  const act_item_chain chain = list.readActItem();
  ASSERT_EQ(chain.size(), 2u);
  EXPECT_EQ(chain.head()->link->act, 8);
  EXPECT_EQ(list.readActionListInfo().bytes, info_record.bytes);
  EXPECT_EQ(list.getDataSize(), 0u);

  get.write(uint8_t{0});  // one byte too many
  EXPECT_EQ(exchange(get).readShort(), kBadRequest);
  CXFlattenedData unknown;
  unknown.write(uint32_t{40});
  EXPECT_EQ(exchange(unknown).readShort(), kUnimplemented);
  std::vector<uint8_t> out(16);
  EXPECT_EQ(h.handler.flattened(h.peer, std::vector<uint8_t>{0, 0, 0, 200}, out), 0);
  EXPECT_EQ(load_be16(&out[4]), static_cast<uint16_t>(kBadRequest));
}

}  // namespace
}  // namespace cx::refdriver
