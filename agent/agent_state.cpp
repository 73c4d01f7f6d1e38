#include "agent/agent_state.h"

namespace cx {

std::optional<std::string> active_app_name;
uint32_t active_app_sig = 0;
int16_t timer_driver_poll_count = 0;
uint32_t removed_login_item = 0;
uint32_t initialized_devices = 0;
uint32_t background_uid = 1;
uint32_t user_session_active = 1;
uint32_t background_app_active = 0;

void reset_agent_state() {
  active_app_name.reset();
  active_app_sig = 0;
  timer_driver_poll_count = 0;
  removed_login_item = 0;
  initialized_devices = 0;
  background_uid = 1;
  user_session_active = 1;
  background_app_active = 0;
}

}  // namespace cx
