// Low-battery alerts against the reference driver's table, the control
// panel's preference files and a notification server on a private bus.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "agent/driver_events.h"
#include "agent/low_battery.h"
#include "platform/preferences.h"
#include "tests/support/agent_core.h"
#include "tests/support/child_process.h"
#include "tests/support/fake_alerts.h"
#include "tests/support/fake_notifications.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

using platform::PrefHost;
using platform::PrefUser;

constexpr char kDomain[] = "com.velcorra.corvex.prefpane";
constexpr uint16_t kWanted = 0x0004, kDue = 0x0008;
// Devices of the shipped bundle: no recharge time, four hours' recharge.
constexpr uint16_t kPlain = 30, kRechargeable = 31, kUnknown = 77;

struct Entry {
  uint16_t id;
  uint32_t time;
  uint16_t flags;
  bool operator==(const Entry&) const = default;
};

class LowBatteryTest : public AgentTest {
 protected:
  void SetUp() override {
    AgentTest::SetUp();
    setenv("CORVEX_LOCAL_PREFERENCES", dir_.file("local").c_str(), 1);
  }

  std::span<uint8_t> table() { return driver_.mutable_state().global_record(91); }

  void set_table(const std::vector<Entry>& entries) {
    std::span<uint8_t> t = table();
    std::fill(t.begin(), t.end(), 0);
    store_be16(t.data(), static_cast<uint16_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
      uint8_t* e = &t[4 + 12 * i];
      store_be16(e, entries[i].id);
      store_be32(e + 4, entries[i].time);
      store_be16(e + 8, entries[i].flags);
    }
  }

  std::vector<Entry> entries() {
    std::span<uint8_t> t = table();
    std::vector<Entry> out;
    for (size_t i = 0; i < load_be16(t.data()); ++i) {
      const uint8_t* e = &t[4 + 12 * i];
      out.push_back({load_be16(e), load_be32(e + 4), load_be16(e + 8)});
    }
    return out;
  }

  static void store(uint16_t id, int32_t time, PrefUser user, PrefHost host) {
    platform::set_preference_value(lo_bat_pref_key(id), plist::make_int32(time), kDomain, user,
                                   host);
    ASSERT_TRUE(platform::synchronize_preferences(kDomain, user, host));
  }

  static int64_t stored(uint16_t id, PrefUser user, PrefHost host) {
    const plist::ValueRef value =
        platform::copy_preference_value(lo_bat_pref_key(id), kDomain, user, host);
    const auto* n = plist::as<plist::Number>(value);
    return n ? n->int_value() : -1;
  }

  PrivateSessionBus bus_;
};

TEST_F(LowBatteryTest, PreviousTimesComeFromTheHostScopeFirst) {
  store(1, 100, PrefUser::Any, PrefHost::Current);
  store(1, 200, PrefUser::Current, PrefHost::Any);
  store(2, 300, PrefUser::Current, PrefHost::Any);
  store(3, -2, PrefUser::Any, PrefHost::Current);
  set_table({{1, 9, kWanted}, {2, 9, kWanted}, {3, 9, kWanted | kDue}, {4, 9, kWanted}, {5, 9, 0}});
  background_app_active = 1;
  cx_notify(nullptr, {}, kDriverMessageBase | 10, 0);
  EXPECT_EQ(entries(), (std::vector<Entry>{
                           {1, 100, 0}, {2, 300, 0}, {3, 0xFFFFFFFE, kDue}, {4, 0, 0}, {5, 9, 0}}));
}

TEST_F(LowBatteryTest, EachDueEntryNotifiesOnceAndTheTableIsWrittenAfterAll) {
  std::vector<std::vector<Entry>> seen;
  FakeNotifications server([&] { seen.push_back(entries()); });
  ASSERT_TRUE(server.ok()) << server.error();
  const std::vector<Entry> before = {
      {kPlain, 5000, kDue}, {kUnknown, 6000, kDue}, {kRechargeable, 7000, kDue}, {9, 1, 0}};
  set_table(before);

  EXPECT_EQ(handle_lo_bat_alert(), 0);
  const std::vector<Notification> got = server.received();
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0],
            (Notification{"Corvex Background", "The battery of “Corvex Wireless Mouse” is low.",
                          "Replace the batteries soon to keep using the device without "
                          "interruption.",
                          2}));
  // While alerts show the driver still has the table as it was.
  EXPECT_EQ(seen, (std::vector<std::vector<Entry>>{before, before}));
  for (const auto& [id, time] :
       {std::pair{kPlain, 5000}, {kUnknown, 6000}, {kRechargeable, 7000}}) {
    EXPECT_EQ(stored(id, PrefUser::Any, PrefHost::Current), time);
    EXPECT_EQ(stored(id, PrefUser::Current, PrefHost::Any), -1);
  }
}

// Without a notification server the alert is a window, which takes the front
// for a while; without a display either, the log keeps it.
TEST_F(LowBatteryTest, EachDueEntryIsShownOnceByTheFirstWayThereIs) {
  const std::string plain =
      "The battery of “Corvex Wireless Mouse” is low. / Replace the batteries soon to keep using "
      "the device without interruption.";
  const std::string rechargeable =
      "The battery of “Corvex Wireless Mouse Rechargeable” is low. / Recharge the device soon. A "
      "full charge takes about 4 hours.";
  const platform::ProcessSerialNumber editor{0, 77}, agent{0, 78};
  processes_.list = {{editor, platform::fourcc("ttxt"), "TextEdit"},
                     {agent, platform::fourcc("cxbg"), "Corvex Background"}};
  background_app_active = 1;
  for (const auto& [server, display, way] : {std::tuple{true, true, "notification"},
                                             {true, false, "notification"},
                                             {false, true, "window"},
                                             {false, false, ""}}) {
    SCOPED_TRACE(::testing::Message() << "server " << server << ", display " << display);
    start_log();
    FakeAlerts alerts(server, display);
    alerts.on_window = [&] { platform::SetFrontProcess(&agent); };
    set_table({{kPlain, 5, kDue}, {kUnknown, 6, kDue}, {kRechargeable, 7, kDue}});
    cx_notify(nullptr, {}, kDriverMessageBase | 11, 0);
    const std::string how = way;
    std::vector<std::string> expected{how + ": " + plain, how + ": " + rechargeable};
    if (how.empty()) expected.clear();
    EXPECT_EQ(alerts.shown, expected);
    EXPECT_EQ(count_in_log("The battery of"), how.empty() ? 2 : 0) << log();
    EXPECT_EQ(processes_.list.front().psn, editor);
    EXPECT_EQ(entries(),
              (std::vector<Entry>{{kPlain, 5, 0}, {kUnknown, 6, 0}, {kRechargeable, 7, 0}}));
  }
}

}  // namespace
}  // namespace cx::test
