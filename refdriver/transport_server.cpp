#include "refdriver/transport_server.h"

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/linux/uc_poll.h"

namespace cx::refdriver {
namespace {

constexpr int kListenBacklog = 64;
constexpr int kAcceptsPerTurn = 16;
constexpr std::size_t kMaxLine = 4096;
constexpr std::size_t kMaxLineBacklog = 1u << 20;

// Sends what the socket takes now, the descriptor (if any) with the first
// byte. Bytes sent, 0 when the socket is full, -1 when the peer is gone.
ssize_t send_some(int socket, const uint8_t* data, std::size_t length, int pass_fd) {
  iovec iov{const_cast<uint8_t*>(data), length};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
  if (pass_fd >= 0) {
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    cmsghdr* c = CMSG_FIRSTHDR(&msg);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    c->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(c), &pass_fd, sizeof(int));
  }
  for (;;) {
    const ssize_t n = sendmsg(socket, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n >= 0) return n;
    if (errno == EINTR) continue;
    return errno == EAGAIN || errno == EWOULDBLOCK ? 0 : -1;
  }
}

}  // namespace

struct TransportServer::Listener {
  UniqueFd fd;
  std::string path;
  ServiceKind kind = ServiceKind::MouseDriver;
  uint32_t instance = 0;
  LineHandler* lines = nullptr;  // set for an extra line socket
};

struct TransportServer::Client {
  UniqueFd fd;
  ClientPeer peer{};
  std::unique_ptr<UcSession> session;  // null for a line client
  LineHandler* lines = nullptr;
  uc::FrameAssembler frames{uc::kMaxFrame, uc::kMaxFrame};
  std::string line_in;
  std::vector<uint8_t> out;  // unsent bytes from out_at on
  std::size_t out_at = 0;
  UniqueFd out_fd;  // to pass with the first unsent byte
  bool close_after_flush = false;
  bool closed = false;
  // Since when an unfinished request (frame or line) has sat unanswered.
  std::optional<Clock::time_point> waiting_since;
  bool may_have_frame = false;  // received bytes not yet cut into frames

  bool pending() const { return out_at < out.size(); }
  bool is_interest() const { return session && session->is_interest(); }
  bool holds_request_bytes() const { return frames.has_bytes() || !line_in.empty(); }
};

TransportServer::TransportServer(std::string directory, TransportHandler& handler,
                                 TransportLimits limits, UniqueFd wake)
    : directory_(std::move(directory)), context_{handler, limits}, wake_(std::move(wake)) {}

std::unique_ptr<TransportServer> TransportServer::create(const std::string& directory,
                                                         uint32_t adb_instances,
                                                         TransportHandler& handler,
                                                         std::string& error,
                                                         TransportLimits limits) {
  UniqueFd wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!wake) {
    error = std::string("eventfd: ") + std::strerror(errno);
    return nullptr;
  }
  if (mkdir(directory.c_str(), 0755) != 0 && errno != EEXIST) {
    error = directory + ": " + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<TransportServer> server(
      new TransportServer(directory, handler, limits, std::move(wake)));
  if (!server->listen_on(std::string(kMouseDriverService), 0666, std::make_unique<Listener>(),
                         error)) {
    return nullptr;
  }
  for (uint32_t i = 1; i <= adb_instances; ++i) {
    auto listener = std::make_unique<Listener>();
    listener->kind = ServiceKind::AdbMouse;
    listener->instance = i;
    const std::string name = std::string(kAdbMouseService) + "." + std::to_string(i);
    if (!server->listen_on(name, 0666, std::move(listener), error)) return nullptr;
  }
  return server;
}

TransportServer::~TransportServer() {
  clients_.clear();
  for (const auto& listener : listeners_) unlink(listener->path.c_str());
}

bool TransportServer::add_line_socket(const std::string& name, mode_t mode, LineHandler& handler,
                                      std::string& error) {
  auto listener = std::make_unique<Listener>();
  listener->lines = &handler;
  return listen_on(name, mode, std::move(listener), error);
}

