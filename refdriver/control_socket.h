// The control tool's socket in the service directory: one command line in,
// the answer back (see control_commands.h), owner-only.
#pragma once

#include <string_view>

namespace cx::refdriver {

inline constexpr std::string_view kControlSocketName = "corvex-driverctl.sock";
inline constexpr std::string_view kServiceDirectoryVariable = "CORVEX_IOKIT_DIR";
inline constexpr std::string_view kDefaultServiceDirectory = "/run/corvex/iokit";

}  // namespace cx::refdriver
