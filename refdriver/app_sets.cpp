#include "refdriver/app_sets.h"

#include <algorithm>

#include "refdriver/driver_status.h"
#include "refdriver/limits.h"

namespace cx::refdriver {

AppSets::AppSets(Budget& budget) : budget_(budget) {
  sets_[0].id = 0;
}

AppSet* AppSets::find(uint32_t id) {
  const auto it = sets_.find(id);
  return it == sets_.end() ? nullptr : &it->second;
}

int16_t AppSets::select(std::string_view key, std::string_view name) {
  if (key.empty()) {
    edited_ = 0;
    return kDone;
  }
  if (key == kGlobalKey) {
    AppSet& g = global();
    g.key = key;
    g.name = name;
    if (std::find(listed_.begin(), listed_.end(), 0u) == listed_.end()) listed_.push_back(0);
    edited_ = 0;
    return kDone;
  }
  for (auto& [id, set] : sets_) {
    if (id != 0 && set.key == key) {
      set.name = name;
      edited_ = id;
      return kDone;
    }
  }
  if (sets_.size() - 1 >= kMaxAppSets) return kNoRoom;
  const uint32_t id = next_id_++;
  AppSet& set = sets_[id];
  set.id = id;
  set.key = key;
  set.name = name;
  listed_.push_back(id);
  edited_ = id;
  return kDone;
}

AppSet* AppSets::find_listed(std::string_view key_or_name) {
  if (key_or_name.empty()) return nullptr;
  for (const bool by_key : {true, false}) {
    for (const uint32_t id : listed_) {
      AppSet& set = sets_.at(id);
      if ((by_key ? set.key : set.name) == key_or_name) return &set;
    }
  }
  return nullptr;
}

void AppSets::erase(uint32_t id) {
  std::erase(listed_, id);
  if (id == 0) {
    global().key.clear();
    global().name.clear();
    return;
  }
  const auto it = sets_.find(id);
  if (it == sets_.end()) return;
  release(it->second);
  sets_.erase(it);
  if (edited_ == id) edited_ = 0;
}

AppSet* AppSets::listed(size_t position) {
  return position < listed_.size() ? &sets_.at(listed_[position]) : nullptr;
}

AppSet& AppSets::front() {
  if (front_.empty()) return global();
  for (const bool by_name : {true, false}) {
    for (const uint32_t id : listed_) {
      AppSet& set = sets_.at(id);
      if (id != 0 && (by_name ? set.name : set.key) == front_) return set;
    }
  }
  return global();
}

void AppSets::release(const AppSet& set) {
  budget_.responses -= set.responses.size();
  for (const auto& [key, response] : set.responses) budget_.items -= response.item_count();
  for (const auto& [index, bytes] : set.dataspaces) budget_.dataspace_bytes -= bytes.size();
  budget_.cache_bytes -= set.cache.size();
}

}  // namespace cx::refdriver
