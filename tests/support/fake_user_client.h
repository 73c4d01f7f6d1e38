// A driver behind the user-client interface in this process: buffers are
// heap blocks, calls are recorded, and failures and transfer replies are set
// by the test (or handed to a request handler).
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "platform/user_client.h"
#include "util/byte_order.h"

namespace cx::test {

using platform::kern_return_t;
using Bytes = std::vector<uint8_t>;

inline int64_t no_valid_block(std::span<uint8_t> reply) {
  reply[0] = 0xFF;
  return 8;
}

// Writes a reply block into `reply` when it fits; its full length.
inline int64_t reply_block(std::span<uint8_t> reply, int16_t status, const Bytes& data) {
  Bytes block(data.size() + 8);
  CXTransferContext ctx;
  CXTransferStartWithResult(&ctx, block.data(), static_cast<uint32_t>(block.size()));
  CXTransferAdd(&ctx, data.data(), static_cast<uint32_t>(data.size()));
  const uint32_t length = CXTransferEndWithResult(&ctx, status);
  if (length < reply.size()) std::copy_n(block.begin(), length, reply.begin());
  return length;
}

struct FakeUserClient final : platform::UserClientService {
  FakeUserClient() { answer(0); }
  // Every later transfer answers a reply block with this status and data.
  void answer(int16_t status, Bytes data = {}) {
    on_transfer = [=](std::span<uint8_t> reply) { return reply_block(reply, status, data); };
  }
  int transfers() const { return static_cast<int>(requests.size()); }
  std::span<uint8_t> buffer(int64_t type) {
    auto it = buffers.find(static_cast<uint32_t>(type));
    return it == buffers.end() ? std::span<uint8_t>() : it->second;
  }
  // The payload of the last request block, checked as a transfer block.
  Bytes last_payload() const {
    uint32_t length = 0;
    const Bytes& b = requests.back();
    const uint8_t* p = CXTransferValidate(b.data(), static_cast<uint32_t>(b.size()), &length);
    return p ? Bytes(p, p + length) : Bytes();
  }
  kern_return_t matching_services(std::string_view name, std::vector<std::string>& out) override {
    if (match_result == 0 && has_service) out.emplace_back(name);
    return match_result;
  }
  kern_return_t open(const std::string&,
                     std::unique_ptr<platform::UserClientConnection>& connection) override;
  kern_return_t open_interest(const std::string&,
                              std::unique_ptr<platform::InterestNotifier>&) override {
    return platform::kIOReturnUnsupported;
  }

  bool has_service = true, map_without_address = false, open_now = false;
  kern_return_t match_result = 0, open_result = 0, map_result = 0, unmap_result = 0,
                release_result = 0, transfer_result = 0;
  uint64_t max_buffer_size = 16 << 20;  // larger buffers are refused
  int buffers_left = 1000, opens = 0;   // creations before kIOReturnNoMemory
  int64_t failed_transfer_output = 0;   // the output scalar of a failing transfer
  std::function<int64_t(std::span<uint8_t> reply)> on_transfer;
  std::vector<uint64_t> created_sizes;
  std::vector<uint32_t> unmapped_types, released_types;
  std::vector<Bytes> requests;  // each transfer's request block
  std::map<uint32_t, Bytes> buffers;
  uint32_t next_type = 0x100;
};

namespace fake_user_client {

struct Mapping final : platform::MemoryMapping {
  Mapping(uint8_t* address, uint64_t size) : a(address), n(size) {}
  uint8_t* address() const override { return a; }
  uint64_t size() const override { return n; }
  uint8_t* a;
  uint64_t n;
};

struct Connection final : platform::UserClientConnection {
  explicit Connection(FakeUserClient& driver) : d(driver) { d.open_now = true; }
  ~Connection() override {
    d.open_now = false;
    d.buffers.clear();
  }
  kern_return_t call_scalar(uint32_t selector, std::span<const int64_t> in,
                            std::span<int64_t> out) override {
    if (selector == 0) {
      d.created_sizes.push_back(in[0]);
      if (d.buffers_left-- <= 0 || static_cast<uint64_t>(in[0]) > d.max_buffer_size)
        return platform::kIOReturnNoMemory;
      d.buffers[d.next_type].assign(in[0], 0);
      out[0] = d.next_type++;
      return 0;
    }
    if (selector == 1) {
      d.released_types.push_back(static_cast<uint32_t>(in[0]));
      d.buffers.erase(static_cast<uint32_t>(in[0]));
      return d.release_result;
    }
    if (selector != 4) return platform::kIOReturnUnsupported;
    std::span<uint8_t> request = d.buffer(in[0]), reply = d.buffer(in[1]);
    const auto size = std::min<size_t>(load_be32(request.data()), request.size());
    d.requests.emplace_back(request.begin(), request.begin() + size);
    out[0] = d.transfer_result ? d.failed_transfer_output : d.on_transfer(reply);
    return d.transfer_result;
  }
  kern_return_t call_struct(uint32_t, std::span<const uint8_t>, std::span<uint8_t>,
                            std::size_t&) override {
    return platform::kIOReturnUnsupported;
  }
  kern_return_t map_memory(uint32_t type, std::unique_ptr<platform::MemoryMapping>& m) override {
    if (d.map_result) return d.map_result;
    std::span<uint8_t> b = d.buffer(type);
    m = std::make_unique<Mapping>(d.map_without_address ? nullptr : b.data(), b.size());
    return 0;
  }
  kern_return_t unmap_memory(uint32_t type, std::unique_ptr<platform::MemoryMapping>) override {
    d.unmapped_types.push_back(type);
    return d.unmap_result;
  }
  FakeUserClient& d;
};

}  // namespace fake_user_client

inline kern_return_t FakeUserClient::open(
    const std::string&, std::unique_ptr<platform::UserClientConnection>& connection) {
  ++opens;
  if (open_result == 0) connection = std::make_unique<fake_user_client::Connection>(*this);
  return open_result;
}

}  // namespace cx::test
