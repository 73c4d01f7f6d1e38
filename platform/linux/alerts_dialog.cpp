#include "platform/linux/alerts_dialog.h"

#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>

#include <optional>
#include <string>

#include "platform/bundles.h"

extern char** environ;

namespace cx::platform {

bool run_alert_program(std::string_view title, std::string_view message,
                       std::string_view explanation) {
  const std::optional<std::string> program = main_bundle().resource_path(kAlertProgram, "");
  if (!program) return false;
  std::string args[] = {*program, std::string(title), std::string(message),
                        std::string(explanation)};
  char* argv[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data(), nullptr};
  pid_t pid = -1;
  if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) != 0) return false;
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == kAlertDismissed;
}

}  // namespace cx::platform
