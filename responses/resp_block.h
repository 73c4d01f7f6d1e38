// The response block at a work record's read position, checked before any
// of its bytes are read.
#pragma once

#include <cstdint>

#include "model/act_item.h"
#include "responses/resp_work.h"

namespace cx {

struct resp_block_view {
  uint32_t block_length = 0;  // the whole transfer block
  // The record's action count, and its items in the payload.
  uint16_t action_count = 0;
  const uint8_t* items = nullptr;
  // What follows the items inside the payload: the dataspace blocks.
  const uint8_t* tail = nullptr;
  uint32_t tail_length = 0;

  act_item item(uint32_t i) const { return decode_act_item(items + i * kActItemWireSize); }
};

// False unless a valid transfer block is at the read position and its
// payload holds the header and the record's action count of items.
bool view_resp_block(const resp_work& work, resp_block_view* view);

// Moves the read position past the block there; to the end of the bytes
// when no whole block is there, so a reader always makes progress.
void skip_resp_block(resp_work* work);

// view_resp_block, then skip_resp_block: what every maker does first.
bool take_resp_block(resp_work* work, resp_block_view* view);

// The data of the dataspace block at the start of a view's tail, or null
// after the maker's message ("Cannot make <what> prefs - ..." without a
// newline) when the block is invalid or disagrees with its data length.
const uint8_t* view_dataspace(const resp_block_view& view, const char* what, uint16_t* length);

}  // namespace cx
