// The driver link against a fake driver behind the user-client interface in
// this process: buffers are heap blocks, calls are recorded, and failures and
// transfer replies are set by the test.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "driver/actlist_requests.h"
#include "driver/app_requests.h"
#include "driver/data_requests.h"
#include "driver/device_requests.h"
#include "driver/driver_call.h"
#include "driver/driver_connection.h"
#include "driver/menu_requests.h"
#include "driver/response_requests.h"
#include "driver/save_list.h"
#include "driver/transfer_block.h"
#include "driver/transfer_request.h"
#include "model/act_item_chain.h"
#include "tests/support/fake_user_client.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
Bytes code(uint8_t c) {
  return {0, 0, 0, c};
}
Bytes pattern(size_t n, int seed) {
  Bytes out(n);
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(seed + i);
  return out;
}
Bytes text(const char* s) {
  return {s, s + std::strlen(s) + 1};
}
template <class F>
std::string stderr_of(F f) {
  testing::internal::CaptureStderr();
  f();
  return testing::internal::GetCapturedStderr();
}

using FakeDriver = FakeUserClient;

class DriverLinkTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::set_user_client_service(&driver); }
  void TearDown() override {
    DisconnectFromDriver();
    platform::set_user_client_service(nullptr);
  }
  FakeDriver driver;
  // What requests answer, and the buffers their replies are copied into.
  uint32_t length = 0;
  int16_t status = 0, x = 0, y = 0;
  std::array<act_item, 4> items{};
  std::array<uint8_t, 36> name{};
  std::array<char, 32> key{};
  std::array<char, 8> app{};
  mouse_version_info info;
};

const std::string kNotFound = "Service '" + std::string(kDriverClassName) + "' not found\n";

// One request or reply check per table row.
#define RUN(...) [&] { __VA_ARGS__; }
#define CALL(...) [&]() -> int64_t { return static_cast<int64_t>(__VA_ARGS__); }

TEST_F(DriverLinkTest, ConnectingMapsTwo64KBuffersOnceAndDisconnectReleasesThem) {
  DisconnectFromDriver();  // harmless while closed
  ASSERT_EQ(ConnectToDriver(), 1);
  ASSERT_TRUE(driver_connected && in_shmem && out_shmem);
  const std::vector<uint32_t> types = {in_shmem->memoryType, out_shmem->memoryType};
  EXPECT_NE(types[0], types[1]);
  EXPECT_EQ(in_shmem->address, driver.buffer(types[0]).data());
  EXPECT_EQ(out_shmem->address, driver.buffer(types[1]).data());
  ASSERT_EQ(ConnectToDriver(), 1);
  EXPECT_EQ(driver.opens, 1);
  EXPECT_EQ(driver.created_sizes, (std::vector<uint64_t>{0x10000, 0x10000}));
  EXPECT_EQ(in_shmem->size, 0x10000u);
  EXPECT_EQ(out_shmem->size, 0x10000u);
  // A failure to release one buffer does not keep the other.
  driver.unmap_result = platform::kIOReturnError;
  driver.release_result = platform::kIOReturnBadArgument;
  stderr_of(DisconnectFromDriver);
  EXPECT_EQ(driver.unmapped_types, types);
  EXPECT_EQ(driver.released_types, types);
  EXPECT_FALSE(driver_connected || in_shmem || out_shmem || vcx_connect || driver.open_now);
}

TEST_F(DriverLinkTest, EachConnectFailureIsReportedAndDisconnectsFully) {
  const struct {
    void (*set)(FakeDriver&);
    size_t released;  // the buffers made before the failure
  } cases[] = {
      {[](FakeDriver& d) { d.has_service = false; }, 0},
      {[](FakeDriver& d) { d.match_result = platform::kIOReturnError; }, 0},
      {[](FakeDriver& d) { d.open_result = platform::kIOReturnNoDevice; }, 0},
      {[](FakeDriver& d) { d.buffers_left = 1; }, 1},
      {[](FakeDriver& d) { d.map_result = platform::kIOReturnNoMemory; }, 0},
      {[](FakeDriver& d) { d.map_without_address = true; }, 0},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    driver = FakeDriver();
    cases[i].set(driver);
    const std::string said = stderr_of([] { EXPECT_EQ(ConnectToDriver(), 0); });
    EXPECT_TRUE(i > 0 || said == kNotFound) << said;
    EXPECT_FALSE(driver_connected || in_shmem || out_shmem || vcx_connect || driver.open_now);
    EXPECT_EQ(driver.released_types.size(), cases[i].released);
  }
  // Without a driver every request fails as such; once it is back, the next one connects.
  driver.has_service = false;
  length = 7;
  stderr_of([&] {
    EXPECT_EQ(MakeSimpleTransferRequest(6, nullptr, 0, &length, &status), nullptr);
    EXPECT_EQ(GetActionListSize(0, 1), 0);
    EXPECT_EQ(CallDriverTransfer(1, &length), -100);
  });
  EXPECT_EQ(status, -100);
  EXPECT_EQ(length, 0u);
  driver = FakeDriver();
  driver.answer(6);
  EXPECT_EQ(GetActionListSize(0, 1), 6);
}

