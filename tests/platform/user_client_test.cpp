// The agent's user-client backend against the reference driver's transport,
// over real sockets and real shared memory.
#include <fcntl.h>
#include <poll.h>

#include <cstring>
#include <future>

#include "platform/linux/user_client_socket.h"
#include "platform/user_client.h"
#include "tests/support/echo_server.h"
#include "tests/support/golden.h"

namespace cx::platform {
namespace {

using Bytes = std::vector<uint8_t>;
using refdriver::TransportLimits;
using test::kAdb;
using test::kMouse;
using test::read_frame;
using test::read_hex;
using test::RunningServer;

constexpr uint32_t kCreate = 0, kRelease = 1, kFlattened = 2, kTransfer = 4;

// One scalar call; the first output, or -1 when it fails.
int64_t scalar(UserClientConnection& c, uint32_t selector, std::initializer_list<int64_t> in,
               kern_return_t* kr_out = nullptr) {
  int64_t out[] = {0};
  const kern_return_t kr = c.call_scalar(selector, std::span(in.begin(), in.size()), out);
  if (kr_out) *kr_out = kr;
  return kr == kIOReturnSuccess ? out[0] : -1;
}

kern_return_t kr_of(UserClientConnection& c, uint32_t selector, std::initializer_list<int64_t> in) {
  kern_return_t kr;
  scalar(c, selector, in, &kr);
  return kr;
}

class UserClientTest : public ::testing::Test {
 protected:
  explicit UserClientTest(TransportLimits limits = {}) : driver_(limits) {}

  std::unique_ptr<UserClientConnection> open_mouse() {
    std::unique_ptr<UserClientConnection> c;
    EXPECT_EQ(service_->open(kMouse, c), kIOReturnSuccess);
    return c;
  }
  std::unique_ptr<MemoryMapping> map(UserClientConnection& c, int64_t type) {
    std::unique_ptr<MemoryMapping> m;
    EXPECT_EQ(c.map_memory(static_cast<uint32_t>(type), m), kIOReturnSuccess);
    return m;
  }

