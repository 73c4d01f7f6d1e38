#include "diag/diag_timestamp.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "platform/clock.h"

namespace cx {

const char* timestamp() {
  static char buffer[64];
  platform::TimeOfDay now{};
  if (!platform::clock().time_of_day(now)) {
    buffer[0] = '\0';
    return buffer;
  }
  // UTC time of day and unpadded microseconds, as support staff know them.
  const long s = static_cast<long>(now.seconds);
  std::snprintf(buffer, sizeof buffer, "(%.3ld) %.2ld:%.2ld:%.2ld.%ld", static_cast<long>(getuid()),
                (s / 3600) % 24, s / 60 - (s / 3600) * 60, s - (s / 60) * 60,
                static_cast<long>(now.microseconds));
  return buffer;
}

size_t diag_build_timestamp(char* buf, size_t size) {
  buf[0] = '\0';
  platform::TimeOfDay now{};
  if (!platform::clock().time_of_day(now)) return 0;
  const time_t t = static_cast<time_t>(now.seconds);
  tm local{};
  if (localtime_r(&t, &local) == nullptr) return 0;
  const size_t n = std::strftime(buf, size, "%x -- %X", &local);
  if (n == 0) buf[0] = '\0';  // contents are unspecified when it did not fit
  return n;
}

}  // namespace cx
