// GTK for the agent's few windows (menus, dialogs, alerts). The agent stays
// idle without it: GTK is initialised on the first window, never at start.
#pragma once

namespace cx::platform {

// Initialises GTK on first use, on the agent's GLib main context. False when
// there is no display to open (then every window is skipped quietly).
bool gtk_ready();

}  // namespace cx::platform
