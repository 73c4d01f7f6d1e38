// From the window manager setting `_NET_ACTIVE_WINDOW` to `CXDoSwitchApp`
// answered by the driver: the agent on GLib's main loop with the X11 process
// service, a private Xvfb and the reference driver served in this process.
// The bench plays the window manager, alternating two applications' windows.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "agent/agent_state.h"
#include "agent/foreground_app.h"
#include "driver/driver_connection.h"
#include "platform/linux/user_client_socket.h"
#include "tests/support/reference_driver.h"
#include "tests/support/scoped_env.h"
#include "tests/support/xvfb.h"

namespace {

using namespace cx;
using Clock = std::chrono::steady_clock;

class WindowManager {
 public:
  explicit WindowManager(const std::string& display)
      : conn_(xcb_connect(display.c_str(), nullptr)) {
    root_ = xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root;
  }
  ~WindowManager() { xcb_disconnect(conn_); }
  WindowManager(const WindowManager&) = delete;
  WindowManager& operator=(const WindowManager&) = delete;

  // WM_CLASS is the instance and the class, each NUL-terminated.
  xcb_window_t window(pid_t pid, std::string_view wm_class) {
    const xcb_window_t w = xcb_generate_id(conn_);
    xcb_create_window(conn_, XCB_COPY_FROM_PARENT, w, root_, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto value = static_cast<uint32_t>(pid);
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, w, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32,
                        1, &value);
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        static_cast<uint32_t>(wm_class.size()), wm_class.data());
    return w;
  }
  void activate(xcb_window_t w) {
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, root_, atom("_NET_ACTIVE_WINDOW"),
                        XCB_ATOM_WINDOW, 32, 1, &w);
    xcb_flush(conn_);
  }

 private:
  xcb_atom_t atom(std::string_view name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(
            conn_, xcb_intern_atom(conn_, 0, static_cast<uint16_t>(name.size()), name.data()),
            nullptr),
        &std::free);
    return reply ? reply->atom : XCB_NONE;
  }

  xcb_connection_t* conn_;
  xcb_window_t root_;
};

// Runs the main loop until the driver holds `name`; false after a second.
bool until_driver_has(const cx::test::ReferenceDriver& driver, const std::string& name) {
  const auto limit = Clock::now() + std::chrono::seconds(1);
  while (driver.state().apps.front_name() != name) {
    if (Clock::now() > limit) return false;
    g_main_context_iteration(nullptr, TRUE);
  }
  return true;
}

void BM_FocusChangeToDriver(benchmark::State& state) {
  const cx::test::Xvfb xvfb;
  const cx::test::ScopedEnv display("DISPLAY", xvfb.display());
  cx::test::ReferenceDriver driver;
  const auto service = platform::make_socket_user_client_service(driver.dir());
  platform::set_user_client_service(service.get());
  WindowManager wm(xvfb.display());
  const std::vector<std::pair<xcb_window_t, std::string>> apps = {
      {wm.window(getpid(), std::string_view("alpha\0Alpha\0", 12)), "Alpha"},
      {wm.window(getppid(), std::string_view("beta\0Beta\0", 10)), "Beta"}};
  reset_agent_state();
  background_app_active = 1;
  if (!ConnectToDriver()) {
    state.SkipWithError("no driver link");
    return;
  }
  installForegroundAppTimer();
  std::vector<double> samples;
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& [window, name] = apps[next++ % apps.size()];
    const auto start = Clock::now();
    wm.activate(window);
    if (!until_driver_has(driver, name)) {
      state.SkipWithError("the switch did not reach the driver");
      break;
    }
    samples.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    state.SetIterationTime(samples.back());
  }
  std::sort(samples.begin(), samples.end());
  if (!samples.empty()) state.counters["median_us"] = samples[samples.size() / 2] * 1e6;
  removeForegroundAppTimer();
  DisconnectFromDriver();
  platform::set_user_client_service(nullptr);
}

BENCHMARK(BM_FocusChangeToDriver)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1000)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

}  // namespace
