// The menus helper's only exported symbol.
#include "platform/linux/menus_gtk.h"
#include "platform/linux/menus_helper.h"

extern "C" __attribute__((visibility("default"))) cx::platform::Menus* CXDesktopMenusService() {
  return &cx::platform::gtk_menus();
}

// The entry point keeps the type the agent looks it up with.
static_assert(sizeof(&CXDesktopMenusService) == sizeof(cx::platform::MenusHelperEntry));
