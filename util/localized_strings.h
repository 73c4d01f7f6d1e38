// Localised strings of the agent's bundle. Each returns the string, or
// nothing when the bundle's tables do not have it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cx {

// The string of `key` in `table` of the main bundle; nothing when it is
// missing, that is, empty or equal to the key.
std::optional<std::string> loadString(std::string_view key, std::string_view table);
// Key "keyStringID_<id>" in the table "Strings".
std::optional<std::string> loadStringResource(int id);
// Key "keyStringList_<list id>_<index>" (index from 1) in the table "Strings".
std::optional<std::string> loadStrListResource(int list_id, int index);

}  // namespace cx
