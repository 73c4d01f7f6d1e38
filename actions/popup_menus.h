// The application menu and the user's popup menu, in the steps the driver
// and the tests see.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/menus.h"
#include "platform/processes.h"

namespace cx {

// The application menu lists at most this many processes.
inline constexpr std::size_t kTaskListSize = 20;
using TaskList = std::array<platform::ProcessSerialNumber, kTaskListSize>;
// A process name in the menu: a Pascal string of at most 32 bytes.
inline constexpr std::size_t kTaskNameMax = 32;

struct MyProcessInfo {
  platform::ProcessSerialNumber psn{};
  std::array<unsigned char, kTaskNameMax + 1> name{};
  bool front = false;
  std::shared_ptr<const platform::AppIcon> icon;
};

// The application menu of the running applications, with their serial
// numbers in menu order in `psns`; null (after a beep) when there is none.
std::unique_ptr<platform::Menu> fill_tasklist(TaskList& psns);
// By name, stably: equal names keep their order.
void sort_process_list(std::span<MyProcessInfo> list);
std::shared_ptr<const platform::AppIcon> get_app_icon_ref(const platform::ProcessInfo& info);
// Brings the process of `item` (from 1) to the front; nothing for 0.
void execute_tasklist(int16_t item, const TaskList& psns);

// Pops `menu` up at `where` while the driver knows a menu is open; the
// chosen item from 1, or 0.
int16_t handle_popup(const platform::Menu& menu, platform::GlobalPoint where);
// The user's popup menu from the driver's names; null when the driver has
// none to give.
std::unique_ptr<platform::Menu> build_popup_menu();
// Tells the driver the popup it asked for has been dealt with.
void clear_pending_popup();

}  // namespace cx
