#include "model/actlist_wire.h"

#include "model/actlist.h"
#include "util/byte_order.h"

namespace cx {

uint32_t actlist_wire_size(const act_item* list) {
  return 2 + count_actlist(list) * kActItemWireSize;
}

void add_actlist_to_transfer(CXTransferContext* ctx, const act_item* list) {
  const uint16_t count = count_actlist(list);
  if (uint8_t* field = CXTransferTakeSpace(ctx, 2)) store_be16(field, count);
  const act_item* item = list;
  for (uint16_t i = 0; i < count; ++i, item = item->link) {
    if (uint8_t* wire = CXTransferTakeSpace(ctx, kActItemWireSize)) encode_act_item(*item, wire);
  }
}

int decode_actlist(const uint8_t* data, uint32_t length, std::span<act_item> dest) {
  if (!data || length < 2) return kActlistMalformed;
  const int count = static_cast<int16_t>(load_be16(data));
  if (count < 0 || length != 2 + static_cast<uint32_t>(count) * kActItemWireSize ||
      static_cast<size_t>(count) > dest.size()) {
    return kActlistMalformed;
  }
  for (int i = 0; i < count; ++i) dest[i] = decode_act_item(data + 2 + i * kActItemWireSize);
  link_actlist(dest.data(), static_cast<short>(count));
  return count;
}

}  // namespace cx
