// The reference driver's request handler behind an in-process user client:
// buffers live in this process and every transfer goes straight to the
// handler, so a fuzz target reaches the driver without sockets or threads.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/user_client.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/request_handler.h"

namespace cx::fuzz {

class InProcessDriver final : public platform::UserClientService {
 public:
  InProcessDriver() { reset(); }
  // A fresh driver with empty settings.
  void reset();
  refdriver::DriverState& state() { return *state_; }

  platform::kern_return_t matching_services(std::string_view name,
                                            std::vector<std::string>& out) override;
  platform::kern_return_t open(const std::string&,
                               std::unique_ptr<platform::UserClientConnection>& c) override;
  platform::kern_return_t open_interest(const std::string&,
                                        std::unique_ptr<platform::InterestNotifier>&) override {
    return platform::kIOReturnUnsupported;
  }

  std::map<uint32_t, std::vector<uint8_t>> buffers;
  uint32_t next_type = 1;
  std::unique_ptr<refdriver::DriverState> state_;
  std::unique_ptr<refdriver::RequestHandler> handler_;

 private:
  class NullSink final : public refdriver::DriverSink {
   public:
    void notify(uint32_t, uint64_t) override {}
    void log(std::string_view) override {}
  };
  NullSink sink_;
};

// The process's driver, installed as the user-client service on first use.
InProcessDriver& in_process_driver();

}  // namespace cx::fuzz
