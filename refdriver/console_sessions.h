// Whether a process belongs to the session at the console of its seat (or,
// outside every session, as a user service, whether its user's graphical
// session is there): on Linux a fact the system knows, and what decides
// whether a client may make its user the driver's active user.
#pragma once

#include <cstdint>

namespace cx::refdriver {

class ConsoleSessions {
 public:
  enum class Answer { Active, NotActive, Unreachable };

  virtual ~ConsoleSessions() = default;
  virtual Answer process_is_active(int32_t pid, uint32_t uid) = 0;
};

}  // namespace cx::refdriver
