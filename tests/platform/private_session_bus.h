#pragma once

#include <sys/types.h>

#include <string>

namespace cx::testing {

// A dbus-daemon of the test's own, so tests never touch the user's session bus.
class PrivateSessionBus {
 public:
  PrivateSessionBus();
  PrivateSessionBus(const PrivateSessionBus&) = delete;
  PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;
  ~PrivateSessionBus();

  // Empty when the daemon could not be started.
  const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

}  // namespace cx::testing
