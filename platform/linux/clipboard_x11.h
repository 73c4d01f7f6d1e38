// The desktop's clipboard and keys: the X11 CLIPBOARD owned by the agent
// (UTF8_STRING for Unicode text, STRING for Latin-1) and XTest key events,
// served on the main loop.
#pragma once

#include <memory>

#include "platform/clipboard.h"

namespace cx::platform {

// A service with its own display connection, opened on first use and again
// after the server broke it; without a display every call fails.
std::unique_ptr<Clipboard> make_x11_clipboard();

}  // namespace cx::platform
