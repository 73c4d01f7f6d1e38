#include "responses/notation.h"

#include <array>
#include <cstdio>

#include "responses/notation_tables.h"
#include "util/far_string.h"

namespace cx {
namespace {

bool visible(const modifier_row& row, uint16_t restrictions) {
  return (row.restriction & restrictions) == 0;
}

// Table names hold no NUL, so a NUL in `text` can never compare equal.
bool same_name(std::string_view text, std::string_view name) {
  return text.size() == name.size() && far_strnicmp(text.data(), name.data(), name.size()) == 0;
}

const modifier_row* find_modifier(std::string_view part, uint16_t restrictions) {
  for (const auto& row : modifiers_table)
    if (visible(row, restrictions) && same_name(part, row.name)) return &row;
  return nullptr;
}

std::optional<uint16_t> find_key(std::string_view name) {
  for (size_t code = 0; code < keystroke_strings.size(); ++code)
    if (same_name(name, keystroke_strings[code])) return static_cast<uint16_t>(code);
  return std::nullopt;
}

std::string describe(const std::optional<std::string>& text) {
  return text ? *text : "NULL";
}

}  // namespace

uint8_t extract_modifiers(std::optional<std::string>* remainder, std::string_view text,
                          uint16_t restrictions) {
  if (remainder) remainder->reset();
  uint8_t bits = 0;
  bool found = false;
  size_t start = 0;  // the first part not yet consumed
  while (true) {
    const size_t end = text.find(modifiers_separator, start);
    const std::string_view part = text.substr(start, end - start);
    const modifier_row* row = find_modifier(part, restrictions);
    if (!row) break;
    bits = static_cast<uint8_t>(bits | row->bit);
    found = true;
    if (end == std::string_view::npos) return bits;  // the names used up the text
    start = end + modifiers_separator.size();
  }
  if (remainder) *remainder = std::string(found ? text.substr(start) : text);
  return bits;
}

std::optional<std::string> prepend_modifiers(uint8_t bits, uint16_t restrictions,
                                             std::optional<std::string_view> suffix) {
  std::optional<std::string> out;
  auto append = [&out](std::string_view piece) {
    if (out)
      out->append(modifiers_separator).append(piece);
    else
      out.emplace(piece);
  };
  for (const auto& row : modifiers_table)
    if (visible(row, restrictions) && (bits & row.bit)) append(row.name);
  if (suffix) append(*suffix);
  return out;
}

bool extract_keystroke(std::string_view text, uint8_t* mods, uint16_t* key_code) {
  std::optional<std::string> remainder;
  *mods = extract_modifiers(&remainder, text, MODIFIERS_NO_KEYSTROKES);
  if (!remainder) return false;
  const std::optional<uint16_t> code = find_key(*remainder);
  if (!code) return false;
  *key_code = *code;
  return true;
}

std::optional<std::string> build_keystroke(uint16_t key_code, uint8_t bits) {
  if (key_code >= keystroke_strings.size()) return std::nullopt;
  return prepend_modifiers(bits, MODIFIERS_NO_KEYSTROKES, keystroke_strings[key_code]);
}

std::vector<std::string> notation_selftest_lines() {
  std::vector<std::string> lines;
  for (const uint16_t restrictions :
       std::array<uint16_t, 3>{0, MODIFIERS_NO_KEYSTROKES, MODIFIERS_NO_CLICKS}) {
    for (const std::string_view text : testmods_strings) {
      std::optional<std::string> remainder;
      const uint8_t bits = extract_modifiers(&remainder, text, restrictions);
      const std::optional<std::string> rebuilt = prepend_modifiers(bits, restrictions, remainder);
      char mods[8];
      std::snprintf(mods, sizeof mods, "0x%x", bits);
      lines.push_back("Tested: " + std::string(text) + "  Mods: " + mods +
                      "  Remainder: " + describe(remainder) + "  Rebuilt: " + describe(rebuilt));
    }
  }
  return lines;
}

}  // namespace cx
