// The agent's user-client backend against the reference driver's transport,
// over real sockets and real shared memory.
#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cstring>

#include "platform/linux/user_client_socket.h"
#include "platform/user_client.h"
#include "tests/refdriver/running_server.h"

namespace cx::platform {
namespace {

using refdriver::TransportLimits;
using refdriver::testing::kAdb;
using refdriver::testing::kMouse;
using refdriver::testing::RunningServer;

constexpr uint32_t kCreate = 0, kRelease = 1, kFlattened = 2, kTransfer = 4;

class UserClientTest : public ::testing::Test {
 protected:
  explicit UserClientTest(TransportLimits limits = {}) : driver_(limits) {
    service_ = make_socket_user_client_service(driver_.dir());
  }

  std::unique_ptr<UserClientConnection> open_mouse() {
    std::unique_ptr<UserClientConnection> c;
    EXPECT_EQ(service_->open(kMouse, c), kIOReturnSuccess);
    return c;
  }

  // Selector 0; the new memory type, or the failing kern_return's negation.
  static int64_t create(UserClientConnection& c, int64_t size, kern_return_t* kr_out = nullptr) {
    const int64_t in[] = {size};
    int64_t out[] = {0};
    const kern_return_t kr = c.call_scalar(kCreate, in, out);
    if (kr_out) *kr_out = kr;
    return kr == kIOReturnSuccess ? out[0] : -1;
  }

  static kern_return_t exchange(UserClientConnection& c, uint32_t selector, int64_t request,
                                int64_t reply, int64_t& out) {
    const int64_t in[] = {request, reply};
    int64_t result[] = {0};
    const kern_return_t kr = c.call_scalar(selector, in, result);
    out = result[0];
    return kr;
  }

