// The agent's process-wide state: plain variables, one instance each, living
// for the whole run. The driver link owns its connection and buffers, the
// preference store owns `pref_data`; everything else the agent core keeps
// is here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cx {

// Name and creator signature of the front application last sent to the driver.
extern std::optional<std::string> active_app_name;
extern uint32_t active_app_sig;
// Foreground-timer ticks since the driver's queue was last drained.
extern int16_t timer_driver_poll_count;
extern uint32_t removed_login_item;
// Set once the device descriptor table has gone to the driver.
extern uint32_t initialized_devices;
// This agent's user, as the fast-user-switch helper reported it.
extern uint32_t background_uid;
// Non-zero while this agent's login session is on the console.
extern uint32_t user_session_active;
// Non-zero while this agent serves the driver.
extern uint32_t background_app_active;

// Back to the values at process start, for tests that run the agent's
// routines more than once in one process.
void reset_agent_state();

}  // namespace cx
