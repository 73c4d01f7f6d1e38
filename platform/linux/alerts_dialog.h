// The modal alert window: a program of its own among the agent's resources,
// so that GTK is never loaded into the agent, and the agent handles nothing
// else until the user dismisses the alert.
#pragma once

#include <string_view>

namespace cx::platform {

inline constexpr char kAlertProgram[] = "corvex-alert";
// The program's exit statuses.
inline constexpr int kAlertDismissed = 0;
inline constexpr int kAlertNoDisplay = 69;
inline constexpr int kAlertUsage = 64;

// Runs the alert program and waits for it; true once the user dismissed the
// alert.
bool run_alert_program(std::string_view title, std::string_view message,
                       std::string_view explanation);

}  // namespace cx::platform
