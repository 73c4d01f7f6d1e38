#include "refdriver/simulator.h"

#include <cstdio>

#include "refdriver/active_user.h"
#include "refdriver/driver_status.h"
#include "refdriver/event_codes.h"
#include "refdriver/record_store.h"
#include "util/byte_order.h"

namespace cx::refdriver {
void Simulator::front(std::string name) {
  state_.apps.set_front(std::move(name));
  sink_.log("front application: " + state_.apps.front_name());
}

void Simulator::chord() {
  sink_.log("chord");
  sink_.notify(event_code::chord, 0);
}

void Simulator::devices_changed() {
  sink_.log("devices changed");
  sink_.notify(event_code::devices_changed, 0);
}

bool Simulator::low_battery(uint16_t unique_id) {
  if (state_.low_battery.request(state_.global_record(kLowBatteryIndex), unique_id) != kDone) {
    return false;
  }
  char line[64];
  std::snprintf(line, sizeof line, "low battery: device %u", unique_id);
  sink_.log(line);
  sink_.notify(event_code::low_battery_times, 0);
  return true;
}

void Simulator::hscroll() {
  std::span<uint8_t> record = state_.global_record(kHorizontalScrollIndex);
  store_be16(record.data(), static_cast<uint16_t>(load_be16(record.data()) ^ kHorizontalScrollBit));
  sink_.log((load_be16(record.data()) & kHorizontalScrollBit) ? "horizontal scrolling on"
                                                              : "horizontal scrolling off");
  sink_.notify(event_code::hscroll_changed, 0);
}

void Simulator::console_switch() {
  const ActiveUser user = read_active_user(state_.global_record(kActiveUserIndex));
  sink_.log("console switch");
  sink_.notify(event_code::console_switch, user.uid);
}

void Simulator::console_switch(uint32_t uid) {
  char line[48];
  std::snprintf(line, sizeof line, "console switch to uid %u", uid);
  sink_.log(line);
  sink_.notify(event_code::console_switch, uid);
  sink_.notify(event_code::user_active, uid);
}

bool Simulator::event(int16_t code, std::span<const uint8_t> data) {
  if (!state_.events.push(code, data)) return false;
  char line[64];
  std::snprintf(line, sizeof line, "queued event %d with %zu bytes", code, data.size());
  sink_.log(line);
  sink_.notify(event_code::drain_queue, 0);
  return true;
}

bool Simulator::notify(uint32_t code, uint64_t argument) {
  if (code > kMaxEventCode) return false;
  sink_.notify(code, argument);
  return true;
}

}  // namespace cx::refdriver