bool TransportServer::listen_on(const std::string& name, mode_t mode,
                                std::unique_ptr<Listener> listener, std::string& error) {
  const std::string path = directory_ + "/" + name;
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (path.size() >= sizeof addr.sun_path) {
    error = path + ": path too long for a socket";
    return false;
  }
  std::memcpy(addr.sun_path, path.data(), path.size());
  // A socket left by an earlier run is replaced; anything else is not ours.
  struct stat st {};
  if (lstat(path.c_str(), &st) == 0) {
    if (!S_ISSOCK(st.st_mode)) {
      error = path + ": exists and is not a socket";
      return false;
    }
    unlink(path.c_str());
  }
  UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
      chmod(path.c_str(), mode) != 0 || listen(fd.get(), kListenBacklog) != 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  listener->fd = std::move(fd);
  listener->path = path;
  listeners_.push_back(std::move(listener));
  return true;
}

void TransportServer::post_interest(uint32_t type, uint64_t argument) {
  uint8_t frame[uc::kNotifySize];
  const std::size_t length = uc::encode_notify(frame, type, argument);
  for (const auto& client : clients_) {
    if (client->closed || !client->is_interest()) continue;
    // A client that stopped reading is dropped rather than let the queue grow.
    if (client->out.size() - client->out_at + length > context_.limits.max_notify_backlog) {
      client->closed = true;
      continue;
    }
    send(*client, frame, length, -1);
  }
}

void TransportServer::poll_once(int timeout_ms) {
  poll_fds_.clear();
  poll_fds_.push_back({wake_.get(), POLLIN, 0});
  for (const auto& listener : listeners_) poll_fds_.push_back({listener->fd.get(), POLLIN, 0});
  const std::size_t first_client = poll_fds_.size();
  const std::size_t client_count = clients_.size();
  for (const auto& client : clients_) {
    // While a reply waits to go out, no further request is read; a
    // notification client is still watched so that its leaving is seen.
    short events = client->pending() ? POLLOUT : POLLIN;
    if (client->is_interest()) events |= POLLIN;
    poll_fds_.push_back({client->fd.get(), events, 0});
  }
  const std::size_t first_watch = poll_fds_.size();
  const std::size_t watch_count = watches_.size();
  for (const Watch& w : watches_) poll_fds_.push_back({w.fd, POLLIN, 0});
  // Requests already received are served in turns without waiting.
  const bool turn_waits = std::any_of(clients_.begin(), clients_.end(), [](const auto& c) {
    return c->may_have_frame && !c->pending() && !c->closed;
  });
  timeout_ms = turn_waits ? 0 : until_stall(timeout_ms);
  const int ready = answered_last_turn_
                        ? uc::poll_spinning_first(poll_fds_.data(), poll_fds_.size(), timeout_ms)
                        : poll(poll_fds_.data(), poll_fds_.size(), timeout_ms);
  answered_last_turn_ = false;
  if (ready < 0) return;

  if (poll_fds_[0].revents) {
    uint64_t count = 0;
    const ssize_t n = read(wake_.get(), &count, sizeof count);
    static_cast<void>(n);
  }
  for (std::size_t i = 0; i < client_count; ++i) {
    Client& client = *clients_[i];
    const short revents = poll_fds_[first_client + i].revents;
    if (client.closed || revents == 0) continue;
    // A peer gone both ways can take no answer; what it left unread is moot.
    if (revents & (POLLHUP | POLLERR | POLLNVAL)) {
      client.closed = true;
      continue;
    }
    if (revents & POLLOUT) flush(client);
    if (!client.closed && (revents & POLLIN)) receive(client);
  }
  // One request per connection per turn, so that one client's burst cannot
  // hold the others' requests back.
  for (std::size_t i = 0; i < client_count; ++i) {
    if (clients_[i]->session) serve_one(*clients_[i]);
  }
  for (std::size_t i = 0; i < watch_count; ++i) {
    if (watches_[i].fd >= 0 && poll_fds_[first_watch + i].revents) watches_[i].ready();
  }
  std::erase_if(watches_, [](const Watch& w) { return w.fd < 0; });
  close_stalled();
  // Closed clients go first so that they do not count against the limit.
  remove_closed();
  for (std::size_t i = 0; i < listeners_.size(); ++i) {
    if (poll_fds_[1 + i].revents & POLLIN) accept_clients(*listeners_[i]);
  }
}

