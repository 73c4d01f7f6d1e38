// The wall clock, behind an interface so that tests can set the time.
#pragma once

#include <cstdint>

namespace cx::platform {

struct TimeOfDay {
  int64_t seconds;       // since the Unix epoch, UTC
  int64_t microseconds;  // 0..999999
};

class Clock {
 public:
  virtual ~Clock() = default;
  // False when the time could not be read.
  virtual bool time_of_day(TimeOfDay& out) = 0;
};

// The process-wide clock: the system's, unless a test installed another.
Clock& clock();
// Installs `c` (not owned; null restores the system clock).
void set_clock(Clock* c);

}  // namespace cx::platform
