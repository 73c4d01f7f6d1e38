// The background-event queue and the popup-menu lists.
#include <algorithm>

#include "refdriver/driver_status.h"
#include "refdriver/request_handler.h"
#include "util/byte_order.h"

namespace cx::refdriver {

RequestHandler::Reply RequestHandler::GetNextBackgroundEvent(const ClientPeer&, ByteReader& in) {
  if (!in.done()) return status(kBadRequest);
  const BackgroundEvent* event = state_.events.front();
  if (!event) return status(kNothing);
  // Taken off the queue only once the reply has been delivered.
  return Reply{event->code, event->data, true};
}

RequestHandler::Reply RequestHandler::ClearAllMenuLists(const ClientPeer&, ByteReader& in) {
  if (!in.done()) return status(kBadRequest);
  state_.menu = MenuList{};
  return status(kDone);
}

// The number of name slots and the button whose menu it is.
RequestHandler::Reply RequestHandler::CheckMenuSize(const ClientPeer&, ByteReader& in) {
  if (!in.done()) return status(kBadRequest);
  if (!state_.menu.pending) return status(kNothing);
  Reply r{kDone, std::vector<uint8_t>(4), false};
  store_be16(&r.data[0], static_cast<uint16_t>(state_.menu.slots.size()));
  store_be16(&r.data[2], state_.menu.button);
  return r;
}

// Every slot (the caller checks them against its maximum), then the
// pointer position at the press as two 32-bit values.
RequestHandler::Reply RequestHandler::GetMenuNames(const ClientPeer&, ByteReader& in) {
  in.u16();
  if (!in.done()) return status(kBadRequest);
  const MenuList& menu = state_.menu;
  if (!menu.pending) return status(kNothing);
  Reply r{static_cast<int16_t>(menu.slots.size()), {}, false};
  for (const auto& slot : menu.slots) r.data.insert(r.data.end(), slot.begin(), slot.end());
  r.data.resize(r.data.size() + 8);
  store_be32(&r.data[r.data.size() - 8], static_cast<uint32_t>(menu.x));
  store_be32(&r.data[r.data.size() - 4], static_cast<uint32_t>(menu.y));
  return r;
}

RequestHandler::Reply RequestHandler::ExecuteMenuItems(const ClientPeer&, ByteReader& in) {
  const uint16_t entry = in.u16();
  if (!in.done()) return status(kBadRequest);
  return status(runner_.execute_menu_item(entry));
}

}  // namespace cx::refdriver
