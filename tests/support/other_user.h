// Runs a piece of a test as another user, in a child process: how a hostile
// local user is played. Only root can change its uid; tests skip otherwise.
#pragma once

#include <grp.h>
#include <pwd.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cx::test {

inline constexpr uid_t kNobody = 65534;

inline bool can_play_other_users() {
  return geteuid() == 0;
}

// A second user for tests of two logins: one the system knows (a bus daemon
// asks for its groups) other than root, nobody and the driver's placeholder
// uid 1; 0 when there is none.
inline uid_t another_known_user() {
  uid_t found = 0;
  setpwent();
  while (const passwd* p = getpwent()) {
    if (p->pw_uid > 1 && p->pw_uid != kNobody) {
      found = p->pw_uid;
      break;
    }
  }
  endpwent();
  return found;
}

// `body` runs in a forked child of a process that may have threads: it must
// keep to system calls (no allocation, no locks). Its result is the child's
// exit status; -1 when the child could not be made or did not exit.
template <typename Body>
int as_user(uid_t uid, Body body) {
  const pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(uid) != 0 || setuid(uid) != 0) _exit(126);
    _exit(body());
  }
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace cx::test