TEST_F(DriverLinkTest, BuffersGrowInWholeStepsAndNeverShrink) {
  ASSERT_EQ(ConnectToDriver(), 1);
  const uint32_t old_type = in_shmem->memoryType;
  ASSERT_EQ(ResizeInputSharedMemory(0x10001), 1);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(driver.released_types, (std::vector<uint32_t>{old_type}));
  ASSERT_EQ(ResizeInputSharedMemory(0x10000), 1);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  // A refused grow keeps the old buffer; the size asked for is a whole step.
  driver.max_buffer_size = 0x40000;
  uint8_t* const address = in_shmem->address;
  stderr_of([] { EXPECT_EQ(ResizeInputSharedMemory(0x40001), 0); });
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(in_shmem->address, address);
  EXPECT_EQ(driver.created_sizes.back(), 0x50000u);
}

TEST_F(DriverLinkTest, AReplyAsLongAsTheReplyBufferForcesAGrowOrMinus10) {
  driver.on_transfer = [](std::span<uint8_t> reply) -> int64_t {
    return reply.size() <= 0x10000 ? 0x10000 : reply_block(reply, 3, {});
  };
  EXPECT_NE(MakeSimpleTransferRequest(6, "\x01\x02", 2, &length, &status), nullptr);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(out_shmem->size, 0x20000u);
  // The driver was asked again with the same request.
  ASSERT_EQ(driver.transfers(), 2);
  EXPECT_EQ(driver.requests[0], driver.requests[1]);
  EXPECT_EQ(driver.last_payload(), (code(6) + Bytes{1, 2}));
  driver.on_transfer = [](std::span<uint8_t> reply) -> int64_t { return reply.size(); };
  EXPECT_EQ(CallDriverTransfer(0, &length), -10);
  EXPECT_EQ(length, 0x20000u);
  driver.max_buffer_size = 0x20000;
  stderr_of([&] { EXPECT_EQ(CallDriverTransfer(1, &length), -102); });
  EXPECT_EQ(out_shmem->size, 0x20000u);
}

TEST_F(DriverLinkTest, FailedCallsGiveTheDriversStatusOrMinus50) {
  ASSERT_EQ(ConnectToDriver(), 1);
  driver.transfer_result = platform::kIOReturnError;
  // -5: the output's low 16 bits; a negative output whose low bits do not
  // read as a failure is still one.
  const std::pair<int, int> rows[] = {{-0x10005, -5}, {12, -50}, {-0x10000, -50}};
  for (const auto& row : rows) {
    driver.failed_transfer_output = row.first;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(CallDriverTransfer(1, &length), row.second); }),
              "Corvex - Driver comm failed with error 0xe00002bc and output=" +
                  std::to_string(row.first) + "\n");
  }
  // Nor is a negative output a reply length when the call itself succeeds:
  // the reply buffer holds a valid block of an earlier request.
  driver.transfer_result = 0;
  driver.answer(4, {1});
  ASSERT_NE(MakeSimpleTransferRequest(6, nullptr, 0, &length, &status), nullptr);
  for (const int64_t output : {-0x10000, -3}) {
    driver.on_transfer = [=](std::span<uint8_t>) { return output; };
    EXPECT_EQ(MakeSimpleTransferRequest(6, nullptr, 0, &length, &status), nullptr);
    EXPECT_EQ(status, output == -3 ? -3 : -50);
  }
  // Still connected: the agent does not reconnect by itself.
  EXPECT_TRUE(driver_connected);
  EXPECT_EQ(driver.opens, 1);
}

