// The active user (global data index 98): 32-bit uid, 16-bit state (2 =
// that user's agent serves the driver, 1 = cleared), 2 unused bytes.
//
// A peer may claim only its own uid, or the placeholder uid 1 while no real
// uid is active; root may claim any. A clear changes the record only when it names the user
// recorded (or comes from root), so an agent leaving the console cannot unseat another.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace cx::refdriver {

inline constexpr uint16_t kActiveUserIndex = 98;
inline constexpr uint16_t kUserActive = 2;
inline constexpr uint16_t kUserCleared = 1;
inline constexpr uint32_t kRootUid = 0;
inline constexpr uint32_t kPlaceholderUid = 1;

struct ActiveUser {
  uint32_t uid;
  uint16_t state;
};

ActiveUser read_active_user(std::span<const uint8_t> record);
void store_active_user(std::span<uint8_t> record, ActiveUser user);

// A client's write of the record. kDone, kBadRequest or kPermission;
// `claimed` is set when the write made (or kept) a user active.
int16_t write_active_user(std::span<uint8_t> record, uint32_t peer_uid,
                          std::span<const uint8_t> data, bool& claimed);

// Whether the peer may read or change the settings: nobody is active, the
// placeholder is, or the peer is the active user or root.
bool serves_peer(std::span<const uint8_t> record, uint32_t peer_uid);

}  // namespace cx::refdriver
