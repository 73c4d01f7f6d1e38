// Keeping the agent useful across a driver that exits or restarts: the loss
// is reported once, the link is dropped, and the agent reconnects on its main
// loop with a growing pause until the driver is back.
#pragma once

#include <chrono>

namespace cx {

inline constexpr std::chrono::milliseconds kFirstRelinkDelay{500};
inline constexpr std::chrono::milliseconds kLongestRelinkDelay{10000};

// From set-up on, a request that finds the driver gone counts as its loss.
void watch_driver_link();
// Stops watching and cancels a pending reconnection; for the tear-down.
void unwatch_driver_link();

// The driver has gone: reported once until the link is back, then the
// connection is released and reconnection starts.
void driver_link_lost();

}  // namespace cx
