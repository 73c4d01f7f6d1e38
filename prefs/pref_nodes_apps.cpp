// Application sets: their names and scrolling settings; the buttons are in
// their own file.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "driver/app_requests.h"
#include "driver/data_requests.h"
#include "prefs/app_set_buffer.h"
#include "prefs/pref_leaf.h"
#include "prefs/pref_schema.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using plist::NumberType;

constexpr char kGlobalSetKey[] = "Default";
constexpr int16_t kScrollingRecord = 72;
constexpr uint32_t kScrollingSize = 4;
constexpr uint16_t kClockwiseIsUp = 2;
constexpr uint16_t kSwapAxes = 4;

template <size_t N>
void copy_c_string(char (&dest)[N], std::string_view text) {
  const size_t n = std::min(text.size(), N - 1);
  std::memcpy(dest, text.data(), n);
  std::memset(dest + n, 0, N - n);
}

void read_one_set(PrefNode* node, std::string_view key) {
  pref_item_info* self = get_object_info(node);
  auto* names = static_cast<app_set_buffer*>(self->scratch);
  copy_c_string(names->key, key);
  copy_c_string(names->name, "");
  names->selected = false;
  call_children(node, 0);
}

void set_flag(uint8_t* record, uint16_t bit, bool on) {
  const uint16_t word = load_be16(record + 2);
  store_be16(record + 2, static_cast<uint16_t>(on ? word | bit : word & ~bit));
}

void read_scroll_flag(PrefNode* node, uint16_t bit) {
  auto* record = parent_scratch<uint8_t>(node);
  if (const auto* b = plist::as<plist::Boolean>(get_pref(node)); b && record)
    set_flag(record, bit, b->value());
}

void write_scroll_flag(PrefNode* node, uint16_t bit) {
  if (const auto* record = parent_scratch<uint8_t>(node))
    apply_leaf_rule(node, plist::make_bool((load_be16(record + 2) & bit) != 0), NumberType::Char);
}

}  // namespace

void clear_driver_sets() {
  CurrentEditApp("", "");
  app_set_buffer names{};
  // A driver that will not delete a set would otherwise keep this loop going.
  while (GetAppName(1, names.key, names.name) == 1 && DeleteAppName(names.key) > 0) {
  }
}

bool app_set_selected(PrefNode* node) {
  const auto* names = parent_scratch<app_set_buffer>(node);
  return !names || names->selected;
}

void read_appset_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  const bool to_driver = !(self->flags & pref_flag::tree_only);
  setup_arrays(node);
  app_set_buffer names{};
  self->scratch = &names;
  if (to_driver) {
    if (InControlPanel(1) == 0) {
      self->scratch = nullptr;
      return;
    }
    clear_driver_sets();
  }
  self->flags &= ~pref_flag::default_set_seen;
  for (size_t i = 0; i < self->user_elements.size(); ++i) {
    if (!self->user_keys[i]) continue;
    if (*self->user_keys[i] == kGlobalSetKey) self->flags |= pref_flag::default_set_seen;
    self->user_index = static_cast<int32_t>(i);
    self->default_index = 0;
    read_one_set(node, *self->user_keys[i]);
  }
  if (!(self->flags & pref_flag::default_set_seen) && !self->default_keys.empty() &&
      self->default_keys[0]) {
    const uint32_t had_user = self->flags & pref_flag::user_present;
    self->flags &= ~pref_flag::user_present;
    self->default_index = 0;
    read_one_set(node, *self->default_keys[0]);
    self->flags |= had_user;
  }
  if (to_driver) InControlPanel(0);
  self->scratch = nullptr;
}

