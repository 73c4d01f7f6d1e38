#include "prefs/button_repair.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "diag/diag_writers.h"
#include "driver/actlist_requests.h"
#include "driver/app_requests.h"
#include "driver/data_requests.h"
#include "driver/save_list.h"
#include "model/action_codes.h"
#include "model/actlist.h"
#include "model/builtin_actlists.h"
#include "model/numbering.h"
#include "util/byte_order.h"
#include "util/localized_strings.h"

namespace cx {
namespace {

constexpr uint8_t kGlobalApp = 0;
constexpr int16_t kAllLocalDataspaces = -1;
constexpr int16_t kNewGlobalDataspace = -2;
constexpr uint32_t kDataspaceWrite = 0;
constexpr uint32_t kDataspaceRead = 1;
constexpr uint32_t kRepairLevel = 0xFFFF0000;
constexpr uint16_t kPresetNameFlags = 0x8006;
constexpr uint16_t kPresetEntryFlags = 4;
constexpr uint8_t kNoShortcut = 0xFF;
constexpr int kMaxMenuEntries = 5;
constexpr short kMaxFreedIndices = 20;
constexpr size_t kMaxUrlBytes = 256;

// Name record: 32-byte name, shortcut byte, pad, big-endian flags.
constexpr size_t kNameBytes = 32;
constexpr size_t kShortcutAt = 32;
constexpr size_t kFlagsAt = 34;

// The string list of the presets' default entries.
constexpr int kPresetStrings = 128;
constexpr int kHomePageEntryName = 4;
constexpr int kUrlEntryName = 5;
constexpr int kDefaultUrl = 6;

using name_record = std::array<uint8_t, kActionNameSize>;

struct clean_setting {
  int16_t button;
  std::span<const act_item> list;
  uint16_t flags;
  const char* name;
};

// Buttons 0 and 2 both click, 1 and 3 both right-click, on purpose.
constexpr std::array<clean_setting, 24> clean_settings = {{
    {0, click_actlist, 0, "Click"},
    {2, click_actlist, 0, "Click"},
    {1, rclick_actlist, 0, "Right-Click"},
    {3, rclick_actlist, 0, "Right-Click"},
    {4, {}, 0, "Do Nothing"},
    {5, {}, 0, "Do Nothing"},
    {17, {}, 0, "Do Nothing"},
    {6, {}, 0, "Do Nothing"},
    {7, {}, 0, "Do Nothing"},
    {8, {}, 0, "Do Nothing"},
    {9, {}, 0, "Do Nothing"},
    {10, {}, 0, "Do Nothing"},
    {11, {}, 0, "Do Nothing"},
    {12, {}, 0, "Do Nothing"},
    {13, {}, 0, "Do Nothing"},
    {14, {}, 0, "Do Nothing"},
    {15, {}, 0, "Do Nothing"},
    {16, {}, 0, "Do Nothing"},
    {18, {}, kPresetNameFlags, "Do Nothing"},
    {19, {}, kPresetNameFlags, "Do Nothing"},
    {20, {}, kPresetNameFlags, "Do Nothing"},
    {21, {}, kPresetNameFlags, "Do Nothing"},
    {22, {}, kPresetNameFlags, "Do Nothing"},
    {23, {}, kPresetNameFlags, "Do Nothing"},
}};

name_record make_name(const std::string& name, uint8_t shortcut, uint16_t flags) {
  name_record rec{};
  std::memcpy(rec.data(), name.data(), std::min(name.size(), kNameBytes - 1));
  rec[kShortcutAt] = shortcut;
  store_be16(rec.data() + kFlagsAt, flags);
  return rec;
}

void set_name_flags(name_record& rec, uint16_t flags) {
  store_be16(rec.data() + kFlagsAt, flags);
}

uint16_t name_flags(const name_record& rec) {
  return load_be16(rec.data() + kFlagsAt);
}

const act_item* head(std::vector<act_item>& items) {
  link_actlist(items.data(), static_cast<short>(items.size()));
  return items.empty() ? nullptr : items.data();
}

std::vector<act_item> fetch_entry(uint8_t app, uint8_t button, int16_t entry) {
  const int16_t size = GetMenuActionListSize(app, button, entry);
  if (size <= 0) return {};
  std::vector<act_item> items(static_cast<size_t>(size));
  if (GetMenuActionList(app, button, entry, items) < 1) return {};
  return items;
}

// A button whose own list is the single menu item; its entry count in ch12.
bool fetch_menu_item(uint8_t app, uint8_t button, act_item& item) {
  if (GetActionListSize(app, button) != 1) return false;
  if (GetActionList(app, button, std::span(&item, 1)) < 1) return false;
  return item.act == act_code::menu && item.mods == 1;
}

void move_entry(uint8_t app, uint8_t button, int16_t from, int16_t to) {
  name_record name{};
  GetActionName(app, button, from, name);
  SetActionName(app, button, to, name);
  std::vector<act_item> items = fetch_entry(app, button, from);
  SetMenuActionList(app, button, to, head(items));
}

std::string preset_string(int index) {
  return loadStrListResource(kPresetStrings, index).value_or("");
}

// A new global dataspace holding `bytes`; its index or a negative status.
int16_t store_global(std::span<const uint8_t> bytes) {
  const int16_t index = AllocateSpace(static_cast<int16_t>(bytes.size()), kNewGlobalDataspace);
  if (index < 0) return index;
  std::vector<uint8_t> sent(bytes.begin(), bytes.end());
  CXAccessData(index, static_cast<uint16_t>(sent.size()), kDataspaceWrite, sent.data(),
               static_cast<uint32_t>(sent.size()));
  return index;
}

// The dataspace's bytes; empty when it is empty, missing or unreadable.
std::vector<uint8_t> fetch_dataspace(int16_t index) {
  const int16_t size = GetDataSize(index);
  if (size <= 0) return {};
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  if (!CXAccessData(index, static_cast<uint16_t>(size), kDataspaceRead, bytes.data(),
                    static_cast<uint32_t>(size)))
    return {};
  return bytes;
}

bool carries_text(int16_t act) {
  return act == act_code::launch_url || act == act_code::paste_text;
}

// The checks of one preset menu run, shared by the buttons of one fixup.
class preset_fixup {
 public:
  explicit preset_fixup(bool imported_version2) : version2_(imported_version2) {
    std::array<char, 256> key{};
    std::array<char, 256> name{};
    has_app_sets_ = GetAppName(1, key, name) == 1;
  }

