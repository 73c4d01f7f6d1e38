#include "refdriver/uc_session.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace cx::refdriver {
namespace {

using platform::kern_return_t;
using platform::kIOReturnBadArgument;
using platform::kIOReturnError;
using platform::kIOReturnNoMemory;
using platform::kIOReturnSuccess;
using platform::kIOReturnUnsupported;

// Selectors of the mouse driver's scalar methods.
constexpr uint32_t kCreateBuffer = 0;
constexpr uint32_t kReleaseBuffer = 1;
constexpr uint32_t kFlattenedExchange = 2;
constexpr uint32_t kTransferExchange = 4;

// The ADBID32Mouse structure method and its input size.
constexpr uint32_t kAdbMethod = 0;
constexpr std::size_t kAdbInputSize = 4;

bool counts_are(const uc::ScalarCall& call, uint32_t n_in, uint32_t n_out) {
  return call.n_in == n_in && call.n_out == n_out;
}

}  // namespace

UcSession::~UcSession() {
  refund(buffer_bytes_);
}

void UcSession::refund(std::size_t bytes) {
  buffer_bytes_ -= bytes;
  const auto it = context_.buffer_bytes_by_uid.find(peer_.uid);
  if (it == context_.buffer_bytes_by_uid.end()) return;
  it->second -= bytes;
  if (it->second == 0) context_.buffer_bytes_by_uid.erase(it);
}

UcSession::Verdict UcSession::handle(std::span<const uint8_t> frame, Reply& reply) {
  reply.length = 0;
  reply.fd = -1;
  const uint32_t opcode = uc::load_header(frame.data()).opcode;
  switch (state_) {
    case State::Greeting:
      return opcode == uc::kOpHello ? hello(frame, reply) : Verdict::Close;
    case State::Interest:
      return Verdict::Close;  // after its greeting that client only reads
    case State::UserClient:
      break;
  }
  switch (opcode) {
    case uc::kOpCallScalar:
      return call_scalar(frame, reply);
    case uc::kOpCallStruct:
      return call_struct(frame, reply);
    case uc::kOpMapMemory:
      return map_memory(frame, reply);
    case uc::kOpUnmapMemory:
      return unmap_memory(frame, reply);
    default:
      return Verdict::Close;
  }
}

UcSession::Verdict UcSession::hello(std::span<const uint8_t> frame, Reply& reply) {
  uc::Hello hello;
  if (!uc::decode_hello(frame, hello)) return Verdict::Close;
  kern_return_t kr = kIOReturnSuccess;
  if (hello.magic != uc::kMagic) {
    kr = kIOReturnBadArgument;
  } else if (hello.version != uc::kVersion) {
    kr = kIOReturnUnsupported;
  } else if (hello.kind == uc::kKindUserClient) {
    state_ = State::UserClient;
  } else if (hello.kind == uc::kKindInterest) {
    // Only the mouse driver posts messages.
    if (kind_ == ServiceKind::MouseDriver) {
      state_ = State::Interest;
    } else {
      kr = kIOReturnUnsupported;
    }
  } else {
    kr = kIOReturnBadArgument;
  }
  reply.length = uc::encode_status_reply(reply.bytes.data(), uc::kOpHello | uc::kReplyBit, kr);
  return kr == kIOReturnSuccess ? Verdict::Continue : Verdict::CloseAfterReply;
}

UcSession::Verdict UcSession::call_scalar(std::span<const uint8_t> frame, Reply& reply) {
  uc::ScalarCall call;
  if (!uc::decode_scalar_call(frame, call)) return Verdict::Close;
  std::optional<int64_t> out;
  kern_return_t kr = kIOReturnUnsupported;
  if (kind_ == ServiceKind::MouseDriver) {
    switch (call.selector) {
      case kCreateBuffer:
        kr = counts_are(call, 1, 1) ? create_buffer(call.in[0], out) : kIOReturnBadArgument;
        break;
      case kReleaseBuffer:
        kr = counts_are(call, 1, 1) ? release_buffer(call.in[0], out) : kIOReturnBadArgument;
        break;
      case kFlattenedExchange:
      case kTransferExchange:
        kr = counts_are(call, 2, 1) ? exchange(call, out) : kIOReturnBadArgument;
        break;
      default:
        break;
    }
  }
  const std::span<const int64_t> values =
      out ? std::span<const int64_t>(&*out, 1) : std::span<const int64_t>();
  reply.length = uc::encode_scalar_reply(reply.bytes.data(), kr, values);
  return Verdict::Continue;
}

UcSession::Verdict UcSession::call_struct(std::span<const uint8_t> frame, Reply& reply) {
  uc::StructCall call;
  if (!uc::decode_struct_call(frame, call)) return Verdict::Close;
  kern_return_t kr = kIOReturnUnsupported;
  if (kind_ == ServiceKind::AdbMouse && call.selector == kAdbMethod) {
    kr = call.in.size() == kAdbInputSize
             ? context_.handler.adb_method(peer_, instance_, call.in.first<kAdbInputSize>())
             : kIOReturnBadArgument;
  }
  reply.length = uc::encode_struct_reply_head(reply.bytes.data(), kr, 0);
  return Verdict::Continue;
}

UcSession::Verdict UcSession::map_memory(std::span<const uint8_t> frame, Reply& reply) {
  uint32_t memory_type = 0;
  if (!uc::decode_memory_call(frame, memory_type)) return Verdict::Close;
  const SharedBuffer* buffer = find(memory_type);
  if (!buffer) {
    reply.length = uc::encode_map_reply(reply.bytes.data(), kIOReturnBadArgument, 0);
    return Verdict::Continue;
  }
  reply.length = uc::encode_map_reply(reply.bytes.data(), kIOReturnSuccess, buffer->bytes().size());
  reply.fd = buffer->fd();
  return Verdict::Continue;
}

UcSession::Verdict UcSession::unmap_memory(std::span<const uint8_t> frame, Reply& reply) {
  uint32_t memory_type = 0;
  if (!uc::decode_memory_call(frame, memory_type)) return Verdict::Close;
  // The client's mapping is its own; the buffer lives until it is released.
  const kern_return_t kr = find(memory_type) ? kIOReturnSuccess : kIOReturnBadArgument;
  reply.length =
      uc::encode_status_reply(reply.bytes.data(), uc::kOpUnmapMemory | uc::kReplyBit, kr);
  return Verdict::Continue;
}

kern_return_t UcSession::create_buffer(int64_t size, std::optional<int64_t>& memory_type) {
  constexpr auto kMaxSize = static_cast<int64_t>(TransportLimits::kMaxBufferSize);
  constexpr auto kGranule = static_cast<int64_t>(TransportLimits::kBufferGranule);
  if (size <= 0 || size % kGranule != 0 || size > kMaxSize) return kIOReturnBadArgument;
  const auto bytes = static_cast<std::size_t>(size);
  const auto uid_bytes = context_.buffer_bytes_by_uid.find(peer_.uid);
  const std::size_t held = uid_bytes == context_.buffer_bytes_by_uid.end() ? 0 : uid_bytes->second;
  if (buffers_.size() >= context_.limits.max_buffers ||
      buffer_bytes_ + bytes > context_.limits.max_buffer_bytes ||
      held + bytes > context_.limits.max_buffer_bytes_per_uid) {
    return kIOReturnNoMemory;
  }
  std::unique_ptr<SharedBuffer> buffer = SharedBuffer::create(bytes);
  if (!buffer) return kIOReturnNoMemory;
  uint32_t type = 0;
  do {
    type = ++context_.last_memory_type;
  } while (type == 0 || find(type));
  buffers_.emplace_back(type, std::move(buffer));
  buffer_bytes_ += bytes;
  context_.buffer_bytes_by_uid[peer_.uid] += bytes;
  memory_type = type;
  return kIOReturnSuccess;
}

kern_return_t UcSession::release_buffer(int64_t memory_type, std::optional<int64_t>& out) {
  const auto it = std::find_if(buffers_.begin(), buffers_.end(), [&](const auto& entry) {
    return static_cast<int64_t>(entry.first) == memory_type;
  });
  if (it == buffers_.end()) return kIOReturnBadArgument;
  refund(it->second->bytes().size());
  buffers_.erase(it);
  out = memory_type;
  return kIOReturnSuccess;
}

kern_return_t UcSession::exchange(const uc::ScalarCall& call, std::optional<int64_t>& out) {
  const SharedBuffer* request = find(call.in[0]);
  const SharedBuffer* reply = find(call.in[1]);
  // One buffer as both would hand the core aliased request and reply bytes.
  if (!request || !reply || request == reply) return kIOReturnBadArgument;
  const int64_t result = call.selector == kTransferExchange
                             ? context_.handler.transfer(peer_, request->bytes(), reply->bytes())
                             : context_.handler.flattened(peer_, request->bytes(), reply->bytes());
  out = result;
  return result < 0 ? kIOReturnError : kIOReturnSuccess;
}

SharedBuffer* UcSession::find(int64_t memory_type) {
  if (memory_type <= 0 || memory_type > std::numeric_limits<uint32_t>::max()) return nullptr;
  for (auto& [type, buffer] : buffers_) {
    if (type == memory_type) return buffer.get();
  }
  return nullptr;
}

}  // namespace cx::refdriver
