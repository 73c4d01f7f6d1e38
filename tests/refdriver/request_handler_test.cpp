// Every request of the reference driver, driven through its handler with
// transfer blocks built by the agent's writer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "model/action_codes.h"
#include "tests/refdriver/handler_harness.h"

namespace cx::refdriver {
namespace {

using namespace testing;

// 32-byte name, shortcut 255, pad, flags.
Bytes name_record(std::string_view name, uint16_t flags) {
  Bytes r(name.begin(), name.end());
  r.resize(32);
  return Wire().raw(r).u8(0xFF).u8(0).u16(flags).bytes();
}

// An 80-byte device descriptor: ProductID "P", DevType 2, DevKind 3, UniqueID,
// reserved, button count, wheel, ring, 8 bytes, MoveMultiplier 10, WirelessBatteryID.
Bytes descriptor(uint32_t unique_id, uint32_t buttons, bool wheel, uint16_t battery_id, bool ring) {
  Wire d;
  d.u8('P').raw(Bytes(23)).u16(2).u16(3).u32(unique_id).u32(0).u32(buttons).u32(wheel);
  d.u32(ring).raw(Bytes(8)).u16(10).u16(battery_id).raw(Bytes(20));
  return d.bytes();
}

Wire index_param(int16_t index) {
  return std::move(Wire().u16(static_cast<uint16_t>(index)).u16(0).u32(0));
}

TEST(RequestFraming, RepliesAreTransferBlocksWithTheStatus) {
  Harness h;
  std::vector<uint8_t> reply(64, 0xEE);
  EXPECT_EQ(h.handler.transfer(h.peer, h.request(rq::GetActionListSize, {button(3, 0)}), reply), 8);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 8), (Bytes{0, 0, 0, 8, 0, 0, 0x43, 0x21}));

  // A reply as long as the buffer does not fit: its length comes back, the
  // buffer is untouched, and a queued event stays queued.
  ASSERT_TRUE(h.state.events.push(9, Bytes(10, 'x')));
  const Bytes request = h.request(rq::GetNextBackgroundEvent);
  std::vector<uint8_t> tight(18, 0xEE);
  EXPECT_EQ(h.handler.transfer(h.peer, request, tight), 18);
  EXPECT_EQ(tight, Bytes(18, 0xEE));
  EXPECT_EQ(h.state.events.size(), 1u);
  std::vector<uint8_t> roomy(19);
  EXPECT_EQ(h.handler.transfer(h.peer, request, roomy), 18);
  EXPECT_EQ(h.state.events.size(), 0u);
  EXPECT_EQ(load_be16(&roomy[4]), 9);
}

TEST(RequestFraming, MalformedBlocksAreAnsweredWithErrors) {
  Harness h;
  const Bytes good = h.request(rq::GetMouseInfo);
  EXPECT_EQ(h.send(h.peer, good).status, kDone);
  Bytes bad = good;
  bad[CXTransferBlockLength(good.data()) - 1] ^= 1;  // checksum
  EXPECT_EQ(h.send(h.peer, bad).status, kBadRequest);
  for (const uint32_t wrong : {5u, Harness::kBuffer + 1}) {  // below the header, beyond the buffer
    bad = good;
    store_be32(bad.data(), wrong);
    EXPECT_EQ(h.send(h.peer, bad).status, kBadRequest);
  }
  EXPECT_EQ(h.send(h.peer, std::span<const uint8_t>(good).first(3)).status, kBadRequest);
  const Answer three = h.send(h.peer, Bytes{0, 0, 0, 9, 0, 0, 0, 0x43, 0x21});
  EXPECT_TRUE(three.valid);
  EXPECT_EQ(three.status, kBadRequest);  // no room for a request code
  EXPECT_EQ(h.call(rq::count).status, kUnimplemented);
  EXPECT_EQ(h.call(0xFFFFFFFF).status, kUnimplemented);
}

