// The desktop's process service: X11 (EWMH) windows plus the Apple-event
// participants of the signature directory.
#pragma once

#include <memory>

#include "platform/processes.h"

namespace cx::platform {

// A service with its own display connection, opened on first use.
std::unique_ptr<Processes> make_x11_processes();

}  // namespace cx::platform
