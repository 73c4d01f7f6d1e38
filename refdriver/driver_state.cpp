#include "refdriver/driver_state.h"

#include <algorithm>
#include <ctime>

#include "model/act_item.h"
#include "model/action_codes.h"
#include "refdriver/active_user.h"
#include "refdriver/driver_status.h"
#include "refdriver/limits.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

constexpr size_t kLinkOffset = 12;

}  // namespace

std::vector<uint16_t> data_indices(std::span<const uint8_t> items) {
  std::vector<uint16_t> indices;
  for_each_data_index(items, [&](uint16_t index) { indices.push_back(index); });
  return indices;
}

DriverState::DriverState(std::function<uint32_t()> clock) : clock_(std::move(clock)) {
  store_active_user(global_record(kActiveUserIndex), {0, kUserCleared});
}

uint32_t DriverState::now() const {
  return clock_ ? clock_() : static_cast<uint32_t>(std::time(nullptr));
}

std::span<uint8_t> DriverState::global_record(uint16_t index) {
  std::vector<uint8_t>* record = globals.fixed(index);
  return record ? std::span<uint8_t>(*record) : std::span<uint8_t>{};
}

AppSet& DriverState::set_for_button(uint8_t button) {
  return is_preset_button(button) ? apps.global() : apps.edited();
}

const StoredResponse* DriverState::response(const AppSet& set, uint32_t key) const {
  const auto it = set.responses.find(key);
  return it == set.responses.end() ? nullptr : &it->second;
}

StoredResponse* DriverState::slot(AppSet& set, uint32_t key) {
  const auto it = set.responses.find(key);
  if (it != set.responses.end()) return &it->second;
  if (budget.responses >= kMaxResponses) return nullptr;
  return &add_response(set, key)->second;
}

int16_t DriverState::store_list(AppSet& set, uint32_t key, std::span<const uint8_t> items) {
  const bool existed = set.responses.contains(key);
  StoredResponse* r = slot(set, key);
  const int16_t status = r ? assign_list(set, *r, items) : kNoRoom;
  if (status != kDone && !existed) erase_response(set, key);
  return status;
}

int16_t DriverState::assign_list(AppSet& set, StoredResponse& r, std::span<const uint8_t> items) {
  const size_t count = items.size() / kItemSize;
  const size_t old_count = r.item_count();
  if (count > kMaxListItems || budget.items - old_count + count > kMaxTotalItems) return kNoRoom;
  count_refs(set, r.items, -1);
  r.items.assign(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count * kItemSize));
  for (size_t at = 0; at < r.items.size(); at += kItemSize) {
    std::fill_n(&r.items[at + kLinkOffset], 4, 0);
  }
  r.has_list = true;
  count_refs(set, r.items, +1);
  budget.items = budget.items - old_count + count;
  return kDone;
}

int16_t DriverState::store_name(AppSet& set, uint32_t key,
                                std::span<const uint8_t, kNameRecordSize> name) {
  StoredResponse* r = slot(set, key);
  if (!r) return kNoRoom;
  std::copy(name.begin(), name.end(), r->name.begin());
  r->has_name = true;
  return kDone;
}

std::unordered_map<uint32_t, StoredResponse>::iterator DriverState::add_response(AppSet& set,
                                                                                 uint32_t key) {
  ++budget.responses;
  const uint16_t button_key = static_cast<uint16_t>(key >> 16);
  uint16_t& extent = set.menu_extent[button_key];
  extent = std::max(extent, key_entry(key));
  return set.responses.emplace(key, StoredResponse{}).first;
}

uint16_t DriverState::menu_extent(const AppSet& set, uint8_t mods, uint8_t button) const {
  const auto it = set.menu_extent.find(static_cast<uint16_t>((mods << 8) | button));
  return it == set.menu_extent.end() ? 0 : it->second;
}

void DriverState::erase_response(AppSet& set, uint32_t key) {
  const auto it = set.responses.find(key);
  if (it == set.responses.end()) return;
  const std::vector<uint16_t> indices = data_indices(it->second.items);
  count_refs(set, it->second.items, -1);
  budget.items -= it->second.item_count();
  --budget.responses;
  set.responses.erase(it);
  free_unreferenced(set, indices);
}

void DriverState::free_unreferenced(AppSet& owner, std::span<const uint16_t> indices) {
  for (const uint16_t index : indices) {
    if (refs(owner, index) == 0 && dataspaces.find(owner, index)) {
      dataspaces.deallocate(owner, index);
    }
  }
}

int16_t DriverState::delete_app_set(std::string_view key_or_name) {
  AppSet* set = apps.find_listed(key_or_name);
  if (!set) return kNotFound;
  if (set->id != 0) {
    for (const auto& [key, r] : set->responses) count_refs(*set, r.items, -1);
  }
  if (menu.set_id == set->id && set->id != 0) menu = MenuList{};
  apps.erase(set->id);
  return kDone;
}

void DriverState::count_refs(AppSet& owner, std::span<const uint8_t> items, int delta) {
  for_each_data_index(items, [&](uint16_t index) {
    std::map<uint16_t, uint32_t>* counts = nullptr;
    if (is_local_dataspace(index)) counts = &owner.dataspace_refs;
    if (is_global_dataspace(index)) counts = &global_refs_;
    if (!counts) return;
    uint32_t& n = (*counts)[index];
    n = static_cast<uint32_t>(static_cast<int64_t>(n) + delta);
    if (n == 0) counts->erase(index);
  });
}

uint32_t DriverState::refs(const AppSet& owner, uint16_t index) const {
  const std::map<uint16_t, uint32_t>& counts =
      is_global_dataspace(index) ? global_refs_ : owner.dataspace_refs;
  const auto it = counts.find(index);
  return it == counts.end() ? 0 : it->second;
}

}  // namespace cx::refdriver
