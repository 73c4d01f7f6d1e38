#include "model/actlist.h"

#include "model/action_codes.h"

namespace cx {

void link_actlist(act_item* items, short count) {
  if (!items || count <= 0) return;
  for (short i = 0; i + 1 < count; ++i) items[i].link = &items[i + 1];
  items[count - 1].link = nullptr;
}

short get_memory_indices(const act_item* list, short* indices, short max) {
  short stored = 0;
  for (const act_item* item = list; item; item = item->link) {
    if (!is_data_carrying(item->act)) continue;
    if (stored >= max) break;
    indices[stored++] = static_cast<short>(item->ch12);
  }
  return stored;
}

uint16_t count_actlist(const act_item* list) {
  uint16_t count = 0;
  for (const act_item* item = list; item && count < kMaxActlistItems; item = item->link) ++count;
  return count;
}

}  // namespace cx
