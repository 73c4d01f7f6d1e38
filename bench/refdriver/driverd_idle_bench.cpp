// corvex-driverd --evdev holding one (uinput-made) mouse, left alone: the
// share of a core it uses. Skipped where /dev/uinput cannot be written.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/user_session.h"
#include "tests/support/virtual_mouse.h"

namespace {

constexpr auto kWatched = std::chrono::seconds(10);

void BM_IdleWithOneMouse(benchmark::State& state) {
  std::string why;
  if (!cx::test::VirtualMouse::usable(why)) return state.SkipWithError(why.c_str());
  cx::test::VirtualMouse mouse("Corvex Idle Mouse");
  cx::test::UserSession session;
  if (mouse.node().empty() || !session.start_driver({"--evdev"}) ||
      !session.driver->wait_for_output("evdev: grabbed " + mouse.node() + " ")) {
    return state.SkipWithError("the daemon did not take the mouse");
  }
  const pid_t pid = session.driver->pid();
  for (auto _ : state) {
    const double before = cx::test::cpu_time_ns(pid);
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(kWatched);
    const double wall_ns =
        std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    state.counters["idle_cpu_percent"] = 100.0 * (cx::test::cpu_time_ns(pid) - before) / wall_ns;
  }
}
BENCHMARK(BM_IdleWithOneMouse)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace
