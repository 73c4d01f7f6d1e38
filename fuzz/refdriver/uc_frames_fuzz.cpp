// Arbitrary bytes as one client's stream into the driver's frame handling:
// the first byte picks the service and the size of the pieces the stream
// arrives in. Replies must always be whole, well-formed frames.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "platform/linux/uc_frame.h"
#include "refdriver/uc_session.h"
#include "util/byte_order.h"

namespace {

using namespace cx;

class Handler final : public refdriver::TransportHandler {
 public:
  int64_t transfer(const refdriver::ClientPeer&, std::span<const uint8_t> request,
                   std::span<uint8_t> reply) override {
    const uint32_t length = load_be32(request.data());
    if (length < reply.size()) store_be32(reply.data(), length);
    return length & 0x80000000u ? -50 : length;
  }
  int32_t flattened(const refdriver::ClientPeer&, std::span<const uint8_t> request,
                    std::span<uint8_t> reply) override {
    reply[reply.size() - 1] = request[request.size() - 1];
    return 0;
  }
  platform::kern_return_t adb_method(const refdriver::ClientPeer&, uint32_t,
                                     std::span<const uint8_t, 4> input) override {
    return input[0] ? platform::kIOReturnSuccess : platform::kIOReturnError;
  }
  void closed(const refdriver::ClientPeer&) override {}
};

void check_reply(const refdriver::Reply& reply) {
  if (reply.length == 0) return;
  const uc::Header h = uc::load_header(reply.bytes.data());
  if (reply.length > reply.bytes.size() || h.length != reply.length ||
      (h.opcode & uc::kReplyBit) == 0) {
    std::abort();
  }
}

// Feeds the stream until it ends or the session closes.
void feed(refdriver::UcSession& session, const uint8_t* data, std::size_t size, std::size_t piece) {
  uc::FrameAssembler frames(uc::kMaxFrame, uc::kMaxFrame);
  refdriver::Reply reply;
  for (std::size_t at = 1; at < size;) {
    const std::span<uint8_t> space = frames.free_space();
    const std::size_t n = std::min({piece, space.size(), size - at});
    std::copy_n(data + at, n, space.begin());
    frames.commit(n);
    at += n;
    std::span<const uint8_t> frame;
    for (;;) {
      const uc::FrameAssembler::Result r = frames.next(frame);
      if (r == uc::FrameAssembler::Result::NeedMore) break;
      if (r == uc::FrameAssembler::Result::Malformed) return;
      const refdriver::UcSession::Verdict v = session.handle(frame, reply);
      check_reply(reply);
      if (v != refdriver::UcSession::Verdict::Continue) return;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Handler handler;
  refdriver::SessionContext context{handler, {}};
  const auto kind =
      data[0] & 1 ? refdriver::ServiceKind::AdbMouse : refdriver::ServiceKind::MouseDriver;
  {
    refdriver::UcSession session(context, kind, 1, {1, 501, 100});
    feed(session, data, size, (data[0] >> 1) + 1u);
  }
  // A closed connection gives back every byte its uid was charged.
  if (!context.buffer_bytes_by_uid.empty()) std::abort();
  return 0;
}
