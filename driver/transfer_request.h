// The one routine through which nearly every driver request goes: a
// transfer block with the request code, parameter bytes and up to two data
// pieces is built in place in the request buffer, handed to the driver, and
// its reply block (a 16-bit status, then data) is checked in the reply buffer.
#pragma once

#include <cstdint>
#include <span>

#include "driver/driver_connection.h"
#include "driver/transfer_block.h"

namespace cx {

// The reply data (in the reply buffer, valid until the next request) or
// null. *status is the reply's status; on a failed call it is the call's
// status (-100, -101, -102, -50, ...), for an invalid reply block 0.
const uint8_t* MakeSimpleTransferRequest3(uint32_t code, const void* params, uint32_t paramLen,
                                          const void* data1, uint32_t len1, const void* data2,
                                          uint32_t len2, uint32_t* replyLen, int16_t* status);
const uint8_t* MakeSimpleTransferRequest(uint32_t code, const void* params, uint32_t paramLen,
                                         uint32_t* replyLen, int16_t* status);

// What a request got back.
struct driver_reply {
  const uint8_t* data = nullptr;  // null when no valid reply came
  uint32_t length = 0;
  int16_t status = 0;
};

driver_reply simple_request(uint32_t code, std::span<const uint8_t> params,
                            std::span<const uint8_t> data1 = {},
                            std::span<const uint8_t> data2 = {});

// The reply's status, or 0 when no valid reply came.
inline int16_t status_or_zero(const driver_reply& r) {
  return r.data ? r.status : 0;
}
// The reply's status, or -100 when no valid reply came.
inline int16_t status_or_no_driver(const driver_reply& r) {
  return r.data ? r.status : driver_status::no_driver;
}

// Builds the request block for `code` in the request buffer of an open
// connection. `add_body` appends everything after the code; it runs again
// after the buffer had to grow, since growing does not keep the contents.
// False when the request buffer cannot grow enough.
template <typename AddBody>
bool build_request(uint32_t code, AddBody&& add_body) {
  for (;;) {
    CXTransferContext ctx;
    CXTransferStartWithRequest(&ctx, in_shmem->address, in_shmem->size, code);
    add_body(&ctx);
    const uint32_t length = CXTransferEnd(&ctx);
    if (length <= in_shmem->size) return true;
    if (!ResizeInputSharedMemory(length)) return false;
  }
}

// Checks the reply block in the reply buffer: its data, length and status,
// or null with length and status 0.
driver_reply take_reply();

}  // namespace cx
