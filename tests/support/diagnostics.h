// The agent's diagnostic log as tests set it up.
#pragma once

#include <cstdint>
#include <string>

namespace cx::test {

// Settings below `config_home` (the agent's XDG_CONFIG_HOME) that show the
// log lines of `level` on the machine named "test".
void write_diagnostic_settings(const std::string& config_home, uint32_t level);

}  // namespace cx::test
