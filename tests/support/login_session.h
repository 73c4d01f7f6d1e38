// Another user's login session beside a UserSession, for tests of several
// users on one driver: its programs run as `uid` (setpriv; only root may do
// that) with folders of that user's own, a session bus of its own and the
// logind session `session_id`; the driver's sockets, the agent's bundle and
// the system bus are those of the test's environment when a program starts.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace cx::test {

class LoginSession {
 public:
  LoginSession(uid_t uid, const std::string& session_id);
  ~LoginSession();
  LoginSession(const LoginSession&) = delete;
  LoginSession& operator=(const LoginSession&) = delete;

  bool ready() const { return !dir_.path().empty() && !bus_->address().empty(); }
  uid_t uid() const { return uid_; }
  // Where the user's preference files are.
  std::string preferences() const { return dir_.file("config/corvex/Preferences"); }

  // A program of this session, as its user; files written into the folders
  // until now are handed to the user first.
  std::unique_ptr<BackgroundProcess> start(const std::vector<std::string>& argv);
  BackgroundProcess& start_agent();
  CommandResult corvexctl(const std::vector<std::string>& args);
  // The control panel reports the agent active, or inactive, within five seconds.
  bool agent_reports(const std::string& status);

  std::string log() const { return read_file(dir_.file("CXBkgnd_Diags.txt")); }
  bool logged(const std::string& text) const;

  std::unique_ptr<BackgroundProcess> agent;

 private:
  std::vector<std::string> environment() const;

  uid_t uid_;
  std::string session_id_;
  TempDir dir_{"cxlogin"};
  std::unique_ptr<PrivateSessionBus> bus_;
};

}  // namespace cx::test
