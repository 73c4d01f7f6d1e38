#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>

#include "driver/actlist_requests.h"
#include "driver/app_requests.h"
#include "driver/data_requests.h"
#include "driver/device_requests.h"
#include "driver/menu_requests.h"
#include "driver/response_requests.h"
#include "driver/save_list.h"
#include "model/act_item_chain.h"
#include "tests/driver/driver_link_fixture.h"
#include "util/byte_order.h"

namespace cx::test {
namespace {

std::vector<uint8_t> code(int c) {
  return bytes({0, 0, 0, c});
}

std::vector<uint8_t> pattern(size_t n, int seed) {
  std::vector<uint8_t> out(n);
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(seed + i);
  return out;
}

std::vector<uint8_t> text(const char* s) {
  return {s, s + std::strlen(s) + 1};
}

// Two linked items with every field set; the wire form follows.
act_item_chain sample_chain() {
  return act_item_chain({act_item{0x0102, 0x0304, 1, 0, 0x7F00, 0x05060708, nullptr},
                         act_item{0, 9, 8, 0, 0x3000, 0, nullptr}});
}
std::vector<uint8_t> sample_chain_wire() {
  std::vector<uint8_t> link(4);
  store_be32(link.data(), kActItemLinkedMarker);
  return bytes({0, 2}) + bytes({0x01, 0x02, 0x04, 0x03, 1, 0, 0x7F, 0x00, 0x05, 0x06, 0x07, 0x08}) +
         link + bytes({0, 0, 0x09, 0x00, 8, 0, 0x30, 0x00, 0, 0, 0, 0, 0, 0, 0, 0});
}

struct RequestCase {
  const char* name;
  std::function<void()> call;
  std::vector<uint8_t> payload;  // request code, parameters, data
};

TEST_F(DriverLinkTest, EveryRequestSendsItsParametersAndDataByteForByte) {
  std::vector<uint8_t> buffer = pattern(40, 0x40);
  const auto records = pattern(160, 1);
  const auto name36 = pattern(36, 0x61);
  const act_item_chain chain = sample_chain();
  std::array<act_item, 4> items{};
  std::array<uint8_t, 36> name{};
  std::array<char, 32> key{};
  std::array<char, 128> app{};
  mouse_version_info info;
  uint8_t names[8 * 32];
  int16_t x = 0, y = 0;
  uint32_t len = 0;
  int16_t status = 0;

  const RequestCase cases[] = {
      {"InitializeDriver", [&] { InitializeDriver(records.data(), 2); },
       code(0) + bytes({0, 2}) + records},
      {"CXAccessData write", [&] { CXAccessData(0x0102, 40, 0, buffer.data(), 10); },
       code(1) + bytes({0x01, 0x02, 0, 10, 0, 0, 0, 0}) + pattern(10, 0x40)},
      {"CXAccessData read", [&] { CXAccessData(-3, 40, 1, buffer.data(), 10); },
       code(1) + bytes({0xFF, 0xFD, 0, 10, 0, 0, 0, 1})},
      {"CXAccessGlobalData write", [&] { CXAccessGlobalData(98, 1, buffer.data(), 8); },
       code(2) + bytes({0, 0, 0, 8, 0, 98, 1, 0}) + pattern(8, 0x40)},
      {"CXAccessGlobalData read", [&] { CXAccessGlobalData(37, 2, buffer.data(), 12); },
       code(2) + bytes({0, 0, 0, 12, 0, 37, 2, 0})},
      {"AllocateSpace", [&] { AllocateSpace(21, -2); },
       code(3) + bytes({0xFF, 0xFE, 0, 21, 0, 0, 0, 0})},
      {"DeallocateSpace", [&] { DeallocateSpace(-1); },
       code(4) + bytes({0xFF, 0xFF, 0, 0, 0, 0, 0, 0})},
      {"GetActionList", [&] { GetActionList(3, 7, items); }, code(5) + bytes({7, 3, 0, 0})},
      {"GetActionListSize", [&] { GetActionListSize(3, 7); }, code(6) + bytes({7, 3, 0, 0})},
      {"GetActionName", [&] { GetActionName(3, 7, 0x0102, name); },
       code(7) + bytes({7, 3, 1, 2})},
      {"GetDataSize", [&] { GetDataSize(300); },
       code(8) + bytes({0x01, 0x2C, 0, 0, 0, 0, 0, 0})},
      {"GetMenuActionList", [&] { GetMenuActionList(3, 7, 5, items); },
       code(9) + bytes({7, 3, 0, 5})},
      {"GetMenuActionListSize", [&] { GetMenuActionListSize(3, 7, -1); },
       code(10) + bytes({7, 3, 0xFF, 0xFF})},
      {"GetMouseInfo", [&] { GetMouseInfo(info); }, code(11)},
      {"SetActionList", [&] { SetActionList(3, 7, chain.head()); },
       code(12) + bytes({7, 3, 0, 0}) + sample_chain_wire()},
      {"SetActionList empty", [&] { SetActionList(3, 7, nullptr); },
       code(12) + bytes({7, 3, 0, 0, 0, 0})},
      {"SetActionName",
       [&] { SetActionName(3, 7, 2, std::span<const uint8_t, 36>(name36.data(), 36)); },
       code(13) + bytes({7, 3, 0, 2}) + name36},
      {"SetMenuActionList", [&] { SetMenuActionList(3, 7, 2, chain.head()); },
       code(14) + bytes({7, 3, 0, 2}) + sample_chain_wire()},
      {"CXAccessAppData", [&] { CXAccessAppData(72, 1, buffer.data(), 4); },
       code(15) + bytes({0, 0, 0, 4, 0, 72, 1, 0}) + pattern(4, 0x40)},
      {"CXDoSwitchApp", [&] { CXDoSwitchApp("Finder", 7); },
       code(16) + bytes({0, 0, 0, 7}) + text("Finder")},
      {"CurrentEditApp", [&] { CurrentEditApp("key", "Name"); },
       code(17) + text("key") + text("Name")},
      {"CurrentEditApp global", [&] { CurrentEditApp("", ""); }, code(17) + bytes({0, 0})},
      {"GetAppName", [&] { GetAppName(1, key, app); }, code(18) + bytes({0, 1})},
      {"QueryEditApp", [&] { QueryEditApp(key, app); }, code(19)},
      {"DeleteAppName", [&] { DeleteAppName("key"); }, code(20) + text("key")},
      {"InControlPanel", [&] { InControlPanel(1); }, code(21) + bytes({1})},
      {"GetCacheSize", [&] { GetCacheSize(4); }, code(22) + bytes({0, 4})},
      {"AccessCacheData write", [&] { AccessCacheData(0, 1, buffer.data(), 5); },
       code(23) + bytes({0, 0, 0, 5, 0, 0, 1, 0}) + pattern(5, 0x40)},
      {"AccessCacheData read", [&] { AccessCacheData(2, 2, buffer.data(), 5); },
       code(23) + bytes({0, 0, 0, 5, 0, 2, 2, 0})},
      {"GetSingleResponse", [&] { GetSingleResponse(3, 7, 4, &len, &status); },
       code(24) + bytes({7, 3, 0, 4})},
      {"GetFullResponse", [&] { GetFullResponse(3, 7, &len, &status); },
       code(25) + bytes({7, 3, 0, 0})},
      {"GetResponses", [&] { GetResponses(3, 7, 25, 0x01020304, &len, &status); },
       code(26) + bytes({3, 7, 25, 0, 1, 2, 3, 4})},
      {"SetResponseData",
       [&] {
         CXTransferContext ctx;
         uint32_t capacity = 0;
         SetResponseDataStart(&ctx, &capacity);
         CXTransferAdd(&ctx, records.data(), 82);
         CXTransferEnd(&ctx);
         SetResponseData(&len);
       },
       code(27) + pattern(82, 1)},
      {"GetNextBackgroundEvent", [&] { GetNextBackgroundEvent(&len, &status); }, code(28)},
      {"ClearAllMenuLists", [&] { ClearAllMenuLists(); }, code(29)},
      {"CheckMenuSize", [&] { CheckMenuSize(&x, &y); }, code(30)},
      {"GetMenuNames", [&] { GetMenuNames(8, names, &x, &y); }, code(31) + bytes({0, 8})},
      {"ExecuteMenuItems", [&] { ExecuteMenuItems(3); }, code(32) + bytes({0, 3})},
      {"SetAbsoluteMouse", [&] { SetAbsoluteMouse(-2, 0x01020304); },
       code(33) + bytes({0xFF, 0xFF, 0xFF, 0xFE, 1, 2, 3, 4})},
  };
  driver.answer(0);
  for (const RequestCase& c : cases) {
    const int before = driver.transfers();
    c.call();
    EXPECT_EQ(driver.transfers(), before + 1) << c.name;
    EXPECT_EQ(driver.last_payload(), c.payload) << c.name;
  }
}

TEST_F(DriverLinkTest, SetResponseDataCopySendsTheBlockAsItIs) {
  std::vector<uint8_t> block(0x18000);
  CXTransferContext ctx;
  CXTransferStartWithRequest(&ctx, block.data(), static_cast<uint32_t>(block.size()), 27);
  const auto responses = pattern(block.size() - 10, 3);
  CXTransferAdd(&ctx, responses.data(), static_cast<uint32_t>(responses.size()));
  ASSERT_EQ(CXTransferEnd(&ctx), block.size());

  driver.answer(2);
  EXPECT_EQ(SetResponseDataCopy(block.data(), static_cast<uint32_t>(block.size())), 2);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  ASSERT_EQ(driver.transfers(), 1);
  EXPECT_EQ(driver.requests.back(), block);

  // A reply too large for the reply buffer grows it and the block goes again.
  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> reply) -> int64_t {
    if (reply.size() < 0x30000) return 0x2FFFF;
    return FakeDriver::reply_block(reply, -7, {});
  };
  EXPECT_EQ(SetResponseDataCopy(block.data(), static_cast<uint32_t>(block.size())), -7);
  EXPECT_EQ(out_shmem->size, 0x30000u);
  ASSERT_EQ(driver.transfers(), 3);
  EXPECT_EQ(driver.requests[2], block);

