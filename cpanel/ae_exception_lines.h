// What a CXAEMgr handler writes to standard output when it throws: the
// event dispatcher catches, prints this line and answers the sender.
#pragma once

#include "platform/apple_events.h"

namespace cx {

// The line for `handler` (installed with it as its exception line), or null
// for a handler that reports nothing.
const char* ae_exception_line(platform::AEEventHandlerProc handler);

}  // namespace cx
