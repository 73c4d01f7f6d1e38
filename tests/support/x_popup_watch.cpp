#include "tests/support/x_popup_watch.h"

#include <cstdlib>
#include <thread>

namespace cx::test {

PopupWatch::PopupWatch(const std::string& display) : conn_(xcb_connect(display.c_str(), nullptr)) {
  if (xcb_connection_has_error(conn_.get())) return;
  root_ = xcb_setup_roots_iterator(xcb_get_setup(conn_.get())).data->root;
  const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
  xcb_change_window_attributes(conn_.get(), root_, XCB_CW_EVENT_MASK, &mask);
  std::free(xcb_get_input_focus_reply(conn_.get(), xcb_get_input_focus(conn_.get()), nullptr));
}

bool PopupWatch::wait(std::chrono::milliseconds limit,
                      std::chrono::steady_clock::time_point* mapped_at) const {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (root_ != XCB_NONE && std::chrono::steady_clock::now() < deadline) {
    const platform::XcbReply<xcb_generic_event_t> event(xcb_poll_for_event(conn_.get()));
    if (!event) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
      continue;
    }
    const auto* map = reinterpret_cast<const xcb_map_notify_event_t*>(event.get());
    if ((event->response_type & 0x7f) != XCB_MAP_NOTIFY || !map->override_redirect) continue;
    if (mapped_at) *mapped_at = std::chrono::steady_clock::now();
    // The popup grabs the keyboard right after it is mapped.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return true;
  }
  return false;
}

}  // namespace cx::test
