// The keystroke and modifier notation: modifier names joined with "+" in
// front of a key name, parsed case-insensitively and printed normalised.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cx {

// The modifier bits named at the front of `text`. `remainder` (may be null)
// gets what follows them: the whole text when none leads, nothing when the
// names use it all up.
uint8_t extract_modifiers(std::optional<std::string>* remainder, std::string_view text,
                          uint16_t restrictions);

// The visible names of `bits` followed by `suffix`; nothing when both are
// empty.
std::optional<std::string> prepend_modifiers(uint8_t bits, uint16_t restrictions,
                                             std::optional<std::string_view> suffix);

// Modifiers and a key name; false when no key name follows them.
bool extract_keystroke(std::string_view text, uint8_t* mods, uint16_t* key_code);

// Nothing for a key code of 128 or more.
std::optional<std::string> build_keystroke(uint16_t key_code, uint8_t bits);

// The notation's self-test: each test text parsed under each restriction set
// and printed back, one line per pair.
std::vector<std::string> notation_selftest_lines();

}  // namespace cx
