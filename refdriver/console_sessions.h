// Whether a process belongs to the session at the console of its seat: on
// Linux a fact the system knows, and what decides whether a client may make
// its user the driver's active user.
#pragma once

#include <cstdint>

namespace cx::refdriver {

class ConsoleSessions {
 public:
  enum class Answer { Active, NotActive, Unreachable };

  virtual ~ConsoleSessions() = default;
  virtual Answer process_is_active(int32_t pid) = 0;
};

}  // namespace cx::refdriver
