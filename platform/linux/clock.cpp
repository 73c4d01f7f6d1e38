#include "platform/clock.h"

#include <sys/time.h>

namespace cx::platform {
namespace {

class SystemClock final : public Clock {
 public:
  bool time_of_day(TimeOfDay& out) override {
    timeval tv{};
    if (gettimeofday(&tv, nullptr) != 0) return false;
    out = {tv.tv_sec, tv.tv_usec};
    return true;
  }
};

SystemClock g_system_clock;
Clock* g_clock = &g_system_clock;

}  // namespace

Clock& clock() {
  return *g_clock;
}
void set_clock(Clock* c) {
  g_clock = c ? c : &g_system_clock;
}

}  // namespace cx::platform