  RunningServer driver_;
  std::unique_ptr<UserClientService> service_ = make_socket_user_client_service(driver_.dir());
};

TEST_F(UserClientTest, MatchingAndOpeningServices) {
  for (const char* extra :
       {"com_velcorra_corvex_iokit_ADBID32MouseX", "com_velcorra_corvex_iokit_ADBID32Mouse.10"})
    close(open((driver_.dir() + "/" + extra).c_str(), O_CREAT | O_WRONLY, 0600));
  std::vector<std::string> found;
  ASSERT_EQ(service_->matching_services(kAdb, found), kIOReturnSuccess);
  EXPECT_EQ(found, (std::vector<std::string>{kAdb + ".1", kAdb + ".10", kAdb + ".2"}));
  ASSERT_EQ(service_->matching_services(kMouse, found), kIOReturnSuccess);
  EXPECT_EQ(found, std::vector<std::string>{kMouse});
  found.push_back("stale");
  EXPECT_EQ(
      make_socket_user_client_service(driver_.dir() + "/none")->matching_services(kMouse, found),
      kIOReturnSuccess);
  EXPECT_TRUE(found.empty());

  std::unique_ptr<UserClientConnection> c;
  EXPECT_EQ(service_->open("com_velcorra_corvex_iokit_Nothing", c), kIOReturnNoDevice);
  EXPECT_EQ(service_->open("../" + kMouse, c), kIOReturnBadArgument);
  EXPECT_EQ(service_->open("", c), kIOReturnBadArgument);
  EXPECT_FALSE(c);
  // Only the mouse driver posts messages.
  std::unique_ptr<InterestNotifier> n;
  EXPECT_EQ(service_->open_interest(kAdb + ".1", n), kIOReturnUnsupported);
  EXPECT_FALSE(n);
}

TEST_F(UserClientTest, TransferIsWrittenAndReadInPlaceInSharedMemory) {
  auto c = open_mouse();
  // Bigger than any frame: the blocks can only have travelled through the mappings.
  const int64_t request = scalar(*c, kCreate, {0x20000});
  const int64_t reply = scalar(*c, kCreate, {0x20000});
  ASSERT_GT(request, 0);
  ASSERT_GT(reply, 0);
  EXPECT_NE(request, reply);
  const auto in = map(*c, request), out = map(*c, reply);
  ASSERT_TRUE(in && out);
  ASSERT_EQ(in->size(), 0x20000u);
  ASSERT_EQ(out->size(), 0x20000u);

  constexpr uint32_t kLength = 0x18000;
  store_be32(in->address(), kLength);
  for (uint32_t i = 4; i < kLength; ++i) in->address()[i] = static_cast<uint8_t>(i * 7);
  EXPECT_EQ(scalar(*c, kTransfer, {request, reply}), kLength);
  EXPECT_EQ(load_be32(out->address()), kLength);
  uint32_t first_wrong = kLength;
  for (uint32_t i = kLength - 1; i >= 4; --i)
    if (out->address()[i] != static_cast<uint8_t>(~(i * 7))) first_wrong = i;
  EXPECT_EQ(first_wrong, kLength);

  // The driver's own status: a negative output with a non-zero kern_return.
  store_be32(in->address(), 2);
  int64_t result[] = {0};
  const int64_t args[] = {request, reply};
  EXPECT_EQ(c->call_scalar(kTransfer, args, result), kIOReturnError);
  EXPECT_EQ(result[0], -42);
}

TEST_F(UserClientTest, BuffersBelongToTheirConnectionUntilReleasedOrClosed) {
  auto c = open_mouse();
  auto second = open_mouse();
  const int64_t a = scalar(*c, kCreate, {0x10000});
  const int64_t b = scalar(*c, kCreate, {0x10000});
  const int64_t own = scalar(*second, kCreate, {0x10000});
  std::unique_ptr<MemoryMapping> m;
  // Another connection's, or nobody's, memory types are refused.
  EXPECT_EQ(second->map_memory(static_cast<uint32_t>(a), m), kIOReturnBadArgument);
  EXPECT_EQ(second->map_memory(0xFFFF, m), kIOReturnBadArgument);
  EXPECT_EQ(second->unmap_memory(static_cast<uint32_t>(b), nullptr), kIOReturnBadArgument);
  EXPECT_EQ(kr_of(*second, kTransfer, {a, b}), kIOReturnBadArgument);
  EXPECT_EQ(kr_of(*second, kTransfer, {own, b}), kIOReturnBadArgument);
  EXPECT_EQ(kr_of(*second, kTransfer, {own, own}), kIOReturnBadArgument);
  EXPECT_EQ(kr_of(*second, kRelease, {a}), kIOReturnBadArgument);

  m = map(*c, a);
  m->address()[0x100] = 5;  // the mapping is live until unmapped
  EXPECT_EQ(c->unmap_memory(static_cast<uint32_t>(a), std::move(m)), kIOReturnSuccess);
  EXPECT_EQ(scalar(*c, kRelease, {a}), a);
  EXPECT_EQ(kr_of(*c, kRelease, {a}), kIOReturnBadArgument);
  EXPECT_EQ(c->map_memory(static_cast<uint32_t>(a), m), kIOReturnBadArgument);
  EXPECT_FALSE(m);
  EXPECT_EQ(kr_of(*c, kTransfer, {a, b}), kIOReturnBadArgument);
  c.reset();
  second.reset();
  EXPECT_EQ(driver_.handler.wait_closed(2), 2u);
}

TEST_F(UserClientTest, BufferSizesAndMethodCountsAreChecked) {
  auto c = open_mouse();
  for (const int64_t size : {int64_t{0}, int64_t{-0x10000}, int64_t{0x10001}, int64_t{0x8000},
                             int64_t{0x1010000}, int64_t{1} << 40})
    EXPECT_EQ(kr_of(*c, kCreate, {size}), kIOReturnBadArgument) << size;
  EXPECT_GT(scalar(*c, kCreate, {0x1000000}), 0);  // 16 MiB is the largest

  const int64_t two[] = {0x10000, 0};
  int64_t out[2] = {};
  EXPECT_EQ(c->call_scalar(kCreate, two, std::span(out, 1)), kIOReturnBadArgument);
  EXPECT_EQ(c->call_scalar(kCreate, std::span(two, 1), out), kIOReturnBadArgument);
  EXPECT_EQ(c->call_scalar(3, two, std::span(out, 1)), kIOReturnUnsupported);
  EXPECT_EQ(c->call_scalar(kCreate, std::vector<int64_t>(17), out), kIOReturnBadArgument);
  std::size_t out_len = 1;
  const uint8_t bytes[4] = {};
  EXPECT_EQ(c->call_struct(0, bytes, {}, out_len), kIOReturnUnsupported);
}

class LimitedUserClientTest : public UserClientTest {
 protected:
  LimitedUserClientTest()
      : UserClientTest(TransportLimits{.max_buffers = 3, .max_buffer_bytes = 0x30000}) {}
};

TEST_F(LimitedUserClientTest, BufferCountAndTotalAreBoundedPerConnection) {
  auto c = open_mouse();
  const int64_t big = scalar(*c, kCreate, {0x20000});
  ASSERT_GT(big, 0);
  EXPECT_EQ(kr_of(*c, kCreate, {0x20000}), kIOReturnNoMemory);  // over the total
  ASSERT_GT(scalar(*c, kCreate, {0x10000}), 0);
  EXPECT_EQ(kr_of(*c, kCreate, {0x10000}), kIOReturnNoMemory);
  ASSERT_EQ(scalar(*c, kRelease, {big}), big);
  EXPECT_GT(scalar(*c, kCreate, {0x10000}), 0);
  EXPECT_GT(scalar(*c, kCreate, {0x10000}), 0);
  EXPECT_EQ(kr_of(*c, kCreate, {0x10000}), kIOReturnNoMemory);  // over the count
  // Another connection has its own allowance.
  EXPECT_GT(scalar(*open_mouse(), kCreate, {0x20000}), 0);
}

TEST_F(UserClientTest, AdbInstancesAnswerTheirStructureMethod) {
  std::unique_ptr<UserClientConnection> c;
  ASSERT_EQ(service_->open(kAdb + ".2", c), kIOReturnSuccess);
  const uint8_t input[4] = {0x12, 0x34, 0x56, 0x78};
  uint8_t output[8];
  std::size_t out_len = 99;
  EXPECT_EQ(c->call_struct(0, input, output, out_len), kIOReturnSuccess);
  EXPECT_EQ(out_len, 0u);
  EXPECT_EQ(c->call_struct(0, std::span(input, 3), output, out_len), kIOReturnBadArgument);
  EXPECT_EQ(c->call_struct(1, input, output, out_len), kIOReturnUnsupported);
  EXPECT_EQ(kr_of(*c, kCreate, {0x10000}), kIOReturnUnsupported);
  EXPECT_EQ(driver_.handler.adb_calls(),
            (std::vector<std::pair<uint32_t, uint32_t>>{{2, 0x12345678}}));
}

// Waits (boundedly) for `count` messages.
std::vector<InterestMessage> receive(InterestNotifier& n, std::size_t count) {
  std::vector<InterestMessage> got;
  while (got.size() < count) {
    pollfd p{n.fd(), POLLIN, 0};
    if (poll(&p, 1, 5000) != 1 || !n.read_pending(got)) break;
  }
  return got;
}

TEST_F(UserClientTest, MessagesReachEveryNotificationConnectionUntilTheDriverGoes) {
  std::unique_ptr<InterestNotifier> first, second;
  ASSERT_EQ(service_->open_interest(kMouse, first), kIOReturnSuccess);
  ASSERT_EQ(service_->open_interest(kMouse, second), kIOReturnSuccess);
  std::vector<InterestMessage> none;
  EXPECT_TRUE(first->read_pending(none));
  EXPECT_TRUE(none.empty());

  auto c = open_mouse();
  const int64_t request = scalar(*c, kCreate, {0x10000});
  const int64_t reply = scalar(*c, kCreate, {0x10000});
  const auto in = map(*c, request);
  store_be32(in->address(), 20);
  store_be32(in->address() + 4, 100);  // count
  store_be32(in->address() + 8, 0xF9488001);
  store_be64(in->address() + 12, 0x0000000100000000);
  EXPECT_EQ(scalar(*c, kFlattened, {request, reply}), 0);
  for (InterestNotifier* n : {first.get(), second.get()}) {
    const std::vector<InterestMessage> got = receive(*n, 100);
    ASSERT_EQ(got.size(), 100u);
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].type, 0xF9488001u);
      EXPECT_EQ(got[i].argument, 0x0000000100000000u + i);
    }
  }
  // The driver gone: no hang, and the notifier reports it.
  driver_.shut_down();
  EXPECT_TRUE(receive(*first, 1).empty());
  EXPECT_FALSE(first->read_pending(none));
}

