#include "platform/linux/processes_x11_front_watch.h"

#include <memory>
#include <string_view>
#include <utility>

#include "platform/linux/x11_connection.h"

namespace cx::platform {
namespace {

constexpr std::string_view kActiveWindow = "_NET_ACTIVE_WINDOW";

class ActiveWindowWatch final : public EventSource {
 public:
  ActiveWindowWatch(xcb_connection_t* conn, std::function<void()> on_change)
      : conn_(conn), on_change_(std::move(on_change)) {}
  ~ActiveWindowWatch() override {
    watch_.reset();
    xcb_disconnect(conn_);
  }
  ActiveWindowWatch(const ActiveWindowWatch&) = delete;
  ActiveWindowWatch& operator=(const ActiveWindowWatch&) = delete;

  bool start() {
    if (xcb_connection_has_error(conn_)) return false;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root;
    active_ = intern_atom(conn_, kActiveWindow);
    if (active_ == XCB_NONE) return false;
    // Another client's PropertyChange selection on the root does not
    // exclude ours.
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    const XcbReply<xcb_generic_error_t> error(xcb_request_check(
        conn_, xcb_change_window_attributes_checked(conn_, root, XCB_CW_EVENT_MASK, &mask)));
    if (error) return false;
    watch_ = event_loop().watch_fd(xcb_get_file_descriptor(conn_), [this] { on_ready(); });
    return true;
  }

 private:
  void on_ready() {
    bool changed = false;
    while (xcb_generic_event_t* raw = xcb_poll_for_event(conn_)) {
      const XcbReply<xcb_generic_event_t> event(raw);
      if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY) continue;
      changed |= reinterpret_cast<xcb_property_notify_event_t*>(raw)->atom == active_;
    }
    // A broken connection keeps its descriptor readable; the timer goes on
    // finding the front application without us.
    if (xcb_connection_has_error(conn_)) watch_.reset();
    // A burst of changes is one question to the process service.
    if (changed) on_change_();
  }

  xcb_connection_t* conn_;
  std::function<void()> on_change_;
  xcb_atom_t active_ = XCB_NONE;
  EventSourceHandle watch_;
};

}  // namespace

EventSourceHandle watch_active_window(std::function<void()> on_change) {
  auto watch =
      std::make_unique<ActiveWindowWatch>(xcb_connect(nullptr, nullptr), std::move(on_change));
  if (!watch->start()) return nullptr;
  return watch;
}

}  // namespace cx::platform
