#include "platform/linux/user_client_io.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "platform/linux/uc_frame.h"
#include "platform/linux/uc_poll.h"

namespace cx::uc {
namespace {

// Room for a few descriptors so that a peer sending too many is seen, not
// silently cut.
constexpr std::size_t kMaxPassedFds = 4;

ssize_t receive_some(int fd, uint8_t* at, std::size_t count, UniqueFd* passed, bool& extra_fd) {
  if (!passed) return recv(fd, at, count, 0);
  iovec iov{at, count};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kMaxPassedFds)];
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  msg.msg_control = control;
  msg.msg_controllen = sizeof control;
  const ssize_t n = recvmsg(fd, &msg, MSG_CMSG_CLOEXEC);
  if (n < 0) return n;
  if (msg.msg_flags & MSG_CTRUNC) extra_fd = true;
  for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
    if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count_fds = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count_fds; ++i) {
      int received = -1;
      std::memcpy(&received, CMSG_DATA(c) + i * sizeof(int), sizeof(int));
      UniqueFd owned(received);
      if (*passed) {
        extra_fd = true;
      } else {
        *passed = std::move(owned);
      }
    }
  }
  return n;
}

}  // namespace

UniqueFd connect_socket(const std::string& path) {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (path.size() >= sizeof addr.sun_path) return {};
  std::memcpy(addr.sun_path, path.data(), path.size());
  UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd) return {};
  for (;;) {
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0) return fd;
    // A connect cut short by a signal goes on by itself; asking again reports it done.
    if (errno == EINTR || errno == EALREADY) continue;
    if (errno == EISCONN) return fd;
    return {};
  }
}

bool send_all(int fd, iovec* iov, std::size_t count) {
  while (count > 0) {
    msghdr msg{};
    msg.msg_iov = iov;
    msg.msg_iovlen = count;
    const ssize_t n = sendmsg(fd, &msg, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    auto sent = static_cast<std::size_t>(n);
    while (count > 0 && sent >= iov->iov_len) {
      sent -= iov->iov_len;
      ++iov;
      --count;
    }
    if (count > 0) {
      iov->iov_base = static_cast<uint8_t*>(iov->iov_base) + sent;
      iov->iov_len -= sent;
    }
  }
  return true;
}

ReplyStatus receive_reply(int fd, std::span<uint8_t> buffer, uint32_t opcode,
                          std::span<const uint8_t>& frame, UniqueFd* passed) {
  std::size_t have = 0;
  std::size_t length = 0;  // 0 until the header is in
  bool extra_fd = false;
  for (;;) {
    if (length == 0 && have >= kHeaderSize) {
      const Header h = load_header(buffer.data());
      if (!valid_length(h.length) || h.length > buffer.size() || h.opcode != opcode) {
        return ReplyStatus::Malformed;
      }
      length = h.length;
    }
    if (length != 0 && have >= length) break;
    // Until the length is known, take what the largest reply could hold; the
    // peer answers one request at a time, so more than one frame is a fault.
    const std::size_t want = (length != 0 ? length : buffer.size()) - have;
    pollfd readable{fd, POLLIN, 0};
    poll_spinning_first(&readable, 1, -1);
    const ssize_t n = receive_some(fd, buffer.data() + have, want, passed, extra_fd);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return ReplyStatus::PeerGone;
    have += static_cast<std::size_t>(n);
  }
  if (have != length || extra_fd) return ReplyStatus::Malformed;
  frame = buffer.first(length);
  return ReplyStatus::Ok;
}

}  // namespace cx::uc
