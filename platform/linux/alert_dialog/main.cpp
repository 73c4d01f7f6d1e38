// corvex-alert TITLE MESSAGE EXPLANATION: the agent's modal caution alert,
// kept above other windows until the user dismisses it.
#include <gtk/gtk.h>

#include "platform/linux/alerts_dialog.h"
#include "platform/linux/gtk_ui.h"

#if defined(__SANITIZE_ADDRESS__)
// GTK, its libraries and fontconfig keep their caches until the process
// ends, which the leak checker takes for leaks; this program allocates
// nothing of its own.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\nleak:libdbus-1.so\nleak:libglib-2.0.so\nleak:libgobject-2.0.so\n"
         "leak:libgio-2.0.so\nleak:libgtk-3.so\nleak:libgdk-3.so\nleak:libpango\nleak:libcairo\n";
}
#endif
int main(int argc, char** argv) {
  if (argc != 4) return cx::platform::kAlertUsage;
  if (!cx::platform::gtk_ready()) return cx::platform::kAlertNoDisplay;
  GtkWidget* dialog = gtk_message_dialog_new(nullptr, GTK_DIALOG_MODAL, GTK_MESSAGE_WARNING,
                                             GTK_BUTTONS_OK, "%s", argv[2]);
  gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", argv[3]);
  gtk_window_set_title(GTK_WINDOW(dialog), argv[1]);
  gtk_window_set_keep_above(GTK_WINDOW(dialog), TRUE);
  gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
  gtk_window_present(GTK_WINDOW(dialog));
  gtk_dialog_run(GTK_DIALOG(dialog));
  gtk_widget_destroy(dialog);
  return cx::platform::kAlertDismissed;
}
