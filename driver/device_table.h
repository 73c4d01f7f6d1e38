// The device descriptor table: the device bundle "CXDevices.cxdev" beside
// the agent's bundle holds one property list per product family; their
// descriptions become 80-byte records, sorted by UniqueID and sent to the
// driver once. Also the one-time firmware call of ADBID32 mice.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/bundles.h"
#include "plist/value.h"

namespace cx {

inline constexpr char kDeviceBundleName[] = "CXDevices";
inline constexpr char kDeviceBundleType[] = "cxdev";
inline constexpr char kDeviceListVersion[] = "2.0.0";
inline constexpr char kAdbMouseClassName[] = "com_velcorra_corvex_iokit_ADBID32Mouse";

// setDeviceDescriptors statuses.
inline constexpr int kNoDeviceBundle = -10030;
inline constexpr int kNoDeviceTable = -10031;
// device_descriptors_from_plist: the table could not grow.
inline constexpr int kDeviceTableFull = -108;

// Records end to end; the record count is the size / 80.
using device_table_block = std::vector<uint8_t>;

// Called with each description's key (the device's name) and dictionary;
// a non-zero result ends the enumeration.
using device_callback = int (*)(const std::string& key, const plist::Dictionary& description,
                                void* context);

// The device bundle beside the main bundle, or null.
std::unique_ptr<platform::Bundle> dirt_bundle_create();

// The sorted table, possibly empty; null when no block can be allocated.
std::unique_ptr<device_table_block> device_properties_copy(const platform::Bundle& bundle);

// Calls `callback` for every description of every usable property list of
// the bundle; 0, or the first non-zero callback result. Bad files are
// reported on stderr and skipped.
int enumerate_cxdevices(const platform::Bundle& bundle, device_callback callback, void* context);

// The callback that appends one record to the device_table_block `context`.
// 0 (also for a description that cannot be converted, which is skipped), or
// kDeviceTableFull.
int device_descriptors_from_plist(const std::string& key, const plist::Dictionary& description,
                                  void* context);

// Ascending UniqueID (unsigned); equal identifiers keep their order.
void sort_plist_data(device_table_block& block);

// The paths whose last component does not begin with "."; empty entries
// (no file at all) are dropped too.
std::vector<std::string> filter_hidden_files(std::span<const std::string> paths);

// Sends the table to the driver: 0, kNoDeviceBundle or kNoDeviceTable. The
// driver's answer is not checked.
int setDeviceDescriptors();

// Structure method 0 (4-byte input, no output) on every ADBID32 mouse,
// results unchecked.
void updateADBID32Firmware();

}  // namespace cx
