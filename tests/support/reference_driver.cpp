#include "tests/support/reference_driver.h"

#include "refdriver/event_codes.h"

namespace cx::test {

ReferenceDriver::ReferenceDriver(const Setup& setup, uint32_t adb_mice) : adb_mice_(adb_mice) {
  if (dir_.path().empty()) {
    error_ = "no temporary service directory";
    return;
  }
  start(setup);
}

ReferenceDriver::~ReferenceDriver() {
  stop();
}

bool ReferenceDriver::start(const Setup& setup) {
  handler_.reset();
  state_ = std::make_unique<refdriver::DriverState>();
  if (setup) setup(*state_);
  handler_ = std::make_unique<refdriver::RequestHandler>(*state_, *this);
  server_ = refdriver::TransportServer::create(dir_.path(), adb_mice_, *handler_, error_);
  if (server_) thread_ = std::thread([server = server_.get()] { server->run(); });
  return server_ != nullptr;
}

void ReferenceDriver::stop() {
  if (!server_) return;
  server_->stop();
  thread_.join();
  server_.reset();
}

void ReferenceDriver::notify(uint32_t code, uint64_t argument) {
  server_->post_interest(refdriver::message_type(code), argument);
}

}  // namespace cx::test