int TransportServer::until_stall(int timeout_ms) const {
  const Clock::time_point now = Clock::now();
  for (const auto& client : clients_) {
    if (!client->waiting_since) continue;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        *client->waiting_since + std::chrono::milliseconds(context_.limits.stalled_ms) - now);
    const int ms = static_cast<int>(std::max<int64_t>(0, left.count()));
    if (timeout_ms < 0 || ms < timeout_ms) timeout_ms = ms;
  }
  return timeout_ms;
}

void TransportServer::close_stalled() {
  const Clock::time_point now = Clock::now();
  for (const auto& client : clients_) {
    if (client->waiting_since &&
        now - *client->waiting_since >= std::chrono::milliseconds(context_.limits.stalled_ms)) {
      client->closed = true;
    }
  }
}

void TransportServer::note_waiting(Client& client, bool answered) {
  if (!client.holds_request_bytes()) {
    client.waiting_since.reset();
  } else if (answered || !client.waiting_since) {
    client.waiting_since = Clock::now();
  }
}

void TransportServer::watch(int fd, std::function<void()> ready) {
  watches_.push_back({fd, std::move(ready)});
}

void TransportServer::unwatch(int fd) {
  for (Watch& w : watches_)
    if (w.fd == fd) w.fd = -1;
}

void TransportServer::run() {
  while (!stopping_.load()) poll_once(-1);
}

void TransportServer::stop() {
  stopping_.store(true);
  const uint64_t one = 1;
  const ssize_t n = write(wake_.get(), &one, sizeof one);
  static_cast<void>(n);
}

void TransportServer::accept_clients(Listener& listener) {
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    UniqueFd fd(accept4(listener.fd.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      return;
    }
    if (clients_.size() >= context_.limits.max_clients) continue;  // closes it at once
    ucred cred{};
    socklen_t size = sizeof cred;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &cred, &size) != 0) continue;
    const auto same_uid = std::count_if(clients_.begin(), clients_.end(),
                                        [&](const auto& c) { return c->peer.uid == cred.uid; });
    if (static_cast<std::size_t>(same_uid) >= context_.limits.max_clients_per_uid) continue;
    auto client = std::make_unique<Client>();
    client->fd = std::move(fd);
    client->peer = {++last_connection_, cred.uid, cred.pid};
    if (listener.lines) {
      client->lines = listener.lines;
    } else {
      client->session =
          std::make_unique<UcSession>(context_, listener.kind, listener.instance, client->peer);
    }
    clients_.push_back(std::move(client));
  }
}

void TransportServer::receive(Client& client) {
  if (client.session) {
    receive_frames(client);
  } else {
    receive_lines(client);
  }
}

void TransportServer::receive_frames(Client& client) {
  const std::span<uint8_t> space = client.frames.free_space();
  if (space.empty()) return;
  const ssize_t n = recv(client.fd.get(), space.data(), space.size(), MSG_DONTWAIT);
  if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) return;
  if (n <= 0) {
    client.closed = true;
    return;
  }
  // After its greeting a notification client only reads.
  if (client.is_interest()) {
    client.closed = true;
    return;
  }
  client.frames.commit(static_cast<std::size_t>(n));
  client.may_have_frame = true;
  note_waiting(client, false);
}