void write_appset_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  // The user has no sets yet: start an empty dictionary that the sets found
  // below are stored into.
  if (!plist::as<plist::Dictionary>(self->user_value)) {
    create_user_entry(self);
    self->user_elements.clear();
    self->user_keys.clear();
    self->flags |= pref_flag::user_written;
  }
  if (InControlPanel(1) == 0) {
    keep_user_value(self);
    return;
  }
  std::vector<bool> seen(self->user_elements.size(), false);
  bool any_changed = false;
  app_set_buffer names{};
  self->scratch = &names;
  for (int16_t i = 1; GetAppName(i, names.key, names.name) == 1; ++i) {
    self->flags &= ~pref_flag::changed;
    const std::string key(names.key);
    const auto found = std::find(self->user_keys.begin(), self->user_keys.end(), key);
    size_t at = static_cast<size_t>(found - self->user_keys.begin());
    if (found == self->user_keys.end()) {
      self->user_keys.emplace_back(key);
      self->user_elements.push_back(plist::make_dictionary());
      seen.push_back(true);
      at = self->user_keys.size() - 1;
    } else {
      seen[at] = true;
      if (!plist::as<plist::Dictionary>(self->user_elements[at]))
        self->user_elements[at] = plist::make_dictionary();
    }
    self->user_index = static_cast<int32_t>(at);
    call_children(node, 1);
    if (self->flags & pref_flag::changed) any_changed = true;
  }
  for (size_t j = 0; j < seen.size(); ++j) {
    if (seen[j] || !self->user_keys[j]) continue;
    self->user_index = static_cast<int32_t>(j);
    del_pref(node);
    any_changed = true;
  }
  const auto* sets = plist::as<plist::Dictionary>(self->user_value);
  if (any_changed && sets && !sets->empty()) {
    put_top_pref(node);
    self->flags |= pref_flag::changed;
  } else {
    if (self->flags & pref_flag::user_present) del_top_pref(node);
    self->flags &= ~pref_flag::changed;
  }
  InControlPanel(0);
  self->scratch = nullptr;
}

void read_appname_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  auto* names = parent_scratch<app_set_buffer>(node);
  if (!names) return;
  if (const auto* name = plist::as<plist::String>(get_pref(node)))
    copy_c_string(names->name, name->text());
  // Selected even without a name, so that the set's other settings never
  // land in the set edited before.
  names->selected =
      (self->flags & pref_flag::tree_only) || CurrentEditApp(names->key, names->name) > 0;
  if (!names->selected)
    std::fprintf(stderr, "Corvex Background: the driver refused application set \"%s\"; skipped\n",
                 names->key);
}

void write_appname_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  auto* names = parent_scratch<app_set_buffer>(node);
  if (!names) return;
  self->user_value =
      plist::make_string(std::string(names->name, strnlen(names->name, sizeof names->name)));
  put_pref(node);
  self->flags |= pref_flag::changed;
  names->selected = CurrentEditApp(names->key, names->name) > 0;
}

void read_scrolling_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (!app_set_selected(node)) return;
  uint8_t record[kScrollingSize] = {1, 0, 0, 0};
  self->scratch = record;
  // A set without scrolling settings keeps what the driver holds.
  if (get_pref(node)) {
    call_children(node, 0);
    if (!(self->flags & pref_flag::tree_only))
      CXAccessAppData(kScrollingRecord, kDataModeWrite, record, kScrollingSize);
  }
  self->scratch = nullptr;
}

void write_scrolling_data(PrefNode* node) {
  refresh_from_dictionaries(node);
  uint8_t record[kScrollingSize] = {};
  write_record_children(node, CXAccessAppData, kScrollingRecord, record, kScrollingSize);
}

void read_scrollspeed_data(PrefNode* node) {
  auto* record = parent_scratch<uint8_t>(node);
  if (const auto v = number_as(get_pref(node).get(), NumberType::Char); v && record)
    record[0] = static_cast<uint8_t>(*v);
}

void write_scrollspeed_data(PrefNode* node) {
  if (const auto* record = parent_scratch<uint8_t>(node))
    apply_leaf_rule(node, plist::make_number(NumberType::Char, static_cast<int8_t>(record[0])),
                    NumberType::Char);
}

void read_scrolldir_data(PrefNode* node) {
  read_scroll_flag(node, kClockwiseIsUp);
}
void write_scrolldir_data(PrefNode* node) {
  write_scroll_flag(node, kClockwiseIsUp);
}
void read_scrollswap_data(PrefNode* node) {
  read_scroll_flag(node, kSwapAxes);
}
void write_scrollswap_data(PrefNode* node) {
  write_scroll_flag(node, kSwapAxes);
}

}  // namespace cx
