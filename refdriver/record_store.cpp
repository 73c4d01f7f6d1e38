#include "refdriver/record_store.h"

#include <algorithm>

#include "refdriver/driver_status.h"
#include "refdriver/limits.h"

namespace cx::refdriver {
namespace {

const RecordSize* find_size(std::span<const RecordSize> table, uint16_t index) {
  const auto it = std::find_if(table.begin(), table.end(),
                               [index](const RecordSize& r) { return r.index == index; });
  return it == table.end() ? nullptr : &*it;
}

}  // namespace

RecordStore::RecordStore(std::span<const RecordSize> fixed) : fixed_(fixed) {
  for (const RecordSize& r : fixed_) records_[r.index].assign(r.size, 0);
}

int16_t RecordStore::write(uint16_t index, std::span<const uint8_t> data) {
  if (const RecordSize* size = find_size(fixed_, index)) {
    if (data.size() != size->size) return kBadRequest;
    std::copy(data.begin(), data.end(), records_[index].begin());
    return kDone;
  }
  if (data.empty() || data.size() > kMaxGenericRecord) return kBadRequest;
  auto it = records_.find(index);
  if (it == records_.end()) {
    if (generic_count_ == kMaxGenericRecords) return kNoRoom;
    ++generic_count_;
    it = records_.emplace(index, std::vector<uint8_t>{}).first;
  }
  it->second.assign(data.begin(), data.end());
  return kDone;
}

int16_t RecordStore::read(uint16_t index, uint32_t length, std::vector<uint8_t>& out) const {
  if (const auto it = records_.find(index); it != records_.end()) {
    out = it->second;
    return kDone;
  }
  if (length > kMaxGenericRecord) return kBadRequest;
  out.assign(length, 0);
  return kDone;
}

std::vector<uint8_t>* RecordStore::fixed(uint16_t index) {
  return find_size(fixed_, index) ? &records_[index] : nullptr;
}

}  // namespace cx::refdriver
