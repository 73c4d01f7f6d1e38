// Which agent serves the driver: the one whose session is on the console
// announces its user, and becomes active when the driver confirms that user.
#pragma once

#include <cstdint>

namespace cx {

// Writes or withdraws this agent's user in the driver's active-user record;
// the request's status.
int set_active_uid(bool active);

// Codes 14 (a user became the driver's) and 15 (the console changed hands).
int handle_UID_event(int16_t code, unsigned long uid);

// Called by the fast-user-switch helper; both return 0.
int32_t UserSessionActivatedNotificationHandler(void* call_ref, void* event, void* user_data);
int32_t UserSessionDeactivatedNotificationHandler(void* call_ref, void* event, void* user_data);

}  // namespace cx
