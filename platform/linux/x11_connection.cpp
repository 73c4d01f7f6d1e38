#include "platform/linux/x11_connection.h"

namespace cx::platform {

XcbConnection connect_display(xcb_screen_t** screen) {
  int number = 0;
  // Without DISPLAY xcb fails at once; with one it tries just that display.
  XcbConnection conn(xcb_connect(nullptr, &number));
  if (xcb_connection_has_error(conn.get())) return nullptr;
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(conn.get()));
  for (; number > 0 && screens.rem > 0; --number) xcb_screen_next(&screens);
  if (screens.rem == 0) return nullptr;
  *screen = screens.data;
  return conn;
}

xcb_atom_t intern_atom(xcb_connection_t* conn, std::string_view name) {
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      conn, xcb_intern_atom(conn, 0, static_cast<uint16_t>(name.size()), name.data()), nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_NONE};
}

}  // namespace cx::platform
