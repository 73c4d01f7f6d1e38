// Reply statuses of the reference driver. Requests that have nothing else to
// report answer kDone: several callers read a status of 0 as "refused".
#pragma once

#include <cstdint>

namespace cx::refdriver {

inline constexpr int16_t kDone = 1;
inline constexpr int16_t kNothing = 0;
// The Mac OS codes, so that the agent's logs read naturally.
inline constexpr int16_t kUnimplemented = -4;  // unknown request code
inline constexpr int16_t kNotFound = -43;      // no such dataspace, set or response
inline constexpr int16_t kBadRequest = -50;    // malformed parameters or data
inline constexpr int16_t kPermission = -54;    // another user's driver, or a uid claim refused
inline constexpr int16_t kNoRoom = -108;       // a limit below would be exceeded

}  // namespace cx::refdriver