TEST_F(DriverLinkTest, LargeRequestsGrowTheRequestBufferAndAreBuiltAgain) {
  driver.answer(4, {9});
  const Bytes data = pattern(0x10000, 7), too_large(0x20000);
  const uint8_t* reply = MakeSimpleTransferRequest3(16, nullptr, 0, data.data(), 0x8000,
                                                    data.data() + 0x8000, 0x8000, &length, &status);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(status, 4);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(reply[0], 9);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(driver.last_payload(), code(16) + data);
  driver.max_buffer_size = 0x20000;
  stderr_of([&] {
    MakeSimpleTransferRequest3(16, too_large.data(), 0x20000, 0, 0, 0, 0, &length, &status);
  });
  EXPECT_EQ(status, -101);
  EXPECT_EQ(driver.transfers(), 1);
}

// Two linked items with every field set, and their wire form.
act_item_chain sample_chain() {
  return act_item_chain({act_item{0x0102, 0x0304, 1, 0, 0x7F00, 0x05060708, nullptr},
                         act_item{0, 9, 8, 0, 0x3000, 0, nullptr}});
}
Bytes sample_chain_wire() {
  Bytes link(4);
  store_be32(link.data(), kActItemLinkedMarker);
  return Bytes{0, 2, 0x01, 0x02, 0x04, 0x03, 1, 0, 0x7F, 0x00, 0x05, 0x06, 0x07, 0x08} + link +
         Bytes{0, 0, 0x09, 0x00, 8, 0, 0x30, 0x00, 0, 0, 0, 0, 0, 0, 0, 0};
}

