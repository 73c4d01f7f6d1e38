// What the driver's core tells the world: general-interest messages for
// every notification connection, and log lines of what it does.
#pragma once

#include <cstdint>
#include <string_view>

namespace cx::refdriver {

class DriverSink {
 public:
  virtual ~DriverSink() = default;
  virtual void notify(uint32_t code, uint64_t argument) = 0;
  virtual void log(std::string_view line) = 0;
};

}  // namespace cx::refdriver
