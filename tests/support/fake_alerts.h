// Alerts for tests: a notification server and a display that are there or
// not, installed while the object lives; every alert shown is kept, with the
// way it was shown. `on_window` runs while an alert window is up.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/alerts.h"

namespace cx::test {

class FakeAlerts final : public platform::Alerts {
 public:
  enum class Way { notification, window };
  struct Shown {
    Way way;
    std::string text;  // message or summary, a newline, explanation or body
    bool operator==(const Shown&) const = default;
  };

  FakeAlerts(bool server, bool display) : server_(server), display_(display) {
    platform::set_alerts(this);
  }
  ~FakeAlerts() override { platform::set_alerts(nullptr); }
  FakeAlerts(const FakeAlerts&) = delete;
  FakeAlerts& operator=(const FakeAlerts&) = delete;

  bool post_critical_notification(std::string_view, std::string_view summary,
                                  std::string_view body) override {
    if (server_) shown.push_back({Way::notification, join(summary, body)});
    return server_;
  }
  bool run_caution_alert(std::string_view, std::string_view message,
                         std::string_view explanation) override {
    if (!display_) return false;
    shown.push_back({Way::window, join(message, explanation)});
    if (on_window) on_window();
    return true;
  }

  std::vector<Shown> shown;
  std::function<void()> on_window;

 private:
  static std::string join(std::string_view a, std::string_view b) {
    return std::string(a) + "\n" + std::string(b);
  }
  bool server_, display_;
};

}  // namespace cx::test
