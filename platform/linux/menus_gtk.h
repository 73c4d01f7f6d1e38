// The menu service on GTK 3, inside the desktop helper bundle.
#pragma once

#include "platform/menus.h"

namespace cx::platform {

Menus& gtk_menus();

}  // namespace cx::platform
