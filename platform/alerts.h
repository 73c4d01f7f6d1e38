// Alerts to the user from an agent that has no window of its own.
#pragma once

#include <string_view>

namespace cx::platform {

class Alerts {
 public:
  virtual ~Alerts() = default;
  // A critical notification from the session's notification server, which
  // shows it until the user dismisses it. False when no server took it.
  virtual bool post_critical_notification(std::string_view app_name, std::string_view summary,
                                          std::string_view body) = 0;
  // A modal caution alert titled `app_name`, run until the user dismisses
  // it. False, with nothing shown, when there is no display.
  virtual bool run_caution_alert(std::string_view app_name, std::string_view message,
                                 std::string_view explanation) = 0;
};

// The process-wide service: the desktop's, unless a test installed another.
Alerts& alerts();
// Installs `a` (not owned; null restores the desktop's).
void set_alerts(Alerts* a);

}  // namespace cx::platform
