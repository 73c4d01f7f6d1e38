// What `corvexctl --help` and `corvexctl COMMAND --help` print.
#pragma once

#include <string_view>

namespace cx::corvexctl {

// Every subcommand with its synopsis, for the overview.
extern const std::string_view kOverview;

// The help of one subcommand; empty for an unknown one.
std::string_view command_help(std::string_view command);

}  // namespace cx::corvexctl
