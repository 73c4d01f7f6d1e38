// Where the agent's events go: System Preferences before the control panel
// application, nowhere when neither runs. How the save question is answered
// is tested with the agent's deactivation.
#include <gtest/gtest.h>

#include <vector>

#include "cpanel/ae_codes.h"
#include "cpanel/cp_notifications.h"
#include "tests/support/fake_apple_events.h"
#include "tests/support/fake_processes.h"

namespace cx::test {
namespace {

using platform::AESendMode;
using platform::AppleEvent;
using platform::OSType;
using platform::ProcessSerialNumber;

constexpr uint32_t kAgentPid = 10, kPanelPid = 20, kSettingsPid = 30, kOtherPid = 40;

// The fakes installed as the process's services for one scenario.
class ControlPanelWorld {
 public:
  ControlPanelWorld() {
    platform::set_processes(&processes_);
    platform::set_apple_events(&events_);
    // The agent itself and an application without a signature are always listed.
    run(ae_code::kBackgroundApp, kAgentPid);
    run(platform::kUnknownSignature, kOtherPid);
  }
  ~ControlPanelWorld() {
    platform::set_processes(nullptr);
    platform::set_apple_events(nullptr);
  }
  void run(OSType signature, uint32_t pid) {
    processes_.list.push_back({{0, pid}, signature, "app"});
    events_.add_process(signature, pid, nullptr);
  }
  // Listed as a process with `signature`, but not the owner of its name.
  void look_alike(OSType signature, uint32_t pid) {
    processes_.list.push_back({{0, pid}, signature, "app"});
  }
  testing::FakeAppleEvents& events() { return events_; }

 private:
  testing::FakeProcesses processes_;
  testing::FakeAppleEvents events_;
};

ProcessSerialNumber target_of(const AppleEvent& event) {
  ProcessSerialNumber psn{9, 9};
  EXPECT_EQ(platform::desc_to_psn(event.target(), psn), platform::noErr);
  return psn;
}

TEST(ControlPanelLink, EventsGoToSettingsHostFirstAndNowhereWithoutPanel) {
  struct Case {
    std::vector<OSType> running;  // in list order
    uint32_t expected_pid;        // 0: nothing is sent
  };
  const Case cases[] = {
      {{}, 0},
      {{ae_code::kControlPanelApp}, kPanelPid},
      {{ae_code::kSystemPreferences}, kSettingsPid},
      {{ae_code::kControlPanelApp, ae_code::kSystemPreferences}, kSettingsPid},
  };
  struct Sent {
    OSType id;
    AESendMode mode;
  };
  const Sent expected[] = {{ae_code::kUpdateMice, AESendMode::no_reply},
                           {ae_code::kChord, AESendMode::no_reply},
                           {ae_code::kBackgroundActivate, AESendMode::no_reply},
                           {ae_code::kBackgroundDeactivate, AESendMode::wait_reply}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected_pid);
    ControlPanelWorld world;
    // Anyone can list processes that claim these signatures; the events go
    // to the owners of the names all the same.
    world.look_alike(ae_code::kSystemPreferences, 100);
    world.look_alike(ae_code::kControlPanelApp, 200);
    for (OSType sig : c.running) {
      world.run(sig, sig == ae_code::kControlPanelApp ? kPanelPid : kSettingsPid);
    }
    const auto& sent_events = world.events().sent;

    EXPECT_EQ(update_mice(), platform::noErr);
    EXPECT_EQ(send_chord_ae_to_cp(), platform::noErr);
    EXPECT_EQ(send_bkg_activate_ae_to_cp(), platform::noErr);
    EXPECT_FALSE(send_bkg_deactivate_ae_to_cp());  // the panel serves nothing: no answer
    ASSERT_EQ(sent_events.size(), c.expected_pid == 0 ? 0u : 4u);
    for (size_t i = 0; i < sent_events.size(); ++i) {
      const auto& sent = sent_events[i];
      EXPECT_EQ(sent.event.event_class(), ae_code::kSuite);
      EXPECT_EQ(sent.event.event_id(), expected[i].id);
      EXPECT_EQ(sent.mode, expected[i].mode);
      EXPECT_EQ(sent.timeout, platform::kNoTimeOut);
      EXPECT_TRUE(sent.event.parameters().empty());
      EXPECT_EQ(target_of(sent.event), (ProcessSerialNumber{0, c.expected_pid}));
    }
  }
}

}  // namespace
}  // namespace cx::test
