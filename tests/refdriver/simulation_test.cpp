// Simulated device activity: presses run the effective action list and
// queue the agent's work, menus, low batteries and the control commands.
#include <gtest/gtest.h>

#include "refdriver/control_commands.h"
#include "refdriver/event_codes.h"
#include "refdriver/simulator.h"
#include "tests/refdriver/handler_harness.h"

namespace cx::refdriver {
namespace {

using namespace testing;
using Message = std::pair<uint32_t, uint64_t>;
using Events = std::vector<std::pair<int16_t, Bytes>>;

Bytes c_string(std::string_view s) {
  return Wire().str(s).bytes();
}

struct Sim : Harness {
  Simulator sim{state, sink};

  // Takes every queued event through the agent's request.
  Events drain() {
    Events events;
    for (auto e = call(rq::GetNextBackgroundEvent); e.status != 0;
         e = call(rq::GetNextBackgroundEvent)) {
      events.emplace_back(e.status, e.data);
    }
    return events;
  }
  // A new local dataspace holding `text` and its NUL.
  int16_t allocate(std::string_view text) {
    const auto size = static_cast<uint16_t>(text.size() + 1);
    const int16_t index = call(rq::AllocateSpace, {Wire().u16(0xFFFF).u16(size).u32(0)}).status;
    call(rq::CXAccessData, {Wire().u16(static_cast<uint16_t>(index)).u16(size).u32(0).str(text)});
    return index;
  }
  uint16_t global_word(uint16_t index) { return load_be16(state.global_record(index).data()); }
};

TEST(Press, AgentActionsAreQueuedWithTheirData) {
  Sim s;
  const auto text = static_cast<uint16_t>(s.allocate("pasted"));
  const auto file = static_cast<uint16_t>(s.allocate("/tmp/file"));
  const Bytes list = items_wire({make_act_item(0, text, 2, act_code::paste_text, 0),
                                 make_act_item(0, file, 2, act_code::launch_file, 0),
                                 home_page_actlist[0], app_menu_actlist[0],
                                 toggle_hscroll_actlist[0], make_act_item(0, 0x41, 1, 0x0D00, 0)});
  s.steps({{rq::SetActionList, button(1, 0).u16(6).raw(list), kDone}});
  s.sim.press(1, 0);
  EXPECT_EQ(s.drain(),
            (Events{{9, c_string("pasted")}, {1, c_string("/tmp/file")}, {6, {}}, {12, {}}}));
  EXPECT_EQ(s.sink.messages, (std::vector<Message>{{16, 0}, {0xFFF, 0}}));
  EXPECT_EQ(s.global_word(73), 1);  // a popup is pending
  EXPECT_EQ(s.global_word(13), 8);  // horizontal scrolling toggled on
  EXPECT_NE(s.sink.lines.back().find("keystroke: act=0x0d00 ch12=0x0041"), std::string::npos);

  // A dataspace gone missing is logged and nothing is queued for it.
  s.steps({{rq::DeallocateSpace, Wire().u16(text).u16(0).u32(0), kDone}});
  s.sim.press(1, 0);
  EXPECT_EQ(s.drain().size(), 3u);
}

TEST(Press, PopupMenusAreListedAndRun) {
  Sim s;
  s.steps({{rq::SetResponseData,
            Wire().raw(
                cat({menu_block(18, 2), url_block(18, 1, "http://a.example/"), home_block(18, 2)})),
            3},
           {rq::CheckMenuSize, {}, kNothing},
           {rq::SetAbsoluteMouse, Wire().u32(100).u32(200), kDone}});
  s.sim.press(18, 0);
  EXPECT_EQ(s.drain(), (Events{{13, {}}}));
  s.steps({{rq::CheckMenuSize, {}, 1}, {rq::GetMenuNames, Wire().u16(3), 3}});
  EXPECT_EQ(s.data(rq::CheckMenuSize), Wire().u16(3).u16(18).bytes());
  Bytes names(3 * 32);
  std::copy_n("a.example/", 10, names.begin());
  std::copy_n("Home", 4, names.begin() + 32);
  EXPECT_EQ(s.data(rq::GetMenuNames, Wire().u16(3)), Wire().raw(names).u32(100).u32(200).bytes());

  s.steps({{rq::ExecuteMenuItems, Wire().u16(1), kDone}});
  EXPECT_EQ(s.drain(), (Events{{2, c_string("http://a.example/")}}));
  s.steps({{rq::ExecuteMenuItems, Wire().u16(3), kNotFound},
           {rq::ClearAllMenuLists, {}, kDone},
           {rq::CheckMenuSize, {}, kNothing},
           {rq::GetMenuNames, Wire().u16(3), kNothing},
           {rq::ExecuteMenuItems, Wire().u16(1), kNotFound}});
}

TEST(Press, ReprogramUrlButtonsAskForTheBrowsersPage) {
  Sim s;
  std::array<uint8_t, 36> name{};
  store_be16(&name[34], 0x8000);
  s.steps({{rq::SetActionList, button(20, 0).u16(1).raw(items_wire({home_page_actlist[0]})), kDone},
           {rq::SetActionName, button(20, 0).raw(name), kDone}});
  s.state.global_record(90)[3] = 1;  // the agent's capture flag
  s.sim.press(20, 0);
  EXPECT_EQ(s.drain(), (Events{{3, {0, 20}}}));
  EXPECT_EQ(s.state.global_record(90)[3], 0);
}

TEST(LowBattery, AsksForThePreviousTimeThenAlerts) {
  Sim s;
  auto table = [&] { return s.data(rq::CXAccessGlobalData, record_read(91, 88)); };
  auto write_back = [&](const Bytes& t) {
    return s.call(rq::CXAccessGlobalData, {record_write(91, t)}).status;
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
  EXPECT_EQ(s.drain(), (Events{{9, {'A', 'B'}}}));
  EXPECT_EQ(run("event 9 414").rfind("error:", 0), 0u);
  EXPECT_EQ(run("event 0").rfind("error:", 0), 0u);
  s.sink.messages.clear();
  EXPECT_EQ(run("notify 16 5"), "ok\n");
  EXPECT_EQ(run("chord"), "ok\n");
  EXPECT_EQ(run("devices-changed"), "ok\n");
  EXPECT_EQ(run("hscroll"), "ok\n");
  EXPECT_EQ(run("console-switch"), "ok\n");
  EXPECT_EQ(run("console-switch 1001"), "ok\n");
  EXPECT_EQ(
      s.sink.messages,
      (std::vector<Message>{{16, 5}, {7, 0}, {5, 0}, {16, 0}, {15, 0}, {15, 1001}, {14, 1001}}));
  EXPECT_EQ(run("console-switch 1 2").rfind("error: usage", 0), 0u);
  EXPECT_EQ(run("notify 0x4000").rfind("error:", 0), 0u);
  EXPECT_EQ(run("low-battery 70000").rfind("error:", 0), 0u);
  EXPECT_EQ(run("bogus"), "error: unknown command: bogus\n");
  EXPECT_EQ(run(""), "error: no command\n");
  const std::string state = run("state");
  EXPECT_NE(state.find("front application: Text Edit -> global set"), std::string::npos);
  EXPECT_NE(state.find("13: 00 08"), std::string::npos);
  EXPECT_EQ(state.substr(state.size() - 3), "ok\n");
}

}  // namespace
}  // namespace cx::refdriver
