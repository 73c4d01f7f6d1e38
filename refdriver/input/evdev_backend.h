// Real pointing devices on Linux: every mouse or trackball (relative axes
// and mouse buttons) is found through udev, grabbed so that only the driver
// sees it, and read on the daemon's loop; what the engine makes of its
// events goes out through one uinput device. Devices plugged in or out
// later are followed.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/transport_server.h"

namespace cx::refdriver {

inline constexpr std::string_view kOutputDeviceName = "Corvex Virtual Pointer";

class EvdevBackend {
 public:
  // Null, with `error` set, when the output device cannot be made or udev
  // cannot be reached. Finding no pointing device is not an error.
  static std::unique_ptr<EvdevBackend> create(TransportServer& server, DriverState& state,
                                              DriverSink& sink, std::string& error);
  // Releases whatever the output holds, then every grab.
  ~EvdevBackend();
  EvdevBackend(const EvdevBackend&) = delete;
  EvdevBackend& operator=(const EvdevBackend&) = delete;

 private:
  struct Impl;
  explicit EvdevBackend(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace cx::refdriver
