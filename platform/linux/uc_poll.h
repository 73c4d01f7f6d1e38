// Waiting on user-client sockets. A driver request is answered within
// microseconds, and a preference pass makes hundreds of them in a row; going
// to sleep and being woken for each costs far more than the answer itself
// (tens of microseconds in a virtual machine, where an idle processor exits
// to the host). So a wait first polls without sleeping for a short budget,
// then sleeps as usual.
#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>

namespace cx::uc {

inline constexpr std::chrono::microseconds kSpinBudget{50};

// As poll(2) with `timeout_ms`, after up to `spin` of polls that do not sleep
// (each offering the processor to another thread first, so that a peer on
// the same processor can answer).
int poll_spinning_first(pollfd* fds, std::size_t count, int timeout_ms,
                        std::chrono::microseconds spin = kSpinBudget);

}  // namespace cx::uc
