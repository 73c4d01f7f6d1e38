#include "platform/linux/selection_owner.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/linux/x11_connection.h"

namespace cx::platform {
namespace {

// Requestors that never finish reading must not pin texts for ever.
constexpr std::size_t kMaxTransfers = 8;
constexpr uint8_t kBadWindow = 3;

void put_property(xcb_connection_t* conn, xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                  uint8_t format, std::size_t units, const void* data) {
  xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, property, type, format,
                      static_cast<uint32_t>(units), data);
}

void select_property_changes(xcb_connection_t* conn, xcb_window_t window, bool on) {
  const uint32_t mask = on ? XCB_EVENT_MASK_PROPERTY_CHANGE : XCB_EVENT_MASK_NO_EVENT;
  xcb_change_window_attributes(conn, window, XCB_CW_EVENT_MASK, &mask);
}

}  // namespace

SelectionOwner::SelectionOwner(xcb_connection_t* conn, xcb_window_t window,
                               const SelectionAtoms& atoms)
    : conn_(conn),
      window_(window),
      atoms_(atoms),
      // The core limit, not BIG-REQUESTS': requestors size their reads by it.
      max_chunk_(std::size_t{xcb_get_setup(conn)->maximum_request_length} * 4 -
                 sizeof(xcb_change_property_request_t)) {}

bool SelectionOwner::acquire(xcb_timestamp_t time) {
  offers_.clear();
  xcb_set_selection_owner(conn_, window_, atoms_.selection, time);
  const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
      conn_, xcb_get_selection_owner(conn_, atoms_.selection), nullptr));
  owned_ = reply && reply->owner == window_;
  acquired_ = time;
  return owned_;
}

void SelectionOwner::offer(xcb_atom_t target, std::string data) {
  offers_.push_back({target, std::make_shared<const std::string>(std::move(data))});
}

void SelectionOwner::handle(const xcb_generic_event_t& event) {
  switch (event.response_type & 0x7f) {
    case XCB_SELECTION_REQUEST:
      answer(reinterpret_cast<const xcb_selection_request_event_t&>(event));
      break;
    case XCB_SELECTION_CLEAR: {
      const auto& clear = reinterpret_cast<const xcb_selection_clear_event_t&>(event);
      // A clear older than our last acquisition was for contents already gone.
      if (clear.selection == atoms_.selection && clear.time >= acquired_) {
        owned_ = false;
        offers_.clear();
      }
      break;
    }
    case XCB_PROPERTY_NOTIFY:
      next_chunk(reinterpret_cast<const xcb_property_notify_event_t&>(event));
      break;
    case 0: {
      const auto& error = reinterpret_cast<const xcb_generic_error_t&>(event);
      if (error.error_code == kBadWindow) end_transfers(error.resource_id, true);
      break;
    }
    default:
      break;
  }
}

void SelectionOwner::answer(const xcb_selection_request_event_t& request) {
  // Requestors from before ICCCM 2 name no property; the target serves.
  xcb_atom_t property = request.property == XCB_NONE ? request.target : request.property;
  const bool ours = owned_ && request.owner == window_ && request.selection == atoms_.selection &&
                    (request.time == XCB_CURRENT_TIME || request.time >= acquired_);
  if (!ours || !reply(request.requestor, property, request.target)) property = XCB_NONE;
  xcb_selection_notify_event_t notify{};
  notify.response_type = XCB_SELECTION_NOTIFY;
  notify.time = request.time;
  notify.requestor = request.requestor;
  notify.selection = request.selection;
  notify.target = request.target;
  notify.property = property;
  xcb_send_event(conn_, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                 reinterpret_cast<const char*>(&notify));
  xcb_flush(conn_);
}

bool SelectionOwner::reply(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t target) {
  if (target == atoms_.targets) {
    std::vector<xcb_atom_t> targets{atoms_.targets, atoms_.timestamp};
    for (const Offer& offer : offers_) targets.push_back(offer.target);
    put_property(conn_, requestor, property, XCB_ATOM_ATOM, 32, targets.size(), targets.data());
    return true;
  }
  if (target == atoms_.timestamp) {
    put_property(conn_, requestor, property, XCB_ATOM_INTEGER, 32, 1, &acquired_);
    return true;
  }
  const auto offer = std::find_if(offers_.begin(), offers_.end(),
                                  [&](const Offer& o) { return o.target == target; });
  if (offer == offers_.end()) return false;
  if (offer->data->size() > max_chunk_) {
    start_transfer(requestor, property, *offer);
  } else {
    put_property(conn_, requestor, property, target, 8, offer->data->size(), offer->data->data());
  }
  return true;
}

void SelectionOwner::start_transfer(xcb_window_t requestor, xcb_atom_t property,
                                    const Offer& offer) {
  // The requestor's deletions of the property pace the chunks.
  select_property_changes(conn_, requestor, true);
  const auto size = static_cast<uint32_t>(std::min<std::size_t>(offer.data->size(), UINT32_MAX));
  put_property(conn_, requestor, property, atoms_.incr, 32, 1, &size);
  if (transfers_.size() == kMaxTransfers) transfers_.pop_front();
  transfers_.push_back({requestor, property, offer.target, offer.data, 0});
}

void SelectionOwner::next_chunk(const xcb_property_notify_event_t& event) {
  if (event.state != XCB_PROPERTY_DELETE) return;
  const auto t = std::find_if(transfers_.begin(), transfers_.end(), [&](const Transfer& x) {
    return x.requestor == event.window && x.property == event.atom;
  });
  if (t == transfers_.end()) return;
  const std::size_t n = std::min(max_chunk_, t->data->size() - t->offset);
  // The last chunk is empty: it tells the requestor the data is complete.
  put_property(conn_, t->requestor, t->property, t->type, 8, n, t->data->data() + t->offset);
  t->offset += n;
  if (n == 0) {
    const xcb_window_t requestor = t->requestor;
    transfers_.erase(t);
    end_transfers(requestor, false);
  }
  xcb_flush(conn_);
}

void SelectionOwner::end_transfers(xcb_window_t requestor, bool window_gone) {
  const auto mine = [&](const Transfer& t) { return t.requestor == requestor; };
  if (window_gone) {
    std::erase_if(transfers_, mine);
  } else if (std::none_of(transfers_.begin(), transfers_.end(), mine)) {
    select_property_changes(conn_, requestor, false);
  }
}

}  // namespace cx::platform
