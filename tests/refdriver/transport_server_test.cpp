// The reference driver's transport spoken to by hand: greetings, malformed
// frames, notification back-pressure, limits and buffers. The line sockets are
// spoken to by corvex-driverctl in the daemon's test.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_socket.h"
#include "tests/support/echo_server.h"
#include "tests/support/other_user.h"

namespace cx::refdriver {
namespace {

using platform::kIOReturnBadArgument;
using platform::kIOReturnSuccess;
using platform::kIOReturnUnsupported;
using test::closed_by_peer;
using test::hello_bytes;
using test::kMouse;
using test::raw_connect;
using test::read_frame;
using test::RunningServer;
using test::write_bytes;

std::vector<uint8_t> create_call(int64_t size) {
  std::vector<uint8_t> frame(uc::scalar_call_size(1));
  const int64_t in[] = {size};
  uc::encode_scalar_call(frame.data(), 0, in, 1);
  return frame;
}

int32_t status_of(const std::vector<uint8_t>& reply) {
  return reply.size() >= 12 ? static_cast<int32_t>(load_be32(&reply[8])) : 1;
}

// A raw client that has been greeted as a user client.
UniqueFd greeted(const std::string& dir) {
  UniqueFd fd = raw_connect(dir, kMouse);
  EXPECT_TRUE(write_bytes(fd.get(), hello_bytes(uc::kMagic, 1, 1)));
  EXPECT_EQ(read_frame(fd.get()), (std::vector<uint8_t>{0, 0, 0, 12, 0, 0, 0, 0x81, 0, 0, 0, 0}));
  return fd;
}

// The status of a buffer's creation through a raw user client.
int32_t create_status(int fd, int64_t size) {
  if (!write_bytes(fd, create_call(size))) return -1;
  return status_of(read_frame(fd));
}

// The user client still works: unmapping a buffer it never had is refused.
bool answers(int fd) {
  if (!write_bytes(fd, {0, 0, 0, 12, 0, 0, 0, 5, 0, 0, 0, 0})) return false;
  const std::vector<uint8_t> reply = read_frame(fd);
  return reply.size() == 12 && load_be32(&reply[4]) == 0x85 &&
         status_of(reply) == kIOReturnBadArgument;
}

TEST(TransportFrames, RefusedGreetingsAndMalformedInputCloseOnlyThatConnection) {
  RunningServer driver;
  UniqueFd bystander = greeted(driver.dir());
  std::unique_ptr<platform::InterestNotifier> listening;
  ASSERT_EQ(
      platform::make_socket_user_client_service(driver.dir())->open_interest(kMouse, listening),
      kIOReturnSuccess);

  // Seventeen inputs, with all their bytes.
  std::vector<uint8_t> many(uc::scalar_call_size(17));
  store_be32(&many[0], static_cast<uint32_t>(many.size()));
  store_be32(&many[4], 2);
  store_be32(&many[12], 17);
  struct Case {
    const char* name;
    bool greet;
    std::vector<uint8_t> bytes;
    int32_t refusal = 0;  // a greeting refused with this status before the close
    std::string service = kMouse;
  };
  const Case cases[] = {
      {"another magic", false, hello_bytes(0x43585544, 1, 1), kIOReturnBadArgument},
      {"version 2", false, hello_bytes(uc::kMagic, 2, 1), kIOReturnUnsupported},
      {"kind 0", false, hello_bytes(uc::kMagic, 1, 0), kIOReturnBadArgument},
      {"notifications from an ADB mouse", false, hello_bytes(uc::kMagic, 1, 2),
       kIOReturnUnsupported, test::kAdb + ".1"},
      {"length below the header", true, {0, 0, 0, 4, 0, 0, 0, 2}},
      {"unknown opcode", true, {0, 0, 0, 8, 0, 0, 0, 7}},
      {"a reply opcode", true, {0, 0, 0, 12, 0, 0, 0, 0x84, 0, 0, 0, 1}},
      {"map with a long body", true, {0, 0, 0, 16, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0, 0}},
      {"unmap with a short body", true, {0, 0, 0, 8, 0, 0, 0, 5}},
      {"scalar count beyond its body", true, {0, 0, 0, 28, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0,
                                              0, 2, 0, 0,  0, 1, 0, 0, 0, 0, 0, 1, 0, 0}},
      {"scalar with no count", true, {0, 0, 0, 16, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"structure input length off by one", true, {0, 0, 0, 22, 0, 0, 0, 3, 0, 0, 0,
                                                   0, 0, 0, 0,  3, 0, 0, 0, 0, 1, 2}},
      {"a request before the greeting", false, create_call(0x10000)},
      {"a second greeting", true, hello_bytes(uc::kMagic, 1, 1)},
      {"hello with a short body", false, {0, 0, 0, 16, 0, 0, 0, 1, 'C', 'X', 'U', 'C', 0, 0, 0, 1}},
      {"seventeen scalar inputs", true, many},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UniqueFd fd = c.greet ? greeted(driver.dir()) : raw_connect(driver.dir(), c.service);
    ASSERT_TRUE(write_bytes(fd.get(), c.bytes));
    if (c.refusal != 0) {
      const std::vector<uint8_t> reply = read_frame(fd.get());
      ASSERT_EQ(reply.size(), 12u);
      EXPECT_EQ(load_be32(&reply[4]), 0x81u);
      EXPECT_EQ(status_of(reply), c.refusal);
    }
    EXPECT_TRUE(closed_by_peer(fd.get()));
    EXPECT_TRUE(answers(bystander.get()));
  }
  // A notification client only reads.
  UniqueFd talker = raw_connect(driver.dir(), kMouse);
  ASSERT_TRUE(write_bytes(talker.get(), hello_bytes(uc::kMagic, 1, 2)));
  EXPECT_EQ(status_of(read_frame(talker.get())), 0);
  ASSERT_TRUE(write_bytes(talker.get(), {0}));
  EXPECT_TRUE(closed_by_peer(talker.get()));
  EXPECT_TRUE(answers(bystander.get()));
  std::vector<platform::InterestMessage> none;
  EXPECT_TRUE(listening->read_pending(none));
}

std::vector<uint8_t> adb_call(uint32_t value) {
  std::vector<uint8_t> frame(64);
  const std::size_t head = uc::encode_struct_call_head(frame.data(), 0, 4, 0);
  store_be32(&frame[head], value);
  frame.resize(head + 4);
  return frame;
}

TEST(TransportTurns, ABurstOfRequestsDoesNotHoldAnotherClientBack) {
  test::TempDir dir;
  test::EchoHandler handler;
  std::string error;
  const auto server = TransportServer::create(dir.path(), 2, handler, error);
  ASSERT_TRUE(server) << error;
  UniqueFd burst = raw_connect(dir.path(), test::kAdb + ".1");
  UniqueFd single = raw_connect(dir.path(), test::kAdb + ".2");
  std::vector<uint8_t> many = hello_bytes(uc::kMagic, 1, 1);
  for (uint32_t i = 0; i < 50; ++i) {
    const std::vector<uint8_t> call = adb_call(i);
    many.insert(many.end(), call.begin(), call.end());
  }
  std::vector<uint8_t> one = hello_bytes(uc::kMagic, 1, 1);
  const std::vector<uint8_t> call = adb_call(1000);
  one.insert(one.end(), call.begin(), call.end());
  ASSERT_TRUE(write_bytes(burst.get(), many));
  ASSERT_TRUE(write_bytes(single.get(), one));

  for (int turn = 0; turn < 200 && handler.adb_calls().size() < 51; ++turn) server->poll_once(100);
  const auto calls = handler.adb_calls();
  ASSERT_EQ(calls.size(), 51u);
  const auto at = std::find(calls.begin(), calls.end(), std::pair<uint32_t, uint32_t>(2, 1000));
  EXPECT_LE(at - calls.begin(), 1);
  EXPECT_EQ(calls.back(), (std::pair<uint32_t, uint32_t>(1, 49)));
}

// Selector 2 of the test handler posts `count` messages.
void post_through(platform::UserClientConnection& c, int64_t request, int64_t reply,
                  platform::MemoryMapping& in, uint32_t count) {
  store_be32(in.address() + 4, count);
  store_be32(in.address() + 8, 0xF9488FFF);
  const int64_t args[] = {request, reply};
  int64_t status[] = {-1};
  ASSERT_EQ(c.call_scalar(2, args, status), kIOReturnSuccess);
}

TEST(TransportNotify, AClientThatDoesNotReadIsDroppedAndOthersGoOn) {
  RunningServer driver(TransportLimits{.max_notify_backlog = 4096});
  auto service = platform::make_socket_user_client_service(driver.dir());
  UniqueFd stalled = raw_connect(driver.dir(), kMouse);
  ASSERT_TRUE(write_bytes(stalled.get(), hello_bytes(uc::kMagic, 1, 2)));
  EXPECT_EQ(status_of(read_frame(stalled.get())), 0);
  std::unique_ptr<platform::InterestNotifier> reader;
  ASSERT_EQ(service->open_interest(kMouse, reader), kIOReturnSuccess);

  std::unique_ptr<platform::UserClientConnection> c;
  ASSERT_EQ(service->open(kMouse, c), kIOReturnSuccess);
  int64_t types[2] = {};
  for (int64_t& type : types) {
    const int64_t size[] = {0x10000};
    int64_t out[] = {0};
    ASSERT_EQ(c->call_scalar(0, size, out), kIOReturnSuccess);
    type = out[0];
  }
  std::unique_ptr<platform::MemoryMapping> in;
  ASSERT_EQ(c->map_memory(static_cast<uint32_t>(types[0]), in), kIOReturnSuccess);

  // Far more than a socket buffer and the backlog hold, in bursts the reader keeps up with.
  std::vector<platform::InterestMessage> got;
  for (int round = 0; round < 100; ++round) {
    post_through(*c, types[0], types[1], *in, 100);
    while (got.size() < 100u * (round + 1)) {
      pollfd p{reader->fd(), POLLIN, 0};
      ASSERT_EQ(poll(&p, 1, 5000), 1);
      ASSERT_TRUE(reader->read_pending(got));
    }
  }
  EXPECT_EQ(got.size(), 10000u);
  EXPECT_TRUE(closed_by_peer(stalled.get()));
}

TEST(TransportLimits, ConnectionsBeyondTheLimitAreClosed) {
  RunningServer driver(TransportLimits{.max_clients = 2});
  UniqueFd first = greeted(driver.dir());
  UniqueFd second = greeted(driver.dir());
  UniqueFd third = raw_connect(driver.dir(), kMouse);
  write_bytes(third.get(), hello_bytes(uc::kMagic, 1, 1));
  EXPECT_TRUE(closed_by_peer(third.get()));
  first.reset();
  EXPECT_EQ(driver.handler.wait_closed(1), 1u);
  UniqueFd again = greeted(driver.dir());
  EXPECT_TRUE(answers(again.get()));
}

// Run in a child as another user: 0 when the mouse driver greets it as a
// user client. System calls only (see as_user).
int greeted_as_user_client(const sockaddr_un& addr, const std::vector<uint8_t>& hello) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  timeval timeout{5, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  uint8_t reply[12];
  if (connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
      send(fd, hello.data(), hello.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(hello.size()) ||
      recv(fd, reply, sizeof reply, MSG_WAITALL) != sizeof reply) {
    return 1;
  }
  return reply[11] == 0 && reply[7] == 0x81 ? 0 : 2;
}

TEST(TransportLimits, OneUidsIdleConnectionsDoNotLockOtherUsersOut) {
  if (!test::can_play_other_users()) GTEST_SKIP() << "needs root to play another user";
  RunningServer driver;
  ASSERT_EQ(chmod(driver.dir().c_str(), 0755), 0);
  std::vector<UniqueFd> idle;
  for (int i = 0; i < 64; ++i) idle.push_back(raw_connect(driver.dir(), kMouse));
  EXPECT_TRUE(closed_by_peer(idle.back().get()));

  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  const std::string path = driver.dir() + "/" + kMouse;
  std::memcpy(addr.sun_path, path.data(), path.size());
  const std::vector<uint8_t> hello = hello_bytes(uc::kMagic, 1, 1);
  EXPECT_EQ(test::as_user(test::kNobody, [&] { return greeted_as_user_client(addr, hello); }), 0);
}

TEST(TransportLimits, SharedMemoryIsBoundedPerUidAcrossConnections) {
  RunningServer driver;
  constexpr int64_t k16MiB = 16 << 20;
  UniqueFd first = greeted(driver.dir());
  UniqueFd second = greeted(driver.dir());
  UniqueFd third = greeted(driver.dir());
  for (int fd : {first.get(), first.get(), second.get(), second.get()}) {
    EXPECT_EQ(create_status(fd, k16MiB), kIOReturnSuccess);
  }
  EXPECT_EQ(create_status(third.get(), k16MiB), platform::kIOReturnNoMemory);
  first.reset();
  EXPECT_EQ(driver.handler.wait_closed(1), 1u);
  EXPECT_EQ(create_status(third.get(), k16MiB), kIOReturnSuccess);
}

TEST(TransportLimits, AConnectionStalledInsideARequestIsClosed) {
  RunningServer driver(TransportLimits{.stalled_ms = 200});
  UniqueFd idle = greeted(driver.dir());
  UniqueFd stalled = greeted(driver.dir());
  ASSERT_TRUE(write_bytes(stalled.get(), {0, 0, 0, 12, 0, 0, 0, 5, 0}));
  UniqueFd half_hello = raw_connect(driver.dir(), kMouse);
  ASSERT_TRUE(write_bytes(half_hello.get(), {0, 0}));
  EXPECT_TRUE(closed_by_peer(stalled.get()));
  EXPECT_TRUE(closed_by_peer(half_hello.get()));
  EXPECT_TRUE(answers(idle.get()));
}

std::size_t shared_buffers_open() {
  std::size_t count = 0;
  std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir("/proc/self/fd"), closedir);
  while (const dirent* entry = readdir(dir.get())) {
    char target[256] = {};
    const std::string link = std::string("/proc/self/fd/") + entry->d_name;
    if (readlink(link.c_str(), target, sizeof target - 1) > 0 &&
        std::string_view(target).starts_with("/memfd:corvex-uc-buffer")) {
      ++count;
    }
  }
  return count;
}

TEST(TransportBuffers, AClosedConnectionsBuffersAreFreed) {
  RunningServer driver;
  const std::size_t before = shared_buffers_open();
  UniqueFd fd = greeted(driver.dir());
  ASSERT_EQ(create_status(fd.get(), 0x10000), kIOReturnSuccess);
  ASSERT_EQ(create_status(fd.get(), 0x10000), kIOReturnSuccess);
  EXPECT_EQ(shared_buffers_open(), before + 2);
  fd.reset();
  EXPECT_EQ(driver.handler.wait_closed(1), 1u);
  EXPECT_EQ(shared_buffers_open(), before);
}

}  // namespace
}  // namespace cx::refdriver
