// Following the front application so the driver applies its settings, and
// the periodic chores that ride on the same timer.
#pragma once

#include <cstdint>

namespace cx {

inline constexpr int32_t kForegroundTimerFirstMs = 1000;
inline constexpr int32_t kForegroundTimerIntervalMs = 200;
// The queue is drained on the tick after this many.
inline constexpr int16_t kDriverPollTicks = 49;

// Starts the timer on the main loop, and the window manager's notice of
// focus changes where there is one; 0.
int32_t installForegroundAppTimer();
// Stops both; only the tear-down needs this.
void removeForegroundAppTimer();

// One tick.
void foregroundAppTimerAction(void* timer, void* user_data);
// The front window changed: the tick's comparison and switch, without its
// counting.
void foregroundAppChanged();

// Drops the stale login items of older installations from the current
// user's list when both lists have one; 1 when it did, else 0.
int removeUnusedLoginItem();

}  // namespace cx