TEST_F(DriverLinkTest, EveryRequestSendsItsCodeParametersAndDataByteForByte) {
  Bytes buf = pattern(40, 0x40);
  const Bytes records = pattern(160, 1), name36 = pattern(36, 0x61);
  const act_item_chain chain = sample_chain();
  uint8_t names[8 * 32];
  const auto set_responses = [&] {
    CXTransferContext ctx;
    SetResponseDataStart(&ctx, &length);
    CXTransferAdd(&ctx, records.data(), 82);
    CXTransferEnd(&ctx);
    SetResponseData(&length);
  };
  const std::pair<std::function<void()>, Bytes> cases[] = {
      {RUN(InitializeDriver(records.data(), 2)), code(0) + Bytes{0, 2} + records},
      {RUN(CXAccessData(0x0102, 40, 0, buf.data(), 10)),  // write; the length cut to 10
       code(1) + Bytes{0x01, 0x02, 0, 10, 0, 0, 0, 0} + pattern(10, 0x40)},
      {RUN(CXAccessData(-3, 40, 1, buf.data(), 10)),
       code(1) + Bytes{0xFF, 0xFD, 0, 10, 0, 0, 0, 1}},
      {RUN(CXAccessData(7, 4, 0x80000002, buf.data(), 10)),  // any non-zero mode reads
       code(1) + Bytes{0, 7, 0, 4, 0x80, 0, 0, 2}},
      {RUN(CXAccessGlobalData(98, 1, buf.data(), 8)),
       code(2) + Bytes{0, 0, 0, 8, 0, 98, 1, 0} + pattern(8, 0x40)},
      {RUN(CXAccessGlobalData(37, 2, buf.data(), 12)), code(2) + Bytes{0, 0, 0, 12, 0, 37, 2, 0}},
      {RUN(AllocateSpace(21, -2)), code(3) + Bytes{0xFF, 0xFE, 0, 21, 0, 0, 0, 0}},
      {RUN(DeallocateSpace(-1)), code(4) + Bytes{0xFF, 0xFF, 0, 0, 0, 0, 0, 0}},
      {RUN(GetActionList(3, 7, items)), code(5) + Bytes{7, 3, 0, 0}},
      {RUN(GetActionListSize(3, 7)), code(6) + Bytes{7, 3, 0, 0}},
      {RUN(GetActionName(3, 7, 0x0102, name)), code(7) + Bytes{7, 3, 1, 2}},
      {RUN(GetDataSize(300)), code(8) + Bytes{0x01, 0x2C, 0, 0, 0, 0, 0, 0}},
      {RUN(GetMenuActionList(3, 7, 5, items)), code(9) + Bytes{7, 3, 0, 5}},
      {RUN(GetMenuActionListSize(3, 7, -1)), code(10) + Bytes{7, 3, 0xFF, 0xFF}},
      {RUN(GetMouseInfo(info)), code(11)},
      {RUN(SetActionList(3, 7, chain.head())), code(12) + Bytes{7, 3, 0, 0} + sample_chain_wire()},
      {RUN(SetActionList(3, 7, nullptr)), code(12) + Bytes{7, 3, 0, 0, 0, 0}},
      {RUN(SetActionName(3, 7, 2, std::span<const uint8_t, 36>(name36.data(), 36))),
       code(13) + Bytes{7, 3, 0, 2} + name36},
      {RUN(SetMenuActionList(3, 7, 2, chain.head())),
       code(14) + Bytes{7, 3, 0, 2} + sample_chain_wire()},
      {RUN(CXAccessAppData(72, 1, buf.data(), 4)),
       code(15) + Bytes{0, 0, 0, 4, 0, 72, 1, 0} + pattern(4, 0x40)},
      {RUN(CXDoSwitchApp("Finder", 7)), code(16) + Bytes{0, 0, 0, 7} + text("Finder")},
      {RUN(CurrentEditApp("key", "Name")), code(17) + text("key") + text("Name")},
      {RUN(GetAppName(1, key, app)), code(18) + Bytes{0, 1}},
      {RUN(QueryEditApp(key, app)), code(19)},
      {RUN(DeleteAppName("key")), code(20) + text("key")},
      {RUN(InControlPanel(1)), code(21) + Bytes{1}},
      {RUN(GetCacheSize(4)), code(22) + Bytes{0, 4}},
      {RUN(AccessCacheData(0, 1, buf.data(), 5)),
       code(23) + Bytes{0, 0, 0, 5, 0, 0, 1, 0} + pattern(5, 0x40)},
      {RUN(AccessCacheData(2, 2, buf.data(), 5)), code(23) + Bytes{0, 0, 0, 5, 0, 2, 2, 0}},
      {RUN(GetSingleResponse(3, 7, 4, &length, &status)), code(24) + Bytes{7, 3, 0, 4}},
      {RUN(GetFullResponse(3, 7, &length, &status)), code(25) + Bytes{7, 3, 0, 0}},
      // Unlike every other request, a goes before b.
      {RUN(GetResponses(3, 7, 25, 0x01020304, &length, &status)),
       code(26) + Bytes{3, 7, 25, 0, 1, 2, 3, 4}},
      {set_responses, code(27) + pattern(82, 1)},
      {RUN(GetNextBackgroundEvent(&length, &status)), code(28)},
      {RUN(ClearAllMenuLists()), code(29)},
      {RUN(CheckMenuSize(&x, &y)), code(30)},
      {RUN(GetMenuNames(8, names, &x, &y)), code(31) + Bytes{0, 8}},
      {RUN(ExecuteMenuItems(3)), code(32) + Bytes{0, 3}},
      {RUN(SetAbsoluteMouse(-2, 0x01020304)), code(33) + Bytes{0xFF, 0xFF, 0xFF, 0xFE, 1, 2, 3, 4}},
  };
  for (const auto& [call, payload] : cases) {
    SCOPED_TRACE(testing::PrintToString(payload));
    const int before = driver.transfers();
    call();
    EXPECT_EQ(driver.transfers(), before + 1);
    EXPECT_EQ(driver.last_payload(), payload);
  }
}

