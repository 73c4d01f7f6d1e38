// The helper bundle "CXDesktopUI" holds everything of the agent that needs
// GTK (menus, dialogs); it is loaded at the first menu or dialog, so that an
// idle agent never maps GTK.
#pragma once

#include "platform/dialogs.h"
#include "platform/menus.h"

namespace cx::platform {

inline constexpr char kDesktopUIHelper[] = "CXDesktopUI";
// Its entry points: the services, valid while it is loaded (for the life of
// the process, since GTK cannot be unloaded).
inline constexpr char kDesktopUIMenus[] = "CXDesktopUIMenus";
inline constexpr char kDesktopUIDialogs[] = "CXDesktopUIDialogs";
using DesktopUIMenus = Menus* (*)();
using DesktopUIDialogs = Dialogs* (*)();

// The entry point `name` of the helper, loading it on first use; null (said
// once on the standard error stream) when the helper cannot be loaded.
void* desktop_ui_entry(const char* name);

}  // namespace cx::platform
