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
#include "model/act_item.h"
#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/driver_status.h"
#include "refdriver/request_codes.h"
#include "refdriver/request_handler.h"
#include "util/byte_order.h"

namespace cx::refdriver::testing {

using Bytes = std::vector<uint8_t>;
namespace rq = request;

// Big-endian parameter bytes, written field by field.
class Wire {
 public:
  Wire& u8(uint8_t v) { return be(v, 1); }
  Wire& u16(uint16_t v) { return be(v, 2); }
  Wire& u32(uint32_t v) { return be(v, 4); }
  Wire& raw(std::span<const uint8_t> b) {
    bytes_.insert(bytes_.end(), b.begin(), b.end());
    return *this;
  }
  // With its NUL.
  Wire& str(std::string_view s) { return raw(Bytes(s.begin(), s.end())).u8(0); }
  operator std::span<const uint8_t>() const { return bytes_; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  Wire& be(uint32_t v, int n) {
    while (n-- > 0) bytes_.push_back(static_cast<uint8_t>(v >> (8 * n)));
    return *this;
  }
  std::vector<uint8_t> bytes_;
};

// Button b under modifiers `mods`, menu entry `entry`.
inline Wire button(uint8_t b, uint8_t mods, uint16_t entry = 0) {
  return std::move(Wire().u8(b).u8(mods).u16(entry));
}
// CXAccessGlobalData / CXAccessAppData parameters.
inline Wire record_write(uint16_t index, std::span<const uint8_t> data) {
  return std::move(Wire().u32(static_cast<uint32_t>(data.size())).u16(index).u8(1).u8(0).raw(data));
}
inline Wire record_read(uint16_t index, uint32_t length) {
  return std::move(Wire().u32(length).u16(index).u8(2).u8(0));
}
// `uid` claimed (state 2) or given up (1) as the active user.
inline Wire claim(uint32_t uid, uint16_t state = 2) {
  return record_write(98, Wire().u32(uid).u16(state).u16(0));
}
// CurrentEditApp's key and name.
inline Wire edit(std::string_view key, std::string_view name) {
  return std::move(Wire().str(key).str(name));
}

// Items in wire form; `linked` sets every link but the last, as a sender does.
inline Bytes items_wire(std::initializer_list<act_item> items, bool linked = false) {
  Bytes out(items.size() * kActItemWireSize);
  size_t i = 0;
  for (act_item item : items) {
    act_item next{};
    item.link = linked && i + 1 < items.size() ? &next : nullptr;
    encode_act_item(item, &out[i++ * kActItemWireSize]);
  }
  return out;
}

// Response blocks from the agent's builders.
template <typename Builder, typename... Args>
Bytes block(Builder builder, Args... args) {
  Bytes b(4096);  // zero-filled, so the unwritten pad byte is 0
  b.resize(builder(b.data(), 4096, args...));
  return b;
}
inline Bytes click_block(uint8_t b, uint8_t m = 0) {
  return block(build_click_response_block, m, b, 0, false);
}
inline Bytes url_block(uint8_t b, int entry, const char* url) {
  return block(build_launch_url_response_block, uint8_t{0}, b, entry, b >= 18, url);
}
inline Bytes menu_block(uint8_t b, uint16_t n) {
  return block(build_menu_response_block, uint8_t{0}, b, true, n, "");
}
inline Bytes home_block(uint8_t b, int entry) {
  return block(build_actlist_response_block, uint8_t{0}, b, entry, true, home_page_actlist.data(),
               uint16_t{1}, "Home");
}
inline Bytes cat(std::initializer_list<Bytes> pieces) {
  Bytes out;
  for (const Bytes& b : pieces) out.insert(out.end(), b.begin(), b.end());
  return out;
}

// One request and the status it must be answered with.
struct Step {
  uint32_t code;
  Wire params;
  int16_t status;
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

  Harness() = default;
  // Claims of the active user decided by `sessions`.
  explicit Harness(ConsoleSessions* sessions) : handler{state, sink, false, sessions} {}

  // `pieces` are appended after the request code, as the agent's request
  // routine appends its parameters and data pieces.
  Answer call(uint32_t code, std::initializer_list<std::span<const uint8_t>> pieces = {}) {
    return call_as(peer, code, pieces);
  }
  Answer call_as(const ClientPeer& who, uint32_t code,
                 std::initializer_list<std::span<const uint8_t>> pieces) {
    return send(who, request(code, pieces));
  }
  // A request buffer of kBuffer bytes, as the agent's request routine fills it.
  static Bytes request(uint32_t code, std::initializer_list<std::span<const uint8_t>> pieces = {}) {
    Bytes request(kBuffer);
    CXTransferContext ctx;
    CXTransferStartWithRequest(&ctx, request.data(), kBuffer, code);
    for (const auto& piece : pieces) {
      CXTransferAdd(&ctx, piece.data(), static_cast<uint32_t>(piece.size()));
    }
    EXPECT_LE(CXTransferEnd(&ctx), kBuffer);
    return request;
  }
  Bytes data(uint32_t code, const Wire& params = {}) { return call(code, {params}).data; }
  // Runs the steps in order as `who` (the harness's own peer when null).
  void steps(std::initializer_list<Step> list, const ClientPeer* who = nullptr) {
    int row = 0;
    for (const Step& s : list) {
      SCOPED_TRACE(::testing::Message() << "step " << row++ << ": "
                                        << (s.code < rq::count ? kRequestNames[s.code] : "?"));
      EXPECT_EQ(call_as(who ? *who : peer, s.code, {s.params}).status, s.status);
    }
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