TEST(RequestFraming, EveryRequestRefusesParametersOfTheWrongSize) {
  Harness h;
  const Bytes name(36);
  const std::vector<std::pair<uint32_t, Wire>> valid = {
      {rq::InitializeDriver, Wire().u16(0)},
      {rq::CXAccessData, Wire().u16(1).u16(0).u32(1)},
      {rq::CXAccessGlobalData, record_read(2, 5)},
      {rq::AllocateSpace, Wire().u16(0xFFFF).u16(4).u32(0)},
      {rq::DeallocateSpace, index_param(300)},
      {rq::GetActionList, button(3, 0)},
      {rq::GetActionListSize, button(3, 0)},
      {rq::GetActionName, button(3, 0, 1)},
      {rq::GetDataSize, index_param(1)},
      {rq::GetMenuActionList, button(3, 0, 1)},
      {rq::GetMenuActionListSize, button(3, 0, 1)},
      {rq::SetActionList, button(3, 0).u16(0)},
      {rq::SetActionName, button(3, 0).raw(name)},
      {rq::SetMenuActionList, button(3, 0, 2).u16(0)},
      {rq::CXAccessAppData, record_read(72, 4)},
      {rq::CXDoSwitchApp, Wire().u32(4).str("Foo")},
      {rq::CurrentEditApp, edit("k", "n")},
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
    EXPECT_EQ(h.call(code, {Wire(params).u8(0)}).status, kBadRequest);
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
  EXPECT_EQ(Bytes(info.data.begin(), info.data.begin() + 8), (Bytes{0, 180, 3, 0, 1, 2, 0, 2}));
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
  const Bytes levels = {1, 2, 3, 4, 5};
  h.steps({{rq::CXAccessGlobalData, record_write(2, levels), kDone},
           {rq::CXAccessGlobalData, record_write(2, Bytes(4)), kBadRequest},
           {rq::CXAccessGlobalData, Wire().u32(0).u16(2).u8(3).u8(0), kBadRequest},  // mode 3
           // Indices nobody names hold what was written, within bounds.
           {rq::CXAccessGlobalData, record_write(500, Bytes{7, 8, 9}), kDone},
           {rq::CXAccessGlobalData, record_write(501, Bytes(513)), kBadRequest},
           {rq::CXAccessGlobalData, record_read(501, 513), kBadRequest}});
  EXPECT_EQ(h.data(rq::CXAccessGlobalData, record_read(2, 5)), levels);
  EXPECT_EQ(h.data(rq::CXAccessGlobalData, record_read(500, 6)), (Bytes{7, 8, 9}));
  EXPECT_EQ(h.data(rq::CXAccessGlobalData, record_read(499, 6)), Bytes(6));
  for (uint16_t i = 1001; i < 1064; ++i) {
    ASSERT_EQ(h.call(rq::CXAccessGlobalData, {record_write(i, Bytes{1})}).status, kDone);
  }
  EXPECT_EQ(h.call(rq::CXAccessGlobalData, {record_write(2000, Bytes{1})}).status, kNoRoom);

  // Application data belongs to the set being edited.
  const Bytes scroll = {3, 0, 0, 6};
  h.steps({{rq::CurrentEditApp, edit("safari", "Safari"), kDone},
           {rq::CXAccessAppData, record_write(72, scroll), kDone},
           {rq::CXAccessAppData, record_write(17, Bytes(434, 1)), kDone}});
  EXPECT_EQ(h.data(rq::CXAccessAppData, record_read(72, 4)), scroll);
  EXPECT_EQ(h.call(rq::CurrentEditApp, {edit("", "")}).status, kDone);
  EXPECT_EQ(h.data(rq::CXAccessAppData, record_read(72, 4)), Bytes(4));
}

TEST(ActiveUser, PeersMayClaimOnlyThemselves) {
  Harness h;
  const ClientPeer other{2, 1001, 43};
  const ClientPeer root{3, 0, 44};
  h.steps({{rq::CXAccessGlobalData, claim(1001, 2), kPermission}});
  EXPECT_TRUE(h.sink.messages.empty());
  h.steps({{rq::CXAccessGlobalData, claim(1000, 3), kBadRequest},
           {rq::CXAccessGlobalData, claim(1000, 2), kDone}});
  EXPECT_EQ(h.sink.messages, (std::vector<std::pair<uint32_t, uint64_t>>{{14, 1000}}));
  EXPECT_EQ(h.data(rq::CXAccessGlobalData, record_read(98, 8)), (Bytes{0, 0, 3, 0xE8, 0, 2, 0, 0}));

  // Another user can neither unseat nor use the active user's driver...
  ASSERT_TRUE(h.state.events.push(2, Bytes{'u', 0}));
  h.steps({{rq::CXAccessGlobalData, claim(1001, 1), kDone},
           {rq::GetActionListSize, button(0, 0), kPermission},
           {rq::GetMouseInfo, {}, kDone},
           {rq::GetNextBackgroundEvent, {}, kNothing}},
          &other);
  EXPECT_EQ(h.data(rq::CXAccessGlobalData, record_read(98, 8))[5], 2);
  EXPECT_EQ(h.state.events.size(), 1u);
  // ...nor take it as the placeholder uid (nor may the active user), but
  // may take it over for itself, after which the placeholder stays shut.
  h.steps({{rq::CXAccessGlobalData, claim(1, 2), kPermission}}, &other);
  h.steps({{rq::CXAccessGlobalData, claim(1, 2), kPermission},
           {rq::CXAccessGlobalData, claim(1, 1), kPermission}});
  EXPECT_EQ(h.data(rq::CXAccessGlobalData, record_read(98, 8)), (Bytes{0, 0, 3, 0xE8, 0, 2, 0, 0}));
  h.steps({{rq::CXAccessGlobalData, claim(1001, 2), kDone},
           {rq::GetActionListSize, button(0, 0), 0},
           {rq::CXAccessGlobalData, claim(1, 2), kPermission}},
          &other);
  EXPECT_EQ(h.sink.messages.back(), (std::pair<uint32_t, uint64_t>(14, 1001)));
  // Root may name anyone, and clear anyone; once cleared, or while only the
  // placeholder holds it, the placeholder is open to anyone again.
  h.steps({{rq::CXAccessGlobalData, claim(1234, 2), kDone}}, &root);
  h.steps({{rq::GetActionListSize, button(0, 0), kPermission}});
  h.steps({{rq::CXAccessGlobalData, claim(1, 1), kDone}}, &root);
  h.steps({{rq::GetNextBackgroundEvent, {}, 2}});
  h.steps({{rq::CXAccessGlobalData, claim(1, 2), kDone}}, &other);
  h.steps({{rq::CXAccessGlobalData, claim(1, 2), kDone}, {rq::GetActionListSize, button(0, 0), 0}});
  EXPECT_EQ(h.sink.messages.back(), (std::pair<uint32_t, uint64_t>(14, 1)));
}

TEST(ActiveUser, RepeatedClaimsAreQuietAndEachUidsPostsAreBounded) {
  Harness h;
  const ClientPeer restarted{5, 1000, 50};
  const ClientPeer other{6, 1001, 51};
  for (int i = 0; i < 1000; ++i) h.call(rq::CXAccessGlobalData, {claim(1000)});
  h.call_as(restarted, rq::CXAccessGlobalData, {claim(1000)});
  EXPECT_EQ(h.sink.messages, (std::vector<std::pair<uint32_t, uint64_t>>{{14, 1000}, {14, 1000}}));

  // A record changed by every write: one uid's posts are cut off within the
  // second, another uid's still go out, and the next second opens again.
  h.sink.messages.clear();
  ++h.clock;
  const auto clear = claim(1000, 1);
  for (int i = 0; i < 1000; ++i) h.call(rq::CXAccessGlobalData, {i % 2 ? clear : claim(1000)});
  EXPECT_EQ(h.sink.messages.size(), PostLimiter::kPostsPerSecond);
  EXPECT_EQ(std::count_if(h.sink.lines.begin(), h.sink.lines.end(),
                          [](const std::string& l) { return l.ends_with("the rest dropped"); }),
            1);
  h.call_as(other, rq::CXAccessGlobalData, {claim(1001)});
  EXPECT_EQ(h.sink.messages.back(), (std::pair<uint32_t, uint64_t>(14, 1001)));
  ++h.clock;
  h.call(rq::CXAccessGlobalData, {claim(1000)});
  EXPECT_EQ(h.sink.messages.back(), (std::pair<uint32_t, uint64_t>(14, 1000)));
  EXPECT_EQ(h.sink.messages.size(), PostLimiter::kPostsPerSecond + 2);
}

TEST(Dataspaces, HintsIndicesAndLimits) {
  Harness h;
  const auto allocate = [](int16_t hint, int16_t size) {
    return std::move(
        Wire().u16(static_cast<uint16_t>(hint)).u16(static_cast<uint16_t>(size)).u32(0));
  };
  const Bytes url = {'a', 'b', 0};
  h.steps({{rq::AllocateSpace, allocate(-1, 6), 1},
           {rq::AllocateSpace, allocate(-1, 2), 2},
           {rq::AllocateSpace, allocate(-2, 3), 256},
           {rq::AllocateSpace, allocate(300, 4), 300},
           {rq::AllocateSpace, allocate(0, 1), 0},
           {rq::AllocateSpace, allocate(320, 4), kBadRequest},
           {rq::AllocateSpace, allocate(-3, 4), kBadRequest},
           {rq::AllocateSpace, allocate(-1, -1), kBadRequest},
           {rq::GetDataSize, index_param(1), 6},
           {rq::GetDataSize, index_param(300), 4},
           {rq::GetDataSize, index_param(3), kNotFound},
           {rq::CXAccessData, Wire().u16(1).u16(3).u32(0).raw(url), kDone},
           {rq::CXAccessData, Wire().u16(2).u16(3).u32(0).raw(url), kBadRequest},  // too long
           {rq::CXAccessData, Wire().u16(9).u16(1).u32(1), kNotFound},
           // Local dataspaces belong to the edited set; -1 frees them all, not the global ones.
           {rq::CurrentEditApp, edit("mail", "Mail"), kDone},
           {rq::GetDataSize, index_param(1), kNotFound},
           {rq::GetDataSize, index_param(256), 3},
           {rq::CurrentEditApp, edit("", ""), kDone},
           {rq::DeallocateSpace, index_param(-1), kDone},
           {rq::GetDataSize, index_param(1), kNotFound},
           {rq::GetDataSize, index_param(256), 3},
           {rq::DeallocateSpace, index_param(256), kDone},
           {rq::DeallocateSpace, index_param(256), kNotFound},
           {rq::DeallocateSpace, index_param(-2), kBadRequest}});
  EXPECT_EQ(h.data(rq::CXAccessData, Wire().u16(300).u16(10).u32(1)), Bytes(4));
  for (int i = 0; i < 63; ++i) ASSERT_GE(h.call(rq::AllocateSpace, {allocate(-2, 1)}).status, 256);
  h.steps({{rq::AllocateSpace, allocate(-2, 1), kNoRoom},
           {rq::AllocateSpace, allocate(-1, 0x7FFF), 1},
           {rq::CXAccessData, Wire().u16(1).u16(3).u32(0).raw(url), kDone}});
  EXPECT_EQ(h.data(rq::CXAccessData, Wire().u16(1).u16(5).u32(1)), (Bytes{'a', 'b', 0, 0, 0}));
}

TEST(ActionLists, ListsAndNamesPerButtonModifiersAndEntry) {
  Harness h;
  const Bytes two = items_wire({make_act_item(0, 0, 1, act_code::primary_press, 0),
                                make_act_item(0, 0, 2, act_code::primary_release, 7)},
                               true);
  const auto name = name_record("Finder Copy", 0x8006);
  h.steps({{rq::SetActionList, button(4, 2).u16(2).raw(two), kDone},
           {rq::GetActionListSize, button(4, 2), 2},
           {rq::GetActionListSize, button(4, 0), 0},
           {rq::GetActionList, button(4, 2), 2},
           {rq::SetActionList, button(4, 2).u16(3).raw(two), kBadRequest},
           {rq::SetActionList, button(4, 2).u16(0xFFFF), kBadRequest},
           {rq::SetMenuActionList, button(4, 2, 3).u16(2).raw(two), kDone},
           {rq::GetMenuActionListSize, button(4, 2, 3), 2},
           {rq::GetMenuActionListSize, button(4, 2, 2), 0},
           {rq::GetMenuActionList, button(4, 2, 256), kBadRequest},
           {rq::SetActionName, button(4, 2, 1).raw(name), kDone},
           {rq::GetActionName, button(4, 2, 1), kDone},
           {rq::GetActionName, button(4, 2, 0), kNothing},
           // Preset buttons stay with the global set whatever set is edited.
           {rq::CurrentEditApp, edit("mail", "Mail"), kDone},
           {rq::GetActionListSize, button(4, 2), 0},
           {rq::SetActionList, button(18, 0).u16(2).raw(two), kDone},
           {rq::CurrentEditApp, edit("", ""), kDone},
           {rq::GetActionListSize, button(18, 0), 2},
           {rq::GetActionListSize, button(4, 2), 2}});
  // The stored links are cleared: they were the sender's.
  EXPECT_EQ(h.data(rq::GetActionList, button(4, 2)),
            Wire()
                .u16(2)
                .raw(items_wire({make_act_item(0, 0, 1, 1, 0), make_act_item(0, 0, 2, 2, 7)}))
                .bytes());
  EXPECT_EQ(h.data(rq::GetActionName, button(4, 2, 1)), name);
  EXPECT_EQ(h.data(rq::GetActionName, button(4, 2, 0)), Bytes(36));
}

TEST(ApplicationSets, EditingListingDeletingAndTheFront) {
  Harness h;
  EXPECT_EQ(h.data(rq::QueryEditApp), (Bytes{0, 0}));
  h.steps({{rq::CurrentEditApp, edit("Default", "All Applications"), kDone},
           {rq::CurrentEditApp, edit("safari", "Safari"), kDone},
           {rq::GetAppName, Wire().u16(2), kDone},
           {rq::GetAppName, Wire().u16(3), kNotFound},
           {rq::GetAppName, Wire().u16(0), kNotFound},
           {rq::CurrentEditApp, edit(std::string(32, 'k'), "x"), kBadRequest},
           // The front application picks its set by name.
           {rq::SetActionList, button(0, 0).u16(1).raw(items_wire({click_actlist[0]})), kDone},
           {rq::CXDoSwitchApp, Wire().u32(7).str("Safari"), kDone},
           {rq::CXDoSwitchApp, Wire().u32(5).u8(4).raw(Bytes{'M', 'a', 'i', 'l'}), kNothing},
           // The cache of a set, addressed by its place in the list.
           {rq::AccessCacheData, Wire().u32(70000).u16(1).u8(2).u8(0), kBadRequest}});
  EXPECT_EQ(h.data(rq::QueryEditApp), edit("safari", "Safari").bytes());
  EXPECT_EQ(h.data(rq::GetAppName, Wire().u16(1)), edit("Default", "All Applications").bytes());
  EXPECT_EQ(h.state.apps.front_name(), "Mail");
  EXPECT_EQ(h.data(rq::AccessCacheData, Wire().u32(3).u16(1).u8(1).u8(0).raw(Bytes{1, 2, 3})),
            Wire().u32(3).bytes());
  EXPECT_EQ(h.data(rq::GetCacheSize, Wire().u16(1)), Wire().u32(3).bytes());
  EXPECT_EQ(h.data(rq::AccessCacheData, Wire().u32(5).u16(1).u8(2).u8(0)),
            Wire().raw(Bytes{1, 2, 3}).u16(0).u32(3).bytes());
  h.steps({{rq::CXDoSwitchApp, Wire().u32(7).str("Safari"), kDone}});
  EXPECT_EQ(h.state.apps.front().key, "safari");

  // Deleting the first set until none is left ends, and keeps the global settings.
  int rounds = 0;
  while (h.call(rq::GetAppName, {Wire().u16(1)}).status == kDone && rounds++ < 5) {
    const Bytes names = h.data(rq::GetAppName, Wire().u16(1));
    const std::string key(reinterpret_cast<const char*>(names.data()));
    EXPECT_EQ(h.call(rq::DeleteAppName, {Wire().str(key)}).status, kDone);
  }
  EXPECT_EQ(rounds, 2);
  EXPECT_EQ(h.data(rq::QueryEditApp), (Bytes{0, 0}));
  EXPECT_EQ(h.call(rq::DeleteAppName, {Wire().str("safari")}).status, kNotFound);
  EXPECT_EQ(h.state.apps.front().id, 0u);

  for (int i = 0; i < 64; ++i) {
    ASSERT_EQ(h.call(rq::CurrentEditApp, {edit("app" + std::to_string(i), "")}).status, kDone);
  }
  EXPECT_EQ(h.call(rq::CurrentEditApp, {edit("one-more", "")}).status, kNoRoom);
}

TEST(ApplicationSets, ControlPanelModeIsHeldByOneConnection) {
  Harness h;
  const ClientPeer second{7, 1000, 50};
  h.steps({{rq::InControlPanel, Wire().u8(1), kDone}, {rq::CurrentEditApp, edit("m", "M"), kDone}});
  h.steps({{rq::InControlPanel, Wire().u8(1), kNothing}}, &second);
  h.handler.closed(h.peer);
  EXPECT_EQ(h.state.apps.edited().id, 0u);  // leaving the mode edits the global set again
  h.steps({{rq::InControlPanel, Wire().u8(1), kDone}, {rq::InControlPanel, Wire().u8(0), kDone}},
          &second);
  h.steps({{rq::InControlPanel, Wire().u8(1), kDone}});
}

TEST(FlattenedExchange, MouseInformationAndActionLists) {
  Harness h;
  // A flattened record: its 32-bit size, then the values.
  const auto flat = [](const Wire& values) {
    return Wire().u32(static_cast<uint32_t>(4 + values.bytes().size())).raw(values).bytes();
  };
  const auto status = [&](int16_t s) { return flat(Wire().u16(static_cast<uint16_t>(s))); };
  const auto exchange = [&](Bytes request) {
    request.resize(0x10000);
    Bytes out(0x10000);
    EXPECT_EQ(h.handler.flattened(h.peer, request, out), 0);
    out.resize(std::min<uint32_t>(load_be32(out.data()), 0x10000));
    return out;
  };
  const Bytes info = exchange(flat(Wire().u32(11)));
  ASSERT_EQ(info.size(), 4u + 2 + 180);
  EXPECT_EQ(load_be16(&info[4]), kDone);
  EXPECT_EQ(load_be16(&info[6 + 2]), 0x0300);

  const auto name = name_record("Right-Click", 0);
  const Bytes items =
      items_wire({make_act_item(0, 0, 1, 4, 0), make_act_item(0, 0, 2, 8, 0)}, true);
  EXPECT_EQ(exchange(flat(Wire().u32(12).u8(1).u8(0).u16(2).raw(items).raw(name))), status(kDone));
  const Wire get = std::move(Wire().u32(5).u8(1).u8(0));
  EXPECT_EQ(exchange(flat(get)), flat(Wire().u16(kDone).u16(2).raw(items).raw(name)));
  EXPECT_EQ(exchange(flat(Wire(get).u8(0))), status(kBadRequest));  // one byte too many
  EXPECT_EQ(exchange(flat(Wire().u32(40))), status(kUnimplemented));
  Bytes out(16);
  EXPECT_EQ(h.handler.flattened(h.peer, Bytes{0, 0, 0, 200}, out), 0);  // beyond the buffer
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 6), status(kBadRequest));
}

}  // namespace
}  // namespace cx::refdriver
