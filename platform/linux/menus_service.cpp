// The menu service: the desktop helper bundle among the agent's resources,
// loaded on the first menu; without it, menus fail quietly.
#include "platform/linux/desktop_ui_helper.h"
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
  const auto entry = reinterpret_cast<DesktopUIMenus>(desktop_ui_entry(kDesktopUIMenus));
  return entry ? entry() : nullptr;
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
