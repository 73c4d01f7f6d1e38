// The driver's side of one user-client or notification connection, apart
// from its socket: takes whole frames, answers each with at most one reply
// frame, and owns the shared buffers the connection created.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/linux/uc_frame.h"
#include "refdriver/shared_buffer.h"
#include "refdriver/transport_handler.h"

namespace cx::refdriver {

enum class ServiceKind { MouseDriver, AdbMouse };

// Any local user may connect: what one uid may hold is bounded so that it
// cannot lock the others out.
struct TransportLimits {
  std::size_t max_clients = 256;
  std::size_t max_clients_per_uid = 16;
  std::size_t max_buffers = 8;                       // per user-client connection
  std::size_t max_buffer_bytes = 32u << 20;          // per user-client connection
  std::size_t max_buffer_bytes_per_uid = 64u << 20;  // over all its connections
  std::size_t max_notify_backlog = 64u << 10;        // unsent bytes per notification client
  int stalled_ms = 5000;  // the longest a connection may sit on an unfinished request
  static constexpr std::size_t kMaxBufferSize = 16u << 20;
  static constexpr std::size_t kBufferGranule = 0x10000;
};

// What every session of one daemon shares.
struct SessionContext {
  TransportHandler& handler;
  TransportLimits limits;
  uint32_t last_memory_type = 0;  // memory types are unique across connections
  std::unordered_map<uint32_t, std::size_t> buffer_bytes_by_uid{};
};

// At most one reply frame; `fd` (MAP_MEMORY) belongs to the session and stays
// valid until its next frame.
struct Reply {
  std::array<uint8_t, uc::kMaxScalarReplySize> bytes;
  std::size_t length = 0;
  int fd = -1;
};

class UcSession {
 public:
  enum class Verdict { Continue, CloseAfterReply, Close };

  UcSession(SessionContext& context, ServiceKind kind, uint32_t instance, const ClientPeer& peer)
      : context_(context), kind_(kind), instance_(instance), peer_(peer) {}
  ~UcSession();
  UcSession(const UcSession&) = delete;
  UcSession& operator=(const UcSession&) = delete;

  // One whole frame (its header's length is frame.size(), within 8..65536).
  Verdict handle(std::span<const uint8_t> frame, Reply& reply);

  bool is_user_client() const { return state_ == State::UserClient; }
  bool is_interest() const { return state_ == State::Interest; }
  const ClientPeer& peer() const { return peer_; }

 private:
  enum class State { Greeting, UserClient, Interest };

  Verdict hello(std::span<const uint8_t> frame, Reply& reply);
  Verdict call_scalar(std::span<const uint8_t> frame, Reply& reply);
  Verdict call_struct(std::span<const uint8_t> frame, Reply& reply);
  Verdict map_memory(std::span<const uint8_t> frame, Reply& reply);
  Verdict unmap_memory(std::span<const uint8_t> frame, Reply& reply);

  // Each sets `out` when the method answers a scalar.
  platform::kern_return_t create_buffer(int64_t size, std::optional<int64_t>& out);
  platform::kern_return_t release_buffer(int64_t memory_type, std::optional<int64_t>& out);
  platform::kern_return_t exchange(const uc::ScalarCall& call, std::optional<int64_t>& out);
  SharedBuffer* find(int64_t memory_type);
  void refund(std::size_t bytes);

  SessionContext& context_;
  ServiceKind kind_;
  uint32_t instance_;
  ClientPeer peer_;
  State state_ = State::Greeting;
  std::size_t buffer_bytes_ = 0;
  std::vector<std::pair<uint32_t, std::unique_ptr<SharedBuffer>>> buffers_;
};

}  // namespace cx::refdriver
