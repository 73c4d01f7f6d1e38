// Asking the agent (`VCVX`) through its Apple events on the session bus.
#pragma once

#include <cstdint>

#include "platform/apple_events.h"

namespace cx::corvexctl {

// Exit statuses shared by every subcommand.
inline constexpr int kExitOk = 0;
inline constexpr int kExitNotRunning = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitFailed = 3;

inline constexpr platform::OSType kSuite = platform::fourcc("cxvx");
// What wprf and rdpf answer when the agent saved or restored.
inline constexpr int16_t kAgentDone = 1;

// Sends the event to the agent and waits for its reply; the exit status on
// failure (after one line on standard error), else kExitOk.
int ask_agent(platform::OSType event_class, platform::OSType event_id,
              const platform::AppleEvent::Parameter* param, platform::AppleEvent& reply);

// The reply's `----` as a 16-bit value, or a message and false.
bool direct_shor(const platform::AppleEvent& reply, platform::OSType event_id, int16_t& value);

// Whether the agent is on the bus, without a message.
bool agent_running();

// Asks the agent to save (wprf); the exit status. `quiet_absent` leaves the
// message for a missing agent to the caller.
int save_preferences(bool quiet_absent);

}  // namespace cx::corvexctl
