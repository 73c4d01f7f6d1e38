// Linked into test programs that load GTK: fontconfig, D-Bus and GLib's type
// system keep caches for the life of the process and never free them, which
// the leak checker would report at exit.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n"
         "leak:libdbus-1.so\n"
         "leak:libglib-2.0.so\n"
         "leak:libgobject-2.0.so\n"
         "leak:libgtk-3.so\n"
         "leak:libgdk-3.so\n";
}
