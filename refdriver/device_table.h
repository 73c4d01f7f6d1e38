// The device descriptor table that InitializeDriver hands over, the devices
// taken as attached, and the 180-byte mouse information record.
//
// Mouse information, big-endian: 0 size (180), 2 version 0x0300, 4 revision
// 1, 5 attached device count n (at most 7), 6 number of descriptors in the
// table, 8 reserved (0); then from 12 one 24-byte entry per attached device:
//   +0 UniqueID (32), +4 capability word (32), +8 DevType, +10 DevKind,
//   +12 WirelessBatteryID, +14 MoveMultiplier, +16 AccelerationTableIndex,
//   +18 NumPresets, +20 FirstPreset, +22 reserved (all 16-bit).
// Capability word: low byte the button count (at most 255), 0x100 wireless,
// 0x200 ring, 0x400 wheel, 0x800 pan wheel, 0x1000 wheel reversed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace cx::refdriver {

inline constexpr size_t kDescriptorSize = 80;
inline constexpr size_t kMouseInfoSize = 180;
inline constexpr uint16_t kDriverVersion = 0x0300;
inline constexpr uint8_t kDriverRevision = 1;
inline constexpr size_t kMouseInfoFirstEntry = 12;
inline constexpr size_t kMouseInfoEntrySize = 24;

namespace capability {
inline constexpr uint32_t button_count_mask = 0xFF;
inline constexpr uint32_t wireless = 0x100;
inline constexpr uint32_t ring = 0x200;
inline constexpr uint32_t wheel = 0x400;
inline constexpr uint32_t pan_wheel = 0x800;
inline constexpr uint32_t wheel_reversed = 0x1000;
}  // namespace capability

using Descriptor = std::array<uint8_t, kDescriptorSize>;

uint32_t descriptor_unique_id(const Descriptor& d);
uint32_t descriptor_capabilities(const Descriptor& d);

// How a device's motion and wheel are treated, from its descriptor.
struct MotionTraits {
  uint16_t acceleration_table = 0;  // which level and table of the five
  uint16_t move_multiplier = 10;    // tenths
  bool wheel_reversed = false;
};
MotionTraits descriptor_motion(const Descriptor& d);

// A pointing device found on the machine, as its bus reports it.
struct PresentDevice {
  uint16_t vendor = 0;
  uint16_t product = 0;
  uint8_t buttons = 0;
  bool wheel = false;
  bool pan_wheel = false;
};
// UniqueIDs of devices the table does not describe start here.
inline constexpr uint32_t kGenericDeviceId = 0xC0000000;
// The table acceleration level a generic mouse uses.
inline constexpr uint16_t kGenericAccelerationTable = 1;

class DeviceTable {
 public:
  // InitializeDriver's data: count records of 80 bytes whose ProductID and
  // VendorID fields hold a NUL. False (table unchanged) otherwise.
  bool replace(std::span<const uint8_t> records, size_t count);
  const std::vector<Descriptor>& descriptors() const { return descriptors_; }

  // The devices taken as attached: these UniqueIDs when given (up to 7),
  // else the first 7 descriptors of the table.
  void set_attached(std::vector<uint32_t> unique_ids);
  std::vector<uint32_t> attached() const;
  const Descriptor* find(uint32_t unique_id) const;

  // The devices on the machine, in place of set_attached: each is the
  // table's descriptor with its vendor and product, else a generic mouse.
  void set_present(std::vector<PresentDevice> devices);
  // The descriptor that applies to a present device.
  Descriptor describe(const PresentDevice& device, size_t position) const;
  // Changes whenever the table is replaced.
  uint32_t generation() const { return generation_; }

  std::array<uint8_t, kMouseInfoSize> mouse_info() const;

  // What the mouse information reports; changed only to play an older or
  // newer driver.
  uint16_t interface_version = kDriverVersion;
  uint8_t interface_revision = kDriverRevision;

 private:
  std::vector<Descriptor> descriptors_;
  std::optional<std::vector<uint32_t>> attached_;
  std::optional<std::vector<PresentDevice>> present_;
  std::vector<Descriptor> generic_;
  uint32_t generation_ = 0;
};

}  // namespace cx::refdriver
