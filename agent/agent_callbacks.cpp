#include "agent/agent_callbacks.h"

#include "agent/driver_events.h"
#include "agent/foreground_app.h"
#include "agent/lifecycle.h"
#include "agent/user_sessions.h"

namespace cx {

const agent_callbacks agent_routines = {
    QuitAppleEventHandler,
    MenuExtraAppleEventHandler,
    UserSessionActivatedNotificationHandler,
    UserSessionDeactivatedNotificationHandler,
    cx_notify,
    foregroundAppTimerAction,
};

}  // namespace cx
