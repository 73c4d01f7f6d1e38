// A driver behind the user-client interface, inside the test process:
// buffers are heap blocks, every call is recorded, and failures and
// transfer replies are set by the test.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/user_client.h"

namespace cx::test {

class FakeDriver final : public platform::UserClientService {
 public:
  using TransferHandler =
      std::function<int64_t(std::span<const uint8_t> request, std::span<uint8_t> reply)>;

  // Knobs.
  bool has_service = true;
  platform::kern_return_t match_result = platform::kIOReturnSuccess;
  platform::kern_return_t open_result = platform::kIOReturnSuccess;
  uint64_t max_buffer_size = 16 << 20;  // larger buffers are refused
  int buffers_left = 1000;              // creations before kIOReturnNoMemory
  platform::kern_return_t map_result = platform::kIOReturnSuccess;
  bool map_without_address = false;
  platform::kern_return_t unmap_result = platform::kIOReturnSuccess;
  platform::kern_return_t release_result = platform::kIOReturnSuccess;
  // A failing transfer call: its kern_return and output scalar.
  platform::kern_return_t transfer_result = platform::kIOReturnSuccess;
  int64_t failed_transfer_output = 0;
  platform::kern_return_t flattened_result = platform::kIOReturnSuccess;

  // Every later transfer answers a reply block with this status and data.
  void answer(int16_t status, std::vector<uint8_t> data = {});
  // Or the test answers itself.
  TransferHandler on_transfer;
  // Writes a reply block into `reply` when it fits; its full length.
  static int64_t reply_block(std::span<uint8_t> reply, int16_t status,
                             std::span<const uint8_t> data);

  // What happened.
  int opens = 0;
  bool open_now = false;
  std::vector<uint64_t> created_sizes;
  std::vector<uint32_t> unmapped_types;
  std::vector<uint32_t> released_types;
  std::vector<std::vector<uint8_t>> requests;  // each transfer's request block
  std::vector<uint8_t> flattened_request;      // the last flattened record sent
  int transfers() const { return static_cast<int>(requests.size()); }
  // The payload of the last request block (code, parameters, data), checked
  // as a transfer block; empty when it was not valid.
  std::vector<uint8_t> last_payload() const;

  // The driver's view of a buffer.
  std::span<uint8_t> buffer(uint32_t memory_type);

  // platform::UserClientService
  platform::kern_return_t matching_services(std::string_view class_name,
                                            std::vector<std::string>& services) override;
  platform::kern_return_t open(
      const std::string& service,
      std::unique_ptr<platform::UserClientConnection>& connection) override;
  platform::kern_return_t open_interest(
      const std::string& service, std::unique_ptr<platform::InterestNotifier>& notifier) override;

 private:
  class Connection;
  friend class Connection;

  int64_t transfer(std::span<const uint8_t> request, std::span<uint8_t> reply);

  std::map<uint32_t, std::vector<uint8_t>> buffers_;
  uint32_t next_type_ = 0x100;
  int16_t answer_status_ = 0;
  std::vector<uint8_t> answer_data_;
};

// The bytes of a request payload or reply, written compactly in tests.
std::vector<uint8_t> bytes(std::initializer_list<int> values);
std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b);

}  // namespace cx::test
