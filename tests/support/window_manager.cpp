#include "tests/support/window_manager.h"

#include <chrono>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/linux/x11_connection.h"

extern char** environ;

namespace cx::test {
namespace {

bool manages_screen(const std::string& display) {
  const platform::XcbConnection c(xcb_connect(display.c_str(), nullptr));
  if (xcb_connection_has_error(c.get())) return false;
  const xcb_atom_t check = platform::intern_atom(c.get(), "_NET_SUPPORTING_WM_CHECK");
  if (check == XCB_ATOM_NONE) return false;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c.get())).data->root;
  const platform::XcbReply<xcb_get_property_reply_t> property(xcb_get_property_reply(
      c.get(), xcb_get_property(c.get(), 0, root, check, XCB_ATOM_WINDOW, 0, 1), nullptr));
  return property && xcb_get_property_value_length(property.get()) == 4;
}

// The test's environment with DISPLAY replaced.
std::vector<std::string> environment_on(const std::string& display) {
  std::vector<std::string> env{"DISPLAY=" + display};
  for (char** e = environ; *e; ++e)
    if (std::string_view(*e).substr(0, 8) != "DISPLAY=") env.emplace_back(*e);
  return env;
}

}  // namespace

WindowManager::WindowManager(const std::string& display)
    : openbox_({"openbox", "--sm-disable"}, environment_on(display)) {
  for (int i = 0; i < 200 && !display.empty() && openbox_.pid() > 0 && !running_; ++i) {
    running_ = manages_screen(display);
    if (!running_) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

}  // namespace cx::test
