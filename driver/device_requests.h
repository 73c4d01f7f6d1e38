// Requests about the devices and the driver itself: the device descriptor
// table, the mouse information record, the pointer position and the queue of
// background events.
#pragma once

#include <cstdint>

#include "model/opaque_records.h"

namespace cx {

inline constexpr uint32_t kDeviceRecordSize = 80;

// Sends `count` device descriptor records of 80 bytes each. Status, or -100
// when no valid reply came.
int16_t InitializeDriver(const uint8_t* records, int16_t count);

// Copies up to 180 bytes of the reply into `info`. Status, 0 on failure or
// an empty reply.
int16_t GetMouseInfo(mouse_version_info& info);

int16_t SetAbsoluteMouse(int32_t x, int32_t y);

// The next queued event (its code and data), or null; its length and the
// reply's status.
const uint8_t* GetNextBackgroundEvent(uint32_t* len, int16_t* status);

}  // namespace cx
