#include "tests/support/user_session.h"

#include <stdlib.h>

#include "tests/support/diagnostics.h"

namespace cx::test {

const std::string Programs::agent = CX_AGENT;
const std::string Programs::bundle = CX_AGENT_BUNDLE;
const std::string Programs::driverd = CX_DRIVERD;
const std::string Programs::driverctl = CX_DRIVERCTL;
const std::string Programs::corvexctl = CX_CORVEXCTL;

namespace {

CommandResult run(const std::string& program, const std::vector<std::string>& args) {
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  return run_command(argv);
}

}  // namespace

UserSession::UserSession() {
  setenv("CORVEX_IOKIT_DIR", services().c_str(), 1);
  setenv("CORVEX_SHARED_DIR", dir().c_str(), 1);
  setenv("XDG_CONFIG_HOME", dir_.file("config").c_str(), 1);
  setenv("CORVEX_BUNDLE", Programs::bundle.c_str(), 1);
  write_diagnostic_settings(dir_.file("config"), 0x43FFFF);
  bus_ = std::make_unique<PrivateSessionBus>();
}

UserSession::~UserSession() {
  agent.reset();
  driver.reset();
  bus_.reset();
}

BackgroundProcess* UserSession::start_driver(const std::vector<std::string>& options) {
  std::vector<std::string> argv{Programs::driverd};
  argv.insert(argv.end(), options.begin(), options.end());
  driver = std::make_unique<BackgroundProcess>(argv);
  return driver->wait_for_output("serving") ? driver.get() : nullptr;
}

BackgroundProcess& UserSession::start_agent() {
  agent = std::make_unique<BackgroundProcess>(std::vector<std::string>{Programs::agent});
  return *agent;
}

CommandResult UserSession::driverctl(const std::vector<std::string>& args) const {
  return run(Programs::driverctl, args);
}

CommandResult UserSession::corvexctl(const std::vector<std::string>& args) const {
  return run(Programs::corvexctl, args);
}

bool UserSession::agent_active() const {
  return eventually([&] { return corvexctl({"status"}).out == "active\n"; });
}

bool UserSession::logged(const std::string& text) const {
  return eventually([&] { return log().find(text) != std::string::npos; });
}

}  // namespace cx::test
