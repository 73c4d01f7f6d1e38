// The reference driver served from this process: its real request handler
// behind its real socket server, on a thread, in a temporary service
// directory. Stopping it is the daemon going away (its state stays readable);
// starting it again is a fresh daemon with empty settings.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/request_handler.h"
#include "refdriver/transport_server.h"
#include "tests/support/temp_dir.h"

namespace cx::test {

class ReferenceDriver final : public refdriver::DriverSink {
 public:
  using Setup = std::function<void(refdriver::DriverState&)>;
  // `setup` prepares the live state before the server takes requests;
  // `adb_mice` is the number of ADBID32 mice the server offers.
  explicit ReferenceDriver(const Setup& setup = {}, uint32_t adb_mice = 0);
  ~ReferenceDriver() override;
  ReferenceDriver(const ReferenceDriver&) = delete;
  ReferenceDriver& operator=(const ReferenceDriver&) = delete;

  // False, with error() telling why, when the server cannot listen.
  bool start(const Setup& setup = {});
  void stop();
  bool running() const { return server_ != nullptr; }
  const std::string& dir() const { return dir_.path(); }
  const std::string& error() const { return error_; }
  const refdriver::DriverState& state() const { return *state_; }
  // For changes between requests: the server only touches the state while it
  // answers one, and requests are synchronous.
  refdriver::DriverState& mutable_state() { return *state_; }

  // refdriver::DriverSink, called on the server's thread.
  void notify(uint32_t code, uint64_t argument) override;
  void log(std::string_view) override {}

 private:
  uint32_t adb_mice_;
  TempDir dir_{"cxdrv"};
  std::string error_;
  std::unique_ptr<refdriver::DriverState> state_;
  std::unique_ptr<refdriver::RequestHandler> handler_;
  std::unique_ptr<refdriver::TransportServer> server_;
  std::thread thread_;
};

}  // namespace cx::test