  driver.max_buffer_size = 0x30000;
  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t>) -> int64_t {
    return 0x30000;
  };
  testing::internal::CaptureStderr();
  EXPECT_EQ(SetResponseDataCopy(block.data(), static_cast<uint32_t>(block.size())), -102);
  std::vector<uint8_t> huge(0x30001);
  EXPECT_EQ(SetResponseDataCopy(huge.data(), static_cast<uint32_t>(huge.size())), -101);
  testing::internal::GetCapturedStderr();

  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> reply) -> int64_t {
    reply[0] = 0xFF;  // no valid block
    return 8;
  };
  EXPECT_EQ(SetResponseDataCopy(block.data(), static_cast<uint32_t>(block.size())), -103);
}

TEST_F(DriverLinkTest, SetResponseDataInPlaceNeverGrowsTheReplyBuffer) {
  CXTransferContext ctx;
  uint32_t capacity = 0;
  SetResponseDataStart(&ctx, &capacity);
  EXPECT_EQ(capacity, 0x10000u);
  EXPECT_EQ(ctx.buffer, in_shmem->address);
  CXTransferEnd(&ctx);

  driver.answer(1, bytes({5, 6}));
  uint32_t len = 0;
  EXPECT_EQ(SetResponseData(&len), 1);
  EXPECT_EQ(len, 10u);

  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t>) -> int64_t {
    return 0x18000;
  };
  EXPECT_EQ(SetResponseData(&len), -10);
  EXPECT_EQ(len, 0x18000u);
  EXPECT_EQ(out_shmem->size, 0x10000u);

  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> reply) -> int64_t {
    reply[3] = 3;  // a length word below the smallest block
    return 8;
  };
  EXPECT_EQ(SetResponseData(&len), -103);

  DisconnectFromDriver();
  driver.has_service = false;
  testing::internal::CaptureStderr();
  SetResponseDataStart(&ctx, &capacity);
  EXPECT_EQ(capacity, 0u);
  EXPECT_EQ(CXTransferAdd(&ctx, "x", 1), nullptr);
  EXPECT_EQ(SetResponseData(&len), -100);
  testing::internal::GetCapturedStderr();
}

