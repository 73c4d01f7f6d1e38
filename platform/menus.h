// Popup menus, the pointer and the beep, as the Menu Manager, the Event
// Manager and CoreGraphics give them to a background agent. A menu pops up
// at a global point and runs a modal loop on the main thread until the user
// chooses an item or dismisses it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/processes.h"

namespace cx::platform {

// A point in global (screen) coordinates.
struct GlobalPoint {
  int16_t h = 0;
  int16_t v = 0;
};

struct MenuItem {
  std::string text;  // shown as it is: no mnemonics, markup or meta-characters
  bool separator = false;
  bool checked = false;
  std::shared_ptr<const AppIcon> icon;  // null: no icon
};

struct Menu {
  std::string title;  // not shown; names the menu to assistive technologies
  std::vector<MenuItem> items;
};

class Menus {
 public:
  virtual ~Menus() = default;
  // GetGlobalMouse. False without a display.
  virtual bool mouse_position(GlobalPoint& where) = 0;
  // PopUpMenuSelect: tracks `menu` with its first item at `where` until the
  // user chooses or dismisses it. The chosen item from 1, or 0 for none
  // (also when the menu cannot be shown).
  virtual int16_t pop_up(const Menu& menu, GlobalPoint where) = 0;
  // CGWarpMouseCursorPosition.
  virtual void warp_cursor(GlobalPoint where) = 0;
  // SysBeep.
  virtual void beep() = 0;
};

// The process-wide service: the desktop's, loaded on first use, unless a
// test installed another.
Menus& menus();
// Installs `m` (not owned; null restores the desktop's).
void set_menus(Menus* m);

}  // namespace cx::platform