// A hand-written driver that greets one client and then runs `script`.
class FakeDriver {
 public:
  explicit FakeDriver(std::function<void(int)> script) {
    listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un addr{.sun_family = AF_UNIX, .sun_path = {}};
    const std::string path = dir_.path() + "/Fake";
    std::memcpy(addr.sun_path, path.data(), path.size());
    EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr), 0);
    EXPECT_EQ(listen(listener_.get(), 4), 0);
    thread_ = std::thread([this, script = std::move(script)] {
      UniqueFd client(accept(listener_.get(), nullptr, nullptr));
      hello = read_frame(client.get());
      send_bytes(client.get(), {0, 0, 0, 12, 0, 0, 0, 0x81, 0, 0, 0, 0});
      script(client.get());
    });
  }
  ~FakeDriver() { thread_.join(); }
  static void send_bytes(int fd, const Bytes& bytes) {
    send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  std::unique_ptr<UserClientConnection> open() {
    std::unique_ptr<UserClientConnection> c;
    EXPECT_EQ(make_socket_user_client_service(dir_.path())->open("Fake", c), kIOReturnSuccess);
    return c;
  }
  std::unique_ptr<InterestNotifier> open_interest() {
    std::unique_ptr<InterestNotifier> n;
    EXPECT_EQ(make_socket_user_client_service(dir_.path())->open_interest("Fake", n),
              kIOReturnSuccess);
    return n;
  }
  Bytes hello;

 private:
  test::TempDir dir_;
  UniqueFd listener_;
  std::thread thread_;
};

