// The alert of one device whose battery runs low, named and explained from
// the device bundle's description of that device.
#pragma once

#include <cstdint>
#include <string>

#include "plist/value.h"

namespace cx {

// get_lobat_info_from_DIRT: -1 when there is no device bundle or no
// description of the device.
inline constexpr int kLoBatDeviceUnknown = -1;

// 0, or kLoBatDeviceUnknown without showing anything.
int show_lo_bat_alert(int16_t unique_id);

// The description's key as the name and its Info's "Rechargeable" value (a
// number 0 when absent).
int get_lobat_info_from_DIRT(uint32_t unique_id, std::string& name, plist::ValueRef& recharge);

// The enumeration callback: 1 at the first description whose "UniqueID"
// equals the wanted one (context: a LoBatLookup), 0 to go on.
struct LoBatLookup {
  uint32_t unique_id = 0;
  std::string name;
  plist::ValueRef recharge;
};
int find_device_recharge(const std::string& key, const plist::Dictionary& description,
                         void* context);

}  // namespace cx
