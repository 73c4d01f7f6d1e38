// The subcommands that change the driver's button settings and then ask the
// agent to save them: bind, unbind, app remove.
#pragma once

#include <string>
#include <vector>

namespace cx::corvexctl {

// Each takes the words after its subcommand and gives the exit status.
int run_bind(const std::vector<std::string>& args);
int run_unbind(const std::vector<std::string>& args);
int run_app(const std::vector<std::string>& args);

}  // namespace cx::corvexctl
