// Action lists on the wire: a signed 16-bit big-endian count N, then N items
// of 16 bytes, exactly 2 + 16 * N bytes in all.
#pragma once

#include <cstdint>
#include <span>

#include "driver/transfer_block.h"
#include "model/act_item.h"

namespace cx {

// The Mac OS parameter error: a list reply of the wrong length.
inline constexpr int kActlistMalformed = -50;

// Bytes that add_actlist_to_transfer appends for this chain.
uint32_t actlist_wire_size(const act_item* list);

// Appends the chain's count and items to an open transfer block.
void add_actlist_to_transfer(CXTransferContext* ctx, const act_item* list);

// Decodes a list reply into `dest` and links it; returns the item count, or
// kActlistMalformed (and leaves `dest` untouched) when the length is not
// 2 + 16 * count or `dest` is too small.
int decode_actlist(const uint8_t* data, uint32_t length, std::span<act_item> dest);

}  // namespace cx
