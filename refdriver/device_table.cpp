#include "refdriver/device_table.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "refdriver/limits.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

// Descriptor record offsets.
constexpr size_t kProductId = 0;
constexpr size_t kVendorId = 10;
constexpr size_t kIdField = 10;
constexpr size_t kDevType = 24;
constexpr size_t kDevKind = 26;
constexpr size_t kUniqueId = 28;
constexpr size_t kButtonCount = 36;
constexpr size_t kHasWheel = 40;
constexpr size_t kHasRing = 44;
constexpr size_t kHasPanWheel = 48;
constexpr size_t kNumPresets = 52;
constexpr size_t kFirstPreset = 54;
constexpr size_t kMoveMultiplier = 56;
constexpr size_t kWirelessBatteryId = 58;
constexpr size_t kWheelReversed = 60;
constexpr size_t kAccelTable = 64;

bool has_nul(const uint8_t* field) {
  return std::find(field, field + kIdField, 0) != field + kIdField;
}

// "0x2F1D" and the like; false for an empty or unreadable field.
bool id_field_equals(const uint8_t* field, uint16_t value) {
  const std::string text(reinterpret_cast<const char*>(field),
                         std::find(field, field + kIdField, 0) - field);
  if (text.empty()) return false;
  char* end = nullptr;
  const unsigned long parsed = std::strtoul(text.c_str(), &end, 0);
  return *end == 0 && parsed == value;
}

Descriptor generic_descriptor(const PresentDevice& device, size_t position) {
  Descriptor d{};
  store_be16(&d[kDevType], 1);
  store_be16(&d[kDevKind], 1);
  store_be32(&d[kUniqueId], kGenericDeviceId + static_cast<uint32_t>(position));
  store_be32(&d[kButtonCount], device.buttons);
  store_be32(&d[kHasWheel], device.wheel ? 1 : 0);
  store_be32(&d[kHasPanWheel], device.pan_wheel ? 1 : 0);
  store_be16(&d[kMoveMultiplier], 10);
  store_be16(&d[kAccelTable], kGenericAccelerationTable);
  return d;
}

}  // namespace

uint32_t descriptor_unique_id(const Descriptor& d) {
  return load_be32(&d[kUniqueId]);
}

uint32_t descriptor_capabilities(const Descriptor& d) {
  uint32_t caps = std::min<uint32_t>(load_be32(&d[kButtonCount]), capability::button_count_mask);
  if (load_be16(&d[kWirelessBatteryId]) != 0) caps |= capability::wireless;
  if (load_be32(&d[kHasRing]) != 0) caps |= capability::ring;
  if (load_be32(&d[kHasWheel]) != 0) caps |= capability::wheel;
  if (load_be32(&d[kHasPanWheel]) != 0) caps |= capability::pan_wheel;
  if (load_be32(&d[kWheelReversed]) != 0) caps |= capability::wheel_reversed;
  return caps;
}

MotionTraits descriptor_motion(const Descriptor& d) {
  const uint16_t multiplier = load_be16(&d[kMoveMultiplier]);
  return {load_be16(&d[kAccelTable]), multiplier == 0 ? uint16_t{10} : multiplier,
          load_be32(&d[kWheelReversed]) != 0};
}

bool DeviceTable::replace(std::span<const uint8_t> records, size_t count) {
  if (count > kMaxDescriptors || records.size() != count * kDescriptorSize) return false;
  std::vector<Descriptor> table(count);
  for (size_t i = 0; i < count; ++i) {
    std::copy_n(records.begin() + static_cast<std::ptrdiff_t>(i * kDescriptorSize), kDescriptorSize,
                table[i].begin());
    if (!has_nul(&table[i][kProductId]) || !has_nul(&table[i][kVendorId])) return false;
  }
  descriptors_ = std::move(table);
  ++generation_;
  if (present_) set_present(*present_);
  return true;
}

void DeviceTable::set_attached(std::vector<uint32_t> unique_ids) {
  if (unique_ids.size() > kMaxAttachedDevices) unique_ids.resize(kMaxAttachedDevices);
  attached_ = std::move(unique_ids);
}

std::vector<uint32_t> DeviceTable::attached() const {
  if (attached_) return *attached_;
  std::vector<uint32_t> ids;
  for (const Descriptor& d : descriptors_) {
    if (ids.size() == kMaxAttachedDevices) break;
    ids.push_back(descriptor_unique_id(d));
  }
  return ids;
}

void DeviceTable::set_present(std::vector<PresentDevice> devices) {
  std::vector<uint32_t> ids;
  generic_.clear();
  for (size_t i = 0; i < devices.size() && ids.size() < kMaxAttachedDevices; ++i) {
    const Descriptor d = describe(devices[i], i);
    if (descriptor_unique_id(d) >= kGenericDeviceId) generic_.push_back(d);
    ids.push_back(descriptor_unique_id(d));
  }
  attached_ = std::move(ids);
  present_ = std::move(devices);
}

Descriptor DeviceTable::describe(const PresentDevice& device, size_t position) const {
  const auto it = std::find_if(descriptors_.begin(), descriptors_.end(), [&](const Descriptor& d) {
    return id_field_equals(&d[kVendorId], device.vendor) &&
           id_field_equals(&d[kProductId], device.product);
  });
  return it != descriptors_.end() ? *it : generic_descriptor(device, position);
}

const Descriptor* DeviceTable::find(uint32_t unique_id) const {
  const auto it = std::find_if(descriptors_.begin(), descriptors_.end(), [&](const Descriptor& d) {
    return descriptor_unique_id(d) == unique_id;
  });
  if (it != descriptors_.end()) return &*it;
  const auto generic = std::find_if(generic_.begin(), generic_.end(), [&](const Descriptor& d) {
    return descriptor_unique_id(d) == unique_id;
  });
  return generic == generic_.end() ? nullptr : &*generic;
}

std::array<uint8_t, kMouseInfoSize> DeviceTable::mouse_info() const {
  std::array<uint8_t, kMouseInfoSize> info{};
  const std::vector<uint32_t> ids = attached();
  store_be16(&info[0], kMouseInfoSize);
  store_be16(&info[2], interface_version);
  info[4] = interface_revision;
  info[5] = static_cast<uint8_t>(ids.size());
  store_be16(&info[6], static_cast<uint16_t>(descriptors_.size()));
  for (size_t i = 0; i < ids.size(); ++i) {
    uint8_t* entry = &info[kMouseInfoFirstEntry + i * kMouseInfoEntrySize];
    store_be32(entry, ids[i]);
    const Descriptor* d = find(ids[i]);
    if (!d) continue;
    store_be32(entry + 4, descriptor_capabilities(*d));
    std::copy_n(&(*d)[kDevType], 2, entry + 8);
    std::copy_n(&(*d)[kDevKind], 2, entry + 10);
    std::copy_n(&(*d)[kWirelessBatteryId], 2, entry + 12);
    std::copy_n(&(*d)[kMoveMultiplier], 2, entry + 14);
    std::copy_n(&(*d)[kAccelTable], 2, entry + 16);
    std::copy_n(&(*d)[kNumPresets], 2, entry + 18);
    std::copy_n(&(*d)[kFirstPreset], 2, entry + 20);
  }
  return info;
}

}  // namespace cx::refdriver
