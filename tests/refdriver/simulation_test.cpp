// Simulated device activity: presses run the effective action list and
// queue the agent's work, menus, low batteries and the control commands.
#include <gtest/gtest.h>

#include <functional>

#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "refdriver/control_commands.h"
#include "refdriver/driver_status.h"
#include "refdriver/event_codes.h"
#include "refdriver/request_codes.h"
#include "refdriver/simulator.h"
#include "tests/refdriver/handler_harness.h"

namespace cx::refdriver {
namespace {

using testing::Harness;
using testing::Wire;
namespace rq = request;
using Bytes = std::vector<uint8_t>;
using Message = std::pair<uint32_t, uint64_t>;

Bytes build(const std::function<uint32_t(uint8_t*, uint32_t)>& builder) {
  Bytes b(4096);
  b.resize(builder(b.data(), 4096));
  return b;
}

Bytes c_string(std::string_view s) {
  Bytes b(s.begin(), s.end());
  b.push_back(0);
  return b;
}

Wire button(uint8_t b, uint8_t mods, uint16_t entry = 0) {
  return std::move(Wire().u8(b).u8(mods).u16(entry));
}

Bytes items(std::initializer_list<act_item> list) {
  Bytes out;
  for (const act_item& item : list) {
    out.resize(out.size() + 16);
    encode_act_item(item, &out[out.size() - 16]);
  }
  return out;
}

struct Sim : Harness {
  Simulator sim{state, sink};

