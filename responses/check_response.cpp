#include "responses/resp_block.h"
#include "responses/resp_header.h"
#include "responses/resp_tables.h"
#include "responses/response_kinds.h"

namespace cx {

int check_response(resp_work work, uint16_t count, const act_item* actlist, uint8_t mask) {
  resp_block_view view;
  if (resp_action_count(work) != count || !view_resp_block(work, &view)) return 0;
  for (uint16_t i = 0; i < count; ++i) {
    const act_item item = view.item(i);
    const act_item& want = actlist[i];
    if (item.act != want.act) return 0;
    if ((mask & compare_mask::mods) && item.mods != want.mods) return 0;
    if ((mask & compare_mask::act_seq) && item.act_seq != want.act_seq) return 0;
    if ((mask & compare_mask::ch12) && item.ch12 != want.ch12) return 0;
    if ((mask & compare_mask::extra_info) && item.extra_info != want.extra_info) return 0;
  }
  return 1;
}

}  // namespace cx
