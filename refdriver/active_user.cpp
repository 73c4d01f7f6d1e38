#include "refdriver/active_user.h"

#include <algorithm>

#include "refdriver/driver_status.h"
#include "util/byte_order.h"

namespace cx::refdriver {

ActiveUser read_active_user(std::span<const uint8_t> record) {
  return {load_be32(&record[0]), load_be16(&record[4])};
}

void store_active_user(std::span<uint8_t> record, ActiveUser user) {
  std::fill(record.begin(), record.end(), 0);
  store_be32(&record[0], user.uid);
  store_be16(&record[4], user.state);
}

int16_t write_active_user(std::span<uint8_t> record, uint32_t peer_uid,
                          std::span<const uint8_t> data, bool& claimed) {
  claimed = false;
  if (data.size() != 8) return kBadRequest;
  const ActiveUser claim = read_active_user(data);
  if (claim.state != kUserActive && claim.state != kUserCleared) return kBadRequest;
  const ActiveUser current = read_active_user(record);
  // The placeholder stands for an agent that does not know its user; taking
  // it over a real user would unseat that user and lift the isolation.
  const bool real_user_active = current.state == kUserActive && current.uid != kPlaceholderUid;
  if (peer_uid != kRootUid && claim.uid != peer_uid &&
      (claim.uid != kPlaceholderUid || real_user_active)) {
    return kPermission;
  }
  if (claim.state == kUserCleared && current.state == kUserActive && current.uid != claim.uid &&
      peer_uid != kRootUid) {
    return kDone;
  }
  store_active_user(record, claim);
  claimed = claim.state == kUserActive;
  return kDone;
}

bool serves_peer(std::span<const uint8_t> record, uint32_t peer_uid) {
  const ActiveUser current = read_active_user(record);
  return current.state != kUserActive || current.uid == kPlaceholderUid ||
         current.uid == peer_uid || peer_uid == kRootUid;
}

}  // namespace cx::refdriver
