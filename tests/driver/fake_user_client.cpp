#include "tests/driver/fake_user_client.h"

#include <algorithm>

#include "driver/transfer_block.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

class FakeMapping final : public platform::MemoryMapping {
 public:
  FakeMapping(uint8_t* address, uint64_t size) : address_(address), size_(size) {}
  uint8_t* address() const override { return address_; }
  uint64_t size() const override { return size_; }

 private:
  uint8_t* address_;
  uint64_t size_;
};

}  // namespace

class FakeDriver::Connection final : public platform::UserClientConnection {
 public:
  explicit Connection(FakeDriver& driver) : d_(driver) { d_.open_now = true; }
  ~Connection() override {
    d_.open_now = false;
    d_.buffers_.clear();
  }

  platform::kern_return_t call_scalar(uint32_t selector, std::span<const int64_t> in,
                                      std::span<int64_t> out) override {
    switch (selector) {
      case 0: {
        const auto size = static_cast<uint64_t>(in[0]);
        d_.created_sizes.push_back(size);
        if (d_.buffers_left-- <= 0 || size > d_.max_buffer_size) return platform::kIOReturnNoMemory;
        const uint32_t type = d_.next_type_++;
        d_.buffers_[type].assign(size, 0);
        out[0] = type;
        return platform::kIOReturnSuccess;
      }
      case 1:
        d_.released_types.push_back(static_cast<uint32_t>(in[0]));
        d_.buffers_.erase(static_cast<uint32_t>(in[0]));
        return d_.release_result;
      case 2: {
        if (d_.flattened_result != platform::kIOReturnSuccess) return d_.flattened_result;
        std::span<uint8_t> request = d_.buffer(static_cast<uint32_t>(in[0]));
        std::span<uint8_t> reply = d_.buffer(static_cast<uint32_t>(in[1]));
        const uint32_t size = load_be32(request.data());
        d_.flattened_request.assign(request.begin(), request.begin() + size);
        // Answers with the record's payload reversed.
        store_be32(reply.data(), size);
        std::reverse_copy(request.begin() + 4, request.begin() + size, reply.begin() + 4);
        out[0] = 0;
        return platform::kIOReturnSuccess;
      }
      case 4: {
        std::span<uint8_t> request = d_.buffer(static_cast<uint32_t>(in[0]));
        const auto length = std::min<size_t>(load_be32(request.data()), request.size());
        d_.requests.emplace_back(request.begin(), request.begin() + length);
        if (d_.transfer_result != platform::kIOReturnSuccess) {
          out[0] = d_.failed_transfer_output;
          return d_.transfer_result;
        }
        out[0] = d_.transfer(request, d_.buffer(static_cast<uint32_t>(in[1])));
        return platform::kIOReturnSuccess;
      }
      default:
        return platform::kIOReturnUnsupported;
    }
  }

  platform::kern_return_t call_struct(uint32_t, std::span<const uint8_t>, std::span<uint8_t>,
                                      std::size_t&) override {
    return platform::kIOReturnUnsupported;
  }

  platform::kern_return_t map_memory(uint32_t memory_type,
                                     std::unique_ptr<platform::MemoryMapping>& mapping) override {
    if (d_.map_result != platform::kIOReturnSuccess) return d_.map_result;
    std::span<uint8_t> b = d_.buffer(memory_type);
    mapping = std::make_unique<FakeMapping>(d_.map_without_address ? nullptr : b.data(), b.size());
    return platform::kIOReturnSuccess;
  }

  platform::kern_return_t unmap_memory(uint32_t memory_type,
                                       std::unique_ptr<platform::MemoryMapping>) override {
    d_.unmapped_types.push_back(memory_type);
    return d_.unmap_result;
  }

 private:
  FakeDriver& d_;
};

void FakeDriver::answer(int16_t status, std::vector<uint8_t> data) {
  on_transfer = nullptr;
  answer_status_ = status;
  answer_data_ = std::move(data);
}

int64_t FakeDriver::transfer(std::span<const uint8_t> request, std::span<uint8_t> reply) {
  if (on_transfer) return on_transfer(request, reply);
  return reply_block(reply, answer_status_, answer_data_);
}

int64_t FakeDriver::reply_block(std::span<uint8_t> reply, int16_t status,
                                std::span<const uint8_t> data) {
  std::vector<uint8_t> block(data.size() + 8);
  CXTransferContext ctx;
  CXTransferStartWithResult(&ctx, block.data(), static_cast<uint32_t>(block.size()));
  CXTransferAdd(&ctx, data.data(), static_cast<uint32_t>(data.size()));
  const uint32_t length = CXTransferEndWithResult(&ctx, status);
  if (length < reply.size()) std::copy_n(block.begin(), length, reply.begin());
  return length;
}

std::vector<uint8_t> FakeDriver::last_payload() const {
  if (requests.empty()) return {};
  const std::vector<uint8_t>& block = requests.back();
  uint32_t length = 0;
  const uint8_t* payload =
      CXTransferValidate(block.data(), static_cast<uint32_t>(block.size()), &length);
  if (!payload) return {};
  return {payload, payload + length};
}

std::span<uint8_t> FakeDriver::buffer(uint32_t memory_type) {
  auto it = buffers_.find(memory_type);
  if (it == buffers_.end()) return {};
  return it->second;
}

platform::kern_return_t FakeDriver::matching_services(std::string_view class_name,
                                                      std::vector<std::string>& services) {
  if (match_result != platform::kIOReturnSuccess) return match_result;
  if (has_service) services.emplace_back(class_name);
  return platform::kIOReturnSuccess;
}

platform::kern_return_t FakeDriver::open(
    const std::string&, std::unique_ptr<platform::UserClientConnection>& connection) {
  ++opens;
  if (open_result != platform::kIOReturnSuccess) return open_result;
  connection = std::make_unique<Connection>(*this);
  return platform::kIOReturnSuccess;
}

platform::kern_return_t FakeDriver::open_interest(const std::string&,
                                                  std::unique_ptr<platform::InterestNotifier>&) {
  return platform::kIOReturnUnsupported;
}

std::vector<uint8_t> bytes(std::initializer_list<int> values) {
  std::vector<uint8_t> out;
  for (int v : values) out.push_back(static_cast<uint8_t>(v));
  return out;
}

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace cx::test
