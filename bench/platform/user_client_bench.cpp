// Round trip of a small scalar call (selector 4 with two memory types, one
// output) through the user-client socket and the reference driver's loop,
// against a bare ping-pong of frames of the same sizes over the same kind of
// socket, measured in the same run.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <filesystem>
#include <thread>

#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_socket.h"
#include "refdriver/transport_server.h"
#include "tests/support/temp_dir.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr std::size_t kRequestSize = uc::scalar_call_size(2);
constexpr std::size_t kReplySize = uc::scalar_reply_size(1);

class SmallReply final : public refdriver::TransportHandler {
 public:
  int64_t transfer(const refdriver::ClientPeer&, std::span<const uint8_t> request,
                   std::span<uint8_t> reply) override {
    std::memcpy(reply.data(), request.data(), 16);
    return 16;
  }
  int32_t flattened(const refdriver::ClientPeer&, std::span<const uint8_t>,
                    std::span<uint8_t>) override {
    return 0;
  }
  platform::kern_return_t adb_method(const refdriver::ClientPeer&, uint32_t,
                                     std::span<const uint8_t, 4>) override {
    return platform::kIOReturnSuccess;
  }
  void closed(const refdriver::ClientPeer&) override {}
};

void BM_UserClientScalarCall(benchmark::State& state) {
  const cx::test::TempDir dir("cxbench");
  SmallReply handler;
  std::string error;
  auto server = refdriver::TransportServer::create(dir.path(), 0, handler, error);
  if (!server) {
    state.SkipWithError(error.c_str());
    return;
  }
  std::thread loop([&] { server->run(); });
  {
    auto service = platform::make_socket_user_client_service(dir.path());
    std::unique_ptr<platform::UserClientConnection> c;
    service->open(std::string(refdriver::kMouseDriverService), c);
    int64_t types[2] = {};
    for (int64_t& type : types) {
      const int64_t size[] = {0x10000};
      int64_t out[] = {0};
      c->call_scalar(0, size, out);
      type = out[0];
    }
    int64_t out[] = {0};
    for (auto _ : state) {
      if (c->call_scalar(4, types, out) != platform::kIOReturnSuccess) {
        state.SkipWithError("call failed");
        break;
      }
      benchmark::DoNotOptimize(out[0]);
    }
  }
  server->stop();
  loop.join();
}
BENCHMARK(BM_UserClientScalarCall)->UseRealTime();

bool transfer_all(int fd, uint8_t* data, std::size_t size, bool sending) {
  while (size > 0) {
    const ssize_t n = sending ? send(fd, data, size, MSG_NOSIGNAL) : recv(fd, data, size, 0);
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

void BM_RawSocketPingPong(benchmark::State& state) {
  const cx::test::TempDir dir("cxbench");
  const std::string path = dir.path() + "/raw";
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.data(), path.size());
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  bind(listener, reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
  listen(listener, 1);
  std::thread echo([listener] {
    const int fd = accept(listener, nullptr, nullptr);
    uint8_t request[kRequestSize];
    uint8_t reply[kReplySize] = {};
    while (transfer_all(fd, request, sizeof request, false)) {
      store_be32(reply, kReplySize);
      if (!transfer_all(fd, reply, sizeof reply, true)) break;
    }
    close(fd);
  });
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
  uint8_t request[kRequestSize] = {};
  uint8_t reply[kReplySize];
  for (auto _ : state) {
    store_be32(request, kRequestSize);
    if (!transfer_all(fd, request, sizeof request, true) ||
        !transfer_all(fd, reply, sizeof reply, false)) {
      state.SkipWithError("ping-pong failed");
      break;
    }
    benchmark::DoNotOptimize(reply[0]);
  }
  close(fd);
  echo.join();
  close(listener);
}
BENCHMARK(BM_RawSocketPingPong)->UseRealTime();

}  // namespace
}  // namespace cx
