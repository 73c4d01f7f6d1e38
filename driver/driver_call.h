// The two ways of handing the shared buffers to the driver: the transfer
// path that every request takes, and the older flattened-record exchange.
// Only the buffers' memory types cross the call; the data stays in place.
#pragma once

#include <cstdint>

#include "model/flattened_data.h"

namespace cx {

// Hands the request block in `in_shmem` to the driver. On 0 the reply block
// is in `out_shmem` and *replyLength is its length. A reply that does not
// fit grows the reply buffer and asks again when `mayGrowReply` is set, else
// gives -10 with *replyLength the size it needs. Other failures: -100, -102,
// -50, or the driver's own negative status.
int CallDriverTransfer(int mayGrowReply, uint32_t* replyLength);

// Sends the whole record and replaces it with the driver's answer. A record
// larger than the request buffer is refused; that buffer is never grown here.
void CallToDriver(CXFlattenedData* data);

}  // namespace cx
