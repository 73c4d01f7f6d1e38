// The user's keyboard on a test display, through XTest: waits until a popup
// (an override-redirect window, such as a menu) is mapped and types keys.
#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace cx::test {

// X keysyms the tests type.
namespace keysym {
inline constexpr uint32_t home = 0xff50;
inline constexpr uint32_t down = 0xff54;
inline constexpr uint32_t enter = 0xff0d;
inline constexpr uint32_t escape = 0xff1b;
}  // namespace keysym

class XKeyboard {
 public:
  explicit XKeyboard(const std::string& display);
  ~XKeyboard();
  XKeyboard(const XKeyboard&) = delete;
  XKeyboard& operator=(const XKeyboard&) = delete;

  // True once a popup mapped since this object was made, or since the last
  // call (when it was seen goes to `mapped_at`); false after `limit`.
  bool wait_for_popup(std::chrono::milliseconds limit,
                      std::chrono::steady_clock::time_point* mapped_at = nullptr) const;
  // Presses and releases the key that types `sym`; false when none does.
  bool tap(uint32_t sym) const;

 private:
  xcb_connection_t* conn_;
  xcb_window_t root_ = XCB_NONE;
};

}  // namespace cx::test
