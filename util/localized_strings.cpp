#include "util/localized_strings.h"

#include <cstdio>

#include "platform/bundles.h"

namespace cx {

std::optional<std::string> loadString(std::string_view key, std::string_view table) {
  std::string text = platform::main_bundle().localized_string(key, table);
  if (text.empty() || text == key) return std::nullopt;
  return text;
}

std::optional<std::string> loadStringResource(int id) {
  char key[32];
  std::snprintf(key, sizeof key, "keyStringID_%d", id);
  return loadString(key, "Strings");
}

std::optional<std::string> loadStrListResource(int list_id, int index) {
  char key[48];
  std::snprintf(key, sizeof key, "keyStringList_%d_%d", list_id, index);
  return loadString(key, "Strings");
}

}  // namespace cx
