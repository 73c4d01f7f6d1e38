#include "tests/support/login_session.h"

#include <unistd.h>

#include <filesystem>
#include <map>

#include "tests/support/diagnostics.h"
#include "tests/support/user_session.h"

extern char** environ;

namespace cx::test {
namespace {

// Where PrivateSessionBus publishes the address; ours is read from it, and
// the test's own session bus stays as it is.
constexpr char kAddressVariable[] = "CX_LOGIN_SESSION_BUS";

void give_to(const std::string& dir, uid_t uid) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  if (chown(dir.c_str(), uid, uid) != 0) return;
  for (const auto& entry : fs::recursive_directory_iterator(dir, ignored)) {
    static_cast<void>(lchown(entry.path().c_str(), uid, uid));
  }
}

}  // namespace

LoginSession::LoginSession(uid_t uid, const std::string& session_id)
    : uid_(uid), session_id_(session_id) {
  // The log settings write CORVEX_MACHINE_ID into the test's environment,
  // which every session shares.
  write_diagnostic_settings(dir_.file("config"), 0x43FFFF);
  bus_ = std::make_unique<PrivateSessionBus>(kAddressVariable, write_open_bus_config(dir_.path()));
}

LoginSession::~LoginSession() {
  agent.reset();
  bus_.reset();
}

std::vector<std::string> LoginSession::environment() const {
  std::map<std::string, std::string> vars;
  for (char** var = environ; *var != nullptr; ++var) {
    const std::string text(*var);
    const size_t eq = text.find('=');
    if (eq != std::string::npos) vars[text.substr(0, eq)] = text.substr(eq + 1);
  }
  vars["HOME"] = dir_.path();
  vars["XDG_CONFIG_HOME"] = dir_.file("config");
  vars["CORVEX_SHARED_DIR"] = dir_.path();
  vars["XDG_SESSION_ID"] = session_id_;
  vars["DBUS_SESSION_BUS_ADDRESS"] = bus_->address();
  vars.erase("XDG_RUNTIME_DIR");
  std::vector<std::string> env;
  for (const auto& [name, value] : vars) env.push_back(name + "=" + value);
  return env;
}

std::unique_ptr<BackgroundProcess> LoginSession::start(const std::vector<std::string>& argv) {
  give_to(dir_.path(), uid_);
  const std::string id = std::to_string(uid_);
  std::vector<std::string> as_user{"setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups",
                                   "--"};
  as_user.insert(as_user.end(), argv.begin(), argv.end());
  return std::make_unique<BackgroundProcess>(as_user, environment());
}

BackgroundProcess& LoginSession::start_agent() {
  agent = start({Programs::agent});
  return *agent;
}

CommandResult LoginSession::corvexctl(const std::vector<std::string>& args) {
  std::vector<std::string> argv{Programs::corvexctl};
  argv.insert(argv.end(), args.begin(), args.end());
  const std::unique_ptr<BackgroundProcess> p = start(argv);
  CommandResult result{p->wait_exit(60000), "", ""};
  result.out = p->output();
  result.err = p->errors();
  return result;
}

bool LoginSession::agent_reports(const std::string& status) {
  return eventually([&] { return corvexctl({"status"}).out == status + "\n"; });
}

bool LoginSession::logged(const std::string& text) const {
  return eventually([&] { return log().find(text) != std::string::npos; });
}

}  // namespace cx::test
