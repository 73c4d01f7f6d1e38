// corvexctl show: the button settings as the driver holds them, per
// application set, in the preference file's notation.
#pragma once

#include <string>
#include <vector>

namespace cx::corvexctl {

int run_show(const std::vector<std::string>& args);

}  // namespace cx::corvexctl
