// The agent core against the reference driver served in this process, a
// main loop on virtual time, an in-process Apple-event transport and a
// scripted process list; the diagnostic log goes to a temporary file.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "agent/agent_state.h"
#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_state.h"
#include "driver/driver_connection.h"
#include "platform/launching.h"
#include "platform/linux/user_client_socket.h"
#include "platform/processes.h"
#include "refdriver/active_user.h"
#include "tests/support/diagnostics.h"
#include "tests/support/fake_apple_events.h"
#include "tests/support/fake_event_loop.h"
#include "tests/support/fake_launcher.h"
#include "tests/support/fake_processes.h"
#include "tests/support/reference_driver.h"
#include "tests/support/temp_dir.h"

namespace cx::test {

// Counts front-process queries, which an inactive agent must not make.
class CountingProcesses final : public testing::FakeProcesses {
 public:
  int front_queries = 0;
  platform::OSErr front_process(platform::ProcessSerialNumber& psn) override {
    ++front_queries;
    return FakeProcesses::front_process(psn);
  }
};

class AgentTest : public ::testing::Test {
 protected:
  static constexpr uint32_t kControlPanelPid = 4242;

  explicit AgentTest(const ReferenceDriver::Setup& setup = {})
      : driver_(setup), service_(platform::make_socket_user_client_service(driver_.dir())) {}

  void SetUp() override {
    ASSERT_TRUE(driver_.running()) << driver_.error();
    setenv("CORVEX_SHARED_DIR", dir_.path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", dir_.path().c_str(), 1);
    setenv("CORVEX_BUNDLE", CX_AGENT_BUNDLE, 1);
    diag_reset_state();
    reset_agent_state();
    platform::set_user_client_service(service_.get());
    platform::set_event_loop(&loop_);
    platform::set_apple_events(&events_);
    platform::set_processes(&processes_);
    platform::set_launcher(&launcher_);
    start_log();
  }

  // A fresh log that shows every line.
  void start_log() {
    diag_reset_state();
    std::filesystem::remove(log_path_);
    cc_diag_set_window_info(nullptr, log_path_.c_str(), 0, 0, 0, 0, 0, 0, 1);
    cc_diag_set_display_level(0x7fffff);
  }

  // The log that set-up configures, showing every line through the
  // agent's diagnostic settings.
  void use_agent_log() {
    write_diagnostic_settings(dir_.path(), 0x7fffff);
    log_path_ = dir_.file("CXBkgnd_Diags.txt");
  }

  void TearDown() override {
    DisconnectFromDriver();
    close_diagnostic_window();
    diag_reset_state();
    platform::set_user_client_service(nullptr);
    platform::set_event_loop(nullptr);
    platform::set_apple_events(nullptr);
    platform::set_processes(nullptr);
    platform::set_launcher(nullptr);
    for (const char* name :
         {"CORVEX_SHARED_DIR", "XDG_CONFIG_HOME", "CORVEX_BUNDLE", "CORVEX_MACHINE_ID"})
      unsetenv(name);
  }

  // A control panel that answers `bdac` with `answer`, as process `signature`.
  void run_control_panel(platform::OSType signature, int16_t answer) {
    answer_ = answer;
    panel_.install(platform::fourcc("cxvx"), platform::fourcc("bdac"), &answer_bdac,
                   reinterpret_cast<intptr_t>(&answer_));
    processes_.list.push_back({{0, kControlPanelPid}, signature, "Control Panel"});
    events_.add_process(signature, kControlPanelPid, &panel_);
  }

  std::string log() const { return read_file(log_path_); }
  int count_in_log(const std::string& line) const { return count_of(log(), line); }
  refdriver::ActiveUser active_user() {
    return refdriver::read_active_user(driver_.mutable_state().global_record(98));
  }
  // Event IDs the agent sent, in order, as text.
  std::string sent_ids() const {
    std::string ids;
    for (const auto& s : events_.sent) ids += platform::fourcc_text(s.event.event_id()) + " ";
    return ids;
  }

  ReferenceDriver driver_;
  std::unique_ptr<platform::UserClientService> service_;
  FakeEventLoop loop_;
  testing::FakeAppleEvents events_;
  CountingProcesses processes_;
  testing::FakeLauncher launcher_;
  TempDir dir_{"cxagent"};
  std::string log_path_ = dir_.file("log.txt");

 private:
  static platform::OSErr answer_bdac(const platform::AppleEvent&, platform::AppleEvent& reply,
                                     intptr_t refcon) {
    return reply.put_shor(platform::keyDirectObject, *reinterpret_cast<int16_t*>(refcon));
  }
  int16_t answer_ = 0;
  platform::AEHandlerTable panel_;
};

}  // namespace cx::test
