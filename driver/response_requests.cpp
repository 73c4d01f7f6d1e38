#include "driver/response_requests.h"

#include <algorithm>

#include "driver/driver_call.h"
#include "driver/request_codes.h"
#include "driver/request_params.h"
#include "driver/transfer_request.h"

namespace cx {
namespace {

const uint8_t* get_blocks(uint32_t code, std::span<const uint8_t> params, uint32_t* len,
                          int16_t* status) {
  const driver_reply r = simple_request(code, params);
  *len = r.length;
  *status = r.status;
  return r.data;
}

int16_t reply_status() {
  const driver_reply r = take_reply();
  return r.data ? r.status : driver_status::bad_reply;
}

}  // namespace

const uint8_t* GetSingleResponse(uint8_t a, uint8_t b, int16_t c, uint32_t* len, int16_t* status) {
  return get_blocks(request_code::GetSingleResponse, request_params::button(a, b, c), len, status);
}

const uint8_t* GetFullResponse(uint8_t a, uint8_t b, uint32_t* len, int16_t* status) {
  return get_blocks(request_code::GetFullResponse, request_params::button(a, b, 0), len, status);
}

const uint8_t* GetResponses(uint8_t a, uint8_t b, uint8_t c, uint32_t d, uint32_t* len,
                            int16_t* status) {
  return get_blocks(request_code::GetResponses, request_params::responses(a, b, c, d), len, status);
}

void SetResponseDataStart(CXTransferContext* ctx, uint32_t* capacity) {
  const bool connected = ConnectToDriver();
  uint8_t* buffer = connected ? in_shmem->address : nullptr;
  *capacity = connected ? in_shmem->size : 0;
  CXTransferStartWithRequest(ctx, buffer, *capacity, request_code::SetResponseData);
}

int16_t SetResponseData(uint32_t* len) {
  const int result = CallDriverTransfer(0, len);
  if (result < 0) return static_cast<int16_t>(result);
  return reply_status();
}

int16_t SetResponseDataCopy(const void* block, uint32_t length) {
  if (!ConnectToDriver()) return driver_status::no_driver;
  if (length > in_shmem->size && !ResizeInputSharedMemory(length)) {
    return driver_status::request_cannot_grow;
  }
  for (;;) {
    std::copy_n(static_cast<const uint8_t*>(block), length, in_shmem->address);
    uint32_t reply_length = 0;
    const int result = CallDriverTransfer(0, &reply_length);
    if (result == driver_status::reply_too_large) {
      // Asking again only helps when the buffer grows: a -10 of the
      // driver's own names no length.
      if (reply_length < out_shmem->size) return driver_status::reply_too_large;
      // As in CallDriverTransfer: the reply must be shorter than its buffer.
      if (!ResizeOutputSharedMemory(uint64_t{reply_length} + 1)) {
        return driver_status::reply_cannot_grow;
      }
      continue;
    }
    if (result < 0) return static_cast<int16_t>(result);
    return reply_status();
  }
}

}  // namespace cx
