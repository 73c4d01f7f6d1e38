#include "tests/platform/private_session_bus.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace cx::testing {

PrivateSessionBus::PrivateSessionBus() {
  int address_pipe[2];
  if (pipe(address_pipe) != 0) return;
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // a crashed test leaves no daemon behind
    dup2(address_pipe[1], STDOUT_FILENO);
    close(address_pipe[0]);
    close(address_pipe[1]);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1",
           static_cast<char*>(nullptr));
    _exit(127);
  }
  close(address_pipe[1]);
  std::array<char, 256> chunk;
  ssize_t got = 0;
  while (address_.find('\n') == std::string::npos &&
         (got = read(address_pipe[0], chunk.data(), chunk.size())) > 0) {
    address_.append(chunk.data(), static_cast<size_t>(got));
  }
  close(address_pipe[0]);
  if (const size_t end = address_.find('\n'); end != std::string::npos) {
    address_.resize(end);
  } else {
    address_.clear();
  }
}

PrivateSessionBus::~PrivateSessionBus() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

}  // namespace cx::testing
