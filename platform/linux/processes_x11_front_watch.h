// Hears the window manager change `_NET_ACTIVE_WINDOW` on the root window,
// on a connection of its own so that the queries of the process service
// never read its events.
#pragma once

#include <functional>

#include "platform/event_loop.h"

namespace cx::platform {

// Null without a display; the watch ends quietly if the server goes away.
EventSourceHandle watch_active_window(std::function<void()> on_change);

}  // namespace cx::platform
