// Requests on action lists, name records and whole responses.
#include <algorithm>

#include "model/action_codes.h"
#include "refdriver/driver_status.h"
#include "refdriver/limits.h"
#include "refdriver/request_handler.h"
#include "refdriver/response_run.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

struct ButtonParams {
  uint8_t button;
  uint8_t mods;
  uint16_t entry;
};

// Button, modifiers and a 16-bit entry (or 0) in that order.
bool read_button_params(ByteReader& in, bool menu, ButtonParams& p) {
  p.button = in.u8();
  p.mods = in.u8();
  p.entry = in.u16();
  if (!menu) p.entry = 0;
  return in.ok() && p.entry <= kMaxMenuEntry;
}

// The number of entries of a button's own list that opens its popup menu
// (one 0x2000 item); 0 for any other list.
uint16_t menu_entries(const StoredResponse& r) {
  if (r.item_count() != 1 || item_act(r.items.data()) != act_code::menu) return 0;
  return std::min(item_ch12(r.items.data()), kMaxMenuEntry);
}

}  // namespace

RequestHandler::Reply RequestHandler::get_list(ByteReader& in, bool menu, bool with_items) {
  ButtonParams p;
  if (!read_button_params(in, menu, p) || !in.done()) return status(kBadRequest);
  const StoredResponse* r =
      state_.response(state_.set_for_button(p.button), response_key(p.mods, p.button, p.entry));
  const size_t count = r && r->has_list ? r->item_count() : 0;
  Reply reply{static_cast<int16_t>(count), {}, false};
  if (with_items) {
    reply.data.resize(2);
    store_be16(reply.data.data(), static_cast<uint16_t>(count));
    if (count > 0) reply.data.insert(reply.data.end(), r->items.begin(), r->items.end());
  }
  return reply;
}

RequestHandler::Reply RequestHandler::set_list(ByteReader& in, bool menu) {
  ButtonParams p;
  if (!read_button_params(in, menu, p)) return status(kBadRequest);
  const int16_t count = in.i16();
  if (!in.ok() || count < 0 || in.remaining() != static_cast<size_t>(count) * kItemSize) {
    return status(kBadRequest);
  }
  const std::span<const uint8_t> items = in.bytes(in.remaining());
  return status(state_.store_list(state_.set_for_button(p.button),
                                  response_key(p.mods, p.button, p.entry), items));
}

RequestHandler::Reply RequestHandler::GetActionList(const ClientPeer&, ByteReader& in) {
  return get_list(in, false, true);
}
RequestHandler::Reply RequestHandler::GetActionListSize(const ClientPeer&, ByteReader& in) {
  return get_list(in, false, false);
}
RequestHandler::Reply RequestHandler::GetMenuActionList(const ClientPeer&, ByteReader& in) {
  return get_list(in, true, true);
}
RequestHandler::Reply RequestHandler::GetMenuActionListSize(const ClientPeer&, ByteReader& in) {
  return get_list(in, true, false);
}
RequestHandler::Reply RequestHandler::SetActionList(const ClientPeer&, ByteReader& in) {
  return set_list(in, false);
}
RequestHandler::Reply RequestHandler::SetMenuActionList(const ClientPeer&, ByteReader& in) {
  return set_list(in, true);
}

RequestHandler::Reply RequestHandler::GetActionName(const ClientPeer&, ByteReader& in) {
  ButtonParams p;
  if (!read_button_params(in, true, p) || !in.done()) return status(kBadRequest);
  const StoredResponse* r =
      state_.response(state_.set_for_button(p.button), response_key(p.mods, p.button, p.entry));
  Reply reply{kNothing, std::vector<uint8_t>(kNameRecordSize, 0), false};
  if (r && r->has_name) {
    std::copy(r->name.begin(), r->name.end(), reply.data.begin());
    reply.status = kDone;
  }
  return reply;
}

RequestHandler::Reply RequestHandler::SetActionName(const ClientPeer&, ByteReader& in) {
  ButtonParams p;
  if (!read_button_params(in, true, p)) return status(kBadRequest);
  const std::span<const uint8_t> name = in.bytes(kNameRecordSize);
  if (!in.done()) return status(kBadRequest);
  return status(state_.store_name(state_.set_for_button(p.button),
                                  response_key(p.mods, p.button, p.entry),
                                  name.first<kNameRecordSize>()));
}

bool RequestHandler::append_full_response(std::vector<uint8_t>& out, AppSet& set, uint8_t mods,
                                          uint8_t button, int& blocks) {
  const StoredResponse* own = state_.response(set, response_key(mods, button, 0));
  if (!own) return true;
  const DataspaceLookup lookup = [&](uint16_t index) -> const std::vector<uint8_t>* {
    return state_.dataspaces.find(set, index);
  };
  const StoredResponse empty;
  const uint16_t entries = menu_entries(*own);
  for (uint16_t e = 0; e <= entries; ++e) {
    const StoredResponse* r = e == 0 ? own : state_.response(set, response_key(mods, button, e));
    append_response_block(out, button, mods, e, r ? *r : empty, lookup);
    ++blocks;
    if (out.size() > kMaxReplySize) return false;
  }
  return true;
}

