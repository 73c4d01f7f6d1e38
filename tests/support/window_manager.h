// A real window manager (openbox) on a test display, for tests that need
// focus, raising and _NET_ACTIVE_WINDOW as a desktop does them. Stopped when
// the object goes.
#pragma once

#include <string>

#include "tests/support/child_process.h"

namespace cx::test {

class WindowManager {
 public:
  // Starts openbox on `display` and waits (up to 10 s) until it manages the
  // screen (_NET_SUPPORTING_WM_CHECK on the root window).
  explicit WindowManager(const std::string& display);

  bool running() const { return running_; }

 private:
  BackgroundProcess openbox_;
  bool running_ = false;
};

}  // namespace cx::test
