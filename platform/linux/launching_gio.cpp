// Opening through GIO. A program, that is an existing regular file we may
// execute, is started on its own with no arguments, as Launch Services starts
// an application; everything else (documents, folders, URLs) goes to the
// desktop's default application for its type or scheme.
#include <gio/gio.h>

#include <cstdlib>
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
struct GAppInfoDeleter {
  void operator()(GAppInfo* p) const { g_object_unref(p); }
};
struct GErrorDeleter {
  void operator()(GError* p) const { g_error_free(p); }
};
using GCharPtr = std::unique_ptr<char, GFreeDeleter>;
using GFilePtr = std::unique_ptr<GFile, GObjectDeleter>;
using GAppInfoPtr = std::unique_ptr<GAppInfo, GAppInfoDeleter>;
using GErrorPtr = std::unique_ptr<GError, GErrorDeleter>;

bool set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// The default handlers are desktop applications: without a display they
// could show nothing, so the desktop reports failure as it would on a Mac
// with no window server.
bool have_display() {
  return set("DISPLAY") || set("WAYLAND_DISPLAY");
}

int32_t launch_status(GError* error) {
  const GErrorPtr owned(error);
  const bool no_handler = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED) ||
                          g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND);
  return no_handler ? ls_status::application_not_found : ls_status::launch_failed;
}

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
    if (!have_display()) return ls_status::launch_failed;
    const GCharPtr uri(g_file_get_uri(file.get()));
    GError* error = nullptr;
    if (g_app_info_launch_default_for_uri(uri.get(), nullptr, &error)) return 0;
    return launch_status(error);
  }

  int32_t open_default_browser() override {
    if (!have_display()) return ls_status::launch_failed;
    const GAppInfoPtr browser(g_app_info_get_default_for_uri_scheme("http"));
    if (!browser) return ls_status::application_not_found;
    GError* error = nullptr;
    if (g_app_info_launch(browser.get(), nullptr, nullptr, &error)) return 0;
    return launch_status(error);
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
