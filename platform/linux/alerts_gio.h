// Desktop notifications over org.freedesktop.Notifications on the session bus.
#pragma once

#include <string_view>

namespace cx::platform {

// False when no notification server is running on the session bus.
bool notify_on_session_bus(std::string_view app_name, std::string_view summary,
                           std::string_view body);

}  // namespace cx::platform