  RunningServer driver_;
  std::unique_ptr<UserClientService> service_;
};

TEST_F(UserClientTest, MatchesServicesOfAClassInByteOrderOfNames) {
  for (const char* extra :
       {"com_velcorra_corvex_iokit_ADBID32MouseX", "com_velcorra_corvex_iokit_ADBID32Mouse.10"}) {
    close(open((driver_.dir() + "/" + extra).c_str(), O_CREAT | O_WRONLY, 0600));
  }
  std::vector<std::string> found;
  ASSERT_EQ(service_->matching_services(kAdb, found), kIOReturnSuccess);
  EXPECT_EQ(found, (std::vector<std::string>{kAdb + ".1", kAdb + ".10", kAdb + ".2"}));
  ASSERT_EQ(service_->matching_services(kMouse, found), kIOReturnSuccess);
  EXPECT_EQ(found, std::vector<std::string>{kMouse});

  auto missing = make_socket_user_client_service(driver_.dir() + "/none");
  found.push_back("stale");
  EXPECT_EQ(missing->matching_services(kMouse, found), kIOReturnSuccess);
  EXPECT_TRUE(found.empty());
}

TEST_F(UserClientTest, OpenFailsWithoutAServiceOrWithABadName) {
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
  const int64_t request = create(*c, 0x20000);
  const int64_t reply = create(*c, 0x20000);
  ASSERT_GT(request, 0);
  ASSERT_GT(reply, 0);
  EXPECT_NE(request, reply);
  std::unique_ptr<MemoryMapping> in, out;
  ASSERT_EQ(c->map_memory(static_cast<uint32_t>(request), in), kIOReturnSuccess);
  ASSERT_EQ(c->map_memory(static_cast<uint32_t>(reply), out), kIOReturnSuccess);
  ASSERT_EQ(in->size(), 0x20000u);
  ASSERT_EQ(out->size(), 0x20000u);

  constexpr uint32_t kLength = 0x18000;
  store_be32(in->address(), kLength);
  for (uint32_t i = 4; i < kLength; ++i) in->address()[i] = static_cast<uint8_t>(i * 7);
  int64_t length = 0;
  ASSERT_EQ(exchange(*c, kTransfer, request, reply, length), kIOReturnSuccess);
  EXPECT_EQ(length, kLength);
  EXPECT_EQ(load_be32(out->address()), kLength);
  bool same = true;
  for (uint32_t i = 4; i < kLength; ++i)
    same = same && out->address()[i] == static_cast<uint8_t>(~(i * 7));
  EXPECT_TRUE(same);

  // A reply as long as the buffer is not written but its length still comes back.
  store_be32(in->address(), 0x20000);
  out->address()[0] = 0xAB;
  ASSERT_EQ(exchange(*c, kTransfer, request, reply, length), kIOReturnSuccess);
  EXPECT_EQ(length, 0x20000);
  EXPECT_EQ(out->address()[0], 0xAB);

  // The driver's own status: a negative output with a non-zero kern_return.
  store_be32(in->address(), 2);
  EXPECT_EQ(exchange(*c, kTransfer, request, reply, length), kIOReturnError);
  EXPECT_EQ(length, -42);
}

TEST_F(UserClientTest, ReleaseAndUnmapAndCloseFreeTheBuffers) {
  auto c = open_mouse();
  const int64_t a = create(*c, 0x10000);
  const int64_t b = create(*c, 0x10000);
  std::unique_ptr<MemoryMapping> m;
  ASSERT_EQ(c->map_memory(static_cast<uint32_t>(a), m), kIOReturnSuccess);
  m->address()[0x100] = 5;  // the mapping is live until unmapped
  EXPECT_EQ(c->unmap_memory(static_cast<uint32_t>(a), std::move(m)), kIOReturnSuccess);

  const int64_t in[] = {a};
  int64_t out[] = {0};
  EXPECT_EQ(c->call_scalar(kRelease, in, out), kIOReturnSuccess);
  EXPECT_EQ(out[0], a);
  EXPECT_EQ(c->call_scalar(kRelease, in, out), kIOReturnBadArgument);
  EXPECT_EQ(c->map_memory(static_cast<uint32_t>(a), m), kIOReturnBadArgument);
  EXPECT_FALSE(m);
  int64_t length = 0;
  EXPECT_EQ(exchange(*c, kTransfer, a, b, length), kIOReturnBadArgument);

  c.reset();
  EXPECT_EQ(driver_.handler.wait_closed(1), 1u);
}

TEST_F(UserClientTest, OnlyTheConnectionsOwnMemoryTypesAreAccepted) {
  auto first = open_mouse();
  auto second = open_mouse();
  const int64_t a = create(*first, 0x10000);
  const int64_t b = create(*first, 0x10000);
  const int64_t own = create(*second, 0x10000);
  std::unique_ptr<MemoryMapping> m;
  EXPECT_EQ(second->map_memory(static_cast<uint32_t>(a), m), kIOReturnBadArgument);
  EXPECT_EQ(second->map_memory(0xFFFF, m), kIOReturnBadArgument);
  EXPECT_EQ(second->unmap_memory(static_cast<uint32_t>(b), nullptr), kIOReturnBadArgument);
  int64_t length = 0;
  EXPECT_EQ(exchange(*second, kTransfer, a, b, length), kIOReturnBadArgument);
  EXPECT_EQ(exchange(*second, kTransfer, own, b, length), kIOReturnBadArgument);
  EXPECT_EQ(exchange(*second, kTransfer, own, own, length), kIOReturnBadArgument);
  const int64_t in[] = {a};
  int64_t out[] = {0};
  EXPECT_EQ(second->call_scalar(kRelease, in, out), kIOReturnBadArgument);
  // The owner still has its buffer.
  EXPECT_EQ(first->map_memory(static_cast<uint32_t>(a), m), kIOReturnSuccess);
}

TEST_F(UserClientTest, BufferSizesAndMethodCountsAreChecked) {
  auto c = open_mouse();
  kern_return_t kr = kIOReturnSuccess;
  for (const int64_t size : {int64_t{0}, int64_t{-0x10000}, int64_t{0x10001}, int64_t{0x8000},
                             int64_t{0x1010000}, int64_t{1} << 40}) {
    create(*c, size, &kr);
    EXPECT_EQ(kr, kIOReturnBadArgument) << size;
  }
  EXPECT_GT(create(*c, 0x1000000), 0);  // 16 MiB is the largest

  const int64_t two[] = {0x10000, 0};
  int64_t out[2] = {};
  EXPECT_EQ(c->call_scalar(kCreate, two, std::span(out, 1)), kIOReturnBadArgument);
  EXPECT_EQ(c->call_scalar(kCreate, std::span(two, 1), out), kIOReturnBadArgument);
  EXPECT_EQ(c->call_scalar(3, two, std::span(out, 1)), kIOReturnUnsupported);
  const std::vector<int64_t> many(17);
  EXPECT_EQ(c->call_scalar(kCreate, many, out), kIOReturnBadArgument);
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
  kern_return_t kr = kIOReturnSuccess;
  const int64_t big = create(*c, 0x20000);
  ASSERT_GT(big, 0);
  create(*c, 0x20000, &kr);
  EXPECT_EQ(kr, kIOReturnNoMemory);  // over the total
  ASSERT_GT(create(*c, 0x10000), 0);
  create(*c, 0x10000, &kr);
  EXPECT_EQ(kr, kIOReturnNoMemory);

  const int64_t in[] = {big};
  int64_t out[] = {0};
  ASSERT_EQ(c->call_scalar(kRelease, in, out), kIOReturnSuccess);
  EXPECT_GT(create(*c, 0x10000), 0);
  EXPECT_GT(create(*c, 0x10000), 0);
  create(*c, 0x10000, &kr);
  EXPECT_EQ(kr, kIOReturnNoMemory);  // over the count
  // Another connection has its own allowance.
  auto other = open_mouse();
  EXPECT_GT(create(*other, 0x20000), 0);
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
  const int64_t size[] = {0x10000};
  int64_t out[] = {0};
  EXPECT_EQ(c->call_scalar(kCreate, size, out), kIOReturnUnsupported);
  EXPECT_EQ(driver_.handler.adb_calls(),
            (std::vector<std::pair<uint32_t, uint32_t>>{{2, 0x12345678}}));
}

// Waits (boundedly) for `n` messages.
std::vector<InterestMessage> receive(InterestNotifier& n, std::size_t count) {
  std::vector<InterestMessage> got;
  while (got.size() < count) {
    pollfd p{n.fd(), POLLIN, 0};
    if (poll(&p, 1, 5000) != 1 || !n.read_pending(got)) break;
  }
  return got;
}

TEST_F(UserClientTest, MessagesReachEveryNotificationConnection) {
  std::unique_ptr<InterestNotifier> first, second;
  ASSERT_EQ(service_->open_interest(kMouse, first), kIOReturnSuccess);
  ASSERT_EQ(service_->open_interest(kMouse, second), kIOReturnSuccess);
  std::vector<InterestMessage> none;
  EXPECT_TRUE(first->read_pending(none));
  EXPECT_TRUE(none.empty());

  auto c = open_mouse();
  const int64_t request = create(*c, 0x10000);
  const int64_t reply = create(*c, 0x10000);
  std::unique_ptr<MemoryMapping> in;
  ASSERT_EQ(c->map_memory(static_cast<uint32_t>(request), in), kIOReturnSuccess);
  store_be32(in->address(), 20);
  store_be32(in->address() + 4, 100);  // count
  store_be32(in->address() + 8, 0xF9488001);
  store_be64(in->address() + 12, 0x0000000100000000);
  int64_t status = -1;
  ASSERT_EQ(exchange(*c, kFlattened, request, reply, status), kIOReturnSuccess);
  EXPECT_EQ(status, 0);

  for (InterestNotifier* n : {first.get(), second.get()}) {
    const std::vector<InterestMessage> got = receive(*n, 100);
    ASSERT_EQ(got.size(), 100u);
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].type, 0xF9488001u);
      EXPECT_EQ(got[i].argument, 0x0000000100000000u + i);
    }
  }
}

