#include "platform/linux/processes_x11_display.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/linux/x11_connection.h"

namespace cx::platform {
namespace {

using PropertyReply = XcbReply<xcb_get_property_reply_t>;

// WM_CLASS is "instance\0class\0"; names longer than this are cut later anyway.
constexpr uint32_t kWmClassLongs = 1024;
// Room for a 256-pixel icon and its smaller sizes.
constexpr uint32_t kWmIconLongs = 1 << 17;
// Window titles: a page title is rarely longer, and what is shown is cut.
constexpr uint32_t kWmNameLongs = 1024;

std::string class_part(const xcb_get_property_reply_t* reply) {
  const int length = xcb_get_property_value_length(reply);
  if (length <= 0) return {};
  const auto* value = static_cast<const char*>(xcb_get_property_value(reply));
  const auto* end = value + length;
  const auto* instance_end = static_cast<const char*>(std::memchr(value, '\0', length));
  if (instance_end == nullptr) return {};
  const char* cls = instance_end + 1;
  const auto* cls_end = static_cast<const char*>(std::memchr(cls, '\0', end - cls));
  return std::string(cls, cls_end ? cls_end : end);
}

}  // namespace

X11Display::~X11Display() {
  disconnect();
}

bool X11Display::connect() {
  if (conn_ != nullptr) return true;
  // Without DISPLAY xcb fails at once; with one it tries just that display.
  xcb_connection_t* conn = xcb_connect(nullptr, &screen_);
  if (xcb_connection_has_error(conn)) {
    xcb_disconnect(conn);
    return false;
  }
  xcb_intern_atom_cookie_t* cookies = xcb_ewmh_init_atoms(conn, &ewmh_);
  // On failure the replies call releases what the atoms call allocated.
  if (!xcb_ewmh_init_atoms_replies(&ewmh_, cookies, nullptr)) {
    xcb_disconnect(conn);
    return false;
  }
  if (screen_ >= ewmh_.nb_screens) {
    xcb_ewmh_connection_wipe(&ewmh_);
    xcb_disconnect(conn);
    return false;
  }
  conn_ = conn;
  return true;
}

void X11Display::disconnect() {
  if (conn_ == nullptr) return;
  xcb_ewmh_connection_wipe(&ewmh_);
  ewmh_ = {};
  xcb_disconnect(conn_);
  conn_ = nullptr;
}

bool X11Display::healthy() {
  if (conn_ != nullptr && xcb_connection_has_error(conn_)) disconnect();
  return conn_ != nullptr;
}

xcb_window_t X11Display::active_window() {
  if (!connect()) return XCB_NONE;
  xcb_window_t window = XCB_NONE;
  if (!xcb_ewmh_get_active_window_reply(&ewmh_, xcb_ewmh_get_active_window(&ewmh_, screen_),
                                        &window, nullptr))
    window = XCB_NONE;
  healthy();
  return window;
}

std::vector<xcb_window_t> X11Display::client_list(bool stacking) {
  std::vector<xcb_window_t> windows;
  if (!connect()) return windows;
  xcb_ewmh_get_windows_reply_t list{};
  const bool ok =
      stacking ? xcb_ewmh_get_client_list_stacking_reply(
                     &ewmh_, xcb_ewmh_get_client_list_stacking(&ewmh_, screen_), &list, nullptr)
               : xcb_ewmh_get_client_list_reply(&ewmh_, xcb_ewmh_get_client_list(&ewmh_, screen_),
                                                &list, nullptr);
  if (ok) {
    windows.assign(list.windows, list.windows + list.windows_len);
    xcb_ewmh_get_windows_reply_wipe(&list);
  }
  healthy();
  return windows;
}

std::vector<pid_t> X11Display::window_pids(std::span<const xcb_window_t> windows) {
  std::vector<pid_t> pids(windows.size(), 0);
  if (windows.empty() || !connect()) return pids;
  std::vector<xcb_get_property_cookie_t> cookies;
  cookies.reserve(windows.size());
  for (xcb_window_t w : windows) cookies.push_back(xcb_ewmh_get_wm_pid(&ewmh_, w));
  for (std::size_t i = 0; i < cookies.size(); ++i) {
    uint32_t pid = 0;
    if (xcb_ewmh_get_wm_pid_reply(&ewmh_, cookies[i], &pid, nullptr))
      pids[i] = static_cast<pid_t>(pid);
  }
  healthy();
  return pids;
}

X11Display::WindowFacts X11Display::window_facts(xcb_window_t window) {
  WindowFacts facts;
  if (!connect()) return facts;
  const auto pid_cookie = xcb_ewmh_get_wm_pid(&ewmh_, window);
  const auto class_cookie =
      xcb_get_property(conn_, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, kWmClassLongs);
  uint32_t pid = 0;
  if (xcb_ewmh_get_wm_pid_reply(&ewmh_, pid_cookie, &pid, nullptr))
    facts.pid = static_cast<pid_t>(pid);
  if (PropertyReply reply{xcb_get_property_reply(conn_, class_cookie, nullptr)})
    facts.wm_class = class_part(reply.get());
  healthy();
  return facts;
}

std::vector<uint32_t> X11Display::wm_icon(xcb_window_t window) {
  std::vector<uint32_t> value;
  if (!connect()) return value;
  const PropertyReply reply{xcb_get_property_reply(
      conn_,
      xcb_get_property(conn_, 0, window, ewmh_._NET_WM_ICON, XCB_ATOM_CARDINAL, 0, kWmIconLongs),
      nullptr)};
  if (reply && reply->format == 32 && reply->bytes_after == 0) {
    const auto* first = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    value.assign(first, first + xcb_get_property_value_length(reply.get()) / 4);
  }
  healthy();
  return value;
}

std::string X11Display::window_name(xcb_window_t window) {
  std::string name;
  if (!connect()) return name;
  const auto utf8_cookie = xcb_ewmh_get_wm_name(&ewmh_, window);
  const auto plain_cookie = xcb_get_property(conn_, 0, window, XCB_ATOM_WM_NAME,
                                             XCB_GET_PROPERTY_TYPE_ANY, 0, kWmNameLongs);
  xcb_ewmh_get_utf8_strings_reply_t utf8{};
  if (xcb_ewmh_get_wm_name_reply(&ewmh_, utf8_cookie, &utf8, nullptr)) {
    name.assign(utf8.strings, utf8.strings_len);
    xcb_ewmh_get_utf8_strings_reply_wipe(&utf8);
  }
  if (PropertyReply reply{xcb_get_property_reply(conn_, plain_cookie, nullptr)}) {
    const int length = xcb_get_property_value_length(reply.get());
    if (name.empty() && length > 0)
      name.assign(static_cast<const char*>(xcb_get_property_value(reply.get())), length);
  }
  healthy();
  return name;
}

bool X11Display::activate(xcb_window_t window) {
  if (!connect()) return false;
  xcb_ewmh_request_change_active_window(&ewmh_, screen_, window, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER,
                                        XCB_CURRENT_TIME, XCB_NONE);
  xcb_flush(conn_);
  // Nothing selects events here; what arrives is errors of earlier requests.
  while (xcb_generic_event_t* event = xcb_poll_for_event(conn_)) std::free(event);
  return healthy();
}

}  // namespace cx::platform
