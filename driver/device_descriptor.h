// One device descriptor: the 80-byte big-endian record the driver keeps per
// supported device model, built from a device description dictionary.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "driver/device_requests.h"
#include "plist/value.h"

namespace cx {

inline constexpr size_t kDeviceIdFieldSize = 10;  // ProductID, VendorID: 9 characters + NUL

// A description without "UniqueID" gets this one: it sorts last and matches
// no device the driver reports.
inline constexpr uint32_t kUnassignedUniqueID = 0xFFFFFFFF;

// convert_plist_to_dev_desc's failure: a value of the wrong type or out of
// its field's range.
inline constexpr int kUnreadableDescription = -50;

struct dev_desc {
  std::array<char, kDeviceIdFieldSize> ProductID{};
  std::array<char, kDeviceIdFieldSize> VendorID{};
  int32_t InterfaceNumber = 0;
  uint16_t DevType = 0;
  uint16_t DevKind = 0;
  uint32_t UniqueID = 0;
  uint32_t ADBResolution = 0;
  uint32_t ButtonCount = 0;
  uint32_t HasWheel = 0;
  uint32_t HasRing = 0;
  uint32_t HasPanWheel = 0;
  uint16_t NumPresets = 0;
  uint16_t FirstPreset = 0;
  uint16_t MoveMultiplier = 0;
  uint16_t WirelessBatteryID = 0;
  uint32_t IsWheelReversed = 0;
  uint16_t AccelerationTableIndex = 0;
  uint32_t SpecialKeys = 0;
  uint32_t BluetoothIDSource = 0;
  uint32_t KeyboardID = 0;
};

// The defaults of every field: DevType, DevKind and ButtonCount 1,
// MoveMultiplier 10, UniqueID kUnassignedUniqueID, everything else empty or 0.
void set_dev_desc_default(dev_desc& record);

// Sets the fields the description names. Nested dictionaries are read as part
// of the same description; unknown keys are ignored. 0, or
// kUnreadableDescription (the record is then partly set).
int convert_plist_to_dev_desc(dev_desc& record, const plist::Dictionary& description);

// The record as the driver takes it; the unused bytes 66-67 are 0.
void encode_dev_desc(const dev_desc& record, std::span<uint8_t, kDeviceRecordSize> out);

}  // namespace cx
