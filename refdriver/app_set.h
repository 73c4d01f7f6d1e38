// One application set: the settings the driver applies while that
// application is in front (the global set applies to every other one).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/action_codes.h"
#include "refdriver/record_store.h"
#include "util/byte_order.h"

namespace cx::refdriver {

inline constexpr size_t kNameRecordSize = 36;
inline constexpr size_t kItemSize = 16;

// What one (modifiers, button, menu entry) does: its action list and its
// 36-byte name record (name, shortcut, pad, flags). Entry 0 is the button's
// own response; entries 1 and up are the entries of its popup menu.
struct StoredResponse {
  std::array<uint8_t, kNameRecordSize> name{};
  bool has_name = false;
  std::vector<uint8_t> items;  // wire form, link fields cleared
  bool has_list = false;

  size_t item_count() const { return items.size() / kItemSize; }
};

// An item of a stored (wire-form) list, read in place.
constexpr int16_t item_act(const uint8_t* item) {
  return static_cast<int16_t>(load_be16(item + 6));
}
constexpr uint16_t item_ch12(const uint8_t* item) {
  return load_le16(item + 2);
}

// Calls f(ch12) for every data-carrying item of a wire-form list.
template <typename F>
void for_each_data_index(std::span<const uint8_t> items, F f) {
  for (size_t at = 0; at + kItemSize <= items.size(); at += kItemSize) {
    if (is_data_carrying(item_act(&items[at]))) f(item_ch12(&items[at]));
  }
}

constexpr uint32_t response_key(uint8_t mods, uint8_t button, uint16_t entry) {
  return (uint32_t{mods} << 24) | (uint32_t{button} << 16) | entry;
}
constexpr uint8_t key_mods(uint32_t key) {
  return static_cast<uint8_t>(key >> 24);
}
constexpr uint8_t key_button(uint32_t key) {
  return static_cast<uint8_t>(key >> 16);
}
constexpr uint16_t key_entry(uint32_t key) {
  return static_cast<uint16_t>(key);
}

using DataspaceMap = std::map<uint16_t, std::vector<uint8_t>>;

struct AppSet {
  uint32_t id = 0;  // 0 is the global set
  std::string key;
  std::string name;
  std::unordered_map<uint32_t, StoredResponse> responses;
  DataspaceMap dataspaces;                      // local ones, indices below 256
  std::map<uint16_t, uint32_t> dataspace_refs;  // items of this set's lists naming each local one
  // Per (mods << 8 | button): no menu entry above this one was ever stored.
  std::unordered_map<uint16_t, uint16_t> menu_extent;
  RecordStore data{kAppRecordSizes};
  std::vector<uint8_t> cache;
};

// What every set may hold in all, shared by the sets and the global dataspaces.
struct Budget {
  size_t responses = 0;
  size_t items = 0;
  size_t dataspace_bytes = 0;
  size_t cache_bytes = 0;
};

}  // namespace cx::refdriver
