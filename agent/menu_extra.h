// The menu-bar extra: the separately built "CXMenuExtra" helper bundle among
// the agent's resources, which shows horizontal scrolling in a status menu
// and talks back through menuExtraCallback. Shown only while the user wants
// it and some attached device has a wheel.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/bundles.h"

namespace cx {

using MenuExtraCallback = int (*)(int command);

// The helper's code while it is loaded; the entry points below point into it.
extern std::unique_ptr<platform::LoadedExecutable> menuExtraBundle;
extern void (*initMenuExtra)(MenuExtraCallback callback);
extern void (*updateMenuExtra)();
extern void (*setVisibleMenuExtra)(int visible);
extern void (*cleanupMenuExtra)();
// Whether the user wants the menu extra shown.
extern uint32_t menuExtraVisible;
// Whether any attached device has a wheel.
extern bool menuExtraHasWheel;

// Loads the helper, then reads the control panel's "keyHideMenuExtra" switch
// and the devices.
void setupMenuExtraBundle();
// True also when the system is too old for a menu extra and nothing was
// loaded; false when the helper cannot be loaded.
bool loadMenuExtraBundle();
void unloadMenuExtraBundle();
void updateMenuExtraBundle();
void setVisibleMenuExtraBundle(uint32_t visible);
void updateMenuExtraHasWheel();
// 1 toggles horizontal scrolling, -1 asks whether it is on (1 or 0), 2 opens
// the control panel; 0 otherwise.
int menuExtraCallback(int command);

}  // namespace cx
