// Writes of the active-user record (global data 98).

#include <algorithm>
#include <cstdio>

#include "refdriver/active_user.h"
#include "refdriver/driver_status.h"
#include "refdriver/event_codes.h"
#include "refdriver/request_handler.h"

namespace cx::refdriver {

int16_t RequestHandler::claim_active_user(const ClientPeer& peer, std::span<const uint8_t> data) {
  const std::span<uint8_t> record = state_.global_record(kActiveUserIndex);
  if (!at_console(peer, data)) return kPermission;
  const ActiveUser before = read_active_user(record);
  bool claimed = false;
  const int16_t s = write_active_user(record, peer.uid, data, claimed);
  if (!claimed) return s;
  const ActiveUser now = read_active_user(record);
  if (now.uid != before.uid || now.state != before.state) told_active_.clear();
  // A claim repeated on one connection changes nothing and is not announced
  // again; a new connection (an agent started anew) still hears its own.
  if (std::find(told_active_.begin(), told_active_.end(), peer.connection) != told_active_.end()) {
    return s;
  }
  told_active_.push_back(peer.connection);
  char line[64];
  std::snprintf(line, sizeof line, "active user: uid %u", now.uid);
  sink_.log(line);
  posts_.notify(event_code::user_active, now.uid);
  return s;
}

// The console user is whoever sits at the active session of a seat; a
// client elsewhere (another user's login over the network, a background job)
// must not take the driver, and with it that user's presses and settings.
bool RequestHandler::at_console(const ClientPeer& peer, std::span<const uint8_t> data) {
  if (!sessions_ || peer.uid == kRootUid || data.size() != 8 ||
      read_active_user(data).state != kUserActive) {
    return true;
  }
  switch (sessions_->process_is_active(peer.pid, peer.uid)) {
    case ConsoleSessions::Answer::Active:
      return true;
    case ConsoleSessions::Answer::NotActive:
      return false;
    case ConsoleSessions::Answer::Unreachable:
      break;
  }
  if (!said_unreachable_) {
    said_unreachable_ = true;
    sink_.log(
        "systemd-logind cannot be reached: a client may make its own uid the active user "
        "wherever it runs");
  }
  return true;
}

}  // namespace cx::refdriver
