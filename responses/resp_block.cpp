#include "responses/resp_block.h"

#include <cstdio>

#include "driver/transfer_block.h"
#include "model/response_block.h"
#include "util/byte_order.h"

namespace cx {

bool view_resp_block(const resp_work& work, resp_block_view* view) {
  if (!work.read_pos || work.remaining <= 0) return false;
  const auto remaining = static_cast<uint32_t>(work.remaining);
  uint32_t payload_length = 0;
  const uint8_t* payload = CXTransferValidate(work.read_pos, remaining, &payload_length);
  if (!payload || payload_length < response_header::size) return false;
  const uint16_t count = load_be16(work.header + response_header::num_actions);
  const uint32_t items_end = response_header::size + uint32_t{count} * kActItemWireSize;
  if (items_end > payload_length) return false;
  view->block_length = CXTransferBlockLength(work.read_pos);
  view->action_count = count;
  view->items = payload + response_header::size;
  view->tail = payload + items_end;
  view->tail_length = payload_length - items_end;
  return true;
}

void skip_resp_block(resp_work* work) {
  if (!work->read_pos || work->remaining <= 0) return;
  const auto remaining = static_cast<uint32_t>(work->remaining);
  const uint32_t length = remaining >= 4 ? CXTransferBlockLength(work->read_pos) : 0;
  const uint32_t step = length >= kTransferOverhead && length <= remaining ? length : remaining;
  work->read_pos += step;
  work->remaining -= static_cast<int32_t>(step);
}

bool take_resp_block(resp_work* work, resp_block_view* view) {
  const bool valid = view_resp_block(*work, view);
  skip_resp_block(work);
  return valid;
}

const uint8_t* view_dataspace(const resp_block_view& view, const char* what, uint16_t* length) {
  uint32_t payload_length = 0;
  const uint8_t* payload = CXTransferValidate(view.tail, view.tail_length, &payload_length);
  if (!payload) {
    std::fprintf(stderr, "Corvex Background: Cannot make %s prefs - invalid dataspace block", what);
    return nullptr;
  }
  const uint16_t ds_length =
      payload_length >= 4 ? load_be16(payload + dataspace_header::ds_length) : 0;
  if (payload_length < dataspace_header::size ||
      payload_length - dataspace_header::size != ds_length) {
    std::fprintf(stderr, "Corvex Background: Cannot make %s prefs - mismatched dataspace length",
                 what);
    return nullptr;
  }
  *length = ds_length;
  return payload + dataspace_header::size;
}

}  // namespace cx
