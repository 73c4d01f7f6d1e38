#include "driver/actlist_requests.h"

#include <algorithm>

#include "driver/driver_call.h"
#include "driver/request_codes.h"
#include "driver/request_params.h"
#include "driver/transfer_request.h"
#include "model/actlist_wire.h"

namespace cx {
namespace {

int16_t get_list(uint32_t code, uint8_t a, uint8_t b, int16_t c, std::span<act_item> list) {
  const driver_reply r = simple_request(code, request_params::button(a, b, c));
  if (!r.data || r.status < 1) return r.status;
  if (decode_actlist(r.data, r.length, list) < 0) return kActlistMalformed;
  return r.status;
}

int16_t set_list(uint32_t code, uint8_t a, uint8_t b, int16_t c, const act_item* list) {
  if (!ConnectToDriver()) return 0;
  const auto params = request_params::button(a, b, c);
  const bool built = build_request(code, [&](CXTransferContext* ctx) {
    CXTransferAdd(ctx, params.data(), params.size());
    add_actlist_to_transfer(ctx, list);
  });
  if (!built) return 0;
  // Whatever the driver answers, the caller hears 0.
  uint32_t reply_length = 0;
  CallDriverTransfer(1, &reply_length);
  return 0;
}

}  // namespace

int16_t GetActionList(uint8_t a, uint8_t b, std::span<act_item> list) {
  return get_list(request_code::GetActionList, a, b, 0, list);
}

int16_t GetMenuActionList(uint8_t a, uint8_t b, int16_t c, std::span<act_item> list) {
  return get_list(request_code::GetMenuActionList, a, b, c, list);
}

int16_t GetActionListSize(uint8_t a, uint8_t b) {
  return status_or_zero(
      simple_request(request_code::GetActionListSize, request_params::button(a, b, 0)));
}

int16_t GetMenuActionListSize(uint8_t a, uint8_t b, int16_t c) {
  return status_or_zero(
      simple_request(request_code::GetMenuActionListSize, request_params::button(a, b, c)));
}

int16_t GetActionName(uint8_t a, uint8_t b, int16_t c, std::span<uint8_t, kActionNameSize> name) {
  const driver_reply r =
      simple_request(request_code::GetActionName, request_params::button(a, b, c));
  if (!r.data) return 0;
  if (r.length == kActionNameSize && r.status >= 0) {
    std::copy_n(r.data, kActionNameSize, name.data());
  }
  return r.status;
}

int16_t SetActionName(uint8_t a, uint8_t b, int16_t c,
                      std::span<const uint8_t, kActionNameSize> name) {
  return status_or_zero(
      simple_request(request_code::SetActionName, request_params::button(a, b, c), name));
}

int16_t SetActionList(uint8_t a, uint8_t b, const act_item* list) {
  return set_list(request_code::SetActionList, a, b, 0, list);
}

int16_t SetMenuActionList(uint8_t a, uint8_t b, int16_t c, const act_item* list) {
  return set_list(request_code::SetMenuActionList, a, b, c, list);
}

}  // namespace cx
