// Opening through GIO. A program, that is an existing regular file we may
// execute, is started on its own with no arguments, as Launch Services starts
// an application; everything else (documents, folders, URLs) goes to the
// desktop's default application for its type or scheme.
#include <gio/gio.h>

#include <memory>
#include <string>

#include "platform/launching.h"

namespace cx::platform {
namespace {

struct GFreeDeleter {
  void operator()(char* p) const { g_free(p); }
};
struct GObjectDeleter {
  void operator()(GFile* p) const { g_object_unref(p); }
};
struct GErrorDeleter {
  void operator()(GError* p) const { g_error_free(p); }
};
using GCharPtr = std::unique_ptr<char, GFreeDeleter>;
using GFilePtr = std::unique_ptr<GFile, GObjectDeleter>;
using GErrorPtr = std::unique_ptr<GError, GErrorDeleter>;

bool is_program(const char* path) {
  return g_file_test(path, G_FILE_TEST_IS_REGULAR) && g_file_test(path, G_FILE_TEST_IS_EXECUTABLE);
}

int32_t start_program(const char* path) {
  char* argv[] = {const_cast<char*>(path), nullptr};
  GError* error = nullptr;
  // Without G_SPAWN_DO_NOT_REAP_CHILD GLib reaps the child itself, so the
  // agent neither waits for it nor collects zombies.
  if (g_spawn_async(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr, &error))
    return 0;
  GErrorPtr owned(error);
  return ls_status::launch_failed;
}

class GioLauncher final : public Launcher {
 public:
  int32_t open(std::string_view target) override {
    if (target.empty()) return ls_status::no_target;
    const std::string text(target);
    // Takes a URL as it is and a path relative to the working folder.
    const GFilePtr file(g_file_new_for_commandline_arg(text.c_str()));
    if (const GCharPtr path{g_file_get_path(file.get())}) {
      if (!g_file_test(path.get(), G_FILE_TEST_EXISTS)) return ls_status::file_not_found;
      if (is_program(path.get())) return start_program(path.get());
    }
    const GCharPtr uri(g_file_get_uri(file.get()));
    GError* error = nullptr;
    if (g_app_info_launch_default_for_uri(uri.get(), nullptr, &error)) return 0;
    const GErrorPtr owned(error);
    const bool no_handler = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED) ||
                            g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND);
    return no_handler ? ls_status::application_not_found : ls_status::launch_failed;
  }
};

Launcher* g_installed = nullptr;

}  // namespace

Launcher& launcher() {
  if (g_installed != nullptr) return *g_installed;
  static GioLauncher desktop;
  return desktop;
}

void set_launcher(Launcher* l) {
  g_installed = l;
}

}  // namespace cx::platform
