// A stand-in for systemd-logind: a private dbus-daemon playing the system bus
// and, on it, org.freedesktop.login1 with what the agent and the driver ask
// of logind. While it lives DBUS_SYSTEM_BUS_ADDRESS names its bus, so that
// programs started after it find it, as with the private session bus.
//
// Served: Manager.GetSessionByPID(u) -> o (0: the caller's own process),
// Manager.GetSession(s) -> o, Manager.GetUser(u) -> o; on each session object
// the properties Id (s), User ((uo)), Seat ((so), ("", "/") for a session
// without one) and Active (b); on each user object Display ((so): the first
// session added for the user at a seat, ("", "/") when none). A change of
// Active is signalled with PropertiesChanged, as logind does. Unknown pids,
// sessions and users answer logind's errors NoSessionForPID, NoSuchSession
// and NoSuchUser.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace cx::test {

class FakeLogind {
 public:
  // Starts the bus and takes the name; ok() tells whether that worked.
  FakeLogind();
  ~FakeLogind();
  FakeLogind(const FakeLogind&) = delete;
  FakeLogind& operator=(const FakeLogind&) = delete;

  bool ok() const;
  const std::string& error() const;
  // The bus address, for DBUS_SYSTEM_BUS_ADDRESS.
  const std::string& address() const;

  // Session `id` (a letter, then letters and digits) of user `uid` on `seat`
  // (empty: none, as a remote login), holding the processes `pids`.
  void add_session(const std::string& id, uint32_t uid, const std::vector<pid_t>& pids, bool active,
                   const std::string& seat = "seat0");
  void set_active(const std::string& id, bool active);

  // Stops the bus: logind can no longer be reached.
  void stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace cx::test
