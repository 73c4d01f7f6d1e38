// The X display as the process service reads it: a lazily opened xcb
// connection with the EWMH atoms interned once. Every query fails (empty
// result) without a display; a broken connection is dropped and the next
// query connects again, reading DISPLAY afresh.
#pragma once

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <sys/types.h>
#include <span>
#include <string>
#include <vector>

namespace cx::platform {

class X11Display {
 public:
  X11Display() = default;
  ~X11Display();
  X11Display(const X11Display&) = delete;
  X11Display& operator=(const X11Display&) = delete;

  // `_NET_ACTIVE_WINDOW`, or XCB_NONE.
  xcb_window_t active_window();
  // `_NET_CLIENT_LIST` (mapping order), or with `stacking` the
  // `_NET_CLIENT_LIST_STACKING` (bottom to top).
  std::vector<xcb_window_t> client_list(bool stacking);
  // `_NET_WM_PID` of each window (0 where missing), in one round trip.
  std::vector<pid_t> window_pids(std::span<const xcb_window_t> windows);

  struct WindowFacts {
    pid_t pid = 0;         // 0: no `_NET_WM_PID`
    std::string wm_class;  // the class part of WM_CLASS; empty when missing
  };
  // Both properties in one round trip.
  WindowFacts window_facts(xcb_window_t window);

  // `_NET_WM_ICON` as it stands (empty when missing or too large to read).
  std::vector<uint32_t> wm_icon(xcb_window_t window);
  // `_NET_WM_NAME` (UTF-8), else WM_NAME; empty when neither is set.
  std::string window_name(xcb_window_t window);

  // Asks the window manager to activate `window` (as a pager would).
  bool activate(xcb_window_t window);

 private:
  bool connect();
  void disconnect();
  // Drops a connection the server has broken; true while it is usable.
  bool healthy();

  xcb_connection_t* conn_ = nullptr;
  xcb_ewmh_connection_t ewmh_{};
  int screen_ = 0;
};

}  // namespace cx::platform
