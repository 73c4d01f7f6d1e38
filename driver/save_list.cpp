#include "driver/save_list.h"

#include "driver/actlist_requests.h"
#include "driver/data_requests.h"
#include "model/action_codes.h"

namespace cx {

void free_allocated_space(const short* indices, short count) {
  for (short i = 0; i < count; ++i) DeallocateSpace(indices[i]);
}

int16_t reinit_save_list(unsigned char mods, unsigned char button, act_item* item) {
  item->mods = 1;
  item->ch12 = 0;
  item->act_seq = 1;
  item->act = act_code::menu;
  item->extra_info = 0;
  item->link = nullptr;
  return SetActionList(mods, button, item);
}

}  // namespace cx
