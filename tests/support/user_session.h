// A user session of real processes in private folders: corvex-driverd as the
// driver, corvex-background with its bundle, the control tools, all on a
// private session bus. Teardown runs in the reverse order of set-up.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace cx::test {

// The programs under test, as the build placed them.
struct Programs {
  static const std::string agent, bundle, driverd, driverctl, corvexctl;
};

class UserSession {
 public:
  UserSession();
  ~UserSession();
  UserSession(const UserSession&) = delete;
  UserSession& operator=(const UserSession&) = delete;

  // False when the folders or the bus could not be made.
  bool ready() const { return !dir_.path().empty() && !bus_->address().empty(); }
  const std::string& dir() const { return dir_.path(); }
  // Where the driver's sockets are.
  std::string services() const { return dir_.file("iokit"); }

  // corvex-driverd with `options`; null unless it serves within five seconds.
  BackgroundProcess* start_driver(const std::vector<std::string>& options = {});
  BackgroundProcess& start_agent();
  CommandResult driverctl(const std::vector<std::string>& args) const;
  CommandResult corvexctl(const std::vector<std::string>& args) const;
  // The control panel reports the agent active within five seconds.
  bool agent_active() const;

  // The agent's diagnostic log, and whether `text` shows up in it in time.
  std::string log() const { return read_file(dir_.file("CXBkgnd_Diags.txt")); }
  bool logged(const std::string& text) const;

  std::unique_ptr<BackgroundProcess> driver, agent;

 private:
  TempDir dir_{"cxsession"};
  std::unique_ptr<PrivateSessionBus> bus_;
};

}  // namespace cx::test
