#include "platform/linux/uc_frame.h"

#include <algorithm>
#include <cstring>

#include "util/byte_order.h"

namespace cx::uc {
namespace {

void store_head(uint8_t* out, std::size_t length, uint32_t opcode) {
  store_be32(out, static_cast<uint32_t>(length));
  store_be32(out + 4, opcode);
}

void store_i32(uint8_t* p, int32_t v) {
  store_be32(p, static_cast<uint32_t>(v));
}
void store_i64(uint8_t* p, int64_t v) {
  store_be64(p, static_cast<uint64_t>(v));
}
int32_t load_i32(const uint8_t* p) {
  return static_cast<int32_t>(load_be32(p));
}
int64_t load_i64(const uint8_t* p) {
  return static_cast<int64_t>(load_be64(p));
}

}  // namespace

Header load_header(const uint8_t* frame) {
  return {load_be32(frame), load_be32(frame + 4)};
}

std::size_t encode_hello(uint8_t* out, uint32_t kind) {
  store_head(out, kHelloSize, kOpHello);
  store_be32(out + 8, kMagic);
  store_be32(out + 12, kVersion);
  store_be32(out + 16, kind);
  return kHelloSize;
}

std::size_t encode_status_reply(uint8_t* out, uint32_t opcode, int32_t kern_return) {
  store_head(out, kStatusReplySize, opcode);
  store_i32(out + 8, kern_return);
  return kStatusReplySize;
}

std::size_t encode_scalar_call(uint8_t* out, uint32_t selector, std::span<const int64_t> in,
                               uint32_t n_out) {
  const std::size_t size = scalar_call_size(in.size());
  store_head(out, size, kOpCallScalar);
  store_be32(out + 8, selector);
  store_be32(out + 12, static_cast<uint32_t>(in.size()));
  store_be32(out + 16, n_out);
  for (std::size_t i = 0; i < in.size(); ++i) store_i64(out + 20 + 8 * i, in[i]);
  return size;
}

std::size_t encode_scalar_reply(uint8_t* out, int32_t kern_return,
                                std::span<const int64_t> values) {
  const std::size_t size = scalar_reply_size(values.size());
  store_head(out, size, kOpCallScalar | kReplyBit);
  store_i32(out + 8, kern_return);
  store_be32(out + 12, static_cast<uint32_t>(values.size()));
  for (std::size_t i = 0; i < values.size(); ++i) store_i64(out + 16 + 8 * i, values[i]);
  return size;
}

std::size_t encode_struct_call_head(uint8_t* out, uint32_t selector, uint32_t in_len,
                                    uint32_t out_max) {
  store_head(out, kStructCallHead + in_len, kOpCallStruct);
  store_be32(out + 8, selector);
  store_be32(out + 12, in_len);
  store_be32(out + 16, out_max);
  return kStructCallHead;
}

std::size_t encode_struct_reply_head(uint8_t* out, int32_t kern_return, uint32_t out_len) {
  store_head(out, kStructReplyHead + out_len, kOpCallStruct | kReplyBit);
  store_i32(out + 8, kern_return);
  store_be32(out + 12, out_len);
  return kStructReplyHead;
}

std::size_t encode_memory_call(uint8_t* out, uint32_t opcode, uint32_t memory_type) {
  store_head(out, kMemoryCallSize, opcode);
  store_be32(out + 8, memory_type);
  return kMemoryCallSize;
}

std::size_t encode_map_reply(uint8_t* out, int32_t kern_return, uint64_t size) {
  store_head(out, kMapReplySize, kOpMapMemory | kReplyBit);
  store_i32(out + 8, kern_return);
  store_be64(out + 12, size);
  return kMapReplySize;
}

std::size_t encode_notify(uint8_t* out, uint32_t type, uint64_t argument) {
  store_head(out, kNotifySize, kOpNotify);
  store_be32(out + 8, type);
  store_be64(out + 12, argument);
  return kNotifySize;
}

bool decode_hello(std::span<const uint8_t> frame, Hello& out) {
  if (frame.size() != kHelloSize) return false;
  out = {load_be32(&frame[8]), load_be32(&frame[12]), load_be32(&frame[16])};
  return true;
}

bool decode_status_reply(std::span<const uint8_t> frame, int32_t& kern_return) {
  if (frame.size() != kStatusReplySize) return false;
  kern_return = load_i32(&frame[8]);
  return true;
}

bool decode_scalar_call(std::span<const uint8_t> frame, ScalarCall& out) {
  if (frame.size() < scalar_call_size(0)) return false;
  out.selector = load_be32(&frame[8]);
  out.n_in = load_be32(&frame[12]);
  out.n_out = load_be32(&frame[16]);
  if (out.n_in > kMaxScalars || out.n_out > kMaxScalars) return false;
  if (frame.size() != scalar_call_size(out.n_in)) return false;
  for (std::size_t i = 0; i < out.n_in; ++i) out.in[i] = load_i64(&frame[20 + 8 * i]);
  return true;
}

bool decode_scalar_reply(std::span<const uint8_t> frame, ScalarReply& out) {
  if (frame.size() < scalar_reply_size(0)) return false;
  out.kern_return = load_i32(&frame[8]);
  out.n_out = load_be32(&frame[12]);
  if (out.n_out > kMaxScalars || frame.size() != scalar_reply_size(out.n_out)) return false;
  for (std::size_t i = 0; i < out.n_out; ++i) out.out[i] = load_i64(&frame[16 + 8 * i]);
  return true;
}

bool decode_struct_call(std::span<const uint8_t> frame, StructCall& out) {
  if (frame.size() < kStructCallHead) return false;
  const uint32_t in_len = load_be32(&frame[12]);
  if (frame.size() - kStructCallHead != in_len) return false;
  out.selector = load_be32(&frame[8]);
  out.out_max = load_be32(&frame[16]);
  out.in = frame.subspan(kStructCallHead);
  return true;
}

bool decode_struct_reply(std::span<const uint8_t> frame, StructReply& out) {
  if (frame.size() < kStructReplyHead) return false;
  const uint32_t out_len = load_be32(&frame[12]);
  if (frame.size() - kStructReplyHead != out_len) return false;
  out.kern_return = load_i32(&frame[8]);
  out.out = frame.subspan(kStructReplyHead);
  return true;
}

bool decode_memory_call(std::span<const uint8_t> frame, uint32_t& memory_type) {
  if (frame.size() != kMemoryCallSize) return false;
  memory_type = load_be32(&frame[8]);
  return true;
}

bool decode_map_reply(std::span<const uint8_t> frame, MapReply& out) {
  if (frame.size() != kMapReplySize) return false;
  out = {load_i32(&frame[8]), load_be64(&frame[12])};
  return true;
}

bool decode_notify(std::span<const uint8_t> frame, Notify& out) {
  if (frame.size() != kNotifySize) return false;
  out = {load_be32(&frame[8]), load_be64(&frame[12])};
  return true;
}

FrameAssembler::FrameAssembler(std::size_t max_length, std::size_t capacity)
    : max_length_(max_length), capacity_(std::max(capacity, max_length)) {}

std::span<uint8_t> FrameAssembler::free_space() {
  if (buffer_.empty()) buffer_.resize(capacity_);
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  return std::span<uint8_t>(buffer_).subspan(end_);
}

void FrameAssembler::commit(std::size_t n) {
  end_ += std::min(n, buffer_.size() - end_);
}

FrameAssembler::Result FrameAssembler::next(std::span<const uint8_t>& frame) {
  const std::size_t have = end_ - begin_;
  if (have < kHeaderSize) return Result::NeedMore;
  const uint32_t length = load_be32(buffer_.data() + begin_);
  if (length < kHeaderSize || length > max_length_) return Result::Malformed;
  if (have < length) return Result::NeedMore;
  frame = std::span<const uint8_t>(buffer_.data() + begin_, length);
  begin_ += length;
  return Result::Frame;
}

}  // namespace cx::uc
