// The transport server on a background thread in a temporary service
// directory, with a handler that transforms the request buffer into the reply
// buffer in place and posts messages on request.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/user_client_io.h"
#include "refdriver/transport_server.h"
#include "tests/support/temp_dir.h"
#include "util/byte_order.h"

namespace cx::test {

inline const std::string kMouse(refdriver::kMouseDriverService);
inline const std::string kAdb(refdriver::kAdbMouseService);

// transfer: request [u32 length][payload] -> reply [u32 length][payload
// complemented], returning length; a length below 4 or beyond the request
// buffer answers -42. flattened: request [u32 size][u32 count][u32 type]
// [u64 argument] posts `count` messages (argument, argument + 1, ...).
class EchoHandler final : public refdriver::TransportHandler {
 public:
  int64_t transfer(const refdriver::ClientPeer&, std::span<const uint8_t> request,
                   std::span<uint8_t> reply) override {
    const uint32_t length = load_be32(request.data());
    if (length < 4 || length > request.size()) return -42;
    if (length < reply.size()) {
      store_be32(reply.data(), length);
      for (std::size_t i = 4; i < length; ++i) reply[i] = static_cast<uint8_t>(~request[i]);
    }
    return length;
  }
  int32_t flattened(const refdriver::ClientPeer&, std::span<const uint8_t> request,
                    std::span<uint8_t>) override {
    const uint32_t count = load_be32(&request[4]);
    for (uint32_t i = 0; i < count; ++i) {
      server->post_interest(load_be32(&request[8]), load_be64(&request[12]) + i);
    }
    return 0;
  }
  platform::kern_return_t adb_method(const refdriver::ClientPeer&, uint32_t instance,
                                     std::span<const uint8_t, 4> input) override {
    std::lock_guard lock(mutex_);
    adb_calls_.push_back({instance, load_be32(input.data())});
    return platform::kIOReturnSuccess;
  }
  void closed(const refdriver::ClientPeer& peer) override {
    std::lock_guard lock(mutex_);
    closed_peers_.push_back(peer.connection);
    changed_.notify_all();
  }

  std::vector<std::pair<uint32_t, uint32_t>> adb_calls() {
    std::lock_guard lock(mutex_);
    return adb_calls_;
  }
  // Waits (boundedly) until `n` user clients have closed.
  std::size_t wait_closed(std::size_t n) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(5), [&] { return closed_peers_.size() >= n; });
    return closed_peers_.size();
  }

  refdriver::TransportServer* server = nullptr;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::pair<uint32_t, uint32_t>> adb_calls_;
  std::vector<uint64_t> closed_peers_;
};

class RunningServer {
 public:
  // `setup` runs before the loop starts (extra sockets are added there).
  explicit RunningServer(refdriver::TransportLimits limits = {}, uint32_t adb_instances = 2,
                         const std::function<void(refdriver::TransportServer&)>& setup = {}) {
    std::string error;
    server_ =
        refdriver::TransportServer::create(dir_.path(), adb_instances, handler, error, limits);
    EXPECT_TRUE(server_) << error;
    if (!server_) return;
    if (setup) setup(*server_);
    handler.server = server_.get();
    thread_ = std::thread([this] { server_->run(); });
  }
  ~RunningServer() { shut_down(); }
  // Stops the loop and closes every socket, as a daemon that exits.
  void shut_down() {
    if (!server_) return;
    server_->stop();
    thread_.join();
    server_.reset();
  }
  const std::string& dir() const { return dir_.path(); }

  EchoHandler handler;

 private:
  TempDir dir_{"cxuc"};
  std::unique_ptr<refdriver::TransportServer> server_;
  std::thread thread_;
};

// A plain socket to a service, for speaking the wire form by hand; reads
// give up after 5 s so that a fault fails the test instead of hanging it.
inline UniqueFd raw_connect(const std::string& dir, const std::string& name) {
  UniqueFd fd = uc::connect_socket(dir + "/" + name);
  timeval timeout{5, 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  return fd;
}

inline bool write_bytes(int fd, const std::vector<uint8_t>& bytes) {
  return send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// One whole frame; empty at end of stream (or after the 5 s limit).
inline std::vector<uint8_t> read_frame(int fd) {
  std::vector<uint8_t> frame(8);
  if (recv(fd, frame.data(), 8, MSG_WAITALL) != 8) return {};
  const uint32_t length = load_be32(frame.data());
  if (length < 8 || length > 65536) return {};
  frame.resize(length);
  const auto rest = static_cast<ssize_t>(length - 8);
  if (rest > 0 && recv(fd, frame.data() + 8, rest, MSG_WAITALL) != rest) return {};
  return frame;
}

// True when the server has closed the socket (end of stream, not a time-out).
inline bool closed_by_peer(int fd) {
  uint8_t byte;
  for (;;) {
    const ssize_t n = recv(fd, &byte, 1, 0);
    if (n == 0) return true;
    if (n < 0) return errno == ECONNRESET;
  }
}

// HELLO with any fields, as bytes.
inline std::vector<uint8_t> hello_bytes(uint32_t magic, uint32_t version, uint32_t kind) {
  std::vector<uint8_t> b(20);
  const uint32_t words[] = {20, 0x01, magic, version, kind};
  for (std::size_t i = 0; i < std::size(words); ++i) store_be32(&b[4 * i], words[i]);
  return b;
}

}  // namespace cx::test
