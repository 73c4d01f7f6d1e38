// Words shared by the subcommands: buttons, modifier combinations,
// application sets, and the one-line usage error.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/numbering.h"

namespace cx::corvexctl {

// The preference key's button number, or nothing after a usage message.
std::optional<uint8_t> parse_button(const std::string& command, const std::string& word);
// The preference key of a button number ("ButtonID_24" style when it has none).
std::string button_key(uint8_t button);

// Modifier names joined with "+" ("Shift+Cmd"); nothing after a message.
std::optional<uint8_t> parse_mods(const std::string& command, const std::string& word);
// The modifier combination as names, empty for none.
std::string mods_text(uint8_t mods);

// An application set key the driver can hold; false after a message.
bool valid_app_key(const std::string& command, const std::string& app);
bool is_global_app(const std::string& app);

// "corvexctl COMMAND: TEXT" on standard error; the usage exit status.
int usage_error(const std::string& command, const std::string& text);

}  // namespace cx::corvexctl
