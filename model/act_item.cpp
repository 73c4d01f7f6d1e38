#include "model/act_item.h"

#include "util/byte_order.h"

namespace cx {
namespace {

constexpr size_t kModsOffset = 0;
constexpr size_t kCh12Offset = 2;
constexpr size_t kActSeqOffset = 4;
constexpr size_t kReservedOffset = 5;
constexpr size_t kActOffset = 6;
constexpr size_t kExtraInfoOffset = 8;
constexpr size_t kLinkOffset = 12;

}  // namespace

void encode_act_item(const act_item& item, uint8_t* out) {
  store_be16(out + kModsOffset, item.mods);
  store_le16(out + kCh12Offset, item.ch12);
  out[kActSeqOffset] = item.act_seq;
  out[kReservedOffset] = item.reserved;
  store_be16(out + kActOffset, static_cast<uint16_t>(item.act));
  store_be32(out + kExtraInfoOffset, item.extra_info);
  store_be32(out + kLinkOffset, item.link ? kActItemLinkedMarker : 0);
}

act_item decode_act_item(const uint8_t* wire) {
  act_item item;
  item.mods = load_be16(wire + kModsOffset);
  item.ch12 = load_le16(wire + kCh12Offset);
  item.act_seq = wire[kActSeqOffset];
  item.reserved = wire[kReservedOffset];
  item.act = static_cast<int16_t>(load_be16(wire + kActOffset));
  item.extra_info = load_be32(wire + kExtraInfoOffset);
  return item;
}

bool act_item_wire_is_linked(const uint8_t* wire) {
  return load_be32(wire + kLinkOffset) != 0;
}

}  // namespace cx
