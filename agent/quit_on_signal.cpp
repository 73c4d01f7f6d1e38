#include "agent/quit_on_signal.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace cx {
namespace {

constexpr std::array<int, 3> kQuitSignals = {SIGTERM, SIGINT, SIGHUP};

// The handler may only write to the pipe; the loop does the rest.
int pipe_fds[2] = {-1, -1};

void on_signal(int) {
  const int saved = errno;
  const char byte = 1;
  [[maybe_unused]] const ssize_t n = write(pipe_fds[1], &byte, 1);
  errno = saved;
}

}  // namespace

quit_on_signal::quit_on_signal() {
  if (pipe2(pipe_fds, O_CLOEXEC | O_NONBLOCK) != 0) return;
  watch_ = platform::event_loop().watch_fd(pipe_fds[0], [] {
    char buffer[16];
    while (read(pipe_fds[0], buffer, sizeof buffer) > 0) {
    }
    platform::event_loop().quit();
  });
  struct sigaction action = {};
  action.sa_handler = on_signal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (const int signal_number : kQuitSignals) sigaction(signal_number, &action, nullptr);
}

quit_on_signal::~quit_on_signal() {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  for (const int signal_number : kQuitSignals) sigaction(signal_number, &action, nullptr);
  watch_.reset();
  for (int& fd : pipe_fds) {
    if (fd >= 0) close(fd);
    fd = -1;
  }
}

}  // namespace cx
