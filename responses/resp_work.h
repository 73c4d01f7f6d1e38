// One button response moving between its preference dictionary and its
// response block: the record that the conversion's readers, builders,
// recognisers and makers pass along.
#pragma once

#include <cstdint>
#include <memory>

#include "driver/transfer_block.h"
#include "model/response_block.h"
#include "plist/value.h"

namespace cx {

struct resp_work {
  // The response block header as it travels in a block's payload: button,
  // second button byte, menu index, name, flags, action count.
  uint8_t header[response_header::size] = {};
  // Reading: the transfer block that the built response blocks are added to.
  CXTransferContext* transfer = nullptr;
  // Writing: the response block being saved and the bytes left from there.
  const uint8_t* read_pos = nullptr;
  int32_t remaining = 0;
  // The button node's flags word; 0x10 is set when the target dictionary
  // holds user data after a write, and cleared otherwise.
  uint32_t* pref_flags = nullptr;
  // How many menus enclose the response being converted; menus nest only so
  // deep, so no input can exhaust the stack.
  uint8_t menu_depth = 0;
};

// Adds the response that `user` describes, key by key falling back to
// `defaults` (may be null), as a response block to work->transfer. The
// header's button bytes and menu index must be set by the caller. A block
// that does not fit still counts, so the transfer block ends larger than its
// buffer: grow the buffer and read again.
void get_resp_data(resp_work* work, const plist::Dictionary* user,
                   const plist::Dictionary* defaults);

// Loads the header of the response block at `block` (a transfer block of at
// most `remaining` bytes) into the record and points the read position at
// it; false when no valid block is there.
bool start_resp_read(resp_work* work, const uint8_t* block, int32_t remaining);

// Writes the response block at the read position into `*target` (created
// when null), leaving out what equals `defaults` (may be null), and advances
// the read position past the block and its menu entries.
void put_resp_data(resp_work* work, std::shared_ptr<plist::Dictionary>* target,
                   const plist::Dictionary* defaults);

}  // namespace cx
