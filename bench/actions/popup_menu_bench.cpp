// A button press that opens the user's popup menu, to the menu mapped on the
// screen: the reference driver (in this process) runs the press and posts
// its message; the agent's loop fetches the event, reads the menu from the
// driver and pops it up; another X client sees the menu mapped and dismisses
// it. The first popup loads GTK and is reported on its own.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "agent/agent_state.h"
#include "agent/lifecycle.h"
#include "driver/driver_connection.h"
#include "model/act_item.h"
#include "model/action_codes.h"
#include "platform/event_loop.h"
#include "platform/menus.h"
#include "refdriver/action_runner.h"
#include "tests/support/agent_link.h"
#include "tests/support/child_process.h"
#include "tests/support/reference_driver.h"
#include "tests/support/scoped_env.h"
#include "tests/support/window_manager.h"
#include "tests/support/x_popup_watch.h"
#include "tests/support/xvfb.h"

namespace {

using namespace cx;
using Clock = std::chrono::steady_clock;

constexpr uint8_t kButton = 5;
constexpr uint16_t kEntries = 8;

// Button 5 opens a menu of eight entries, each a click.
void prepare(refdriver::DriverState& state) {
  refdriver::AppSet& global = state.apps.global();
  uint8_t item[kActItemWireSize];
  encode_act_item(make_act_item(0, kEntries, 0, act_code::menu, 0), item);
  state.store_list(global, refdriver::response_key(0, kButton, 0), item);
  encode_act_item(make_act_item(0, 0, 0, 0x0001, 0), item);
  for (uint16_t e = 1; e <= kEntries; ++e) {
    std::array<uint8_t, refdriver::kNameRecordSize> name{};
    const std::string text = "Entry " + std::to_string(e);
    std::copy(text.begin(), text.end(), name.begin());
    state.store_list(global, refdriver::response_key(0, kButton, e), item);
    state.store_name(global, refdriver::response_key(0, kButton, e), name);
  }
}

// Ends the agent's loop once a menu has been dealt with.
struct QuittingMenus final : platform::Menus {
  platform::Menus& real = platform::menus();
  bool mouse_position(platform::GlobalPoint& w) override { return real.mouse_position(w); }
  int16_t pop_up(const platform::Menu& menu, platform::GlobalPoint w) override {
    const int16_t item = real.pop_up(menu, w);
    platform::event_loop().quit();
    return item;
  }
  void warp_cursor(platform::GlobalPoint w) override { real.warp_cursor(w); }
  void beep() override { real.beep(); }
};

struct Desktop {
  test::Xvfb xvfb;
  test::ScopedEnv display{"DISPLAY", xvfb.display()};
  test::ScopedEnv bundle{"CORVEX_BUNDLE", CX_AGENT_BUNDLE};
  test::WindowManager wm{xvfb.display()};
  test::ReferenceDriver driver{prepare};
  test::AgentLink link{driver.dir()};
  QuittingMenus menus;
  bool ready = false;

  Desktop() {
    platform::set_menus(&menus);
    background_app_active = 1;
    ready = wm.running() && driver.running() && ConnectToDriver() &&
            register_event_notifications() == 0;
  }
  ~Desktop() {
    release_event_notifications();
    platform::set_menus(nullptr);
  }

  // One press; the time from it to the menu mapped, or a negative value.
  double press_to_map() {
    const test::PopupWatch watch(xvfb.display());
    Clock::time_point mapped{};
    std::thread dismiss([&] {
      if (watch.wait(std::chrono::seconds(5), &mapped))
        test::run_command({CX_DESKTOPCTL, "keys", "Escape"});
    });
    const auto limit = platform::event_loop().add_one_shot(std::chrono::seconds(6),
                                                           [] { platform::event_loop().quit(); });
    const auto start = Clock::now();
    refdriver::ActionRunner(driver.mutable_state(), driver).press(kButton, 0);
    platform::event_loop().run();
    dismiss.join();
    return mapped == Clock::time_point{} ? -1
                                         : std::chrono::duration<double>(mapped - start).count();
  }
};

Desktop& desktop() {
  static Desktop d;
  return d;
}

void run(benchmark::State& state) {
  Desktop& d = desktop();
  if (!d.ready) return state.SkipWithError("no desktop or driver link");
  std::vector<double> samples;
  for (auto _ : state) {
    const double seconds = d.press_to_map();
    if (seconds < 0) return state.SkipWithError("the menu did not appear");
    samples.push_back(seconds);
    state.SetIterationTime(seconds);
  }
  std::sort(samples.begin(), samples.end());
  state.counters["median_ms"] = samples[samples.size() / 2] * 1e3;
  state.counters["p99_ms"] = samples[samples.size() * 99 / 100] * 1e3;
}

void BM_FirstPopupMenu(benchmark::State& state) {
  run(state);
}
void BM_PopupMenu(benchmark::State& state) {
  run(state);
}
// The first runs first: it loads GTK.
BENCHMARK(BM_FirstPopupMenu)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_PopupMenu)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(200);

}  // namespace
