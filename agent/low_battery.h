// Low-battery alerts for wireless devices, on driver events 10 and 11: the
// driver's table of wireless devices (global data 91), the time of each
// device's previous alert kept in the control panel's preferences, and the
// alert itself.
#pragma once

#include <cstdint>
#include <string>

#include "plist/value.h"

namespace cx {

inline constexpr char kLoBatKeyPrefix[] = "LoBat AlertTime For ID";
inline constexpr int kLoBatStringList = 128;

// Event 10: fills in the previous alert time of every entry that wants it.
// Event 11: records and shows every due alert. Both write the table back
// once; the driver's read status when the table could not be read.
int setLowBatPrevAlertTimes();
int handle_lo_bat_alert();

// The preference key of a device: the prefix, a space, the UniqueID.
std::string lo_bat_pref_key(uint16_t unique_id);

}  // namespace cx
