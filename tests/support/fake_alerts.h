// Alerts for tests: a notification server and a display that are there or
// not, installed while the object lives. Every alert shown is kept as the
// way it was shown ("notification" or "window"), ": ", then its two texts
// joined by " / ". `on_window` runs while an alert window is up.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/alerts.h"

namespace cx::test {

class FakeAlerts final : public platform::Alerts {
 public:
  FakeAlerts(bool server, bool display) : server_(server), display_(display) {
    platform::set_alerts(this);
  }
  ~FakeAlerts() override { platform::set_alerts(nullptr); }
  FakeAlerts(const FakeAlerts&) = delete;
  FakeAlerts& operator=(const FakeAlerts&) = delete;

  bool post_critical_notification(std::string_view, std::string_view summary,
                                  std::string_view body) override {
    if (server_) keep("notification", summary, body);
    return server_;
  }
  bool run_caution_alert(std::string_view, std::string_view message,
                         std::string_view explanation) override {
    if (!display_) return false;
    keep("window", message, explanation);
    if (on_window) on_window();
    return true;
  }

  std::vector<std::string> shown;
  std::function<void()> on_window;

 private:
  void keep(std::string_view way, std::string_view text, std::string_view more) {
    shown.push_back(std::string(way) + ": " + std::string(text) + " / " + std::string(more));
  }
  bool server_, display_;
};

}  // namespace cx::test
