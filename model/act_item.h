// One step of an action list, and its 16-byte wire form shared with the
// driver, the response blocks and the control panel.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cx {

struct act_item {
  uint16_t mods = 0;
  uint16_t ch12 = 0;  // the one field stored low byte first on the wire
  uint8_t act_seq = 0;
  uint8_t reserved = 0;
  int16_t act = 0;
  uint32_t extra_info = 0;
  act_item* link = nullptr;  // next item of the chain; not owned
};

// Fields in the order the action tables list them; reserved is 0, link null.
constexpr act_item make_act_item(uint16_t mods, uint16_t ch12, uint8_t act_seq, int16_t act,
                                 uint32_t extra_info) {
  return act_item{mods, ch12, act_seq, 0, act, extra_info, nullptr};
}

inline constexpr uint32_t kActItemWireSize = 16;

// Writes the wire form into out[0..16). A pointer cannot cross the wire, so
// the link field carries 0 for a null link and kActItemLinkedMarker otherwise.
void encode_act_item(const act_item& item, uint8_t* out);
inline constexpr uint32_t kActItemLinkedMarker = 1;

// Reads wire[0..16); the link comes back null (receivers relink).
act_item decode_act_item(const uint8_t* wire);
// Whether the stored link field of wire[0..16) is non-null.
bool act_item_wire_is_linked(const uint8_t* wire);

}  // namespace cx