TEST_F(DriverLinkTest, MalformedOrFailingRepliesAreRejected) {
  items[0].act = 0x1111;
  std::array<uint8_t, 12> rec{};
  Bytes dest(3 * 32);
  info.bytes.fill(0xEE);
  const struct {
    int16_t status;  // of a valid reply block; 999: the reply is no valid block
    Bytes data;
    std::function<int64_t()> call;
    int64_t expected;
  } cases[] = {
      {3, Bytes{0, 3} + pattern(50, 0), CALL(GetActionList(0, 1, items)), -50},  // not 3 * 16
      {0, Bytes{0, 1} + pattern(16, 0), CALL(GetActionList(0, 1, items)), 0},
      {-4, sample_chain_wire(), CALL(GetActionList(0, 1, items)), -4},
      {0, pattern(35, 1), CALL(GetActionName(0, 1, 1, name)), 0},
      {-2, pattern(36, 1), CALL(GetActionName(0, 1, 1, name)), -2},
      {3, pattern(11, 100), CALL(CXAccessAppData(37, 2, rec.data(), 12)), 3},
      {-1, {0, 1, 0, 2}, CALL(GetCacheSize(1)), 0},
      {0, {0, 1, 0}, CALL(GetCacheSize(1)), 0},
      {0, pattern(4, 9) + Bytes{0, 0, 0, 5}, CALL(AccessCacheData(0, 2, rec.data(), 5)), 0},
      {0, {}, CALL(GetMouseInfo(info)), 0},
      {2, text("k2") + text("n"), CALL(GetAppName(1, key, app)), 0},
      {1, {'k', 0, 'n'}, CALL(QueryEditApp(key, app)), 0},
      {1, {}, CALL(QueryEditApp(key, app)), 0},
      {2, {0, 12, 0xFF, 0xFE}, CALL(CheckMenuSize(&x, &y)), 0},
      {1, {0, 12, 0xFF}, CALL(CheckMenuSize(&x, &y)), 0},
      {2, pattern(64, 1) + Bytes{0, 0, 0, 4, 0, 0, 0}, CALL(GetMenuNames(3, dest.data(), &x, &y)),
       -1000},
      {4, pattern(128, 1) + Bytes{0, 0, 0, 4, 0, 0, 0, 5},
       CALL(GetMenuNames(3, dest.data(), &x, &y)), -1000},
      {0, {}, CALL(GetMenuNames(3, dest.data(), &x, &y)), 0},
      {-8, {}, CALL(SetAbsoluteMouse(1, 1)), -8},
      {5, {}, CALL(SetActionList(0, 1, nullptr)), 0},  // storing a list always answers 0
      {300, {}, CALL(AllocateSpace(10, -2)), 300},
      {999, {}, CALL(CXAccessGlobalData(98, 1, rec.data(), 8)), 0},
      {999, {}, CALL(CXAccessData(5, 10, 0, rec.data(), 10) != nullptr), 0},
      {999, {}, CALL(AllocateSpace(10, -1)), -100},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    driver.answer(cases[i].status, cases[i].data);
    if (cases[i].status == 999) driver.on_transfer = no_valid_block;
    EXPECT_EQ(cases[i].call(), cases[i].expected);
  }
  // Nothing was copied out of a rejected reply.
  EXPECT_EQ(items[0].act, 0x1111);
  EXPECT_EQ(items[0].link, nullptr);
  EXPECT_EQ(name, decltype(name){});
  EXPECT_EQ(rec, decltype(rec){});
  EXPECT_EQ(info.bytes[0], 0xEE);
  EXPECT_EQ(key[0], '\0');
}

TEST_F(DriverLinkTest, RepliesAreCopiedOut) {
  // A length above the buffer reads the buffer's size.
  std::array<uint8_t, 10> small{};
  driver.answer(0, pattern(10, 0x20));
  ASSERT_NE(CXAccessData(5, 40, 1, small.data(), 10), nullptr);
  EXPECT_EQ(Bytes(small.begin(), small.end()), pattern(10, 0x20));
  driver.answer(2, pattern(200, 0));
  EXPECT_EQ(GetMouseInfo(info), 2);
  EXPECT_EQ(Bytes(info.bytes.begin(), info.bytes.end()), pattern(180, 0));
  // One name only still copies it; names are cut to their buffers.
  driver.answer(1, text("com.app"));
  EXPECT_EQ(QueryEditApp(key, app), 0);
  EXPECT_STREQ(key.data(), "com.app");
  driver.answer(1, text("k1") + text("A long application name"));
  EXPECT_EQ(GetAppName(1, key, app), 1);
  EXPECT_STREQ(app.data(), "A long ");
  // Lists are linked where they land; a name is its whole record.
  driver.answer(2, sample_chain_wire());
  ASSERT_EQ(GetActionList(0, 1, items), 2);
  EXPECT_EQ((std::vector<int>{items[0].ch12, items[0].act, items[1].act}),
            (std::vector<int>{0x0304, 0x7F00, 0x3000}));
  EXPECT_EQ(items[0].extra_info, 0x05060708u);
  EXPECT_EQ(items[0].link, &items[1]);
  EXPECT_EQ(items[1].link, nullptr);
  driver.answer(1, pattern(36, 1));
  EXPECT_EQ(GetActionName(0, 1, 1, name), 1);
  EXPECT_EQ(Bytes(name.begin(), name.end()), pattern(36, 1));
  // The popup menu: its size, then its names with the pointer after them.
  driver.answer(1, {0, 3, 0, 5});
  EXPECT_EQ(CheckMenuSize(&x, &y), 1);
  EXPECT_EQ(std::pair(x, y), (std::pair<int16_t, int16_t>(3, 5)));
  Bytes names(3 * 32, 0xEE);
  driver.answer(2, pattern(64, 1) + Bytes{1, 1, 0, 100, 2, 2, 0, 200});
  EXPECT_EQ(GetMenuNames(3, names.data(), &x, &y), 2);
  EXPECT_EQ(names, pattern(64, 1) + Bytes(32, 0xEE));
  EXPECT_EQ(std::pair(x, y), (std::pair<int16_t, int16_t>(100, 200)));
}

