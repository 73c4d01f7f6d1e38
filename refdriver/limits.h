// Bounds on everything a client can make the driver keep, so that no client
// can exhaust the daemon's memory. Worst case in all: about 40 MiB.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cx::refdriver {

inline constexpr size_t kMaxAppSets = 64;      // besides the global set
inline constexpr size_t kMaxKeyLength = 31;    // a 32-byte key field with its NUL
inline constexpr size_t kMaxNameLength = 127;  // a 128-byte name field with its NUL
inline constexpr size_t kMaxFrontNameLength = 255;

inline constexpr size_t kMaxResponses = 65536;    // stored (set, mods, button, entry) records
inline constexpr size_t kMaxListItems = 1024;     // items of one action list
inline constexpr size_t kMaxTotalItems = 262144;  // 4 MiB of items in all
inline constexpr uint16_t kMaxMenuEntry = 255;

inline constexpr int kMaxDataspaceSize = 0x7FFF;  // GetDataSize answers it as a 16-bit status
inline constexpr size_t kMaxDataspaceBytes = 16u << 20;
inline constexpr int kFirstGlobalDataspace = 256;
inline constexpr int kEndGlobalDataspace = 320;  // exclusive
inline constexpr int kEndLocalDataspace = 256;   // exclusive; new local ones start at 1

inline constexpr size_t kMaxGenericRecord = 512;  // an index no request table names
inline constexpr size_t kMaxGenericRecords = 64;  // per store (global, or one set's)
inline constexpr size_t kMaxCacheSize = 65536;
inline constexpr size_t kMaxCacheBytes = 4u << 20;

inline constexpr size_t kMaxDescriptors = 256;
inline constexpr size_t kMaxAttachedDevices = 7;  // entries that fit the mouse information

// A reply larger than the largest shared buffer could never be delivered.
inline constexpr size_t kMaxReplySize = 16u << 20;

inline constexpr size_t kMaxQueuedEvents = 64;
inline constexpr size_t kMaxEventData = 0x7FFF;

}  // namespace cx::refdriver
