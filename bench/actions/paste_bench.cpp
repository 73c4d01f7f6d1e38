// From a button press on the reference driver (corvex-driverd, told on its
// control socket) to the paste's last key event posted: the driver runs the
// button's paste-text list and queues the text, the agent wakes on its main
// loop, fetches it, takes the X11 clipboard of a private Xvfb and posts
// Command-V with XTest. The clock stops when the Command key's release has
// been written to the server.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "agent/agent_state.h"
#include "agent/lifecycle.h"
#include "bench/support/driver_control.h"
#include "driver/actlist_requests.h"
#include "driver/data_requests.h"
#include "driver/driver_connection.h"
#include "model/act_item.h"
#include "model/action_codes.h"
#include "platform/clipboard.h"
#include "platform/event_loop.h"
#include "platform/linux/clipboard_x11.h"
#include "platform/linux/user_client_socket.h"
#include "tests/support/child_process.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"
#include "tests/support/xvfb.h"

namespace {

using namespace cx;
using Clock = std::chrono::steady_clock;

constexpr uint8_t kButton = 3;
const std::string kText = "Kind regards,";

// The desktop's clipboard, noting when the last key of a paste has gone out.
class TimedClipboard final : public platform::Clipboard {
 public:
  Clock::time_point posted_at;
  int32_t clear() override { return desktop_->clear(); }
  int32_t current(platform::ScrapRef& scrap) override { return desktop_->current(scrap); }
  int32_t put_flavor(platform::ScrapRef scrap, platform::OSType flavor,
                     std::span<const uint8_t> data) override {
    return desktop_->put_flavor(scrap, flavor, data);
  }
  int32_t post_key(uint16_t character, uint16_t virtual_key, bool down) override {
    const int32_t status = desktop_->post_key(character, virtual_key, down);
    if (character == 0 && !down) {
      posted_at = Clock::now();
      platform::event_loop().quit();
    }
    return status;
  }

 private:
  std::unique_ptr<platform::Clipboard> desktop_ = platform::make_x11_clipboard();
};

// The button's list pastes a text kept in a dataspace of the driver.
bool bind_paste() {
  const auto size = static_cast<int16_t>(kText.size() + 1);
  const int16_t space = AllocateSpace(size, -1);
  if (space < 0) return false;
  if (CXAccessData(space, static_cast<uint16_t>(size), 0, const_cast<char*>(kText.c_str()),
                   static_cast<uint32_t>(size)) == nullptr)
    return false;
  const act_item paste = make_act_item(0, static_cast<uint16_t>(space), 2, act_code::paste_text, 0);
  SetActionList(0, kButton, &paste);
  return true;
}

// One press with a time limit, so that a broken set-up cannot hang the run.
bool press(test::DriverControl& control, TimedClipboard& clipboard) {
  clipboard.posted_at = {};
  const auto limit = platform::event_loop().add_one_shot(std::chrono::seconds(2),
                                                         [] { platform::event_loop().quit(); });
  if (!control.send("press " + std::to_string(kButton) + "\n")) return false;
  platform::event_loop().run();
  return control.finish() && clipboard.posted_at != Clock::time_point{};
}

void BM_PressToPasteKeys(benchmark::State& state) {
  const test::Xvfb xvfb;
  const test::ScopedEnv display("DISPLAY", xvfb.display());
  const test::TempDir temp("cxbench");
  const test::ScopedEnv iokit("CORVEX_IOKIT_DIR", temp.path());
  const test::ScopedEnv shared("CORVEX_SHARED_DIR", temp.path());
  test::BackgroundProcess driverd({CX_DRIVERD});
  if (!driverd.wait_for_output("serving")) {
    state.SkipWithError("corvex-driverd did not start");
    return;
  }
  const auto service = platform::make_socket_user_client_service(temp.path());
  platform::set_user_client_service(service.get());
  TimedClipboard clipboard;
  platform::set_clipboard(&clipboard);
  test::DriverControl control(temp.path() + "/corvex-driverctl.sock");
  background_app_active = 1;
  if (!ConnectToDriver() || register_event_notifications() != 0 || !control.ok() || !bind_paste()) {
    state.SkipWithError("no driver link");
  } else if (!press(control, clipboard)) {
    state.SkipWithError("the press did not paste");
  } else {
    std::vector<double> samples;
    for (auto _ : state) {
      const auto start = Clock::now();
      if (!press(control, clipboard)) {
        state.SkipWithError("a press did not paste");
        break;
      }
      samples.push_back(std::chrono::duration<double>(clipboard.posted_at - start).count());
      state.SetIterationTime(samples.back());
    }
    std::sort(samples.begin(), samples.end());
    if (!samples.empty()) {
      state.counters["median_us"] = samples[samples.size() / 2] * 1e6;
      state.counters["p99_us"] = samples[samples.size() * 99 / 100] * 1e6;
    }
  }
  cleanup_backgroundapp();
  platform::set_clipboard(nullptr);
  platform::set_user_client_service(nullptr);
}

BENCHMARK(BM_PressToPasteKeys)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1000)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

}  // namespace
