// The flattened-data exchange (selector 2).

#include <algorithm>

#include "model/act_item.h"
#include "model/act_item_chain.h"
#include "model/flattened_data.h"
#include "refdriver/active_user.h"
#include "refdriver/driver_status.h"
#include "refdriver/limits.h"
#include "refdriver/request_codes.h"
#include "refdriver/request_handler.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

act_item_chain decode_chain(std::span<const uint8_t> items) {
  std::vector<act_item> decoded;
  for (size_t at = 0; at < items.size(); at += kItemSize) {
    decoded.push_back(decode_act_item(&items[at]));
  }
  return act_item_chain(std::move(decoded));
}

}  // namespace

int32_t RequestHandler::flattened(const ClientPeer& peer, std::span<const uint8_t> request,
                                  std::span<uint8_t> reply) {
  snapshot_.clear();
  if (request.size() >= 4) {
    const size_t size = load_be32(request.data());
    if (size >= 4 && size <= request.size()) {
      snapshot_.assign(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(size));
    }
  }
  CXFlattenedData out;
  ByteReader in(snapshot_);
  in.skip(4);
  const uint32_t code = in.u32();
  if (!in.ok()) {
    out.write(kBadRequest);
  } else if (!serves_peer(state_.global_record(kActiveUserIndex), peer.uid) &&
             code != request::GetMouseInfo) {
    out.write(kPermission);
  } else if (code == request::GetMouseInfo) {
    if (!in.done()) {
      out.write(kBadRequest);
    } else {
      mouse_version_info info;
      const auto bytes = state_.devices.mouse_info();
      std::copy(bytes.begin(), bytes.end(), info.bytes.begin());
      out.write(kDone);
      out.write(info);
    }
  } else if (code == request::GetActionList) {
    const uint8_t button = in.u8();
    const uint8_t mods = in.u8();
    if (!in.done()) {
      out.write(kBadRequest);
    } else {
      const StoredResponse* r =
          state_.response(state_.set_for_button(button), response_key(mods, button, 0));
      const StoredResponse empty;
      const StoredResponse& found = r ? *r : empty;
      const act_item_chain chain = decode_chain(found.has_list ? found.items : empty.items);
      action_list_info info;
      std::copy(found.name.begin(), found.name.end(), info.bytes.begin());
      out.write(kDone);
      out.write(chain.head());
      out.write(info);
    }
  } else if (code == request::SetActionList) {
    const uint8_t button = in.u8();
    const uint8_t mods = in.u8();
    const int16_t count = in.i16();
    const std::span<const uint8_t> items =
        in.bytes(count < 0 ? SIZE_MAX : static_cast<size_t>(count) * kItemSize);
    const std::span<const uint8_t> name = in.bytes(kNameRecordSize);
    if (!in.done()) {
      out.write(kBadRequest);
    } else {
      AppSet& set = state_.set_for_button(button);
      const uint32_t key = response_key(mods, button, 0);
      int16_t s = state_.store_list(set, key, items);
      if (s == kDone) s = state_.store_name(set, key, name.first<kNameRecordSize>());
      out.write(s);
    }
  } else {
    out.write(kUnimplemented);
  }
  if (out.getSize() > reply.size()) return kNoRoom;
  std::copy_n(out.getData(), out.getSize(), reply.begin());
  return 0;
}

}  // namespace cx::refdriver
