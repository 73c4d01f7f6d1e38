// The agent's end of one user-client socket: one request at a time, each a
// single write answered by a single reply frame.
#pragma once

#include <array>
#include <vector>

#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_fd.h"
#include "platform/linux/user_client_io.h"
#include "platform/user_client.h"

namespace cx::uc {

class SocketConnection final : public platform::UserClientConnection {
 public:
  // `fd` has already been greeted and accepted.
  explicit SocketConnection(UniqueFd fd) : fd_(std::move(fd)) {}

  platform::kern_return_t call_scalar(uint32_t selector, std::span<const int64_t> in,
                                      std::span<int64_t> out) override;
  platform::kern_return_t call_struct(uint32_t selector, std::span<const uint8_t> in,
                                      std::span<uint8_t> out, std::size_t& out_len) override;
  platform::kern_return_t map_memory(uint32_t memory_type,
                                     std::unique_ptr<platform::MemoryMapping>& mapping) override;
  platform::kern_return_t unmap_memory(uint32_t memory_type,
                                       std::unique_ptr<platform::MemoryMapping> mapping) override;

 private:
  // Sends `iov` and receives the reply into `buffer`; once a call has failed
  // on the link, the connection stays dead.
  platform::kern_return_t exchange(iovec* iov, std::size_t count, std::span<uint8_t> buffer,
                                   uint32_t opcode, std::span<const uint8_t>& reply,
                                   UniqueFd* passed = nullptr);
  platform::kern_return_t fail(platform::kern_return_t kr);

  UniqueFd fd_;
  bool dead_ = false;
  std::array<uint8_t, kMaxScalarCallSize> request_{};
  std::array<uint8_t, kMaxScalarReplySize> reply_{};
  std::vector<uint8_t> struct_reply_;  // sized on the first structure call
};

}  // namespace cx::uc
