#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>

#include "platform/linux/preference_file.h"

namespace cx::platform {
namespace {

constexpr std::chrono::milliseconds kPoll{20};

}  // namespace

DomainLock::DomainLock(const std::string& path, std::chrono::milliseconds wait) {
  // Read-only is enough for flock, so users of a shared folder can all lock.
  UniqueFd fd(::open((path + ".lock").c_str(),
                     O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644));
  struct stat st {};
  if (!fd || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
    error_ = "cannot open its lock file " + path + ".lock";
    return;
  }
  // A holder that never lets go (another process stuck or hostile) must not
  // hang this one: poll until the deadline.
  const auto deadline = std::chrono::steady_clock::now() + wait;
  while (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      error_ = "cannot lock " + path + ".lock";
      return;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      error_ = "another process held " + path + ".lock for longer than " +
               std::to_string(wait.count()) + " ms";
      return;
    }
    std::this_thread::sleep_for(kPoll);
  }
  fd_ = std::move(fd);
}

}  // namespace cx::platform