  // Takes every queued event through the agent's request.
  std::vector<std::pair<int16_t, Bytes>> drain() {
    std::vector<std::pair<int16_t, Bytes>> events;
    for (auto e = call(rq::GetNextBackgroundEvent); e.status != 0;
         e = call(rq::GetNextBackgroundEvent)) {
      events.emplace_back(e.status, e.data);
    }
    return events;
  }
  int16_t allocate(std::string_view text) {
    const int16_t index =
        call(rq::AllocateSpace,
             {Wire().u16(0xFFFF).u16(static_cast<uint16_t>(text.size() + 1)).u32(0)})
            .status;
    const Bytes data = c_string(text);
    call(rq::CXAccessData,
         {Wire().u16(static_cast<uint16_t>(index)).u16(static_cast<uint16_t>(data.size())).u32(0),
          data});
    return index;
  }
  uint16_t global_word(uint16_t index) { return load_be16(state.global_record(index).data()); }
};

TEST(Press, TheFrontApplicationsListComesFirst) {
  Sim s;
  const Bytes click = items({click_actlist[0], click_actlist[1]});
  EXPECT_EQ(s.call(rq::SetActionList, {button(0, 0), Wire().u16(2), click}).status, kDone);
  EXPECT_EQ(s.call(rq::CurrentEditApp, {Wire().str("safari").str("Safari")}).status, kDone);
  EXPECT_EQ(s.call(rq::SetResponseData, {build([](uint8_t* b, uint32_t n) {
                     return build_launch_url_response_block(b, n, 0, 0, 0, false,
                                                            "http://example.com/");
                   })})
                .status,
            1);

  s.sim.press(0, 0);
  EXPECT_TRUE(s.state.events.all().empty());
  EXPECT_TRUE(s.sink.messages.empty());
  EXPECT_NE(s.sink.lines.back().find("primary button up"), std::string::npos);

  s.sim.front("Safari");
  s.sim.press(0, 0);
  EXPECT_EQ(s.sink.messages, (std::vector<Message>{{0xFFF, 0}}));
  EXPECT_EQ(s.drain(),
            (std::vector<std::pair<int16_t, Bytes>>{{2, c_string("http://example.com/")}}));

  s.sim.front("Mail");  // no set of its own: the global list
  s.sim.press(0, 0);
  EXPECT_TRUE(s.drain().empty());
  s.sim.press(0, 4);
  EXPECT_NE(s.sink.lines.back().find("no action list"), std::string::npos);
}

TEST(Press, AgentActionsAreQueuedWithTheirData) {
  Sim s;
  const int16_t text = s.allocate("pasted");
  const int16_t file = s.allocate("/tmp/file");
  const Bytes list =
      items({make_act_item(0, static_cast<uint16_t>(text), 2, act_code::paste_text, 0),
             make_act_item(0, static_cast<uint16_t>(file), 2, act_code::launch_file, 0),
             home_page_actlist[0], app_menu_actlist[0], toggle_hscroll_actlist[0],
             make_act_item(0, 0x41, 1, 0x0D00, 0)});
  EXPECT_EQ(s.call(rq::SetActionList, {button(1, 0), Wire().u16(6), list}).status, kDone);
  s.sim.press(1, 0);
  EXPECT_EQ(s.drain(),
            (std::vector<std::pair<int16_t, Bytes>>{
                {9, c_string("pasted")}, {1, c_string("/tmp/file")}, {6, {}}, {12, {}}}));
  EXPECT_EQ(s.sink.messages, (std::vector<Message>{{16, 0}, {0xFFF, 0}}));
  EXPECT_EQ(s.global_word(73), 1);  // a popup is pending
  EXPECT_EQ(s.global_word(13), 8);  // horizontal scrolling toggled on
  EXPECT_NE(s.sink.lines.back().find("keystroke: act=0x0d00 ch12=0x0041"), std::string::npos);

  // A dataspace gone missing is logged and nothing is queued for it.
  EXPECT_EQ(
      s.call(rq::DeallocateSpace, {Wire().u16(static_cast<uint16_t>(text)).u16(0).u32(0)}).status,
      kDone);
  s.sim.press(1, 0);
  EXPECT_EQ(s.drain().size(), 3u);
}

TEST(Press, PopupMenusAreListedAndRun) {
  Sim s;
  Bytes run = build(
      [](uint8_t* b, uint32_t n) { return build_menu_response_block(b, n, 0, 18, true, 2, ""); });
  for (const Bytes& entry : {build([](uint8_t*b, uint32_t n) {
                               return build_launch_url_response_block(b, n, 0, 18, 1, true,
                                                                      "http://a.example/");
                             }),
                             build([](uint8_t*b, uint32_t n) {
                               return build_actlist_response_block(
                                   b, n, 0, 18, 2, true, home_page_actlist.data(), 1, "Home");
                             })}) {
    run.insert(run.end(), entry.begin(), entry.end());
  }
  EXPECT_EQ(s.call(rq::SetResponseData, {run}).status, 3);
  EXPECT_EQ(s.call(rq::CheckMenuSize).status, kNothing);
  EXPECT_EQ(s.call(rq::SetAbsoluteMouse, {Wire().u32(100).u32(200)}).status, kDone);

  s.sim.press(18, 0);
  EXPECT_EQ(s.drain(), (std::vector<std::pair<int16_t, Bytes>>{{13, {}}}));
  const auto size = s.call(rq::CheckMenuSize);
  EXPECT_EQ(size.status, 1);
  EXPECT_EQ(size.data, Wire().u16(3).u16(18).bytes());
  const auto names = s.call(rq::GetMenuNames, {Wire().u16(3)});
  EXPECT_EQ(names.status, 3);
  Bytes expected(3 * 32);
  const std::string first = "a.example/";
  std::copy(first.begin(), first.end(), expected.begin());
  std::copy_n("Home", 4, expected.begin() + 32);
  Wire trailer;
  trailer.u32(100).u32(200);
  expected.insert(expected.end(), trailer.bytes().begin(), trailer.bytes().end());
  EXPECT_EQ(names.data, expected);

  EXPECT_EQ(s.call(rq::ExecuteMenuItems, {Wire().u16(1)}).status, kDone);
  EXPECT_EQ(s.drain(),
            (std::vector<std::pair<int16_t, Bytes>>{{2, c_string("http://a.example/")}}));
  EXPECT_EQ(s.call(rq::ExecuteMenuItems, {Wire().u16(3)}).status, kNotFound);
  EXPECT_EQ(s.call(rq::ClearAllMenuLists).status, kDone);
  EXPECT_EQ(s.call(rq::CheckMenuSize).status, kNothing);
  EXPECT_EQ(s.call(rq::GetMenuNames, {Wire().u16(3)}).status, kNothing);
  EXPECT_EQ(s.call(rq::ExecuteMenuItems, {Wire().u16(1)}).status, kNotFound);
}

TEST(Press, ReprogramUrlButtonsAskForTheBrowsersPage) {
  Sim s;
  std::array<uint8_t, 36> name{};
  store_be16(&name[34], 0x8000);
  const Bytes one = items({home_page_actlist[0]});
  EXPECT_EQ(s.call(rq::SetActionList, {button(20, 0), Wire().u16(1), one}).status, kDone);
  EXPECT_EQ(s.call(rq::SetActionName, {button(20, 0), name}).status, kDone);
  s.state.global_record(90)[3] = 1;  // the agent's capture flag
  s.sim.press(20, 0);
  EXPECT_EQ(s.drain(), (std::vector<std::pair<int16_t, Bytes>>{{3, {0, 20}}}));
  EXPECT_EQ(s.state.global_record(90)[3], 0);
}

TEST(LowBattery, AsksForThePreviousTimeThenAlerts) {
  Sim s;
  auto table = [&] {
    return s.call(rq::CXAccessGlobalData, {Wire().u32(88).u16(91).u8(2).u8(0)}).data;
  };
  auto write_back = [&](Bytes t) {
    return s.call(rq::CXAccessGlobalData, {Wire().u32(88).u16(91).u8(1).u8(0), t}).status;
  };
  ASSERT_TRUE(s.sim.low_battery(12));
  EXPECT_EQ(s.sink.messages, (std::vector<Message>{{10, 0}}));
  Bytes t = table();
  EXPECT_EQ(Bytes(t.begin(), t.begin() + 16),
            (Bytes{0, 1, 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0}));

  // The agent has no previous time: the alert is due now.
  store_be16(&t[12], 0);
  EXPECT_EQ(write_back(t), kDone);
  EXPECT_EQ(s.sink.messages.back(), (Message{11, 0}));
  t = table();
  EXPECT_EQ(load_be32(&t[8]), 5000u);
  EXPECT_EQ(load_be16(&t[12]), 8);
  store_be16(&t[12], 0);
  EXPECT_EQ(write_back(t), kDone);

  // Too soon after the last alert: no new one.
  s.clock = 5100;
  ASSERT_TRUE(s.sim.low_battery(12));
  t = table();
  EXPECT_EQ(load_be32(&t[8]), 5000u);
  store_be16(&t[12], 0);
  EXPECT_EQ(write_back(t), kDone);
  EXPECT_EQ(s.sink.messages.back(), (Message{10, 0}));
  EXPECT_EQ(load_be16(&table()[12]), 0);

  store_be16(&t[0], 8);
  EXPECT_EQ(write_back(t), kBadRequest);
  for (uint16_t id = 1; id < 7; ++id) ASSERT_TRUE(s.sim.low_battery(id));
  EXPECT_FALSE(s.sim.low_battery(99));
}

TEST(ControlCommands, LinesDriveTheSimulation) {
  Sim s;
  auto run = [&](std::string_view line) { return run_control_command(s.sim, s.state, line); };
  EXPECT_EQ(run("press 3 --mods 0x10"), "ok\n");
  EXPECT_NE(s.sink.lines.back().find("button 3 mods 0x10"), std::string::npos);
  EXPECT_EQ(run("press 256"), "error: button and modifiers are 0 to 255\n");
  EXPECT_EQ(run("press 3 --mod 1").rfind("error: usage", 0), 0u);
  EXPECT_EQ(run("front  Text Edit "), "ok\n");
  EXPECT_EQ(s.state.apps.front_name(), "Text Edit");
  EXPECT_EQ(run("event 9 4142"), "ok\n");
  EXPECT_EQ(s.drain(), (std::vector<std::pair<int16_t, Bytes>>{{9, {'A', 'B'}}}));
  EXPECT_EQ(run("event 9 414").rfind("error:", 0), 0u);
  EXPECT_EQ(run("event 0").rfind("error:", 0), 0u);
  s.sink.messages.clear();
  EXPECT_EQ(run("notify 16 5"), "ok\n");
  EXPECT_EQ(run("chord"), "ok\n");
  EXPECT_EQ(run("devices-changed"), "ok\n");
  EXPECT_EQ(run("hscroll"), "ok\n");
  EXPECT_EQ(run("console-switch"), "ok\n");
  EXPECT_EQ(s.sink.messages, (std::vector<Message>{{16, 5}, {7, 0}, {5, 0}, {16, 0}, {15, 0}}));
  EXPECT_EQ(run("notify 0x4000").rfind("error:", 0), 0u);
  EXPECT_EQ(run("low-battery 70000").rfind("error:", 0), 0u);
  EXPECT_EQ(run("chord now").rfind("error:", 0), 0u);
  EXPECT_EQ(run("bogus"), "error: unknown command: bogus\n");
  EXPECT_EQ(run(""), "error: no command\n");
  const std::string state = run("state");
  EXPECT_NE(state.find("front application: Text Edit -> global set"), std::string::npos);
  EXPECT_NE(state.find("13: 00 08"), std::string::npos);
  EXPECT_EQ(state.substr(state.size() - 3), "ok\n");
}

}  // namespace
}  // namespace cx::refdriver