// A hand-written driver that greets one client and then runs `script`.
class FakeDriver {
 public:
  explicit FakeDriver(std::function<void(int)> script) {
    listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const std::string path = dir_.path() + "/Fake";
    std::memcpy(addr.sun_path, path.data(), path.size());
    EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr), 0);
    EXPECT_EQ(listen(listener_.get(), 4), 0);
    thread_ = std::thread([this, script = std::move(script)] {
      UniqueFd client(accept(listener_.get(), nullptr, nullptr));
      hello_ = refdriver::testing::read_frame(client.get());
      uint8_t reply[12] = {0, 0, 0, 12, 0, 0, 0, 0x81, 0, 0, 0, 0};
      send(client.get(), reply, sizeof reply, MSG_NOSIGNAL);
      script(client.get());
    });
  }
  ~FakeDriver() { thread_.join(); }
  std::unique_ptr<UserClientConnection> open() {
    std::unique_ptr<UserClientConnection> c;
    EXPECT_EQ(make_socket_user_client_service(dir_.path())->open("Fake", c), kIOReturnSuccess);
    return c;
  }
  std::vector<uint8_t> hello_;

 private:
  refdriver::testing::TempDir dir_;
  UniqueFd listener_;
  std::thread thread_;
};

TEST(UserClientWire, RequestsAreTheFramesOfTheContract) {
  std::vector<uint8_t> scalar, structure;
  {
    FakeDriver fake([&](int fd) {
      scalar = refdriver::testing::read_frame(fd);
      const uint8_t reply[24] = {0, 0, 0, 24, 0,    0,    0,    0x82, 0,    0,    0,    0,
                                 0, 0, 0, 1,  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF6};
      send(fd, reply, sizeof reply, MSG_NOSIGNAL);
      structure = refdriver::testing::read_frame(fd);
      const uint8_t reply2[18] = {0, 0, 0, 18, 0, 0, 0, 0x83, 0, 0, 0, 0, 0, 0, 0, 2, 0xCA, 0xFE};
      send(fd, reply2, sizeof reply2, MSG_NOSIGNAL);
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
    EXPECT_EQ(got_len, 2u);
    EXPECT_EQ(got[0], 0xCA);
    EXPECT_EQ(got[1], 0xFE);
    EXPECT_EQ(fake.hello_, (std::vector<uint8_t>{0,   0,   0, 20, 0, 0, 0, 1, 'C', 'X',
                                                 'U', 'C', 0, 0,  0, 1, 0, 0, 0,   1}));
  }
  EXPECT_EQ(scalar,
            (std::vector<uint8_t>{0, 0, 0, 36, 0,    0,    0,    2,    0,    0,    0,    4,
                                  0, 0, 0, 2,  0,    0,    0,    2,    0,    0,    0,    0,
                                  0, 0, 0, 7,  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(structure, (std::vector<uint8_t>{0, 0, 0, 23, 0, 0, 0, 3, 0, 0, 0, 9,
                                             0, 0, 0, 3,  0, 0, 0, 4, 1, 2, 3}));
}

TEST(UserClientWire, ADriverGoneMidCallIsAnErrorNotAHang) {
  FakeDriver fake([](int fd) { refdriver::testing::read_frame(fd); });  // reads, then closes
  auto c = fake.open();
  const int64_t in[] = {0x10000};
  int64_t out[] = {0};
  EXPECT_EQ(c->call_scalar(0, in, out), kIOReturnNoDevice);
  EXPECT_EQ(c->call_scalar(0, in, out), kIOReturnNoDevice);
}

TEST(UserClientWire, BadRepliesMarkTheConnectionDead) {
  const std::vector<std::vector<uint8_t>> replies = {
      // another request's reply
      {0, 0, 0, 12, 0, 0, 0, 0x85, 0, 0, 0, 0},
      // two outputs where one was asked for
      {0, 0, 0, 32, 0, 0, 0, 0x82, 0, 0, 0, 0, 0, 0, 0, 2,
       0, 0, 0, 0,  0, 0, 0, 1,    0, 0, 0, 0, 0, 0, 0, 2},
      // length below the header
      {0, 0, 0, 4, 0, 0, 0, 0x82},
      // a count the length does not hold
      {0, 0, 0, 16, 0, 0, 0, 0x82, 0, 0, 0, 0, 0, 0, 0, 1},
  };
  for (const auto& reply : replies) {
    FakeDriver fake([&](int fd) {
      refdriver::testing::read_frame(fd);
      send(fd, reply.data(), reply.size(), MSG_NOSIGNAL);
      refdriver::testing::closed_by_peer(fd);
    });
    auto c = fake.open();
    const int64_t in[] = {0x10000};
    int64_t out[] = {0};
    EXPECT_EQ(c->call_scalar(0, in, out), kIOReturnError);
    EXPECT_EQ(c->call_scalar(0, in, out), kIOReturnNoDevice);
    c.reset();
  }
}

TEST(UserClientWire, AMapReplyWithoutItsDescriptorIsRefused) {
  FakeDriver fake([](int fd) {
    refdriver::testing::read_frame(fd);
    const uint8_t reply[20] = {0, 0, 0, 20, 0, 0, 0, 0x84, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    send(fd, reply, sizeof reply, MSG_NOSIGNAL);
  });
  auto c = fake.open();
  std::unique_ptr<MemoryMapping> m;
  EXPECT_EQ(c->map_memory(1, m), kIOReturnError);
  EXPECT_FALSE(m);
}

TEST(UserClientWire, NotifierReportsTheDriverGone) {
  RunningServer driver;
  auto service = make_socket_user_client_service(driver.dir());
  std::unique_ptr<InterestNotifier> n;
  ASSERT_EQ(service->open_interest(kMouse, n), kIOReturnSuccess);
  std::vector<InterestMessage> got;
  EXPECT_TRUE(n->read_pending(got));
  driver.shut_down();
  EXPECT_TRUE(receive(*n, 1).empty());
  EXPECT_FALSE(n->read_pending(got));
}

}  // namespace
}  // namespace cx::platform