  void fix_button(int16_t button);
  bool corrected() const { return corrected_; }

 private:
  void note(const char* suffix) {
    diag_value_unsigned("fixup_menu_item_preset_buttons() - Button ", button_, 10, suffix,
                        kRepairLevel);
    corrected_ = true;
  }
  // False when the entry cannot be used.
  bool fix_entry(int16_t entry);
  bool fix_item(act_item& item);
  bool fix_local(act_item& item);
  bool fix_global(const act_item& item);

  bool version2_;
  bool has_app_sets_ = false;
  bool corrected_ = false;
  int16_t button_ = 0;
  std::array<int, kEndGlobalDataspace - kFirstGlobalDataspace> uses_{};
};

void preset_fixup::fix_button(int16_t button) {
  button_ = button;
  const auto b = static_cast<uint8_t>(button);
  if (GetActionListSize(kGlobalApp, b) < 0) {
    note(" had a negative action list size - clearing to default");
    setup_default_preset_menu(button);
    return;
  }
  act_item menu{};
  if (!fetch_menu_item(kGlobalApp, b, menu)) return;
  name_record own{};
  GetActionName(kGlobalApp, b, 0, own);
  set_name_flags(own, name_flags(own) | kPresetNameFlags);
  SetActionName(kGlobalApp, b, 0, own);
  auto count = static_cast<int16_t>(menu.ch12);
  if (count <= 0) {
    note(" had no menu items - clearing to default");
    setup_default_preset_menu(button);
    return;
  }
  for (int16_t entry = 1; entry <= count;) {
    if (fix_entry(entry)) {
      ++entry;
    } else if (entry == 1) {
      setup_default_preset(button);
      ++entry;
    } else {
      // The same entry number is examined again: it now holds the next one.
      for (int16_t later = entry; later < count; ++later)
        move_entry(kGlobalApp, b, later + 1, later);
      --count;
      menu.ch12 = static_cast<uint16_t>(count);
      menu.link = nullptr;
      SetActionList(kGlobalApp, b, &menu);
    }
  }
}

bool preset_fixup::fix_entry(int16_t entry) {
  const auto b = static_cast<uint8_t>(button_);
  name_record name{};
  GetActionName(kGlobalApp, b, entry, name);
  set_name_flags(name, kPresetEntryFlags);
  SetActionName(kGlobalApp, b, entry, name);
  std::vector<act_item> items = fetch_entry(kGlobalApp, b, entry);
  for (size_t i = 0; i < items.size(); ++i) {
    if (!is_data_carrying(items[i].act)) continue;
    if (i + 1 < items.size()) {
      note(" had a Launch action list with more than one action - correcting");
      items.resize(i + 1);
    }
    if (!fix_item(items[i])) {
      corrected_ = true;
      return false;
    }
  }
  SetMenuActionList(kGlobalApp, b, entry, head(items));
  return true;
}

bool preset_fixup::fix_item(act_item& item) {
  if (item.ch12 < kFirstGlobalDataspace) return fix_local(item);
  return fix_global(item);
}

bool preset_fixup::fix_local(act_item& item) {
  const auto local = static_cast<int16_t>(item.ch12);
  if (version2_ && has_app_sets_) {
    note(" had an unfixable local dataspace - correcting");
    return false;
  }
  const std::vector<uint8_t> bytes = fetch_dataspace(local);
  if (bytes.empty()) {
    note(" had a empty or missing local dataspace - correcting");
    return false;
  }
  // A file's alias stays with its application; texts become global.
  if (!carries_text(item.act)) return true;
  if (bytes.back() != 0) {
    note(" had a truncated local dataspace - correcting");
    return false;
  }
  const int16_t moved = store_global(bytes);
  if (moved < 0) return true;
  item.ch12 = static_cast<uint16_t>(moved);
  DeallocateSpace(local);
  return true;
}

bool preset_fixup::fix_global(const act_item& item) {
  const auto global = static_cast<int16_t>(item.ch12);
  const std::vector<uint8_t> bytes = fetch_dataspace(global);
  if (bytes.empty()) {
    note(" had a empty or missing global dataspace - correcting");
    return false;
  }
  if (carries_text(item.act) && bytes.back() != 0) {
    note(" had a truncated global dataspace - correcting");
    return false;
  }
  if (item.ch12 < kEndGlobalDataspace && ++uses_[item.ch12 - kFirstGlobalDataspace] > 1) {
    note(" had a Launch action using the same dataspace");
    diag_value_unsigned("    as a previous launch action.  Dataspace ID 0x", item.ch12, 16,
                        " has been used more than once.  Correcting.", kRepairLevel);
    return false;
  }
  return true;
}

// The menu name: the title when it fits, else its start and an ellipsis.
std::string entry_title(const char* title) {
  std::string name(title);
  if (name.size() < kNameBytes) return name;
  return name.substr(0, kNameBytes - 4) + "...";
}

}  // namespace

void cleanup_driver_buttons() {
  for (const clean_setting& row : clean_settings) {
    std::vector<act_item> items(row.list.begin(), row.list.end());
    const auto b = static_cast<uint8_t>(row.button);
    SetActionList(kGlobalApp, b, head(items));
    SetActionName(kGlobalApp, b, 0, make_name(row.name, kNoShortcut, row.flags));
  }
  DeallocateSpace(kAllLocalDataspaces);
  for (int16_t index = kFirstGlobalDataspace; index < kEndGlobalDataspace; ++index)
    DeallocateSpace(index);
  for (int16_t button = kFirstPresetButton; button <= kLastPresetButton; ++button)
    setup_default_preset_menu(button);
}

int16_t setup_default_preset_menu(int16_t button) {
  act_item menu = menu_action;
  menu.mods = 1;
  menu.ch12 = 1;
  const auto b = static_cast<uint8_t>(button);
  SetActionList(kGlobalApp, b, &menu);
  SetActionName(kGlobalApp, b, 0, make_name("", kNoShortcut, kPresetNameFlags));
  return setup_default_preset(button);
}

int16_t setup_default_preset(int16_t button) {
  act_item entry{};
  std::string name;
  if (button == kFirstPresetButton) {
    entry = home_page_actlist[0];
    name = preset_string(kHomePageEntryName);
  } else {
    std::string url = preset_string(kDefaultUrl).substr(0, kMaxUrlBytes - 1);
    const int16_t index =
        store_global(std::span(reinterpret_cast<const uint8_t*>(url.c_str()), url.size() + 1));
    if (index < 0) return index;
    entry = launch_url_actlist[0];
    entry.ch12 = static_cast<uint16_t>(index);
    name = preset_string(kUrlEntryName);
  }
  entry.act_seq = 2;
  const auto b = static_cast<uint8_t>(button);
  SetMenuActionList(kGlobalApp, b, 1, &entry);
  SetActionName(kGlobalApp, b, 1, make_name(name, kNoShortcut, kPresetEntryFlags));
  return 0;
}

void fixup_menu_item_preset_buttons(bool imported_version2) {
  preset_fixup fixup(imported_version2);
  for (int16_t button = kFirstPresetButton; button <= kLastPresetButton; ++button)
    fixup.fix_button(button);
  if (!fixup.corrected()) return;
  diag_timestamp(kRepairLevel);
  diag_line("========= end of fixup ==========", kRepairLevel);
}

int insert_easy_launch(uint8_t app, uint8_t button, const char* url, const char* title,
                       bool home_page) {
  act_item menu{};
  if (!fetch_menu_item(app, button, menu)) reinit_save_list(app, button, &menu);
  // A damaged count must not send thousands of requests: a menu holds five.
  int count = std::min<int>(menu.ch12, kMaxMenuEntries);
  bool any_used = false;
  for (int entry = 1; entry <= count; ++entry)
    any_used = any_used || GetMenuActionListSize(app, button, static_cast<int16_t>(entry)) > 0;
  const bool full = count == kMaxMenuEntries;
  // A menu of only empty entries keeps its count: the new one replaces the first.
  if (!full && (any_used || count == 0)) ++count;
  menu.ch12 = static_cast<uint16_t>(count);
  menu.link = nullptr;
  SetActionList(app, button, &menu);
  for (int entry = count - 1; entry >= 1; --entry) {
    const auto to = static_cast<int16_t>(entry + 1);
    std::array<short, kMaxFreedIndices> dropped{};
    short dropped_count = 0;
    if (full && to == count) {
      std::vector<act_item> oldest = fetch_entry(app, button, to);
      dropped_count = get_memory_indices(head(oldest), dropped.data(), kMaxFreedIndices);
    }
    move_entry(app, button, static_cast<int16_t>(entry), to);
    free_allocated_space(dropped.data(), dropped_count);
  }
  const size_t length = std::strlen(url) + 1;
  if (length > static_cast<size_t>(INT16_MAX)) return 0;
  const int16_t index = store_global(std::span(reinterpret_cast<const uint8_t*>(url), length));
  if (index < 0) return 0;
  act_item entry = home_page ? home_page_actlist[0] : launch_url_actlist[0];
  entry.ch12 = static_cast<uint16_t>(index);
  entry.act_seq = 2;
  SetMenuActionList(app, button, 1, &entry);
  SetActionName(app, button, 1, make_name(entry_title(title), 0, 0));
  return 1;
}

}  // namespace cx
