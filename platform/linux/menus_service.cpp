// The menu service: the GTK helper bundle among the agent's resources,
// loaded on the first menu; without it, menus fail quietly.
#include <cstdio>
#include <memory>
#include <string>

#include "platform/bundles.h"
#include "platform/linux/menus_helper.h"
#include "platform/menus.h"

namespace cx::platform {
namespace {

Menus* g_installed = nullptr;

class NoMenus final : public Menus {
 public:
  bool mouse_position(GlobalPoint&) override { return false; }
  int16_t pop_up(const Menu&, GlobalPoint) override { return 0; }
  void warp_cursor(GlobalPoint) override {}
  void beep() override {}
};

Menus* load_helper() {
  const auto path = main_bundle().resource_path(kMenusHelperName, "bundle");
  const std::unique_ptr<Bundle> bundle = path ? Bundle::open(*path) : nullptr;
  std::string error = "no helper bundle";
  // Kept for the life of the process: GTK cannot be unloaded.
  static std::unique_ptr<LoadedExecutable> code;
  if (bundle) code = bundle->load_executable(error);
  const auto entry =
      code ? reinterpret_cast<MenusHelperEntry>(code->function(kMenusHelperEntry)) : nullptr;
  if (code && entry == nullptr) error = "no entry point";
  if (entry == nullptr) {
    std::fprintf(stderr, "Corvex Background: no popup menus: %s\n", error.c_str());
    return nullptr;
  }
  return entry();
}

}  // namespace

Menus& menus() {
  if (g_installed != nullptr) return *g_installed;
  static Menus* const desktop = load_helper();
  static NoMenus none;
  return desktop ? *desktop : none;
}

void set_menus(Menus* m) {
  g_installed = m;
}

}  // namespace cx::platform
