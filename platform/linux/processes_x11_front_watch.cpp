#include "platform/linux/processes_x11_front_watch.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace cx::platform {
namespace {

constexpr std::string_view kActiveWindow = "_NET_ACTIVE_WINDOW";

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

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
    const std::unique_ptr<xcb_intern_atom_reply_t, FreeDeleter> atom(
        xcb_intern_atom_reply(conn_,
                              xcb_intern_atom(conn_, 0, static_cast<uint16_t>(kActiveWindow.size()),
                                              kActiveWindow.data()),
                              nullptr));
    if (!atom) return false;
    active_ = atom->atom;
    // Another client's PropertyChange selection on the root does not
    // exclude ours.
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    const std::unique_ptr<xcb_generic_error_t, FreeDeleter> error(xcb_request_check(
        conn_, xcb_change_window_attributes_checked(conn_, root, XCB_CW_EVENT_MASK, &mask)));
    if (error) return false;
    watch_ = event_loop().watch_fd(xcb_get_file_descriptor(conn_), [this] { on_ready(); });
    return true;
  }

 private:
  void on_ready() {
    bool changed = false;
    while (xcb_generic_event_t* raw = xcb_poll_for_event(conn_)) {
      const std::unique_ptr<xcb_generic_event_t, FreeDeleter> event(raw);
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
