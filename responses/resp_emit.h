// Adding one built response block to the transfer block of a work record.
#pragma once

#include <cstdint>

#include "driver/transfer_block.h"
#include "model/act_item.h"
#include "responses/resp_work.h"

namespace cx {

// `build(space, avail)` writes a block into the free space and returns the
// size it needs; that much is taken even when it did not fit, so the
// transfer block ends larger than its buffer and the caller grows it.
template <class Build>
void add_resp_block(CXTransferContext* transfer, Build&& build) {
  uint32_t avail = 0;
  uint8_t* space = CXTransferAvailSpace(transfer, &avail);
  CXTransferTakeSpace(transfer, build(space, avail));
}

// A block of `count` items for the record's button, menu index and name.
void add_actlist_resp_block(resp_work* work, const act_item* actlist, uint16_t count);

// The same with one dataspace (index 0) holding `data`.
void add_dataspace_resp_block(resp_work* work, const act_item* actlist, uint16_t count,
                              const void* data, uint16_t length);

}  // namespace cx
