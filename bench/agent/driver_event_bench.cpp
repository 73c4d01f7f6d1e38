// From a driver event to the agent's handler for it: the reference driver
// (corvex-driverd) queues an event and posts its message when told on its
// control socket; the agent wakes on its main loop, fetches the event and
// dispatches it. The chord handler tells the control panel, whose handler
// here stops the clock. The control-socket hop is inside the figure, so it
// is an upper bound of notification-to-handler.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "agent/agent_state.h"
#include "agent/lifecycle.h"
#include "bench/support/driver_control.h"
#include "driver/driver_connection.h"
#include "platform/event_loop.h"
#include "platform/linux/user_client_socket.h"
#include "tests/support/child_process.h"
#include "tests/support/fake_apple_events.h"
#include "tests/support/fake_processes.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace cx;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kPanelPid = 4242;

Clock::time_point handled_at;

platform::OSErr on_chord(const platform::AppleEvent&, platform::AppleEvent&, intptr_t) {
  handled_at = Clock::now();
  platform::event_loop().quit();
  return platform::noErr;
}

// One round with a time limit, so that a broken set-up cannot hang the run.
bool warm_up(cx::test::DriverControl& control, const std::string& command) {
  handled_at = {};
  const auto limit = platform::event_loop().add_one_shot(std::chrono::seconds(2),
                                                         [] { platform::event_loop().quit(); });
  if (!control.send(command)) return false;
  platform::event_loop().run();
  return control.finish() && handled_at != Clock::time_point{};
}

void run_events(benchmark::State& state, const std::string& command) {
  const cx::test::TempDir temp("cxbench");
  const std::string& dir = temp.path();
  setenv("CORVEX_IOKIT_DIR", dir.c_str(), 1);
  setenv("CORVEX_SHARED_DIR", dir.c_str(), 1);
  {
    cx::test::BackgroundProcess driverd({CX_DRIVERD});
    if (!driverd.wait_for_output("serving")) {
      state.SkipWithError("corvex-driverd did not start");
      return;
    }
    const auto service = platform::make_socket_user_client_service(dir);
    platform::set_user_client_service(service.get());
    cx::testing::FakeAppleEvents events;
    platform::AEHandlerTable panel;
    panel.install(platform::fourcc("cxvx"), platform::fourcc("cord"), on_chord, 0);
    events.add_process(platform::fourcc("VCXT"), kPanelPid, &panel);
    platform::set_apple_events(&events);
    cx::testing::FakeProcesses processes;
    processes.list.push_back({{0, kPanelPid}, platform::fourcc("VCXT"), "Control Panel"});
    platform::set_processes(&processes);

    cx::test::DriverControl control(dir + "/corvex-driverctl.sock");
    background_app_active = 1;
    if (!ConnectToDriver() || register_event_notifications() != 0 || !control.ok()) {
      state.SkipWithError("no driver link");
    } else if (!warm_up(control, command)) {
      state.SkipWithError("the event did not reach its handler");
    } else {
      std::vector<double> samples;
      for (auto _ : state) {
        const auto start = Clock::now();
        control.send(command);
        platform::event_loop().run();
        samples.push_back(std::chrono::duration<double>(handled_at - start).count());
        state.SetIterationTime(samples.back());
        control.finish();
        events.sent.clear();
      }
      std::sort(samples.begin(), samples.end());
      if (!samples.empty()) state.counters["median_us"] = samples[samples.size() / 2] * 1e6;
    }
    cleanup_backgroundapp();
    platform::set_processes(nullptr);
    platform::set_apple_events(nullptr);
    platform::set_user_client_service(nullptr);
  }
}

void BM_QueuedEventToHandler(benchmark::State& state) {
  run_events(state, "event 7 00\n");
}
void BM_NotifiedEventToHandler(benchmark::State& state) {
  run_events(state, "notify 7\n");
}

BENCHMARK(BM_QueuedEventToHandler)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(2000)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_NotifiedEventToHandler)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(2000)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

}  // namespace
