// Frames of the driver's user-client socket, shared by the agent's side and
// the reference driver: big-endian length and opcode, then a body of
// big-endian fields. Encoders write whole frames into a caller's buffer;
// decoders take one whole frame and check its body size and limits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace cx::uc {

inline constexpr uint32_t kMagic = 0x43585543;  // "CXUC"
inline constexpr uint32_t kVersion = 1;
inline constexpr uint32_t kKindUserClient = 1;
inline constexpr uint32_t kKindInterest = 2;

inline constexpr uint32_t kOpHello = 0x01;
inline constexpr uint32_t kOpCallScalar = 0x02;
inline constexpr uint32_t kOpCallStruct = 0x03;
inline constexpr uint32_t kOpMapMemory = 0x04;
inline constexpr uint32_t kOpUnmapMemory = 0x05;
inline constexpr uint32_t kOpNotify = 0x90;
// A reply's opcode is its request's with this bit set.
inline constexpr uint32_t kReplyBit = 0x80;

inline constexpr std::size_t kHeaderSize = 8;
inline constexpr std::size_t kMaxFrame = 65536;
inline constexpr std::size_t kMaxScalars = 16;

inline constexpr std::size_t kHelloSize = 20;
inline constexpr std::size_t kStatusReplySize = 12;  // HELLO_REPLY and UNMAP_MEMORY's reply
inline constexpr std::size_t kMemoryCallSize = 12;   // MAP_MEMORY and UNMAP_MEMORY
inline constexpr std::size_t kMapReplySize = 20;
inline constexpr std::size_t kNotifySize = 20;
inline constexpr std::size_t kStructCallHead = 20;
inline constexpr std::size_t kStructReplyHead = 16;
inline constexpr std::size_t kMaxStructIn = kMaxFrame - kStructCallHead;
inline constexpr std::size_t kMaxStructOut = kMaxFrame - kStructReplyHead;

constexpr std::size_t scalar_call_size(std::size_t n_in) {
  return 20 + 8 * n_in;
}
constexpr std::size_t scalar_reply_size(std::size_t n_out) {
  return 16 + 8 * n_out;
}
inline constexpr std::size_t kMaxScalarCallSize = scalar_call_size(kMaxScalars);
inline constexpr std::size_t kMaxScalarReplySize = scalar_reply_size(kMaxScalars);

struct Header {
  uint32_t length;
  uint32_t opcode;
};

Header load_header(const uint8_t* frame);
constexpr bool valid_length(uint32_t length) {
  return length >= kHeaderSize && length <= kMaxFrame;
}

struct Hello {
  uint32_t magic;
  uint32_t version;
  uint32_t kind;
};
struct ScalarCall {
  uint32_t selector;
  uint32_t n_in;
  uint32_t n_out;
  std::array<int64_t, kMaxScalars> in;
};
struct ScalarReply {
  int32_t kern_return;
  uint32_t n_out;
  std::array<int64_t, kMaxScalars> out;
};
struct StructCall {
  uint32_t selector;
  uint32_t out_max;
  std::span<const uint8_t> in;  // points into the frame
};
struct StructReply {
  int32_t kern_return;
  std::span<const uint8_t> out;  // points into the frame
};
struct MapReply {
  int32_t kern_return;
  uint64_t size;
};
struct Notify {
  uint32_t type;
  uint64_t argument;
};

// Each encoder returns the frame's length; `out` must hold at least that.
std::size_t encode_hello(uint8_t* out, uint32_t kind);
std::size_t encode_status_reply(uint8_t* out, uint32_t opcode, int32_t kern_return);
std::size_t encode_scalar_call(uint8_t* out, uint32_t selector, std::span<const int64_t> in,
                               uint32_t n_out);
std::size_t encode_scalar_reply(uint8_t* out, int32_t kern_return, std::span<const int64_t> values);
// The head of a CALL_STRUCT frame; the `in_len` input bytes follow it.
std::size_t encode_struct_call_head(uint8_t* out, uint32_t selector, uint32_t in_len,
                                    uint32_t out_max);
// The head of a CALL_STRUCT reply; the `out_len` output bytes follow it.
std::size_t encode_struct_reply_head(uint8_t* out, int32_t kern_return, uint32_t out_len);
std::size_t encode_memory_call(uint8_t* out, uint32_t opcode, uint32_t memory_type);
std::size_t encode_map_reply(uint8_t* out, int32_t kern_return, uint64_t size);
std::size_t encode_notify(uint8_t* out, uint32_t type, uint64_t argument);

// Each decoder takes one whole frame (its header's length equals
// frame.size()) and is false when the body has the wrong size or breaks a limit.
bool decode_hello(std::span<const uint8_t> frame, Hello& out);
bool decode_status_reply(std::span<const uint8_t> frame, int32_t& kern_return);
bool decode_scalar_call(std::span<const uint8_t> frame, ScalarCall& out);
bool decode_scalar_reply(std::span<const uint8_t> frame, ScalarReply& out);
bool decode_struct_call(std::span<const uint8_t> frame, StructCall& out);
bool decode_struct_reply(std::span<const uint8_t> frame, StructReply& out);
bool decode_memory_call(std::span<const uint8_t> frame, uint32_t& memory_type);
bool decode_map_reply(std::span<const uint8_t> frame, MapReply& out);
bool decode_notify(std::span<const uint8_t> frame, Notify& out);

// Cuts a received byte stream into frames. A length outside 8..max_length is
// refused as soon as the header is in, before any body is awaited, and
// nothing past the frame handed out is ever looked at.
class FrameAssembler {
 public:
  enum class Result { NeedMore, Frame, Malformed };

  FrameAssembler(std::size_t max_length, std::size_t capacity);

  // Where to receive the next bytes; empty only when a whole frame waits.
  std::span<uint8_t> free_space();
  void commit(std::size_t n);
  // On Frame, `frame` stays valid until the next call of any member.
  Result next(std::span<const uint8_t>& frame);
  bool has_bytes() const { return end_ > begin_; }

 private:
  std::size_t max_length_;
  std::size_t capacity_;
  std::vector<uint8_t> buffer_;  // allocated on first use
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace cx::uc
