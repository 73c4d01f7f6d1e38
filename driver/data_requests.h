// Requests on the driver's data: dataspaces, global and per-application
// data records, and the per-application cache.
#pragma once

#include <cstdint>

namespace cx {

// Global and per-application data: mode 1 writes `length` bytes from the
// buffer, mode 2 reads them back.
inline constexpr uint8_t kDataModeWrite = 1;
inline constexpr uint8_t kDataModeRead = 2;

// Dataspace contents; unlike the records above, mode 0 writes and any other
// mode reads. `length` is clipped to `max`, the buffer's length. A read
// fills the buffer only when exactly that many bytes come back. The result
// is the reply data, null on failure.
const uint8_t* CXAccessData(int16_t index, uint16_t length, uint32_t mode, void* buffer,
                            uint32_t max);

// Status of the exchange, 0 when no valid reply came. A read fills the
// buffer only when exactly `length` bytes come back.
int16_t CXAccessGlobalData(int16_t index, uint8_t mode, void* buffer, uint32_t length);
// As CXAccessGlobalData, for the application being edited.
int16_t CXAccessAppData(int16_t index, uint8_t mode, void* buffer, uint32_t length);

// A new dataspace of `a` bytes with index hint `b`; its index, or -100 when
// no valid reply came.
int16_t AllocateSpace(int16_t a, int16_t b);
// The reply data, null on failure.
const uint8_t* DeallocateSpace(int16_t index);
// The dataspace's size, or -100 when no valid reply came.
int16_t GetDataSize(int16_t index);

// Size of the cache of application set `index`; 0 on failure.
uint32_t GetCacheSize(int16_t index);
// Mode 2 reads the cache into the buffer (the reply is the data followed by
// a 32-bit value); other modes send `length` bytes. Result: the reply's
// 32-bit value, 0 on failure.
uint32_t AccessCacheData(int16_t index, uint8_t mode, void* buffer, uint32_t length);

}  // namespace cx
