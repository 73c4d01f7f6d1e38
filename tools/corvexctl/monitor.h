// `corvexctl monitor`: takes the control panel's place on the bus and prints
// what the agent tells it.
#pragma once

namespace cx::corvexctl {

// Runs until SIGINT or SIGTERM; answers `bdac` with 1 when `save` is true, else 0.
// Returns the process exit status.
int run_monitor(bool save);

}  // namespace cx::corvexctl
