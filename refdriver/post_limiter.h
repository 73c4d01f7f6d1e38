// Messages that clients' requests make the driver post go to every agent, so
// without a bound one uid could post faster than another user's agent drains
// its notification connection, and the driver would drop that agent. Each
// uid gets a few posts a second; the rest are dropped, and the log says so
// once a second.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"

namespace cx::refdriver {

class PostLimiter final : public DriverSink {
 public:
  static constexpr uint32_t kPostsPerSecond = 64;

  PostLimiter(DriverSink& out, const DriverState& state) : out_(out), state_(state) {}

  // Whose request the next posts come from.
  void caused_by(uint32_t uid) { uid_ = uid; }

  void notify(uint32_t code, uint64_t argument) override;
  void log(std::string_view line) override { out_.log(line); }

 private:
  DriverSink& out_;
  const DriverState& state_;
  uint32_t uid_ = 0;
  uint32_t second_ = 0;
  std::unordered_map<uint32_t, uint32_t> posts_;  // this second's, per uid
};

}  // namespace cx::refdriver
