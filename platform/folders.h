// Where the folders the agent knows by their Mac OS X names live on this
// machine. Paths never end in a slash.
#pragma once

#include <string>
#include <string_view>

namespace cx::platform {

enum class Folder {
  UserPreferences,   // the user's Preferences folder
  LocalPreferences,  // /Library/Preferences: any user, this host
  Shared,            // /Users/Shared
  System,            // System Folder
  Extensions,
  ControlPanels,
  Temporary,  // Temporary Items
};

std::string folder_path(Folder f);

// A path written the Mac OS X way ("/Users/Shared/CXBkgnd_Diags.txt") as the
// path of the same file here; paths outside the known folders are unchanged.
std::string map_mac_path(std::string_view mac_path);

}  // namespace cx::platform
