// corvex-driverd --evdev on mice made through uinput: it grabs a mouse, a
// button bound by the agent to a keystroke types it on the driver's output
// device, a mouse plugged in later is taken and unplugged mid-drag leaves
// nothing held, and SIGTERM gives the mice back. Needs a writable
// /dev/uinput; skipped (and said so) without one.
#include <gtest/gtest.h>
#include <libevdev/libevdev.h>
#include <poll.h>

#include <memory>
#include <string>
#include <vector>

#include "driver/actlist_requests.h"
#include "model/act_item.h"
#include "model/builtin_actlists.h"
#include "refdriver/input/evdev_backend.h"
#include "tests/support/agent_link.h"
#include "tests/support/user_session.h"
#include "tests/support/virtual_mouse.h"

namespace cx::refdriver {
namespace {

using test::InputDevice;
using test::open_input_device;

// The key events that arrive within a second.
std::vector<std::pair<int, int>> keys(const InputDevice& d) {
  std::vector<std::pair<int, int>> got;
  pollfd p{libevdev_get_fd(d.get()), POLLIN, 0};
  while (poll(&p, 1, 1000) > 0) {
    input_event ev{};
    while (libevdev_next_event(d.get(), LIBEVDEV_READ_FLAG_NORMAL, &ev) == 0)
      if (ev.type == EV_KEY) got.emplace_back(ev.code, ev.value);
  }
  return got;
}

TEST(EvdevDaemon, GrabsMiceFollowsHotPlugAndLetsGoOnSigterm) {
  std::string why;
  if (!test::VirtualMouse::usable(why)) GTEST_SKIP() << why;
  test::VirtualMouse mouse("Corvex Test Mouse");
  ASSERT_FALSE(mouse.node().empty());

  test::UserSession session;
  ASSERT_NE(session.start_driver({"--evdev"}), nullptr);
  ASSERT_TRUE(session.driver->wait_for_output("evdev: grabbed " + mouse.node() + " "));
  const InputDevice output = open_input_device(kOutputDeviceName);
  ASSERT_TRUE(output);

  // Button 0 types Shift+A (driver key code 0).
  {
    const test::AgentLink agent(session.services());
    ASSERT_EQ(ConnectToDriver(), 1);
    const act_item shift_a[] = {make_act_item(0x01, 0, 2, 0x0200, 0)};
    ASSERT_EQ(SetActionList(0, 0, shift_a), 0);
    mouse.emit(EV_KEY, BTN_LEFT, 1);
    mouse.emit(EV_KEY, BTN_LEFT, 0);
    EXPECT_EQ(keys(output), (std::vector<std::pair<int, int>>{
                                {KEY_LEFTSHIFT, 1}, {KEY_A, 1}, {KEY_A, 0}, {KEY_LEFTSHIFT, 0}}));

    // A mouse plugged in later is taken too; unplugged mid-drag, it leaves
    // nothing held.
    auto second = std::make_unique<test::VirtualMouse>("Corvex Test Mouse 2");
    ASSERT_TRUE(session.driver->wait_for_output("evdev: grabbed " + second->node() + " "));
    ASSERT_EQ(SetActionList(0, 1, drag_actlist.data()), 0);
    second->emit(EV_KEY, BTN_RIGHT, 1);
    EXPECT_EQ(keys(output), (std::vector<std::pair<int, int>>{{BTN_LEFT, 1}}));
    const std::string second_node = second->node();
    second.reset();
    EXPECT_EQ(keys(output), (std::vector<std::pair<int, int>>{{BTN_LEFT, 0}}));
    EXPECT_TRUE(session.driver->wait_for_output("evdev: released " + second_node));
  }  // the agent leaves before the driver stops
  EXPECT_EQ(session.driver->terminate(), 0);
  const InputDevice again = open_input_device("Corvex Test Mouse");
  ASSERT_TRUE(again);
  EXPECT_EQ(libevdev_grab(again.get(), LIBEVDEV_GRAB), 0) << "the daemon still holds the mouse";
}

}  // namespace
}  // namespace cx::refdriver
