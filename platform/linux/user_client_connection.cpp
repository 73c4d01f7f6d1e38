#include "platform/linux/user_client_connection.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

namespace cx::uc {
namespace {

using platform::kern_return_t;
using platform::kIOReturnBadArgument;
using platform::kIOReturnError;
using platform::kIOReturnNoDevice;
using platform::kIOReturnNoMemory;
using platform::kIOReturnSuccess;

class SocketMapping final : public platform::MemoryMapping {
 public:
  SocketMapping(uint8_t* address, uint64_t size) : address_(address), size_(size) {}
  ~SocketMapping() override { munmap(address_, size_); }
  SocketMapping(const SocketMapping&) = delete;
  SocketMapping& operator=(const SocketMapping&) = delete;

  uint8_t* address() const override { return address_; }
  uint64_t size() const override { return size_; }

 private:
  uint8_t* address_;
  uint64_t size_;
};

}  // namespace

kern_return_t SocketConnection::fail(kern_return_t kr) {
  dead_ = true;
  fd_.reset();
  return kr;
}

kern_return_t SocketConnection::exchange(iovec* iov, std::size_t count, std::span<uint8_t> buffer,
                                         uint32_t opcode, std::span<const uint8_t>& reply,
                                         UniqueFd* passed) {
  if (dead_) return kIOReturnNoDevice;
  if (!send_all(fd_.get(), iov, count)) return fail(kIOReturnNoDevice);
  switch (receive_reply(fd_.get(), buffer, opcode | kReplyBit, reply, passed)) {
    case ReplyStatus::Ok:
      return kIOReturnSuccess;
    case ReplyStatus::PeerGone:
      return fail(kIOReturnNoDevice);
    case ReplyStatus::Malformed:
      break;
  }
  return fail(kIOReturnError);
}

kern_return_t SocketConnection::call_scalar(uint32_t selector, std::span<const int64_t> in,
                                            std::span<int64_t> out) {
  if (in.size() > kMaxScalars || out.size() > kMaxScalars) return kIOReturnBadArgument;
  const auto n_out = static_cast<uint32_t>(out.size());
  iovec iov{request_.data(), encode_scalar_call(request_.data(), selector, in, n_out)};
  std::span<const uint8_t> frame;
  const kern_return_t kr =
      exchange(&iov, 1, std::span(reply_).first(scalar_reply_size(n_out)), kOpCallScalar, frame);
  if (kr != kIOReturnSuccess) return kr;
  ScalarReply reply;
  if (!decode_scalar_reply(frame, reply)) return fail(kIOReturnError);
  std::copy_n(reply.out.begin(), reply.n_out, out.begin());
  return reply.kern_return;
}

kern_return_t SocketConnection::call_struct(uint32_t selector, std::span<const uint8_t> in,
                                            std::span<uint8_t> out, std::size_t& out_len) {
  out_len = 0;
  if (in.size() > kMaxStructIn) return kIOReturnBadArgument;
  const std::size_t out_max = std::min(out.size(), kMaxStructOut);
  if (struct_reply_.empty()) struct_reply_.resize(kMaxFrame);
  iovec iov[2] = {
      {request_.data(),
       encode_struct_call_head(request_.data(), selector, static_cast<uint32_t>(in.size()),
                               static_cast<uint32_t>(out_max))},
      {const_cast<uint8_t*>(in.data()), in.size()},
  };
  std::span<const uint8_t> frame;
  const kern_return_t kr =
      exchange(iov, in.empty() ? 1 : 2, std::span(struct_reply_).first(kStructReplyHead + out_max),
               kOpCallStruct, frame);
  if (kr != kIOReturnSuccess) return kr;
  StructReply reply;
  if (!decode_struct_reply(frame, reply)) return fail(kIOReturnError);
  std::copy(reply.out.begin(), reply.out.end(), out.begin());
  out_len = reply.out.size();
  return reply.kern_return;
}

kern_return_t SocketConnection::map_memory(uint32_t memory_type,
                                           std::unique_ptr<platform::MemoryMapping>& mapping) {
  iovec iov{request_.data(), encode_memory_call(request_.data(), kOpMapMemory, memory_type)};
  std::span<const uint8_t> frame;
  UniqueFd memory;
  const kern_return_t kr =
      exchange(&iov, 1, std::span(reply_).first(kMapReplySize), kOpMapMemory, frame, &memory);
  if (kr != kIOReturnSuccess) return kr;
  MapReply reply;
  if (!decode_map_reply(frame, reply)) return fail(kIOReturnError);
  if (reply.kern_return != kIOReturnSuccess) return reply.kern_return;
  if (!memory) return fail(kIOReturnError);
  // A buffer shorter than announced would fault on access rather than fail here.
  struct stat st {};
  if (fstat(memory.get(), &st) != 0 || reply.size == 0 ||
      static_cast<uint64_t>(st.st_size) < reply.size) {
    return kIOReturnError;
  }
  void* address = mmap(nullptr, reply.size, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0);
  if (address == MAP_FAILED) return kIOReturnNoMemory;
  mapping = std::make_unique<SocketMapping>(static_cast<uint8_t*>(address), reply.size);
  return kIOReturnSuccess;
}

kern_return_t SocketConnection::unmap_memory(uint32_t memory_type,
                                             std::unique_ptr<platform::MemoryMapping> mapping) {
  mapping.reset();
  iovec iov{request_.data(), encode_memory_call(request_.data(), kOpUnmapMemory, memory_type)};
  std::span<const uint8_t> frame;
  const kern_return_t kr =
      exchange(&iov, 1, std::span(reply_).first(kStatusReplySize), kOpUnmapMemory, frame);
  if (kr != kIOReturnSuccess) return kr;
  int32_t status = 0;
  if (!decode_status_reply(frame, status)) return fail(kIOReturnError);
  return status;
}

}  // namespace cx::uc
