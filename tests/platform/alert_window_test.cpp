// The desktop's alert window on a test display, found among the agent's
// resources: it maps, holds the caller until the user closes it, and without
// a display nothing is shown.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <xcb/xcb.h>

#include <future>
#include <optional>
#include <string>

#include "platform/alerts.h"
#include "platform/linux/x11_connection.h"
#include "tests/support/child_process.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"
#include "tests/support/xvfb.h"

namespace cx::test {
namespace {

// What the close button of a window manager sends.
void close_window(xcb_window_t window) {
  const platform::XcbConnection c(xcb_connect(nullptr, nullptr));
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = window;
  event.type = platform::intern_atom(c.get(), "WM_PROTOCOLS");
  event.data.data32[0] = platform::intern_atom(c.get(), "WM_DELETE_WINDOW");
  event.data.data32[1] = XCB_CURRENT_TIME;
  xcb_send_event(c.get(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                 reinterpret_cast<const char*>(&event));
  xcb_flush(c.get());
}

TEST(AlertWindow, MapsAndHoldsTheCallerUntilClosed) {
  const ScopedEnv bundle("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
  unsetenv("DISPLAY");
  EXPECT_FALSE(platform::alerts().run_caution_alert("Corvex Background", "low", "soon"));

  std::optional<Xvfb> display(std::in_place);
  ASSERT_FALSE(display->display().empty()) << "Xvfb did not start";
  const ScopedEnv on_display("DISPLAY", display->display());
  const std::string title = "Corvex Alert Check";
  auto shown = std::async(std::launch::async, [&] {
    return platform::alerts().run_caution_alert(title, "The battery is low.", "Replace it soon.");
  });
  std::string info;
  EXPECT_TRUE(eventually([&] {
    info = run_command({"xwininfo", "-name", title}).out;
    return info.find("Map State: IsViewable") != std::string::npos;
  })) << info;
  EXPECT_EQ(shown.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  const size_t id = info.find("Window id: ");
  // Closed again while it stays: a close that comes before the window is
  // ready for it is lost.
  const bool closed =
      id != std::string::npos && eventually([&] {
        close_window(static_cast<xcb_window_t>(std::stoul(info.substr(id + 11), nullptr, 16)));
        return shown.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
      });
  EXPECT_TRUE(closed);
  if (!closed) display.reset();  // the alert ends with its display
  EXPECT_EQ(shown.get(), closed);
}

}  // namespace
}  // namespace cx::test
