// Child processes: a private session bus, programs started in the background,
// and commands run to completion.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace cx::test {

// A dbus-daemon of the test's own, named in `variable`, so that nothing here
// touches the user's bus; `config` replaces the session bus's configuration.
// address() is empty when it did not start.
class PrivateSessionBus {
 public:
  explicit PrivateSessionBus(const char* variable = "DBUS_SESSION_BUS_ADDRESS",
                             const std::string& config = {});
  ~PrivateSessionBus();
  const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

// A bus configuration in `dir` that listens on a socket there and lets any
// user connect, own names and send (tests play other users); its path.
std::string write_open_bus_config(const std::string& dir);

// A process with its stdout and stderr kept in files; SIGTERM when dropped.
class BackgroundProcess {
 public:
  // `env` ("NAME=value" entries) replaces the test's environment when given.
  explicit BackgroundProcess(const std::vector<std::string>& argv,
                             const std::vector<std::string>& env = {});
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  pid_t pid() const { return pid_; }
  std::string output() const;
  std::string errors() const;
  // Waits until its stdout contains `text`; false after ten seconds, room
  // for a loaded machine.
  bool wait_for_output(const std::string& text) const;
  // Sends SIGTERM and returns the exit status (-1 if killed by a signal).
  int terminate();
  // Waits for it to exit by itself; the exit status, or -1 after `ms`.
  int wait_exit(int ms = 5000);

 private:
  pid_t pid_ = -1;
  std::string out_path_, err_path_;
};

struct CommandResult {
  int exit_status = -1;  // -1 when it did not exit normally
  std::string out, err;
};
CommandResult run_command(const std::vector<std::string>& argv);

// Nanoseconds the process has run on a CPU.
double cpu_time_ns(pid_t pid);

}  // namespace cx::test