TEST_F(DriverLinkTest, ActionListRepliesMustBeACountAndThatManyItems) {
  std::array<act_item, 4> items{};
  items[0].act = 0x1111;

  driver.answer(3, bytes({0, 3}) + pattern(50, 0));
  EXPECT_EQ(GetActionList(0, 1, items), -50);
  EXPECT_EQ(items[0].act, 0x1111);
  EXPECT_EQ(items[0].link, nullptr);

  driver.answer(5, bytes({0, 5}) + pattern(80, 0));
  EXPECT_EQ(GetActionList(0, 1, items), -50);  // more than the caller's array holds
  EXPECT_EQ(items[0].act, 0x1111);

  driver.answer(0, bytes({0, 1}) + pattern(16, 0));
  EXPECT_EQ(GetActionList(0, 1, items), 0);
  EXPECT_EQ(items[0].act, 0x1111);

  const std::vector<uint8_t> wire = sample_chain_wire();
  driver.answer(2, wire);
  ASSERT_EQ(GetMenuActionList(0, 1, 4, items), 2);
  EXPECT_EQ(items[0].mods, 0x0102);
  EXPECT_EQ(items[0].ch12, 0x0304);
  EXPECT_EQ(items[0].act, 0x7F00);
  EXPECT_EQ(items[0].extra_info, 0x05060708u);
  EXPECT_EQ(items[0].link, &items[1]);
  EXPECT_EQ(items[1].act_seq, 8);
  EXPECT_EQ(items[1].link, nullptr);

  driver.answer(-4, wire);
  EXPECT_EQ(GetActionList(0, 1, items), -4);
  EXPECT_EQ(GetActionListSize(0, 1), -4);
  driver.answer(6);
  EXPECT_EQ(GetActionListSize(0, 1), 6);
  EXPECT_EQ(GetMenuActionListSize(0, 1, 2), 6);
}

