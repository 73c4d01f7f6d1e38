#include "tools/corvexctl/command_words.h"

#include <cstdio>

#include "prefs/pref_schema.h"
#include "responses/notation.h"
#include "responses/notation_tables.h"
#include "tools/corvexctl/agent_events.h"
#include "tools/corvexctl/response_text.h"

namespace cx::corvexctl {
namespace {

// The driver keeps keys of up to 31 bytes and names of up to 127.
constexpr size_t kMaxKeyLength = 31;
constexpr std::string_view kGlobalKey = "Default";

}  // namespace

int usage_error(const std::string& command, const std::string& text) {
  std::fprintf(stderr, "corvexctl %s: %s\n", command.c_str(), text.c_str());
  return kExitUsage;
}

std::optional<uint8_t> parse_button(const std::string& command, const std::string& word) {
  const uint8_t button = button_number(word);
  if (button != 255) return button;
  std::vector<std::string_view> keys;
  for (const auto& entry : but_key_table) keys.push_back(entry.key);
  usage_error(command, "unknown button '" + word + "'; accepted: " + word_list(keys));
  return std::nullopt;
}

std::string button_key(uint8_t button) {
  for (const auto& entry : but_key_table)
    if (entry.button == button) return std::string(entry.key);
  return "ButtonID_" + std::to_string(button);
}

std::optional<uint8_t> parse_mods(const std::string& command, const std::string& word) {
  std::optional<std::string> rest;
  const uint8_t mods = extract_modifiers(&rest, word, 0);
  if (!rest) return mods;
  std::vector<std::string_view> names;
  for (const auto& row : modifiers_table) names.push_back(row.name);
  usage_error(command, "bad modifiers '" + word + "'; accepted: names joined with +, from " +
                           word_list(names));
  return std::nullopt;
}

std::string mods_text(uint8_t mods) {
  return prepend_modifiers(mods, 0, std::nullopt).value_or("");
}

bool is_global_app(const std::string& app) {
  return app.empty() || app == kGlobalKey;
}

bool valid_app_key(const std::string& command, const std::string& app) {
  if (app.size() > kMaxKeyLength) {
    usage_error(command, "application name '" + app + "' is longer than " +
                             std::to_string(kMaxKeyLength) + " bytes");
    return false;
  }
  return true;
}

}  // namespace cx::corvexctl
