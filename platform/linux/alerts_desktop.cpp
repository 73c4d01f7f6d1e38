#include "platform/alerts.h"
#include "platform/linux/alerts_dialog.h"
#include "platform/linux/alerts_gio.h"

namespace cx::platform {
namespace {

class DesktopAlerts final : public Alerts {
 public:
  bool post_critical_notification(std::string_view app_name, std::string_view summary,
                                  std::string_view body) override {
    return notify_on_session_bus(app_name, summary, body);
  }
  bool run_caution_alert(std::string_view app_name, std::string_view message,
                         std::string_view explanation) override {
    return run_alert_program(app_name, message, explanation);
  }
};

DesktopAlerts desktop;
Alerts* installed = &desktop;

}  // namespace

Alerts& alerts() {
  return *installed;
}

void set_alerts(Alerts* a) {
  installed = a != nullptr ? a : &desktop;
}

}  // namespace cx::platform
