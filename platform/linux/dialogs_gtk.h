// The dialog service on GTK 3, inside the desktop helper bundle.
#pragma once

#include "platform/dialogs.h"

namespace cx::platform {

Dialogs& gtk_dialogs();

}  // namespace cx::platform
