#include "driver/device_descriptor.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>

#include "util/byte_order.h"

namespace cx {
namespace {

// An integer that fits a field of `bits` bits read either as signed or as
// unsigned; reals only when whole.
std::optional<int64_t> integer_value(const plist::Value* v, int bits) {
  const auto* n = plist::as<plist::Number>(v);
  if (!n || n->is_unsigned()) return std::nullopt;
  if (n->is_float() && n->real_value() != std::trunc(n->real_value())) return std::nullopt;
  const int64_t value = n->int_value();
  const int64_t lowest = -(int64_t{1} << (bits - 1));
  const int64_t highest = (int64_t{1} << bits) - 1;
  if (value < lowest || value > highest) return std::nullopt;
  return value;
}

bool read_u32(const plist::Value* v, uint32_t& field) {
  const auto value = integer_value(v, 32);
  if (!value) return false;
  field = static_cast<uint32_t>(*value);
  return true;
}

bool read_u16(const plist::Value* v, uint16_t& field) {
  const auto value = integer_value(v, 16);
  if (!value) return false;
  field = static_cast<uint16_t>(*value);
  return true;
}

bool read_flag(const plist::Value* v, uint32_t& field) {
  const auto* b = plist::as<plist::Boolean>(v);
  if (!b) return false;
  field = b->value() ? 1 : 0;
  return true;
}

bool read_id(const plist::Value* v, std::array<char, kDeviceIdFieldSize>& field) {
  const auto* s = plist::as<plist::String>(v);
  if (!s || s->text().size() >= field.size()) return false;
  field.fill(0);
  std::memcpy(field.data(), s->text().data(), s->text().size());
  return true;
}

// One key of a description; unknown keys read fine and change nothing.
bool read_key(dev_desc& r, std::string_view key, const plist::Value* v) {
  if (key == "UniqueID") return read_u32(v, r.UniqueID);
  if (key == "ProductID") return read_id(v, r.ProductID);
  if (key == "VendorID") return read_id(v, r.VendorID);
  if (key == "InterfaceNumber") {
    uint32_t value = 0;
    if (!read_u32(v, value)) return false;
    r.InterfaceNumber = static_cast<int32_t>(value);
    return true;
  }
  if (key == "BluetoothIDSource") return read_u32(v, r.BluetoothIDSource);
  if (key == "SpecialKeys") return read_u32(v, r.SpecialKeys);
  if (key == "KeyboardID") return read_u32(v, r.KeyboardID);
  if (key == "DevType") return read_u16(v, r.DevType);
  if (key == "DevKind") return read_u16(v, r.DevKind);
  if (key == "ADBResolution") return read_u32(v, r.ADBResolution);
  if (key == "ButtonCount") return read_u32(v, r.ButtonCount);
  if (key == "HasWheel") return read_flag(v, r.HasWheel);
  if (key == "HasRing") return read_flag(v, r.HasRing);
  if (key == "HasPanWheel") return read_flag(v, r.HasPanWheel);
  if (key == "IsWheelReversed") return read_flag(v, r.IsWheelReversed);
  if (key == "AccelerationTableIndex") return read_u16(v, r.AccelerationTableIndex);
  if (key == "NumPresets") return read_u16(v, r.NumPresets);
  if (key == "FirstPreset") return read_u16(v, r.FirstPreset);
  if (key == "MoveMultiplier") {
    if (!read_u16(v, r.MoveMultiplier)) return false;
    if (r.MoveMultiplier == 0) r.MoveMultiplier = 10;
    return true;
  }
  // "IsWireless" and "WirelessBatteryID" give the same result in either
  // order: an explicit identifier above 1 is never lowered by the flag.
  if (key == "IsWireless") {
    uint32_t wireless = 0;
    if (!read_flag(v, wireless)) return false;
    if (wireless && r.WirelessBatteryID == 0) r.WirelessBatteryID = 1;
    return true;
  }
  if (key == "WirelessBatteryID") {
    uint16_t id = 0;
    if (!read_u16(v, id)) return false;
    if (r.WirelessBatteryID <= 1) r.WirelessBatteryID = id;
    return true;
  }
  return true;
}

}  // namespace

void set_dev_desc_default(dev_desc& record) {
  record = dev_desc{};
  record.DevType = 1;
  record.DevKind = 1;
  record.UniqueID = kUnassignedUniqueID;
  record.ButtonCount = 1;
  record.MoveMultiplier = 10;
}

int convert_plist_to_dev_desc(dev_desc& record, const plist::Dictionary& description) {
  for (const auto& [key, value] : description.entries()) {
    if (const auto* group = plist::as<plist::Dictionary>(value)) {
      if (const int status = convert_plist_to_dev_desc(record, *group)) return status;
    } else if (!read_key(record, key, value.get())) {
      return kUnreadableDescription;
    }
  }
  return 0;
}

void encode_dev_desc(const dev_desc& r, std::span<uint8_t, kDeviceRecordSize> out) {
  std::fill(out.begin(), out.end(), uint8_t{0});
  std::memcpy(&out[0], r.ProductID.data(), kDeviceIdFieldSize);
  std::memcpy(&out[10], r.VendorID.data(), kDeviceIdFieldSize);
  out[9] = 0;  // always terminated, whatever the fields held
  out[19] = 0;
  store_be32(&out[20], static_cast<uint32_t>(r.InterfaceNumber));
  store_be16(&out[24], r.DevType);
  store_be16(&out[26], r.DevKind);
  store_be32(&out[28], r.UniqueID);
  store_be32(&out[32], r.ADBResolution);
  store_be32(&out[36], r.ButtonCount);
  store_be32(&out[40], r.HasWheel);
  store_be32(&out[44], r.HasRing);
  store_be32(&out[48], r.HasPanWheel);
  store_be16(&out[52], r.NumPresets);
  store_be16(&out[54], r.FirstPreset);
  store_be16(&out[56], r.MoveMultiplier);
  store_be16(&out[58], r.WirelessBatteryID);
  store_be32(&out[60], r.IsWheelReversed);
  store_be16(&out[64], r.AccelerationTableIndex);
  store_be32(&out[68], r.SpecialKeys);
  store_be32(&out[72], r.BluetoothIDSource);
  store_be32(&out[76], r.KeyboardID);
}

}  // namespace cx
