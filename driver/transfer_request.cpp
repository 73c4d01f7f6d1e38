#include "driver/transfer_request.h"

#include "driver/driver_call.h"

namespace cx {
namespace {

void add_piece(CXTransferContext* ctx, const void* piece, uint32_t length) {
  if (piece && length) CXTransferAdd(ctx, piece, length);
}

}  // namespace

driver_reply take_reply() {
  driver_reply reply;
  reply.data = CXTransferValidateWithResult(out_shmem->address, out_shmem->size, &reply.length,
                                            &reply.status);
  return reply;
}

const uint8_t* MakeSimpleTransferRequest3(uint32_t code, const void* params, uint32_t paramLen,
                                          const void* data1, uint32_t len1, const void* data2,
                                          uint32_t len2, uint32_t* replyLen, int16_t* status) {
  *replyLen = 0;
  if (!ConnectToDriver()) {
    *status = driver_status::no_driver;
    return nullptr;
  }
  const bool built = build_request(code, [&](CXTransferContext* ctx) {
    add_piece(ctx, params, paramLen);
    add_piece(ctx, data1, len1);
    add_piece(ctx, data2, len2);
  });
  if (!built) {
    *status = driver_status::request_cannot_grow;
    return nullptr;
  }
  const int result = CallDriverTransfer(1, replyLen);
  if (result != driver_status::ok) {
    *status = static_cast<int16_t>(result);
    return nullptr;
  }
  const driver_reply reply = take_reply();
  *replyLen = reply.length;
  *status = reply.status;
  return reply.data;
}

const uint8_t* MakeSimpleTransferRequest(uint32_t code, const void* params, uint32_t paramLen,
                                         uint32_t* replyLen, int16_t* status) {
  return MakeSimpleTransferRequest3(code, params, paramLen, nullptr, 0, nullptr, 0, replyLen,
                                    status);
}

driver_reply simple_request(uint32_t code, std::span<const uint8_t> params,
                            std::span<const uint8_t> data1, std::span<const uint8_t> data2) {
  driver_reply reply;
  reply.data =
      MakeSimpleTransferRequest3(code, params.data(), static_cast<uint32_t>(params.size()),
                                 data1.data(), static_cast<uint32_t>(data1.size()), data2.data(),
                                 static_cast<uint32_t>(data2.size()), &reply.length, &reply.status);
  return reply;
}

}  // namespace cx
