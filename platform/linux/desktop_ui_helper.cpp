#include "platform/linux/desktop_ui_helper.h"

#include <cstdio>
#include <memory>
#include <string>

#include "platform/bundles.h"

namespace cx::platform {

void* desktop_ui_entry(const char* name) {
  static std::string error = "no helper bundle";
  static const std::unique_ptr<LoadedExecutable> code = [] {
    const auto path = main_bundle().resource_path(kDesktopUIHelper, "bundle");
    const std::unique_ptr<Bundle> bundle = path ? Bundle::open(*path) : nullptr;
    std::unique_ptr<LoadedExecutable> loaded;
    if (bundle) loaded = bundle->load_executable(error);
    if (!loaded)
      std::fprintf(stderr, "Corvex Background: no menus or dialogs (%s: %s)\n", kDesktopUIHelper,
                   error.c_str());
    return loaded;
  }();
  return code ? code->function(name) : nullptr;
}

}  // namespace cx::platform
