// The desktop helper's only exported symbols.
#include "platform/linux/desktop_ui_helper.h"
#include "platform/linux/dialogs_gtk.h"
#include "platform/linux/menus_gtk.h"

extern "C" __attribute__((visibility("default"))) cx::platform::Menus* CXDesktopUIMenus() {
  return &cx::platform::gtk_menus();
}

extern "C" __attribute__((visibility("default"))) cx::platform::Dialogs* CXDesktopUIDialogs() {
  return &cx::platform::gtk_dialogs();
}

// The entry points keep the types the agent looks them up with.
static_assert(sizeof(&CXDesktopUIMenus) == sizeof(cx::platform::DesktopUIMenus));
static_assert(sizeof(&CXDesktopUIDialogs) == sizeof(cx::platform::DesktopUIDialogs));
