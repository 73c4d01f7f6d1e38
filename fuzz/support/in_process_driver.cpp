#include "fuzz/support/in_process_driver.h"

#include <span>

#include "driver/driver_connection.h"

namespace cx::fuzz {
namespace {

class Mapping final : public platform::MemoryMapping {
 public:
  explicit Mapping(std::vector<uint8_t>& b) : b_(b) {}
  uint8_t* address() const override { return b_.data(); }
  uint64_t size() const override { return b_.size(); }

 private:
  std::vector<uint8_t>& b_;
};

class Connection final : public platform::UserClientConnection {
 public:
  explicit Connection(InProcessDriver& d) : d_(d) {}
  platform::kern_return_t call_scalar(uint32_t selector, std::span<const int64_t> in,
                                      std::span<int64_t> out) override {
    constexpr refdriver::ClientPeer kPeer{1, 0, 1};
    if (selector == driver_method::new_shared_memory) {
      if (in[0] <= 0 || in[0] > (16 << 20)) return platform::kIOReturnNoMemory;
      d_.buffers[d_.next_type].assign(static_cast<size_t>(in[0]), 0);
      out[0] = d_.next_type++;
      return 0;
    }
    if (selector == driver_method::release_shared_memory) {
      d_.buffers.erase(static_cast<uint32_t>(in[0]));
      return 0;
    }
    if (selector != driver_method::transfer_exchange) return platform::kIOReturnUnsupported;
    auto request = d_.buffers.find(static_cast<uint32_t>(in[0]));
    auto reply = d_.buffers.find(static_cast<uint32_t>(in[1]));
    if (request == d_.buffers.end() || reply == d_.buffers.end())
      return platform::kIOReturnBadArgument;
    out[0] = d_.handler_->transfer(kPeer, request->second, reply->second);
    return 0;
  }
  platform::kern_return_t call_struct(uint32_t, std::span<const uint8_t>, std::span<uint8_t>,
                                      std::size_t&) override {
    return platform::kIOReturnUnsupported;
  }
  platform::kern_return_t map_memory(uint32_t type,
                                     std::unique_ptr<platform::MemoryMapping>& m) override {
    auto it = d_.buffers.find(type);
    if (it == d_.buffers.end()) return platform::kIOReturnBadArgument;
    m = std::make_unique<Mapping>(it->second);
    return 0;
  }
  platform::kern_return_t unmap_memory(uint32_t,
                                       std::unique_ptr<platform::MemoryMapping>) override {
    return 0;
  }

 private:
  InProcessDriver& d_;
};

}  // namespace

void InProcessDriver::reset() {
  state_ = std::make_unique<refdriver::DriverState>([] { return 0u; });
  handler_ = std::make_unique<refdriver::RequestHandler>(*state_, sink_);
}

platform::kern_return_t InProcessDriver::matching_services(std::string_view name,
                                                           std::vector<std::string>& out) {
  out.emplace_back(name);
  return 0;
}

platform::kern_return_t InProcessDriver::open(const std::string&,
                                              std::unique_ptr<platform::UserClientConnection>& c) {
  c = std::make_unique<Connection>(*this);
  return 0;
}

InProcessDriver& in_process_driver() {
  static InProcessDriver d;
  static const bool installed = (platform::set_user_client_service(&d), true);
  (void)installed;
  return d;
}

}  // namespace cx::fuzz
