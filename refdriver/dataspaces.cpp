#include "refdriver/dataspaces.h"

#include <algorithm>

#include "refdriver/driver_status.h"
#include "refdriver/limits.h"

namespace cx::refdriver {
namespace {

// The lowest index of [first, end) that the table does not hold, or -1.
int free_index(const DataspaceMap& table, int first, int end) {
  int candidate = first;
  for (auto it = table.lower_bound(static_cast<uint16_t>(first));
       it != table.end() && it->first == candidate && candidate < end; ++it) {
    ++candidate;
  }
  return candidate < end ? candidate : -1;
}

}  // namespace

DataspaceMap* Dataspaces::table(AppSet& owner, int index) {
  if (is_local_dataspace(index)) return &owner.dataspaces;
  if (is_global_dataspace(index)) return &global_;
  return nullptr;
}

std::vector<uint8_t>* Dataspaces::find(AppSet& owner, int index) {
  DataspaceMap* t = table(owner, index);
  if (!t) return nullptr;
  const auto it = t->find(static_cast<uint16_t>(index));
  return it == t->end() ? nullptr : &it->second;
}

int16_t Dataspaces::allocate(AppSet& owner, int hint, int size) {
  if (size < 0 || size > kMaxDataspaceSize) return kBadRequest;
  int index = hint;
  if (hint == kNewLocalDataspace) {
    index = free_index(owner.dataspaces, 1, kEndLocalDataspace);
  } else if (hint == kNewGlobalDataspace) {
    index = free_index(global_, kFirstGlobalDataspace, kEndGlobalDataspace);
  } else if (!table(owner, hint)) {
    return kBadRequest;
  }
  if (index < 0) return kNoRoom;
  DataspaceMap& t = *table(owner, index);
  const auto it = t.find(static_cast<uint16_t>(index));
  const size_t others = budget_.dataspace_bytes - (it == t.end() ? 0 : it->second.size());
  if (others + static_cast<size_t>(size) > kMaxDataspaceBytes) return kNoRoom;
  budget_.dataspace_bytes = others + static_cast<size_t>(size);
  t[static_cast<uint16_t>(index)].assign(static_cast<size_t>(size), 0);
  return static_cast<int16_t>(index);
}

int16_t Dataspaces::allocate_with(AppSet& owner, int hint, std::span<const uint8_t> data) {
  const int16_t index = allocate(owner, hint, static_cast<int>(data.size()));
  if (index >= 0) std::copy(data.begin(), data.end(), find(owner, index)->begin());
  return index;
}

int16_t Dataspaces::deallocate(AppSet& owner, int index) {
  if (index == kAllLocalDataspaces) {
    for (const auto& [i, block] : owner.dataspaces) budget_.dataspace_bytes -= block.size();
    owner.dataspaces.clear();
    return kDone;
  }
  DataspaceMap* t = table(owner, index);
  if (!t) return kBadRequest;
  const auto it = t->find(static_cast<uint16_t>(index));
  if (it == t->end()) return kNotFound;
  budget_.dataspace_bytes -= it->second.size();
  t->erase(it);
  return kDone;
}

}  // namespace cx::refdriver
