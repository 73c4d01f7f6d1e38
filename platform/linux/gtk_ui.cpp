#include "platform/linux/gtk_ui.h"

#include <gtk/gtk.h>

namespace cx::platform {

bool gtk_ready() {
  // Asked once: a display that was missing at the first window stays missing
  // for this process (GTK cannot be initialised twice).
  static const bool ready = gtk_init_check(nullptr, nullptr);
  return ready;
}

}  // namespace cx::platform
