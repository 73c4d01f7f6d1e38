// Requests that fetch and store whole responses as runs of response blocks.
#pragma once

#include <cstdint>

#include "driver/transfer_block.h"

namespace cx {

// Each gives the reply data (a run of response blocks, in the reply buffer)
// or null, its length and the reply's status.
const uint8_t* GetSingleResponse(uint8_t a, uint8_t b, int16_t c, uint32_t* len, int16_t* status);
const uint8_t* GetFullResponse(uint8_t a, uint8_t b, uint32_t* len, int16_t* status);
const uint8_t* GetResponses(uint8_t a, uint8_t b, uint8_t c, uint32_t d, uint32_t* len,
                            int16_t* status);

// Storing responses built in place: SetResponseDataStart opens the request
// block in the request buffer and gives its capacity (0, with a block that
// refuses every addition, when there is no driver); the caller adds the
// response blocks and ends the block; SetResponseData sends it without
// letting the reply buffer grow. Result: the reply's status, -10 when the
// reply did not fit (*len is then the size it needs), -103 for an invalid
// reply, or another negative status of the call.
void SetResponseDataStart(CXTransferContext* ctx, uint32_t* capacity);
int16_t SetResponseData(uint32_t* len);

// Stores an already finished request block, growing both buffers as needed
// (-101 and -102 when they cannot grow, -100 without a driver).
int16_t SetResponseDataCopy(const void* block, uint32_t length);

}  // namespace cx
