#include "driver/driver_call.h"

#include <cstdio>
#include <cstring>

#include "driver/driver_connection.h"

namespace cx {
namespace {

// Both buffers' memory types, the arguments of every exchange.
platform::kern_return_t exchange(uint32_t selector, int64_t& output) {
  const int64_t buffers[] = {in_shmem->memoryType, out_shmem->memoryType};
  return note_driver_call(
      vcx_connect->call_scalar(selector, buffers, std::span<int64_t>(&output, 1)));
}

// A negative output is never a reply length. Its low 16 bits are the
// driver's status only when they read as a failure themselves.
int failed_output_status(int64_t output) {
  const auto low = static_cast<int16_t>(static_cast<uint16_t>(output));
  return output < 0 && low < 0 ? low : driver_status::call_failed;
}

}  // namespace

int CallDriverTransfer(int mayGrowReply, uint32_t* replyLength) {
  if (!ConnectToDriver()) return driver_status::no_driver;
  for (;;) {
    int64_t output = 0;
    const platform::kern_return_t kr = exchange(driver_method::transfer_exchange, output);
    if (kr != platform::kIOReturnSuccess) {
      std::fprintf(stderr, "Corvex - Driver comm failed with error 0x%x and output=%d\n",
                   static_cast<unsigned>(kr), static_cast<int>(output));
      return failed_output_status(output);
    }
    if (output < 0) return failed_output_status(output);
    *replyLength = static_cast<uint32_t>(output);
    // A reply exactly the buffer's size counts as not fitting.
    if (output < static_cast<int64_t>(out_shmem->size)) return driver_status::ok;
    if (!mayGrowReply) return driver_status::reply_too_large;
    // The reply must be shorter than its buffer; growing to exactly its
    // length would ask the same question forever.
    if (!ResizeOutputSharedMemory(static_cast<uint64_t>(output) + 1)) {
      return driver_status::reply_cannot_grow;
    }
  }
}

void CallToDriver(CXFlattenedData* data) {
  if (!ConnectToDriver() || !in_shmem || !out_shmem) return;
  // Deliberately never grown on this path: a record must fit the request
  // buffer as it is.
  if (data->getSize() > in_shmem->size) {
    std::fprintf(stderr, "Driver communication larger than 64K\n");
    return;
  }
  std::memcpy(in_shmem->address, data->getData(), data->getSize());
  int64_t status = 0;
  const platform::kern_return_t kr = exchange(driver_method::flattened_exchange, status);
  if (kr != platform::kIOReturnSuccess) {
    std::fprintf(stderr, "CXBackGroundApp: Driver comm failed with error 0x%x\n",
                 static_cast<unsigned>(kr));
    return;
  }
  data->setData(out_shmem->address, out_shmem->size);
}

}  // namespace cx
