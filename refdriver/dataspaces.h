// Dataspaces: byte blocks that action items name by index. Indices below
// 256 are local to the application set whose lists name them; 256 to 319
// are global. AllocateSpace hints: -1 a new local one, -2 a new global one,
// any valid index that very one (replacing what it held).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "refdriver/app_set.h"
#include "refdriver/limits.h"

namespace cx::refdriver {

inline constexpr int kNewLocalDataspace = -1;
inline constexpr int kNewGlobalDataspace = -2;
// DeallocateSpace: every local dataspace of the set.
inline constexpr int kAllLocalDataspaces = -1;

constexpr bool is_local_dataspace(int index) {
  return index >= 0 && index < kEndLocalDataspace;
}
constexpr bool is_global_dataspace(int index) {
  return index >= kFirstGlobalDataspace && index < kEndGlobalDataspace;
}

class Dataspaces {
 public:
  explicit Dataspaces(Budget& budget) : budget_(budget) {}

  // The block `index` names for the lists of `owner`; null when there is none.
  std::vector<uint8_t>* find(AppSet& owner, int index);
  // A zero-filled block of `size` bytes: its index, or kBadRequest / kNoRoom.
  int16_t allocate(AppSet& owner, int hint, int size);
  // kDone, kNotFound or kBadRequest.
  int16_t deallocate(AppSet& owner, int index);
  // Stores `data` as a new block (hint as for allocate); its index or a status.
  int16_t allocate_with(AppSet& owner, int hint, std::span<const uint8_t> data);

  const DataspaceMap& global() const { return global_; }

 private:
  DataspaceMap* table(AppSet& owner, int index);

  Budget& budget_;
  DataspaceMap global_;
};

}  // namespace cx::refdriver
