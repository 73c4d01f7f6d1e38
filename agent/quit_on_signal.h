// Ends the event loop on SIGTERM, SIGINT or SIGHUP, so that a session that
// logs out still gets the full tear-down (the driver's record cleared, the
// report trailer written).
#pragma once

#include "platform/event_loop.h"

namespace cx {

class quit_on_signal {
 public:
  quit_on_signal();
  ~quit_on_signal();
  quit_on_signal(const quit_on_signal&) = delete;
  quit_on_signal& operator=(const quit_on_signal&) = delete;

 private:
  platform::EventSourceHandle watch_;
};

}  // namespace cx