TEST_F(DriverLinkTest, StoringAListAnswersZeroWhateverTheDriverSays) {
  const act_item_chain chain = sample_chain();
  driver.answer(5);
  EXPECT_EQ(SetActionList(0, 1, chain.head()), 0);
  driver.transfer_result = platform::kIOReturnError;
  driver.failed_transfer_output = -9;
  testing::internal::CaptureStderr();
  EXPECT_EQ(SetMenuActionList(0, 1, 1, chain.head()), 0);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(driver.transfers(), 2);

  // A list too long for the request buffer grows it; the block is rebuilt.
  driver.transfer_result = platform::kIOReturnSuccess;
  std::vector<act_item> many(5000);
  const act_item_chain long_chain(many);
  EXPECT_EQ(SetActionList(0, 1, long_chain.head()), 0);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(driver.last_payload().size(), 4u + 4 + 2 + 5000 * 16);
}

TEST_F(DriverLinkTest, NameRecordsComeBackOnlyWhenExactly36Bytes) {
  std::array<uint8_t, 36> name{};
  driver.answer(0, pattern(35, 1));
  EXPECT_EQ(GetActionName(0, 1, 1, name), 0);
  EXPECT_EQ(name[0], 0);
  driver.answer(-2, pattern(36, 1));
  EXPECT_EQ(GetActionName(0, 1, 1, name), -2);
  EXPECT_EQ(name[0], 0);
  driver.answer(1, pattern(36, 1));
  EXPECT_EQ(GetActionName(0, 1, 1, name), 1);
  EXPECT_EQ(std::vector<uint8_t>(name.begin(), name.end()), pattern(36, 1));
}

TEST_F(DriverLinkTest, DataAccessClipsToTheBufferAndCopiesOnlyExactReplies) {
  std::array<uint8_t, 10> small{};
  driver.answer(0, pattern(10, 0x20));
  const uint8_t* reply = CXAccessData(5, 40, 1, small.data(), 10);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(load_be16(driver.last_payload().data() + 6), 10);
  EXPECT_EQ(std::vector<uint8_t>(small.begin(), small.end()), pattern(10, 0x20));

  driver.answer(0, pattern(9, 0x50));
  EXPECT_NE(CXAccessData(5, 10, 1, small.data(), 10), nullptr);
  EXPECT_EQ(small[0], 0x20);

  std::array<uint8_t, 12> record{};
  driver.answer(3, pattern(12, 7));
  EXPECT_EQ(CXAccessGlobalData(37, 2, record.data(), 12), 3);
  EXPECT_EQ(record[11], 18);
  driver.answer(3, pattern(11, 100));
  EXPECT_EQ(CXAccessAppData(37, 2, record.data(), 12), 3);
  EXPECT_EQ(record[0], 7);

  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> out) -> int64_t {
    out[0] = 0xFF;  // no valid block
    return 8;
  };
  EXPECT_EQ(CXAccessGlobalData(98, 1, record.data(), 8), 0);
  EXPECT_EQ(CXAccessData(5, 10, 0, small.data(), 10), nullptr);
  EXPECT_EQ(AllocateSpace(10, -1), -100);
  EXPECT_EQ(GetDataSize(256), -100);
  EXPECT_EQ(InitializeDriver(nullptr, 0), -100);
  driver.answer(300);
  EXPECT_EQ(AllocateSpace(10, -2), 300);
  EXPECT_EQ(GetDataSize(300), 300);
  EXPECT_EQ(InitializeDriver(nullptr, 0), 300);
}