RequestHandler::Reply RequestHandler::GetSingleResponse(const ClientPeer&, ByteReader& in) {
  ButtonParams p;
  if (!read_button_params(in, true, p) || !in.done()) return status(kBadRequest);
  AppSet& set = state_.set_for_button(p.button);
  const StoredResponse* r = state_.response(set, response_key(p.mods, p.button, p.entry));
  if (!r) return status(kNotFound);
  Reply reply{kDone, {}, false};
  append_response_block(reply.data, p.button, p.mods, p.entry, *r,
                        [&](uint16_t index) { return state_.dataspaces.find(set, index); });
  return reply;
}

RequestHandler::Reply RequestHandler::GetFullResponse(const ClientPeer&, ByteReader& in) {
  ButtonParams p;
  if (!read_button_params(in, false, p) || !in.done()) return status(kBadRequest);
  AppSet& set = state_.set_for_button(p.button);
  Reply reply{kNotFound, {}, false};
  int blocks = 0;
  if (!append_full_response(reply.data, set, p.mods, p.button, blocks)) return status(kNoRoom);
  if (blocks > 0) reply.status = static_cast<int16_t>(blocks);
  return reply;
}

// First button, end button (exclusive), modifiers, 1 unused byte, 32-bit
// reserved word: every stored response of those buttons, button by button.
RequestHandler::Reply RequestHandler::GetResponses(const ClientPeer&, ByteReader& in) {
  const uint8_t first = in.u8();
  const uint8_t end = in.u8();
  const uint8_t mods = in.u8();
  in.skip(5);
  if (!in.done()) return status(kBadRequest);
  Reply reply{kNothing, {}, false};
  int blocks = 0;
  for (unsigned button = first; button < end; ++button) {
    const uint8_t b = static_cast<uint8_t>(button);
    if (!append_full_response(reply.data, state_.set_for_button(b), mods, b, blocks)) {
      return status(kNoRoom);
    }
  }
  reply.status = static_cast<int16_t>(std::min(blocks, 0x7FFF));
  return reply;
}

int16_t RequestHandler::store_response(const ParsedResponse& p) {
  AppSet& set = state_.set_for_button(p.button);
  const uint32_t key = response_key(p.mods, p.button, p.entry);
  const bool existed = set.responses.contains(key);
  StoredResponse* r = state_.slot(set, key);
  if (!r) return kNoRoom;
  const std::vector<uint16_t> old_indices = data_indices(r->items);

  // Each dataspace the block names becomes one of the driver's.
  const int hint = is_preset_button(p.button) ? kNewGlobalDataspace : kNewLocalDataspace;
  items_.assign(p.items.begin(), p.items.end());
  std::vector<std::pair<uint16_t, uint16_t>> mapped;  // block-local -> driver index
  int16_t status = kDone;
  for (size_t at = 0; at < items_.size() && status == kDone; at += kItemSize) {
    if (!is_data_carrying(item_act(&items_[at]))) continue;
    const uint16_t local = item_ch12(&items_[at]);
    auto it =
        std::find_if(mapped.begin(), mapped.end(), [&](const auto& m) { return m.first == local; });
    if (it == mapped.end()) {
      const int16_t index = state_.dataspaces.allocate_with(set, hint, p.dataspace(local)->data);
      if (index < 0) {
        status = index;
        break;
      }
      it = mapped.emplace(mapped.end(), local, static_cast<uint16_t>(index));
    }
    store_le16(&items_[at + 2], it->second);
  }
  if (status == kDone) status = state_.assign_list(set, *r, items_);
  if (status != kDone) {
    for (const auto& m : mapped) state_.dataspaces.deallocate(set, m.second);
    if (!existed) state_.erase_response(set, key);
    return status;
  }
  std::copy(p.name.begin(), p.name.end(), r->name.begin());
  r->has_name = true;
  state_.free_unreferenced(set, old_indices);
  if (p.entry == 0) {
    const uint16_t keep = menu_entries(*r);
    for (uint16_t e = state_.menu_extent(set, p.mods, p.button); e > keep; --e) {
      state_.erase_response(set, response_key(p.mods, p.button, e));
    }
  }
  return kDone;
}

RequestHandler::Reply RequestHandler::SetResponseData(const ClientPeer&, ByteReader& in) {
  if (!parse_response_run(in.bytes(in.remaining()), parsed_)) return status(kBadRequest);
  for (const ParsedResponse& p : parsed_) {
    if (const int16_t s = store_response(p); s != kDone) return status(s);
  }
  return status(static_cast<int16_t>(std::min<size_t>(parsed_.size(), 0x7FFF)));
}

}  // namespace cx::refdriver
