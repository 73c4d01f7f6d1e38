// The driver's live settings, everything the requests read and write, with
// no knowledge of sockets: the request handler and the simulation act on it.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include "refdriver/app_set.h"
#include "refdriver/app_sets.h"
#include "refdriver/dataspaces.h"
#include "refdriver/device_table.h"
#include "refdriver/event_queue.h"
#include "refdriver/low_battery.h"
#include "refdriver/record_store.h"

namespace cx::refdriver {

class PointerOutput;

inline constexpr size_t kMenuNameSize = 32;

// The six preset buttons belong to the global set whatever set is edited.
constexpr bool is_preset_button(uint8_t button) {
  return button >= 18 && button <= 23;
}

// The popup menu that a press opened, until ClearAllMenuLists.
struct MenuList {
  bool pending = false;
  uint32_t set_id = 0;
  uint8_t mods = 0;
  uint8_t button = 0;
  // Entries 1..N, then one empty slot that the menu does not show.
  std::vector<std::array<uint8_t, kMenuNameSize>> slots;
  int32_t x = 0;  // where the pointer was
  int32_t y = 0;
};

class DriverState {
 public:
  // `clock` gives seconds for alert times; the system clock when empty.
  explicit DriverState(std::function<uint32_t()> clock = {});

  Budget budget;
  AppSets apps{budget};
  Dataspaces dataspaces{budget};
  RecordStore globals{kGlobalRecordSizes};
  DeviceTable devices;
  EventQueue events;
  MenuList menu;
  LowBattery low_battery;
  uint32_t low_battery_interval = 300;  // seconds between two alerts of one device
  uint64_t control_panel_holder = 0;    // the connection in control-panel mode, 0 for none
  int32_t mouse_x = 0;
  int32_t mouse_y = 0;
  uint32_t firmware_updates = 0;  // ADBID32 structure-method calls
  // The device that action lists drive, when there is one; without it
  // clicks and keystrokes are only logged.
  PointerOutput* output = nullptr;

  uint32_t now() const;
  // A fixed-size global record.
  std::span<uint8_t> global_record(uint16_t index);

  // Where a button's responses live for the edited set.
  AppSet& set_for_button(uint8_t button);
  const StoredResponse* response(const AppSet& set, uint32_t key) const;

  // The response for `key`, made empty when missing; null when the
  // response limit is reached.
  StoredResponse* slot(AppSet& set, uint32_t key);
  // Stores an action list (16-byte wire items; links are cleared).
  // kDone or kNoRoom.
  int16_t store_list(AppSet& set, uint32_t key, std::span<const uint8_t> items);
  int16_t assign_list(AppSet& set, StoredResponse& response, std::span<const uint8_t> items);
  int16_t store_name(AppSet& set, uint32_t key, std::span<const uint8_t, kNameRecordSize> name);
  // Forgets a response and frees the dataspaces that no list names any more.
  void erase_response(AppSet& set, uint32_t key);
  // Frees those of `indices` that no list of `owner` (local ones) or of any
  // set (global ones) names.
  void free_unreferenced(AppSet& owner, std::span<const uint16_t> indices);
  // No menu entry above this one was stored for (mods, button) in the set.
  uint16_t menu_extent(const AppSet& set, uint8_t mods, uint8_t button) const;
  // DeleteAppName. kDone or kNotFound.
  int16_t delete_app_set(std::string_view key_or_name);

 private:
  // Adds delta to the reference count of every dataspace the items name.
  void count_refs(AppSet& owner, std::span<const uint8_t> items, int delta);
  uint32_t refs(const AppSet& owner, uint16_t index) const;
  std::unordered_map<uint32_t, StoredResponse>::iterator add_response(AppSet& set, uint32_t key);

  std::function<uint32_t()> clock_;
  std::map<uint16_t, uint32_t> global_refs_;
};

// The dataspace indices the data-carrying items of a wire list name.
std::vector<uint16_t> data_indices(std::span<const uint8_t> items);

}  // namespace cx::refdriver
