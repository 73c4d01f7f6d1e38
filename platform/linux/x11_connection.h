// What every X client of the platform layer needs from xcb: replies freed
// with free(), a connection closed when its owner goes, atoms by name.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace cx::platform {

struct XcbFree {
  void operator()(void* p) const { std::free(p); }
};
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

struct XcbDisconnect {
  void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

// A connection to $DISPLAY, read afresh each time, with its default screen;
// null without a display or server.
XcbConnection connect_display(xcb_screen_t** screen);

// XCB_NONE when the server does not answer.
xcb_atom_t intern_atom(xcb_connection_t* conn, std::string_view name);

}  // namespace cx::platform
