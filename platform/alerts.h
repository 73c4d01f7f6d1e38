// Alerts to the user from an agent that has no window of its own.
#pragma once

#include <string_view>

namespace cx::platform {

// A critical notification from the session's notification server, which
// shows it until the user dismisses it. False when no server took it.
bool post_critical_notification(std::string_view app_name, std::string_view summary,
                                std::string_view body);

}  // namespace cx::platform
