// A GTK client for the paste tests. "field FILE": a window with one text
// field whose text is written to FILE on each change. "read TARGET": prints
// the clipboard converted to TARGET as "TYPE:DATA" (a target list as names
// each followed by a space); fails when the owner refuses.
#include <gtk/gtk.h>

#include <fstream>
#include <iostream>
#include <string>

#include "platform/linux/gtk_ui.h"

namespace {

std::string name(GdkAtom atom) {
  gchar* text = gdk_atom_name(atom);
  std::string s(text);
  g_free(text);
  return s;
}

int read(const char* target) {
  GtkSelectionData* data = gtk_clipboard_wait_for_contents(
      gtk_clipboard_get(GDK_SELECTION_CLIPBOARD), gdk_atom_intern(target, FALSE));
  if (data == nullptr || gtk_selection_data_get_length(data) < 0) return 1;
  std::cout << name(gtk_selection_data_get_data_type(data)) << ":";
  GdkAtom* targets = nullptr;
  gint count = 0;
  if (gtk_selection_data_get_targets(data, &targets, &count)) {
    for (gint i = 0; i < count; ++i) std::cout << name(targets[i]) << " ";
    g_free(targets);
  } else {
    std::cout.write(reinterpret_cast<const char*>(gtk_selection_data_get_data(data)),
                    gtk_selection_data_get_length(data));
  }
  gtk_selection_data_free(data);
  return 0;
}

void write_text(GtkEditable* field, gpointer path) {
  std::ofstream(static_cast<const char*>(path)) << gtk_entry_get_text(GTK_ENTRY(field));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || !cx::platform::gtk_ready()) return 2;
  if (std::string(argv[1]) == "read") return read(argv[2]);
  GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  GtkWidget* entry = gtk_entry_new();
  gtk_container_add(GTK_CONTAINER(window), entry);
  g_signal_connect(entry, "changed", G_CALLBACK(write_text), argv[2]);
  gtk_widget_show_all(window);
  gtk_main();
}
