// The helper bundle that holds the GTK menus, so that the agent maps GTK
// only when it shows its first menu.
#pragma once

#include "platform/menus.h"

namespace cx::platform {

inline constexpr char kMenusHelperName[] = "CXDesktopMenus";
// The entry point: returns the helper's menu service, valid while it is loaded.
inline constexpr char kMenusHelperEntry[] = "CXDesktopMenusService";
using MenusHelperEntry = Menus* (*)();

}  // namespace cx::platform
