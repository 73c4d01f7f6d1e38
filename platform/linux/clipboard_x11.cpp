#include "platform/linux/clipboard_x11.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/linux/selection_owner.h"
#include "platform/linux/x11_connection.h"
#include "platform/linux/xtest_keys.h"
#include "plist/text.h"

namespace cx::platform {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;

bool is_high_surrogate(uint32_t u) {
  return u >= 0xD800 && u < 0xDC00;
}
bool is_low_surrogate(uint32_t u) {
  return u >= 0xDC00 && u < 0xE000;
}

// utxt is host-order UTF-16; a lone surrogate becomes U+FFFD.
std::string utf8_of_utf16(std::span<const uint8_t> bytes) {
  std::string out;
  const std::size_t n = bytes.size() / 2;
  const auto unit = [&](std::size_t i) {
    char16_t u;
    std::memcpy(&u, bytes.data() + 2 * i, 2);
    return static_cast<uint32_t>(u);
  };
  for (std::size_t i = 0; i < n; ++i) {
    uint32_t c = unit(i);
    if (is_high_surrogate(c) && i + 1 < n && is_low_surrogate(unit(i + 1))) {
      c = 0x10000 + ((c - 0xD800) << 10) + (unit(++i) - 0xDC00);
    } else if (is_high_surrogate(c) || is_low_surrogate(c)) {
      c = kReplacement;
    }
    plist::append_utf8(out, c);
  }
  return out;
}

// One connection with the window that owns the clipboard; dropped whole
// when the server breaks it.
class Session {
 public:
  static std::unique_ptr<Session> open() {
    xcb_screen_t* screen = nullptr;
    XcbConnection conn = connect_display(&screen);
    if (!conn) return nullptr;
    const std::array<std::string_view, 5> names{"CLIPBOARD", "TARGETS", "TIMESTAMP", "INCR",
                                                "UTF8_STRING"};
    std::array<xcb_atom_t, 5> atoms{};
    for (std::size_t i = 0; i < names.size(); ++i) {
      atoms[i] = intern_atom(conn.get(), names[i]);
      if (atoms[i] == XCB_NONE) return nullptr;
    }
    return std::unique_ptr<Session>(new Session(
        std::move(conn), screen->root, {atoms[0], atoms[1], atoms[2], atoms[3]}, atoms[4]));
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool broken() const { return xcb_connection_has_error(conn_.get()) != 0; }
  SelectionOwner& owner() { return owner_; }
  XTestKeys& keys() { return keys_; }
  xcb_atom_t utf8_string() const { return utf8_string_; }

  // Selection ownership wants a real server time, which only an event
  // carries: a property change on our own window provides one.
  std::optional<xcb_timestamp_t> server_time() {
    xcb_change_property(conn_.get(), XCB_PROP_MODE_APPEND, window_, XCB_ATOM_WM_NAME,
                        XCB_ATOM_STRING, 8, 0, nullptr);
    xcb_flush(conn_.get());
    while (const XcbReply<xcb_generic_event_t> event{xcb_wait_for_event(conn_.get())}) {
      const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
      if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && change->window == window_)
        return change->time;
      handle(*event);
    }
    return std::nullopt;
  }

  // Whatever has arrived, also events read while waiting for a reply, which
  // leave the descriptor quiet.
  void dispatch() {
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(conn_.get())})
      handle(*event);
    // A broken connection keeps its descriptor readable.
    if (broken()) watch_.reset();
  }

 private:
  Session(XcbConnection conn, xcb_window_t root, const SelectionAtoms& atoms,
          xcb_atom_t utf8_string)
      : conn_(std::move(conn)),
        window_(create_window(conn_.get(), root)),
        owner_(conn_.get(), window_, atoms),
        keys_(conn_.get()),
        utf8_string_(utf8_string),
        watch_(
            event_loop().watch_fd(xcb_get_file_descriptor(conn_.get()), [this] { dispatch(); })) {}

  static xcb_window_t create_window(xcb_connection_t* conn, xcb_window_t root) {
    const xcb_window_t window = xcb_generate_id(conn);
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(conn, XCB_COPY_FROM_PARENT, window, root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    return window;
  }

  void handle(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) == XCB_MAPPING_NOTIFY) keys_.mapping_changed();
    owner_.handle(event);
  }

  XcbConnection conn_;
  xcb_window_t window_;
  SelectionOwner owner_;
  XTestKeys keys_;
  xcb_atom_t utf8_string_;
  EventSourceHandle watch_;
};

class X11Clipboard final : public Clipboard {
 public:
  int32_t clear() override {
    if (!connect()) return noScrapErr;
    const std::optional<xcb_timestamp_t> time = session_->server_time();
    const bool taken = time && session_->owner().acquire(*time);
    if (taken) ++generation_;
    session_->dispatch();
    return taken ? 0 : internalScrapErr;
  }

  int32_t current(ScrapRef& scrap) override {
    scrap = 0;
    if (!session_ || session_->broken() || !session_->owner().owned()) return noScrapErr;
    scrap = generation_;
    return 0;
  }

  int32_t put_flavor(ScrapRef scrap, OSType flavor, std::span<const uint8_t> data) override {
    ScrapRef now = 0;
    if (current(now) != 0 || scrap != now) return noScrapErr;
    if (flavor == kScrapFlavorTypeText) {
      session_->owner().offer(XCB_ATOM_STRING, std::string(data.begin(), data.end()));
    } else if (flavor == kScrapFlavorTypeUnicode) {
      session_->owner().offer(session_->utf8_string(), utf8_of_utf16(data));
    } else {
      return internalScrapErr;
    }
    return 0;
  }

  int32_t post_key(uint16_t character, uint16_t virtual_key, bool down) override {
    if (!connect()) return kCGErrorFailure;
    const bool posted = session_->keys().post(character, virtual_key, down);
    // Reading the keyboard mapping may have queued events.
    session_->dispatch();
    return posted ? 0 : kCGErrorFailure;
  }

 private:
  bool connect() {
    if (session_ && session_->broken()) session_.reset();
    if (!session_) session_ = Session::open();
    return session_ != nullptr;
  }

  std::unique_ptr<Session> session_;
  ScrapRef generation_ = 0;
};

}  // namespace

std::unique_ptr<Clipboard> make_x11_clipboard() {
  return std::make_unique<X11Clipboard>();
}

}  // namespace cx::platform
