// Low-battery alerts (global data index 91, 88 bytes): a count n (at most 7)
// and n entries of 12 bytes: UniqueID, unused, alert time, flags, unused.
//
// The driver asks the agent for a device's previous alert time (flag 0x0004,
// event 10); once the agent has written the table back, the driver raises
// the alert (time = now, flag 0x0008, event 11) unless the previous alert is
// more recent than the minimum interval.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace cx::refdriver {

inline constexpr uint16_t kLowBatteryIndex = 91;
inline constexpr uint16_t kLowBatteryMaxEntries = 7;
inline constexpr uint16_t kLowBatteryAlertDue = 0x0008;
inline constexpr uint16_t kLowBatteryTimeWanted = 0x0004;

// Whether a client's table is well formed (count at most 7).
bool valid_low_battery_table(std::span<const uint8_t> table);

class LowBattery {
 public:
  // Flags the device's entry (adding it) as wanting its previous time.
  // kDone, or kNoRoom when the table is full.
  int16_t request(std::span<uint8_t> table, uint16_t unique_id);
  // After the table was written back: raises the alert of every pending
  // device whose time came back. True when any alert became due.
  bool answer(std::span<uint8_t> table, uint32_t now, uint32_t min_interval);
  const std::vector<uint16_t>& pending() const { return pending_; }

 private:
  std::vector<uint16_t> pending_;
};

}  // namespace cx::refdriver
