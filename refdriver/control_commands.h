// The control tool's commands, one text line each; the answer is the
// command's output followed by a last line "ok" or "error: <reason>".
//   press BUTTON [--mods N]   front APP-NAME   chord   devices-changed
//   low-battery UNIQUE-ID     hscroll          console-switch [UID]
//   event CODE [HEX-DATA]     notify CODE [ARG]   state
// Numbers are decimal or 0x-prefixed hexadecimal.
#pragma once

#include <string>
#include <string_view>

#include "refdriver/driver_state.h"
#include "refdriver/simulator.h"

namespace cx::refdriver {

std::string run_control_command(Simulator& simulator, DriverState& state, std::string_view line);

}  // namespace cx::refdriver
