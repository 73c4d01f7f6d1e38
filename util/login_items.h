// The user's login items: the agent starts at login through an entry in the
// login-item array, and entries left by older installations are removed. The
// domain and key names are strings of the agent's bundle, not built in.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace cx {

// Strings 230, 231, 232 and 233: the domain holding the login items, the key
// of its array, and each item's hide-at-launch and path keys.
extern std::optional<std::string> gPreferenceName;
extern std::optional<std::string> gMainKeyName;
extern std::optional<std::string> gHideKey;
extern std::optional<std::string> gPathKey;

// Loads whichever of the four strings is still missing; true when all are there.
bool getPreferenceIdentifiers();
void cleanupPreferenceIdentifiers();

// `all_users` non-zero: any user, this host; zero: this user, any host.
// A copy of the stored array (an absent one is empty); null when a string is
// missing or the stored value is not an array.
std::shared_ptr<plist::Array> getLoginItemsArray(int all_users);
// Stores `array` as the domain's login items and gives it up.
void updateLoginArrayAndRelease(std::shared_ptr<plist::Array> array, int all_users);

// Whether some item's path ends with `suffix`.
bool findLoginItem(const plist::Array& array, std::string_view suffix);
// Removes every item whose path ends with `suffix`; true when any was removed.
bool deleteLoginItem(plist::Array& array, std::string_view suffix);
// Appends an item that is not hidden at launch.
bool appendLoginItem(plist::Array& array, std::string_view path);
// Removes the items of every agent this package ever installed (string list 229).
bool removeAllCXLoginItems(plist::Array& array);
// Appends the agent beside the main bundle (string 228 names it).
bool addCXLoginItem(plist::Array& array);

// Whether the stored array holds an item of list 229.
bool detectLoginItems(int all_users);
// Removes those items; the array is written back only when one was there.
void removeLoginItems(int all_users);
// Replaces those items by the agent itself; true when the agent was added.
bool addLoginItems(int all_users);

}  // namespace cx
