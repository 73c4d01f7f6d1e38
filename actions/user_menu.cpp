// The user's own popup menu: the names the driver holds for the button,
// the chosen entry run by the driver.
#include <cstring>
#include <memory>
#include <string>

#include "actions/driver_actions.h"
#include "actions/popup_menus.h"
#include "driver/menu_requests.h"
#include "util/memory.h"

namespace cx {
namespace {

constexpr char kPopupMenuTitle[] = "Popup Menu";
// The allocation tag of the names buffer (zero-filled).
constexpr uint32_t kMenuNamesTag = 19;

struct BufferFree {
  void operator()(void* p) const { free_buffer(p); }
};

}  // namespace

std::unique_ptr<platform::Menu> build_popup_menu() {
  int16_t count = 0, other = 0;
  if (CheckMenuSize(&count, &other) != 1 || count < 0) return nullptr;
  const std::unique_ptr<uint8_t, BufferFree> names{
      static_cast<uint8_t*>(get_buffer(std::size_t(count) * kMenuNameSize, kMenuNamesTag))};
  if (!names) return nullptr;
  if (GetMenuNames(count, names.get(), &other, &other) != count) return nullptr;
  auto menu = std::make_unique<platform::Menu>();
  menu->title = kPopupMenuTitle;
  // The last slot is the driver's and is not shown.
  for (int16_t slot = 0; slot + 1 < count; ++slot) {
    const char* name = reinterpret_cast<const char*>(names.get() + slot * kMenuNameSize);
    const std::string text(name, strnlen(name, kMenuNameSize));
    if (!text.empty() && text.front() == '-')
      menu->items.push_back({{}, true, false, nullptr});
    else
      menu->items.push_back({text, false, false, nullptr});
  }
  return menu;
}

void popup_user_menu() {
  platform::Menus& ui = platform::menus();
  platform::GlobalPoint where;
  ui.mouse_position(where);
  if (const auto menu = build_popup_menu()) {
    const int16_t item = handle_popup(*menu, where);
    if (item > 0) {
      ui.warp_cursor(where);
      ExecuteMenuItems(item);
    }
  }
  ClearAllMenuLists();
  clear_pending_popup();
}

}  // namespace cx
