#include "refdriver/low_battery.h"

#include <algorithm>

#include "refdriver/driver_status.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

constexpr size_t kFirstEntry = 4;
constexpr size_t kEntrySize = 12;
constexpr size_t kTime = 4;
constexpr size_t kFlags = 8;

uint8_t* find_entry(std::span<uint8_t> table, uint16_t unique_id) {
  const uint16_t n = std::min(load_be16(table.data()), kLowBatteryMaxEntries);
  for (uint16_t i = 0; i < n; ++i) {
    uint8_t* entry = &table[kFirstEntry + i * kEntrySize];
    if (load_be16(entry) == unique_id) return entry;
  }
  return nullptr;
}

void add_flag(uint8_t* entry, uint16_t flag) {
  store_be16(entry + kFlags, static_cast<uint16_t>(load_be16(entry + kFlags) | flag));
}

}  // namespace

bool valid_low_battery_table(std::span<const uint8_t> table) {
  return table.size() == kFirstEntry + kLowBatteryMaxEntries * kEntrySize &&
         load_be16(table.data()) <= kLowBatteryMaxEntries;
}

int16_t LowBattery::request(std::span<uint8_t> table, uint16_t unique_id) {
  uint8_t* entry = find_entry(table, unique_id);
  if (!entry) {
    const uint16_t n = load_be16(table.data());
    if (n >= kLowBatteryMaxEntries) return kNoRoom;
    entry = &table[kFirstEntry + n * kEntrySize];
    std::fill_n(entry, kEntrySize, 0);
    store_be16(entry, unique_id);
    store_be16(table.data(), static_cast<uint16_t>(n + 1));
  }
  add_flag(entry, kLowBatteryTimeWanted);
  if (std::find(pending_.begin(), pending_.end(), unique_id) == pending_.end()) {
    pending_.push_back(unique_id);
  }
  return kDone;
}

bool LowBattery::answer(std::span<uint8_t> table, uint32_t now, uint32_t min_interval) {
  bool due = false;
  std::erase_if(pending_, [&](uint16_t unique_id) {
    uint8_t* entry = find_entry(table, unique_id);
    if (!entry) return true;
    if (load_be16(entry + kFlags) & kLowBatteryTimeWanted) return false;
    const uint32_t previous = load_be32(entry + kTime);
    if (previous == 0 || now - previous >= min_interval) {
      store_be32(entry + kTime, now);
      add_flag(entry, kLowBatteryAlertDue);
      due = true;
    }
    return true;
  });
  return due;
}

}  // namespace cx::refdriver
