// The routines the agent hands to the platform, kept in one table.
#pragma once

#include <cstdint>
#include <string>

#include "platform/apple_events.h"
#include "platform/fast_user_switch_api.h"

namespace cx {

struct agent_callbacks {
  platform::AEEventHandlerProc quit;
  platform::AEEventHandlerProc menu_extra;
  CXSessionEventHandler session_activated;
  CXSessionEventHandler session_deactivated;
  void (*driver_notify)(void* refcon, const std::string& service, uint32_t message_type,
                        uint64_t message_argument);
  void (*foreground_tick)(void* timer, void* user_data);
};

extern const agent_callbacks agent_routines;

}  // namespace cx
