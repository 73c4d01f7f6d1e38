// The reference driver's request handler behind the fake user client, all in
// this process: every transfer goes straight to the handler, without sockets
// or threads (fuzz targets).
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "driver/driver_connection.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/request_handler.h"
#include "tests/support/fake_user_client.h"

namespace cx::test {

// Installs itself as the user-client service; reset() before first use.
struct InProcessDriver {
  InProcessDriver() { platform::set_user_client_service(&link); }
  // Disconnects the agent and starts a fresh driver with empty settings.
  void reset() {
    DisconnectFromDriver();
    // A long run opens the link again and again: a fresh link, so that no
    // budget or record of earlier runs runs out or piles up.
    link = FakeUserClient();
    link.on_transfer = [this](std::span<uint8_t> reply) {
      constexpr refdriver::ClientPeer kPeer{1, 0, 1};
      return handler->transfer(kPeer, link.requests.back(), reply);
    };
    handler.reset();
    state = std::make_unique<refdriver::DriverState>([] { return 0u; });
    handler = std::make_unique<refdriver::RequestHandler>(*state, sink);
  }

  class NullSink final : public refdriver::DriverSink {
   public:
    void notify(uint32_t, uint64_t) override {}
    void log(std::string_view) override {}
  };

  FakeUserClient link;
  NullSink sink;
  std::unique_ptr<refdriver::DriverState> state;
  std::unique_ptr<refdriver::RequestHandler> handler;
};

}  // namespace cx::test
