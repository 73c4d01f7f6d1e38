#include "platform/linux/gtk_ui.h"

#include <gtk/gtk.h>

namespace cx::platform {

bool gtk_ready() {
  // Asked once: a display that was missing at the first window stays missing
  // for this process (GTK cannot be initialised twice).
  static const bool ready = [] {
    // Menus pop up at points of the whole screen and the desktop services
    // beside GTK speak X11: a Wayland session is used through Xwayland.
    gdk_set_allowed_backends("x11");
    return gtk_init_check(nullptr, nullptr);
  }();
  return ready;
}

}  // namespace cx::platform
