// The request handler driven directly: requests framed with the agent's own
// transfer-block writer, replies checked with its reader.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "driver/transfer_block.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/request_handler.h"
#include "util/byte_order.h"

namespace cx::refdriver::testing {

// Big-endian parameter bytes, written field by field.
class Wire {
 public:
  Wire& u8(uint8_t v) {
    bytes_.push_back(v);
    return *this;
  }
  Wire& u16(uint16_t v) {
    bytes_.resize(bytes_.size() + 2);
    store_be16(&bytes_[bytes_.size() - 2], v);
    return *this;
  }
  Wire& u32(uint32_t v) {
    bytes_.resize(bytes_.size() + 4);
    store_be32(&bytes_[bytes_.size() - 4], v);
    return *this;
  }
  Wire& raw(std::span<const uint8_t> b) {
    bytes_.insert(bytes_.end(), b.begin(), b.end());
    return *this;
  }
  // With its NUL.
  Wire& str(std::string_view s) {
    bytes_.insert(bytes_.end(), s.begin(), s.end());
    bytes_.push_back(0);
    return *this;
  }
  operator std::span<const uint8_t>() const { return bytes_; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

class RecordingSink : public DriverSink {
 public:
  void notify(uint32_t code, uint64_t argument) override { messages.emplace_back(code, argument); }
  void log(std::string_view line) override { lines.emplace_back(line); }

  std::vector<std::pair<uint32_t, uint64_t>> messages;
  std::vector<std::string> lines;
};

struct Answer {
  bool valid = false;  // the reply was a valid transfer block
  int16_t status = 0;
  std::vector<uint8_t> data;
};

class Harness {
 public:
  static constexpr uint32_t kBuffer = 0x10000;

  // `pieces` are appended after the request code, as the agent's request
  // routine appends its parameters and data pieces.
  Answer call(uint32_t code, std::initializer_list<std::span<const uint8_t>> pieces = {}) {
    return call_as(peer, code, pieces);
  }
  Answer call_as(const ClientPeer& who, uint32_t code,
                 std::initializer_list<std::span<const uint8_t>> pieces) {
    std::vector<uint8_t> request(kBuffer);
    CXTransferContext ctx;
    CXTransferStartWithRequest(&ctx, request.data(), kBuffer, code);
    for (const auto& piece : pieces) {
      CXTransferAdd(&ctx, piece.data(), static_cast<uint32_t>(piece.size()));
    }
    EXPECT_LE(CXTransferEnd(&ctx), kBuffer);
    return send(who, request);
  }
  // A request buffer as it stands.
  Answer send(const ClientPeer& who, std::span<const uint8_t> request) {
    std::vector<uint8_t> reply(kBuffer);
    const int64_t length = handler.transfer(who, request, reply);
    Answer a;
    uint32_t data_length = 0;
    const uint8_t* data =
        CXTransferValidateWithResult(reply.data(), kBuffer, &data_length, &a.status);
    a.valid = data != nullptr && length == CXTransferBlockLength(reply.data());
    if (data) a.data.assign(data, data + data_length);
    return a;
  }

  uint32_t clock = 5000;
  DriverState state{[this] { return clock; }};
  RecordingSink sink;
  RequestHandler handler{state, sink};
  ClientPeer peer{1, 1000, 42};
};

}  // namespace cx::refdriver::testing
