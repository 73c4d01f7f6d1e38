// The agent as a process: start-up until it is active in its session (the
// control panel hears `bact`, which the agent sends from its event loop once
// the driver confirmed its user), then its idle cost over 30 seconds and its
// resident size. Runs the real corvex-driverd, corvexctl and
// corvex-background on a private session bus, on the X display in DISPLAY
// when there is one (the agent then polls the front window), else without.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/user_session.h"

namespace {

using Clock = std::chrono::steady_clock;
using cx::test::BackgroundProcess;
using cx::test::cpu_time_ns;
using cx::test::Programs;
using cx::test::read_file;

double rss_mib(pid_t pid) {
  const std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
  const auto at = status.find("VmRSS:");
  return at == std::string::npos ? -1 : std::stod(status.substr(at + 6)) / 1024.0;
}

struct Session {
  cx::test::UserSession session;
  std::unique_ptr<BackgroundProcess> monitor;

  Session() {
    session.start_driver();
    monitor = std::make_unique<BackgroundProcess>(
        std::vector<std::string>{Programs::corvexctl, "monitor", "--no-save"});
  }
  bool ready() const {
    return session.ready() && session.driver && session.driver->wait_for_output("serving") &&
           monitor->wait_for_output("monitoring as VCXT");
  }
  // Polls the control panel's output every 0.2 ms for the agent's `bact`.
  bool wait_active(std::size_t seen) const {
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (Clock::now() < deadline) {
      const std::string out = monitor->output();
      if (out.find("bact", seen) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
  }
};

void BM_StartUpUntilActive(benchmark::State& state) {
  Session session;
  if (!session.ready()) return state.SkipWithError("session did not start");
  for (auto _ : state) {
    const std::size_t seen = session.monitor->output().size();
    const auto start = Clock::now();
    BackgroundProcess agent({Programs::agent});
    if (!session.wait_active(seen)) return state.SkipWithError("the agent did not activate");
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    agent.terminate();
  }
}
BENCHMARK(BM_StartUpUntilActive)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void BM_IdleFootprint(benchmark::State& state) {
  Session session;
  if (!session.ready()) return state.SkipWithError("session did not start");
  for (auto _ : state) {
    BackgroundProcess agent({Programs::agent});
    if (!session.wait_active(0)) return state.SkipWithError("the agent did not activate");
    std::this_thread::sleep_for(std::chrono::seconds(2));  // past the first timer ticks
    const double before = cpu_time_ns(agent.pid());
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(30));
    const double wall_ns = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    state.counters["idle_cpu_percent"] = 100.0 * (cpu_time_ns(agent.pid()) - before) / wall_ns;
    state.counters["rss_mib"] = rss_mib(agent.pid());
    state.counters["gtk_loaded"] =
        read_file("/proc/" + std::to_string(agent.pid()) + "/maps").find("libgtk") !=
                std::string::npos
            ? 1
            : 0;
    agent.terminate();
  }
}
BENCHMARK(BM_IdleFootprint)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
