// Child processes for the Apple-event bus tests: a private session bus,
// helpers started in the background, and commands run to completion.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace cx::testing {

// Starts a dbus-daemon of its own and points DBUS_SESSION_BUS_ADDRESS at it,
// so that nothing here touches the user's bus. False when it could not start.
bool start_private_bus();
void stop_private_bus();

struct CommandResult {
  int exit_status = -1;  // -1 when it did not exit normally
  std::string out;
  std::string err;
};
// Runs `argv` to completion, capturing both streams.
CommandResult run_command(const std::vector<std::string>& argv);

// A process running in the background, its stdout kept in a file; stopped with
// SIGTERM when dropped.
class BackgroundProcess {
 public:
  explicit BackgroundProcess(const std::vector<std::string>& argv);
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  pid_t pid() const { return pid_; }
  // Everything it wrote to stdout so far.
  std::string output() const;
  // Waits until its stdout contains `text`; false after five seconds.
  bool wait_for_output(const std::string& text) const;
  // Sends SIGTERM and returns the exit status (-1 if killed by a signal).
  int terminate();
  // Waits for it to exit by itself; the exit status, or -1 after five seconds.
  int wait_exit();

 private:
  pid_t pid_ = -1;
  std::string out_path_;
};

}  // namespace cx::testing