TEST_F(DriverLinkTest, CacheRepliesCarryA32BitValue) {
  driver.answer(0, bytes({0, 1, 0, 2}));
  EXPECT_EQ(GetCacheSize(1), 0x10002u);
  driver.answer(-1, bytes({0, 1, 0, 2}));
  EXPECT_EQ(GetCacheSize(1), 0u);
  driver.answer(0, bytes({0, 1, 0}));
  EXPECT_EQ(GetCacheSize(1), 0u);

  std::array<uint8_t, 5> cache{};
  driver.answer(0, pattern(5, 1) + bytes({0, 0, 0, 5}));
  EXPECT_EQ(AccessCacheData(0, 2, cache.data(), 5), 5u);
  EXPECT_EQ(std::vector<uint8_t>(cache.begin(), cache.end()), pattern(5, 1));
  driver.answer(0, pattern(4, 9) + bytes({0, 0, 0, 5}));
  EXPECT_EQ(AccessCacheData(0, 2, cache.data(), 5), 0u);
  EXPECT_EQ(cache[0], 1);
  driver.answer(0, bytes({0, 0, 0, 5}));
  EXPECT_EQ(AccessCacheData(0, 1, cache.data(), 5), 5u);
}

TEST_F(DriverLinkTest, MouseInformationIsCutTo180Bytes) {
  mouse_version_info info;
  info.bytes.fill(0xEE);
  driver.answer(0);
  EXPECT_EQ(GetMouseInfo(info), 0);
  EXPECT_EQ(info.bytes[0], 0xEE);

  driver.answer(2, pattern(200, 0));
  EXPECT_EQ(GetMouseInfo(info), 2);
  EXPECT_EQ(std::vector<uint8_t>(info.bytes.begin(), info.bytes.end()), pattern(180, 0));

  info.bytes.fill(0xEE);
  driver.answer(1, pattern(6, 0x30));
  EXPECT_EQ(GetMouseInfo(info), 1);
  EXPECT_EQ(info.bytes[5], 0x35);
  EXPECT_EQ(info.bytes[6], 0xEE);
}

TEST_F(DriverLinkTest, TwoNameRepliesNeedStatusOneAndTwoStrings) {
  std::array<char, 32> key{};
  std::array<char, 8> name{};
  driver.answer(1, text("com.app"));
  EXPECT_EQ(QueryEditApp(key, name), 0);
  EXPECT_STREQ(key.data(), "com.app");
  EXPECT_EQ(name[0], '\0');

  driver.answer(1, text("k1") + text("A long application name"));
  EXPECT_EQ(GetAppName(1, key, name), 1);
  EXPECT_STREQ(key.data(), "k1");
  EXPECT_STREQ(name.data(), "A long ");  // cut to its buffer

  key.fill('\0');
  driver.answer(2, text("k2") + text("n"));
  EXPECT_EQ(GetAppName(1, key, name), 0);
  driver.answer(1, bytes({'k', 0, 'n'}));
  EXPECT_EQ(QueryEditApp(key, name), 0);
  driver.answer(1);
  EXPECT_EQ(QueryEditApp(key, name), 0);
  EXPECT_EQ(key[0], '\0');
}