TEST(UserClientWire, RequestsAreTheFramesOfTheContract) {
  Bytes scalar_frame, struct_frame, hello;
  {
    FakeDriver fake([&](int fd) {
      scalar_frame = read_frame(fd);
      FakeDriver::send_bytes(fd, read_hex("uc/scalar_reply.hex"));
      struct_frame = read_frame(fd);
      FakeDriver::send_bytes(fd, read_hex("uc/struct_reply.hex"));
    });
    auto c = fake.open();
    const int64_t in[] = {7, -1};
    int64_t out[2] = {0, 55};
    EXPECT_EQ(c->call_scalar(4, in, out), kIOReturnSuccess);
    EXPECT_EQ(out[0], -10);
    EXPECT_EQ(out[1], 55);  // not returned: left as it was
    const uint8_t bytes[3] = {1, 2, 3};
    uint8_t got[4] = {};
    std::size_t got_len = 0;
    EXPECT_EQ(c->call_struct(9, bytes, got, got_len), kIOReturnSuccess);
    EXPECT_EQ(Bytes(got, got + got_len), (Bytes{0xCA, 0xFE}));
    hello = fake.hello;
  }
  EXPECT_EQ(hello, read_hex("uc/hello.hex"));
  EXPECT_EQ(scalar_frame, read_hex("uc/scalar_call.hex"));
  EXPECT_EQ(struct_frame, read_hex("uc/struct_call.hex"));
}

TEST(UserClientWire, BadRepliesOrADriverGoneMarkTheConnectionDeadWithoutAHang) {
  struct Case {
    const char* reply;  // null: the driver closes without answering
    bool map;           // asked through map_memory rather than a scalar call
  };
  const Case cases[] = {
      {nullptr, false},
      {"uc/reply_of_another_request.hex", false},
      {"uc/reply_with_two_outputs.hex", false},
      {"uc/reply_shorter_than_header.hex", false},
      {"uc/reply_count_beyond_length.hex", false},
      {"uc/map_reply.hex", true},  // without its descriptor
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.reply ? k.reply : "driver gone mid-call");
    FakeDriver fake([&](int fd) {
      read_frame(fd);
      if (k.reply == nullptr) return;
      FakeDriver::send_bytes(fd, read_hex(k.reply));
      test::closed_by_peer(fd);
    });
    auto c = fake.open();
    if (k.map) {
      std::unique_ptr<MemoryMapping> m;
      EXPECT_EQ(c->map_memory(1, m), kIOReturnError);
      EXPECT_FALSE(m);
    } else {
      EXPECT_EQ(kr_of(*c, kCreate, {0x10000}), k.reply ? kIOReturnError : kIOReturnNoDevice);
      EXPECT_EQ(kr_of(*c, kCreate, {0x10000}), kIOReturnNoDevice);
    }
    c.reset();
  }
}

TEST(UserClientWire, AMalformedNotificationClosesTheConnection) {
  for (const char* bad : {"uc/notify_of_another_type.hex", "uc/notify_too_short.hex"}) {
    std::promise<void> notifier_done;
    std::promise<bool> closed;
    FakeDriver fake([&](int fd) {
      FakeDriver::send_bytes(fd, read_hex("uc/notify.hex"));
      FakeDriver::send_bytes(fd, read_hex(bad));
      notifier_done.get_future().wait();
      uint8_t byte;
      closed.set_value(recv(fd, &byte, 1, MSG_DONTWAIT) == 0);
    });
    auto n = fake.open_interest();
    const std::vector<InterestMessage> got = receive(*n, 2);  // the second never comes
    notifier_done.set_value();
    // Asked while this side still holds the notifier.
    EXPECT_TRUE(closed.get_future().get()) << bad;
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].argument, 7u);
  }
}

}  // namespace
}  // namespace cx::platform
