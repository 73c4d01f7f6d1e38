// The application menu: the running applications by name, the front one
// checked; the chosen one comes to the front.
#include <algorithm>
#include <cctype>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "actions/driver_actions.h"
#include "actions/popup_menus.h"

namespace cx {
namespace {

constexpr std::string_view kAppMenuTitle = "Application Menu";
// The icon size menus show.
constexpr uint32_t kMenuIconSize = 16;

std::string_view name_of(const MyProcessInfo& entry) {
  return {reinterpret_cast<const char*>(entry.name.data() + 1), entry.name[0]};
}

// Case decides only between names that are otherwise equal.
int compare_names(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const int fa = std::tolower(static_cast<unsigned char>(a[i]));
    const int fb = std::tolower(static_cast<unsigned char>(b[i]));
    if (fa != fb) return fa - fb;
  }
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  return a.compare(b);
}

// The process's name, at most 32 bytes, without a leading NUL.
void take_name(const platform::ProcessInfo& info, MyProcessInfo& entry) {
  std::size_t length = std::min<std::size_t>(info.name[0], kTaskNameMax);
  const unsigned char* first = info.name.data() + 1;
  if (length > 0 && first[0] == '\0') ++first, --length;
  entry.name[0] = static_cast<unsigned char>(length);
  std::copy_n(first, length, entry.name.begin() + 1);
}

}  // namespace

void sort_process_list(std::span<MyProcessInfo> list) {
  for (std::size_t end = list.size(); end >= 2; --end) {
    for (std::size_t i = 0; i + 1 < end; ++i) {
      if (compare_names(name_of(list[i]), name_of(list[i + 1])) > 0)
        std::swap(list[i], list[i + 1]);
    }
  }
}

std::shared_ptr<const platform::AppIcon> get_app_icon_ref(const platform::ProcessInfo& info) {
  auto icon = platform::processes().application_icon(info.psn, kMenuIconSize);
  return icon ? std::make_shared<const platform::AppIcon>(std::move(*icon)) : nullptr;
}

std::unique_ptr<platform::Menu> fill_tasklist(TaskList& psns) {
  platform::ProcessSerialNumber front = platform::kNoProcess;
  if (platform::GetFrontProcess(&front) != platform::noErr) front = platform::kNoProcess;
  std::array<MyProcessInfo, kTaskListSize> entries;
  std::size_t count = 0;
  platform::ProcessSerialNumber psn = platform::kNoProcess;
  while (count < kTaskListSize && platform::GetNextProcess(&psn) == platform::noErr) {
    platform::ProcessInfo info{};
    if (platform::GetProcessInformation(&psn, &info) != platform::noErr ||
        (info.mode & platform::kModeOnlyBackground) != 0)
      continue;
    MyProcessInfo& entry = entries[count++];
    entry.psn = psn;
    entry.front = psn == front;
    take_name(info, entry);
    entry.icon = get_app_icon_ref(info);
  }
  if (count == 0) {
    platform::menus().beep();
    return nullptr;
  }
  sort_process_list(std::span(entries).first(count));
  auto menu = std::make_unique<platform::Menu>();
  menu->title = kAppMenuTitle;
  for (std::size_t i = 0; i < count; ++i) {
    menu->items.push_back(
        {std::string(name_of(entries[i])), false, entries[i].front, std::move(entries[i].icon)});
    psns[i] = entries[i].psn;
  }
  return menu;
}

void execute_tasklist(int16_t item, const TaskList& psns) {
  if (item < 1 || static_cast<std::size_t>(item) > psns.size()) return;
  platform::SetFrontProcess(&psns[item - 1]);
}

void popup_tasklist() {
  platform::GlobalPoint where;
  platform::menus().mouse_position(where);
  TaskList psns{};
  int16_t item = 0;
  if (const auto menu = fill_tasklist(psns)) item = handle_popup(*menu, where);
  execute_tasklist(item, psns);
  clear_pending_popup();
}

}  // namespace cx
