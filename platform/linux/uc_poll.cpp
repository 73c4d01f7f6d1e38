#include "platform/linux/uc_poll.h"

#include <sched.h>

namespace cx::uc {

int poll_spinning_first(pollfd* fds, std::size_t count, int timeout_ms,
                        std::chrono::microseconds spin) {
  if (timeout_ms != 0) {
    const auto until = std::chrono::steady_clock::now() + spin;
    do {
      const int ready = poll(fds, count, 0);
      if (ready != 0) return ready;
      sched_yield();
    } while (std::chrono::steady_clock::now() < until);
  }
  return poll(fds, count, timeout_ms);
}

}  // namespace cx::uc
