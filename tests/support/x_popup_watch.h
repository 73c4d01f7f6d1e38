// Another client on a test display that sees popups (override-redirect
// windows, such as menus) being mapped; corvex-desktopctl keys then types
// into them.
#pragma once

#include <chrono>
#include <string>

#include "platform/linux/x11_connection.h"

namespace cx::test {

class PopupWatch {
 public:
  explicit PopupWatch(const std::string& display);

  // True once a popup mapped since this object was made, or since the last
  // call (when it was seen goes to `mapped_at`); false after `limit`.
  bool wait(std::chrono::milliseconds limit,
            std::chrono::steady_clock::time_point* mapped_at = nullptr) const;

 private:
  platform::XcbConnection conn_;
  xcb_window_t root_ = XCB_NONE;
};

}  // namespace cx::test
