// A GTK window with one text field; each change of the field's text is
// written to the file named on the command line.
#include <gtk/gtk.h>

#include <fstream>

#include "platform/linux/gtk_ui.h"

int main(int argc, char** argv) {
  if (argc != 2 || !cx::platform::gtk_ready()) return 1;
  GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  GtkWidget* entry = gtk_entry_new();
  gtk_container_add(GTK_CONTAINER(window), entry);
  g_signal_connect(entry, "changed", G_CALLBACK(+[](GtkEditable* field, gpointer path) {
                     std::ofstream(static_cast<const char*>(path))
                         << gtk_entry_get_text(GTK_ENTRY(field));
                   }),
                   argv[1]);
  gtk_widget_show_all(window);
  gtk_main();
}
