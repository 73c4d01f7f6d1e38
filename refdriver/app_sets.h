// The application sets: the global one, always there, and up to kMaxAppSets
// per-application ones; which one requests edit and which one is in front.
//
// The global set is addressed by an empty key, and by the key "Default"
// (the preference file's name for it). Naming it "Default" lists it among
// the sets that GetAppName reports; deleting "Default" only unlists it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "refdriver/app_set.h"

namespace cx::refdriver {

inline constexpr std::string_view kGlobalKey = "Default";

class AppSets {
 public:
  explicit AppSets(Budget& budget);

  AppSet& global() { return sets_.at(0); }
  const AppSet& global() const { return sets_.at(0); }
  AppSet& edited() { return sets_.at(edited_); }
  const AppSet& edited() const { return sets_.at(edited_); }
  AppSet* find(uint32_t id);

  // CurrentEditApp: selects the set with this key, creating it (kNoRoom when
  // full); kDone.
  int16_t select(std::string_view key, std::string_view name);
  void select_global() { edited_ = 0; }
  // The listed set with this key, else with this name; null when none.
  AppSet* find_listed(std::string_view key_or_name);
  // Forgets a set (the global one is only unnamed and unlisted).
  void erase(uint32_t id);

  // The listed sets in the order they were named; GetAppName's index - 1
  // and AccessCacheData's index address this list.
  size_t listed_count() const { return listed_.size(); }
  AppSet* listed(size_t position);
  const std::vector<uint32_t>& listed_ids() const { return listed_; }

  void set_front(std::string name) { front_ = std::move(name); }
  const std::string& front_name() const { return front_; }
  // The set whose settings apply in front: the listed set whose name, else
  // whose key, equals the front application's name; else the global set.
  AppSet& front();

 private:
  void release(const AppSet& set);

  Budget& budget_;
  std::map<uint32_t, AppSet> sets_;
  std::vector<uint32_t> listed_;
  uint32_t edited_ = 0;
  uint32_t next_id_ = 1;
  std::string front_;
};

}  // namespace cx::refdriver
