// A private X server for tests: Xvfb picks a free display itself
// (-displayfd) and is stopped when the object goes.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

extern char** environ;

namespace cx::test {

class Xvfb {
 public:
  Xvfb() {
    int fds[2];
    if (pipe(fds) != 0) return;
    const std::string fd_arg = std::to_string(fds[1]);
    // -noreset: the server would otherwise reset, refusing connections for a
    // moment, each time its last client leaves.
    const char* argv[] = {"Xvfb",    "-displayfd", fd_arg.c_str(), "-nolisten", "tcp", "-noreset",
                          "-screen", "0",          "320x240x24",   nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int rc =
        posix_spawnp(&pid_, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) {
      pid_ = -1;
      close(fds[0]);
      return;
    }
    // The server writes its display number once it accepts connections.
    std::string number;
    pollfd p{fds[0], POLLIN, 0};
    char c;
    while (poll(&p, 1, 10000) == 1 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    close(fds[0]);
    if (!number.empty()) display_ = ":" + number;
  }

  ~Xvfb() { stop(); }
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;

  // ":N", or empty when the server could not be started.
  const std::string& display() const { return display_; }

  void stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  std::string display_;
};

}  // namespace cx::test
