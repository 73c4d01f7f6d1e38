// The connection to the driver's user client and the two shared buffers
// through which every request and reply travels: the agent writes a request
// into `in_shmem`, the driver answers into `out_shmem`. Both start at 64 KiB
// and only ever grow, in 64 KiB steps.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/user_client.h"

namespace cx {

// One mapped driver buffer.
struct cx_driver_shared_memory {
  uint8_t* address = nullptr;
  uint32_t size = 0;
  // The driver's name for the buffer: its memory type for mapping and its
  // identifier in every later call.
  uint32_t memoryType = 0;
  // Keeps `address` mapped.
  std::unique_ptr<platform::MemoryMapping> mapping;
};

using shared_memory_slot = std::unique_ptr<cx_driver_shared_memory>;

inline constexpr char kDriverClassName[] = "com_velcorra_corvex_iokit_VelcorraMouseDriver";
inline constexpr uint32_t kSharedMemoryStep = 0x10000;

// User-client selectors of the driver.
namespace driver_method {
inline constexpr uint32_t new_shared_memory = 0;
inline constexpr uint32_t release_shared_memory = 1;
inline constexpr uint32_t flattened_exchange = 2;
inline constexpr uint32_t transfer_exchange = 4;
}  // namespace driver_method

// Statuses of the driver link; other negative values are the driver's own.
namespace driver_status {
inline constexpr int16_t ok = 0;
inline constexpr int16_t reply_too_large = -10;
inline constexpr int16_t call_failed = -50;
inline constexpr int16_t no_driver = -100;
inline constexpr int16_t request_cannot_grow = -101;
inline constexpr int16_t reply_cannot_grow = -102;
inline constexpr int16_t bad_reply = -103;
}  // namespace driver_status

// Null while closed. This layer never reconnects by itself: after a loss
// the connection stays dead until it is disconnected.
extern std::unique_ptr<platform::UserClientConnection> vcx_connect;
extern bool driver_connected;
// The service behind `vcx_connect` (IOConnectGetService); empty while closed.
extern std::string vcx_service;
extern shared_memory_slot in_shmem;   // request buffer
extern shared_memory_slot out_shmem;  // reply buffer

// 1 when connected (already or now), 0 on failure (reported on stderr).
int ConnectToDriver();

// Told, from inside the failing call, that the driver behind `vcx_connect`
// has gone; it must not close the connection there and then.
using driver_gone_handler = void (*)();
void set_driver_gone_handler(driver_gone_handler handler);
// Passes on the result of a call on `vcx_connect`, telling the handler when
// the call found the driver gone.
platform::kern_return_t note_driver_call(platform::kern_return_t kr);
// Releases both buffers and closes the connection; harmless when closed.
void DisconnectFromDriver();

// Has the driver create and map a buffer of `size` bytes; null on failure.
shared_memory_slot newSharedMemory(uint32_t size);
// Unmaps the buffer and tells the driver to free it.
void releaseSharedMemory(shared_memory_slot rec);
// Replaces the slot's buffer by one of at least `needed` bytes (never
// smaller than the current one). The contents are not carried over. 1 on
// success, 0 on failure with the old buffer kept.
int resizeSharedMemory(shared_memory_slot* slot, uint64_t needed);
int ResizeInputSharedMemory(uint64_t needed);
int ResizeOutputSharedMemory(uint64_t needed);

}  // namespace cx
