#include "responses/resp_emit.h"

#include <string>

#include "model/response_block.h"
#include "responses/resp_header.h"

namespace cx {

void add_actlist_resp_block(resp_work* work, const act_item* actlist, uint16_t count) {
  const std::string name(resp_name(*work));
  add_resp_block(work->transfer, [&](uint8_t* space, uint32_t avail) {
    return build_actlist_response_block(space, avail, resp_mods(*work), resp_button(*work),
                                        resp_menu_index(*work), resp_is_global(*work), actlist,
                                        count, name.c_str());
  });
}

void add_dataspace_resp_block(resp_work* work, const act_item* actlist, uint16_t count,
                              const void* data, uint16_t length) {
  const std::string name(resp_name(*work));
  add_resp_block(work->transfer, [&](uint8_t* space, uint32_t avail) {
    return build_dataspace_response_block(space, avail, resp_mods(*work), resp_button(*work),
                                          resp_menu_index(*work), resp_is_global(*work), actlist,
                                          count, data, length, 0, name.c_str());
  });
}

}  // namespace cx