void TransportServer::serve_one(Client& client) {
  if (client.closed || client.close_after_flush || client.pending() || !client.may_have_frame) {
    return;
  }
  std::span<const uint8_t> frame;
  const uc::FrameAssembler::Result r = client.frames.next(frame);
  if (r == uc::FrameAssembler::Result::NeedMore) {
    client.may_have_frame = false;
    return;
  }
  if (r == uc::FrameAssembler::Result::Malformed) {
    client.closed = true;
    return;
  }
  Reply reply;
  const UcSession::Verdict verdict = client.session->handle(frame, reply);
  if (verdict == UcSession::Verdict::Close) {
    client.closed = true;
    return;
  }
  if (reply.length > 0) send(client, reply.bytes.data(), reply.length, reply.fd);
  answered_last_turn_ = true;
  note_waiting(client, true);
  if (verdict == UcSession::Verdict::CloseAfterReply) {
    client.close_after_flush = true;
    client.closed = client.closed || !client.pending();
  }
}

void TransportServer::receive_lines(Client& client) {
  char buffer[kMaxLine];
  const ssize_t n = recv(client.fd.get(), buffer, sizeof buffer, MSG_DONTWAIT);
  if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) return;
  if (n < 0) {
    client.closed = true;
    return;
  }
  if (n == 0) {
    // The tool may shut down its side and then read the answers.
    client.close_after_flush = true;
    client.closed = !client.pending();
    return;
  }
  client.line_in.append(buffer, static_cast<std::size_t>(n));
  note_waiting(client, false);
  handle_lines(client);
}

void TransportServer::handle_lines(Client& client) {
  while (!client.closed && !client.pending()) {
    const std::size_t end = client.line_in.find('\n');
    if (end == std::string::npos) break;
    const std::string text = client.line_in.substr(0, end);
    client.line_in.erase(0, end + 1);
    note_waiting(client, true);
    const std::string answer = client.lines->line(client.peer, text);
    if (answer.size() > kMaxLineBacklog) {
      client.closed = true;
      return;
    }
    if (!answer.empty()) {
      send(client, reinterpret_cast<const uint8_t*>(answer.data()), answer.size(), -1);
    }
  }
  if (client.line_in.size() > kMaxLine) client.closed = true;
}

void TransportServer::send(Client& client, const uint8_t* data, std::size_t length, int fd) {
  std::size_t sent = 0;
  if (!client.pending()) {
    const ssize_t n = send_some(client.fd.get(), data, length, fd);
    if (n < 0) {
      client.closed = true;
      return;
    }
    sent = static_cast<std::size_t>(n);
    if (sent == length) return;
    client.out.clear();
    client.out_at = 0;
    if (sent == 0 && fd >= 0) {
      client.out_fd.reset(dup(fd));
      if (!client.out_fd) {
        client.closed = true;
        return;
      }
    }
  }
  // What went out already is dropped, so the queue never outgrows its bound.
  client.out.erase(client.out.begin(),
                   client.out.begin() + static_cast<std::ptrdiff_t>(client.out_at));
  client.out_at = 0;
  client.out.insert(client.out.end(), data + sent, data + length);
}

void TransportServer::flush(Client& client) {
  while (client.pending()) {
    const ssize_t n = send_some(client.fd.get(), client.out.data() + client.out_at,
                                client.out.size() - client.out_at, client.out_fd.get());
    if (n < 0) {
      client.closed = true;
      return;
    }
    if (n == 0) return;
    client.out_fd.reset();
    client.out_at += static_cast<std::size_t>(n);
  }
  client.out.clear();
  client.out_at = 0;
  if (client.close_after_flush) {
    client.closed = true;
  } else if (!client.session) {
    handle_lines(client);
  }
}

void TransportServer::remove_closed() {
  std::vector<std::unique_ptr<Client>> gone;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < clients_.size(); ++i) {
    if (clients_[i]->closed) {
      gone.push_back(std::move(clients_[i]));
    } else if (kept++ != i) {
      clients_[kept - 1] = std::move(clients_[i]);
    }
  }
  clients_.resize(kept);
  // The handler hears of a closed user client only once its buffers are
  // freed and the client list is whole again (it may post messages).
  for (auto& client : gone) {
    const bool user_client = client->session && client->session->is_user_client();
    const ClientPeer peer = client->peer;
    client.reset();
    if (user_client) context_.handler.closed(peer);
  }
}

}  // namespace cx::refdriver
