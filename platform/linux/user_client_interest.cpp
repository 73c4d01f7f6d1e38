#include "platform/linux/user_client_interest.h"

#include <sys/socket.h>

#include <cerrno>

namespace cx::uc {

// Every frame on this socket is a NOTIFY, so a longer one is refused at once.
SocketNotifier::SocketNotifier(UniqueFd fd)
    : fd_(std::move(fd)), frames_(kNotifySize, 64 * kNotifySize) {}

bool SocketNotifier::read_pending(std::vector<platform::InterestMessage>& out) {
  while (!gone_) {
    const std::span<uint8_t> space = frames_.free_space();
    const ssize_t n = recv(fd_.get(), space.data(), space.size(), MSG_DONTWAIT);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    if (n <= 0) {
      gone_ = true;
      break;
    }
    frames_.commit(static_cast<std::size_t>(n));
    std::span<const uint8_t> frame;
    FrameAssembler::Result r;
    while ((r = frames_.next(frame)) == FrameAssembler::Result::Frame) {
      Notify notify;
      if (load_header(frame.data()).opcode != kOpNotify || !decode_notify(frame, notify)) {
        r = FrameAssembler::Result::Malformed;
        break;
      }
      out.push_back({notify.type, notify.argument});
    }
    if (r == FrameAssembler::Result::Malformed) gone_ = true;
  }
  // A peer that broke the framing is shut out at once. The descriptor itself
  // stays open until the notifier goes, so that a main loop still watching
  // it never sees the number reused.
  shutdown(fd_.get(), SHUT_RDWR);
  return false;
}

}  // namespace cx::uc
