#include "agent/low_battery.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "agent/low_battery_alert.h"
#include "driver/data_requests.h"
#include "platform/preferences.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr int16_t kTableIndex = 91;
constexpr size_t kTableSize = 88;
constexpr size_t kFirstEntry = 4;
constexpr size_t kEntrySize = 12;
constexpr size_t kMaxEntries = (kTableSize - kFirstEntry) / kEntrySize;
constexpr size_t kTimeAt = 4;
constexpr size_t kFlagsAt = 8;
constexpr uint16_t kAlertDue = 0x0008;
constexpr uint16_t kTimeWanted = 0x0004;
// The driver answers a request it carried out with 1.
constexpr int16_t kDriverDone = 1;

constexpr char kPanelDomain[] = "com.velcorra.corvex.prefpane";
using platform::PrefHost;
using platform::PrefUser;

using Table = std::array<uint8_t, kTableSize>;

// Writing back a table that was never read would wipe the driver's.
bool read_table(Table& table, int& status) {
  status = CXAccessGlobalData(kTableIndex, kDataModeRead, table.data(), kTableSize);
  return status == kDriverDone;
}

void write_table(Table& table) {
  CXAccessGlobalData(kTableIndex, kDataModeWrite, table.data(), kTableSize);
}

// Calls `visit` with each entry whose flags have `flag`, after clearing it.
template <typename Visit>
void for_each_flagged(Table& table, uint16_t flag, Visit visit) {
  // A count beyond what fits is the driver's mistake; the table ends there.
  const size_t n = std::min<size_t>(load_be16(table.data()), kMaxEntries);
  for (size_t i = 0; i < n; ++i) {
    uint8_t* entry = &table[kFirstEntry + i * kEntrySize];
    const uint16_t flags = load_be16(entry + kFlagsAt);
    if (!(flags & flag)) continue;
    store_be16(entry + kFlagsAt, static_cast<uint16_t>(flags & ~flag));
    visit(entry);
  }
}

uint32_t stored_time(std::string_view key) {
  plist::ValueRef value =
      platform::copy_preference_value(key, kPanelDomain, PrefUser::Any, PrefHost::Current);
  if (!value) {
    value = platform::copy_preference_value(key, kPanelDomain, PrefUser::Current, PrefHost::Any);
  }
  int32_t time = 0;
  if (const auto* number = plist::as<plist::Number>(value)) {
    number->get_value(plist::NumberType::SInt32, &time);
  }
  return static_cast<uint32_t>(time);
}

void store_time(std::string_view key, uint32_t time) {
  const plist::ValueRef value = plist::make_int32(static_cast<int32_t>(time));
  platform::set_preference_value(key, value, kPanelDomain, PrefUser::Any, PrefHost::Current);
  if (platform::synchronize_preferences(kPanelDomain, PrefUser::Any, PrefHost::Current)) return;
  platform::set_preference_value(key, value, kPanelDomain, PrefUser::Current, PrefHost::Any);
  platform::synchronize_preferences(kPanelDomain, PrefUser::Current, PrefHost::Any);
}

}  // namespace

std::string lo_bat_pref_key(uint16_t unique_id) {
  return std::string(kLoBatKeyPrefix) + " " + std::to_string(unique_id);
}

int setLowBatPrevAlertTimes() {
  Table table{};
  int status = 0;
  if (!read_table(table, status)) return status;
  for_each_flagged(table, kTimeWanted, [](uint8_t* entry) {
    store_be32(entry + kTimeAt, stored_time(lo_bat_pref_key(load_be16(entry))));
  });
  write_table(table);
  return 0;
}

int handle_lo_bat_alert() {
  Table table{};
  int status = 0;
  if (!read_table(table, status)) return status;
  for_each_flagged(table, kAlertDue, [](uint8_t* entry) {
    const uint16_t unique_id = load_be16(entry);
    store_time(lo_bat_pref_key(unique_id), load_be32(entry + kTimeAt));
    show_lo_bat_alert(static_cast<int16_t>(unique_id));
  });
  write_table(table);
  return 0;
}

}  // namespace cx