TEST_F(DriverLinkTest, MenuRepliesAreCheckedAgainstTheAnnouncedCount) {
  int16_t x = 0, y = 0;
  driver.answer(1, bytes({0, 12, 0xFF, 0xFE}));
  EXPECT_EQ(CheckMenuSize(&x, &y), 1);
  EXPECT_EQ(x, 12);
  EXPECT_EQ(y, -2);
  driver.answer(2, bytes({0, 12, 0xFF, 0xFE}));
  EXPECT_EQ(CheckMenuSize(&x, &y), 0);
  driver.answer(1, bytes({0, 12, 0xFF}));
  EXPECT_EQ(CheckMenuSize(&x, &y), 0);

  std::vector<uint8_t> dest(3 * 32);
  driver.answer(2, pattern(64, 1) + bytes({9, 9, 0, 4, 9, 9, 0, 5}));
  EXPECT_EQ(GetMenuNames(3, dest.data(), &x, &y), 2);
  EXPECT_EQ(std::vector<uint8_t>(dest.begin(), dest.begin() + 64), pattern(64, 1));
  EXPECT_EQ(dest[64], 0);
  EXPECT_EQ(x, 4);
  EXPECT_EQ(y, 5);

  driver.answer(2, pattern(64, 1) + bytes({0, 0, 0, 4, 0, 0, 0}));
  EXPECT_EQ(GetMenuNames(3, dest.data(), &x, &y), -1000);
  driver.answer(4, pattern(128, 1) + bytes({0, 0, 0, 4, 0, 0, 0, 5}));
  EXPECT_EQ(GetMenuNames(3, dest.data(), &x, &y), -1000);
  driver.answer(0);
  EXPECT_EQ(GetMenuNames(3, dest.data(), &x, &y), 0);
  driver.answer(-3);
  EXPECT_EQ(GetMenuNames(3, dest.data(), &x, &y), -3);

  driver.answer(-8);
  EXPECT_EQ(ClearAllMenuLists(), -8);
  EXPECT_EQ(ExecuteMenuItems(1), -8);
  EXPECT_EQ(SetAbsoluteMouse(1, 1), -8);
}

TEST_F(DriverLinkTest, ResponseAndEventRepliesArePassedThrough) {
  driver.answer(3, pattern(90, 0));
  uint32_t len = 0;
  int16_t status = 0;
  const uint8_t* reply = GetResponses(0, 25, 0, 0, &len, &status);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(len, 90u);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(std::vector<uint8_t>(reply, reply + len), pattern(90, 0));
  EXPECT_EQ(reply, out_shmem->address + 6);

  driver.answer(-1);
  EXPECT_NE(GetNextBackgroundEvent(&len, &status), nullptr);
  EXPECT_EQ(len, 0u);
  EXPECT_EQ(status, -1);

  driver.answer(0, text("x"));
  const uint8_t* switched = CXDoSwitchApp("x", 2);
  ASSERT_NE(switched, nullptr);
  EXPECT_EQ(switched[0], 'x');
}

TEST_F(DriverLinkTest, SaveListResetAndDataspaceRelease) {
  act_item item{7, 7, 7, 0x5A, 7, 7, &item};
  driver.answer(4);
  EXPECT_EQ(reinit_save_list(2, 9, &item), 0);
  EXPECT_EQ(item.mods, 1);
  EXPECT_EQ(item.ch12, 0);
  EXPECT_EQ(item.act_seq, 1);
  EXPECT_EQ(item.reserved, 0x5A);
  EXPECT_EQ(item.act, 0x2000);
  EXPECT_EQ(item.extra_info, 0u);
  EXPECT_EQ(item.link, nullptr);
  EXPECT_EQ(driver.last_payload(),
            code(12) + bytes({9, 2, 0, 0, 0, 1}) +
                bytes({0, 1, 0, 0, 1, 0x5A, 0x20, 0, 0, 0, 0, 0, 0, 0, 0, 0}));

  const short indices[] = {256, -1, 3};
  free_allocated_space(indices, 0);
  free_allocated_space(indices, -1);
  EXPECT_EQ(driver.transfers(), 1);
  free_allocated_space(indices, 2);
  ASSERT_EQ(driver.transfers(), 3);
  EXPECT_EQ(driver.requests[1][8], 0x01);
  EXPECT_EQ(driver.requests[1][9], 0x00);
  EXPECT_EQ(driver.last_payload(), code(4) + bytes({0xFF, 0xFF, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace cx::test