TEST_F(DriverLinkTest, ResponseDataCopyGrowsBothBuffersButInPlaceNeverGrows) {
  Bytes block(0x18000);
  CXTransferContext ctx;
  CXTransferStartWithRequest(&ctx, block.data(), 0x18000, 27);
  CXTransferAdd(&ctx, pattern(0x18000 - 10, 3).data(), 0x18000 - 10);
  ASSERT_EQ(CXTransferEnd(&ctx), block.size());
  const auto send = [](const Bytes& b) {
    return SetResponseDataCopy(b.data(), static_cast<uint32_t>(b.size()));
  };
  driver.on_transfer = [](std::span<uint8_t> reply) -> int64_t {
    return reply.size() < 0x30000 ? 0x2FFFF : reply_block(reply, -7, {});
  };
  EXPECT_EQ(send(block), -7);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(out_shmem->size, 0x30000u);
  EXPECT_EQ(driver.requests, (std::vector<Bytes>{block, block}));
  driver.max_buffer_size = 0x30000;
  driver.on_transfer = [](std::span<uint8_t>) -> int64_t { return 0x30000; };
  stderr_of([&] {
    EXPECT_EQ(send(block), -102);
    EXPECT_EQ(send(Bytes(0x30001)), -101);
  });
  driver.on_transfer = no_valid_block;
  EXPECT_EQ(send(block), -103);
  // The driver's own -10 names no length to grow to: asked once, not forever.
  const int before = driver.transfers();
  driver.transfer_result = platform::kIOReturnError;
  driver.failed_transfer_output = -10;
  stderr_of([&] { EXPECT_EQ(send(block), -10); });
  EXPECT_EQ(driver.transfers(), before + 1);
  driver.transfer_result = 0;

  uint32_t capacity = 0;
  SetResponseDataStart(&ctx, &capacity);
  EXPECT_EQ(capacity, 0x20000u);
  EXPECT_EQ(ctx.buffer, in_shmem->address);
  CXTransferEnd(&ctx);
  driver.on_transfer = [](std::span<uint8_t>) -> int64_t { return 0x30000; };
  EXPECT_EQ(SetResponseData(&length), -10);
  EXPECT_EQ(length, 0x30000u);
  EXPECT_EQ(out_shmem->size, 0x30000u);
  driver.answer(1, {5, 6});
  EXPECT_EQ(SetResponseData(&length), 1);
  EXPECT_EQ(length, 10u);
  DisconnectFromDriver();
  driver.has_service = false;
  stderr_of([&] {
    SetResponseDataStart(&ctx, &capacity);
    EXPECT_EQ(CXTransferAdd(&ctx, "x", 1), nullptr);
    EXPECT_EQ(SetResponseData(&length), -100);
  });
  EXPECT_EQ(capacity, 0u);
}

TEST_F(DriverLinkTest, SaveListAndDataspaceRelease) {
  act_item item{7, 7, 7, 0x5A, 7, 7, &item};
  EXPECT_EQ(reinit_save_list(2, 9, &item), 0);
  EXPECT_EQ(item.link, nullptr);
  EXPECT_EQ(driver.last_payload(), (code(12) + Bytes{9,    2,    0, 0, 0, 1, 0, 1, 0, 0, 1,
                                                     0x5A, 0x20, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  const short indices[] = {256, -1, 3};
  free_allocated_space(indices, 0);
  free_allocated_space(indices, -1);
  EXPECT_EQ(driver.transfers(), 1);
  free_allocated_space(indices, 2);
  ASSERT_EQ(driver.transfers(), 3);
  EXPECT_EQ(load_be16(driver.requests[1].data() + 8), 256);
  EXPECT_EQ(driver.last_payload(), (code(4) + Bytes{0xFF, 0xFF, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace cx::test
