// A desktop notification server (org.freedesktop.Notifications) on the
// session bus named by DBUS_SESSION_BUS_ADDRESS when it is made, served on a
// thread of its own; it keeps every notification it is given. `on_notify`
// runs on that thread before each answer, while the sender waits for it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cx::test {

struct Notification {
  std::string app_name, summary, body;
  int urgency = -1;  // the "urgency" hint, -1 without one

  bool operator==(const Notification&) const = default;
};

class FakeNotifications {
 public:
  explicit FakeNotifications(std::function<void()> on_notify = {});
  ~FakeNotifications();
  FakeNotifications(const FakeNotifications&) = delete;
  FakeNotifications& operator=(const FakeNotifications&) = delete;

  // Whether it owns the name; error() tells why not.
  bool ok() const;
  const std::string& error() const;
  std::vector<Notification> received() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace cx::test
