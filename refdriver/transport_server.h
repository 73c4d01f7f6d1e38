// The reference driver's socket side: one single-threaded poll loop serving
// the mouse driver, its ADBID32Mouse instances, their notification clients and
// any extra line-based sockets (the control tool's), each client isolated
// from the others.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_fd.h"
#include "refdriver/transport_handler.h"
#include "refdriver/uc_session.h"

namespace cx::refdriver {

inline constexpr std::string_view kMouseDriverService =
    "com_velcorra_corvex_iokit_VelcorraMouseDriver";
inline constexpr std::string_view kAdbMouseService = "com_velcorra_corvex_iokit_ADBID32Mouse";

// Serves the clients of an extra socket, one text line at a time.
class LineHandler {
 public:
  virtual ~LineHandler() = default;
  // One line without its newline -> the text sent back (may be empty).
  virtual std::string line(const ClientPeer& peer, std::string_view text) = 0;
};

class TransportServer {
 public:
  // Listens in `directory` (created when missing) on the mouse driver's
  // socket and on ADBID32Mouse instances ".1" to ".<adb_instances>". Null, with
  // `error` set, when a socket cannot be made.
  static std::unique_ptr<TransportServer> create(const std::string& directory,
                                                 uint32_t adb_instances, TransportHandler& handler,
                                                 std::string& error, TransportLimits limits = {});
  // Closes every client and removes the sockets; the handler is not called.
  ~TransportServer();
  TransportServer(const TransportServer&) = delete;
  TransportServer& operator=(const TransportServer&) = delete;

  // Another socket `name` in the directory whose clients send lines.
  bool add_line_socket(const std::string& name, mode_t mode, LineHandler& handler,
                       std::string& error);

  // Posts a general-interest message to every notification client; one that
  // has fallen too far behind is dropped. Called on the loop's thread (from
  // the handlers), like everything here but stop().
  void post_interest(uint32_t type, uint64_t argument);

  // Calls `ready` on the loop whenever `fd` can be read (another source of
  // work, such as input devices); unwatch() stops it, also from `ready`.
  void watch(int fd, std::function<void()> ready);
  void unwatch(int fd);

  // One turn of the loop, waiting at most `timeout_ms` (-1: until something happens).
  void poll_once(int timeout_ms);
  // Turns the loop until stop().
  void run();
  // Safe from any thread and from a signal handler.
  void stop();

 private:
  struct Listener;
  struct Client;
  struct Watch {
    int fd;
    std::function<void()> ready;
  };
  using Clock = std::chrono::steady_clock;

  TransportServer(std::string directory, TransportHandler& handler, TransportLimits limits,
                  UniqueFd wake);
  bool listen_on(const std::string& name, mode_t mode, std::unique_ptr<Listener> listener,
                 std::string& error);
  void accept_clients(Listener& listener);
  void receive(Client& client);
  void receive_frames(Client& client);
  void receive_lines(Client& client);
  // Answers the next whole frame the client has sent, if any.
  void serve_one(Client& client);
  void handle_lines(Client& client);
  void send(Client& client, const uint8_t* data, std::size_t length, int fd);
  void flush(Client& client);
  void remove_closed();
  // The poll time-out that wakes the loop when the first client stalls.
  int until_stall(int timeout_ms) const;
  void close_stalled();
  // After bytes came in or a request was answered.
  void note_waiting(Client& client, bool answered);

  std::string directory_;
  SessionContext context_;
  UniqueFd wake_;
  std::atomic<bool> stopping_{false};
  uint64_t last_connection_ = 0;
  std::vector<std::unique_ptr<Listener>> listeners_;
  std::vector<std::unique_ptr<Client>> clients_;
  // A deque: a handler may add watches while it runs. fd -1: unwatched,
  // removed after the turn.
  std::deque<Watch> watches_;
  std::vector<pollfd> poll_fds_;  // rebuilt each turn, kept to spare allocations
  // A request was answered last turn: its client is likely to send the next
  // one at once, so the next wait spins before it sleeps.
  bool answered_last_turn_ = false;
};

}  // namespace cx::refdriver
