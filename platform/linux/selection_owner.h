// One selection (the clipboard) held by a window of ours and answered to
// other clients as the ICCCM asks: TARGETS, TIMESTAMP and each offered
// target's data, in INCR steps when the data exceeds what one request may
// carry.
#pragma once

#include <xcb/xcb.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace cx::platform {

struct SelectionAtoms {
  xcb_atom_t selection, targets, timestamp, incr;
};

class SelectionOwner {
 public:
  SelectionOwner(xcb_connection_t* conn, xcb_window_t window, const SelectionAtoms& atoms);

  // Takes the selection as of server time `time` with nothing offered; false
  // when the server did not give it to us.
  bool acquire(xcb_timestamp_t time);
  bool owned() const { return owned_; }
  // Offers `data` for `target`, sent as 8-bit units of the same type.
  void offer(xcb_atom_t target, std::string data);
  // Requests, the loss of the selection and the steps of INCR transfers;
  // other events are left alone.
  void handle(const xcb_generic_event_t& event);

 private:
  struct Offer {
    xcb_atom_t target;
    std::shared_ptr<const std::string> data;
  };
  // A transfer outlives the offer it came from: a new text on the clipboard
  // does not cut off a requestor halfway.
  struct Transfer {
    xcb_window_t requestor;
    xcb_atom_t property;
    xcb_atom_t type;
    std::shared_ptr<const std::string> data;
    std::size_t offset;
  };

  void answer(const xcb_selection_request_event_t& request);
  bool reply(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t target);
  void start_transfer(xcb_window_t requestor, xcb_atom_t property, const Offer& offer);
  void next_chunk(const xcb_property_notify_event_t& event);
  void end_transfers(xcb_window_t requestor, bool window_gone);

  xcb_connection_t* conn_;
  xcb_window_t window_;
  SelectionAtoms atoms_;
  std::size_t max_chunk_;
  bool owned_ = false;
  xcb_timestamp_t acquired_ = XCB_CURRENT_TIME;
  std::vector<Offer> offers_;
  std::deque<Transfer> transfers_;
};

}  // namespace cx::platform
