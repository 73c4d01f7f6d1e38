// The agent's driver link against the reference driver over real sockets
// and real shared memory.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <cstring>
#include <string>
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
#include "driver/transfer_request.h"
#include "model/act_item_chain.h"
#include "model/builtin_actlists.h"
#include "model/flattened_data.h"
#include "model/response_block.h"
#include "platform/linux/user_client_socket.h"
#include "tests/driver/reference_driver.h"
#include "util/byte_order.h"

extern char** environ;

namespace cx::test {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

class ReferenceDriverTest : public ::testing::Test {
 protected:
  explicit ReferenceDriverTest(std::function<void(refdriver::DriverState&)> setup = {})
      : driver_(std::move(setup)),
        service_(platform::make_socket_user_client_service(driver_.dir())) {}
  void SetUp() override {
    ASSERT_TRUE(driver_.running()) << driver_.error();
    platform::set_user_client_service(service_.get());
  }
  void TearDown() override {
    DisconnectFromDriver();
    platform::set_user_client_service(nullptr);
  }

  ReferenceDriver driver_;
  std::unique_ptr<platform::UserClientService> service_;
};

std::array<uint8_t, kActionNameSize> name_record(const char* text) {
  std::array<uint8_t, kActionNameSize> record{};
  std::memcpy(record.data(), text, std::strlen(text));
  return record;
}

act_item_chain two_step_chain() {
  return act_item_chain(
      {make_act_item(0, 0x0102, 1, 0x0001, 7), make_act_item(4, 9, 2, 0x3000, 0)});
}

// An 80-byte device descriptor: product and vendor ids, unique id, a wheel.
std::vector<uint8_t> descriptor(uint32_t unique_id) {
  std::vector<uint8_t> d(kDeviceRecordSize);
  std::memcpy(&d[0], "Trackball", 10);
  std::memcpy(&d[10], "Corvex", 7);
  store_be32(&d[28], unique_id);
  store_be32(&d[36], 4);
  store_be32(&d[40], 1);
  return d;
}

TEST_F(ReferenceDriverTest, DeviceTableAndMouseInformation) {
  mouse_version_info info;
  ASSERT_EQ(GetMouseInfo(info), 1);
  EXPECT_EQ(load_be16(&info.bytes[2]), 0x0300);
  EXPECT_EQ(info.bytes[4], 1);

  std::vector<uint8_t> records = descriptor(0x1111);
  const std::vector<uint8_t> second = descriptor(0x2222);
  records.insert(records.end(), second.begin(), second.end());
  EXPECT_EQ(InitializeDriver(records.data(), 2), 2);
  ASSERT_EQ(GetMouseInfo(info), 1);
  EXPECT_EQ(info.bytes[5], 2);
  EXPECT_NE(load_be32(&info.bytes[16]) & 0x400, 0u);  // the first device has a wheel

  records[9] = 'x';  // a product id without its NUL
  EXPECT_LT(InitializeDriver(records.data(), 1), 0);

  // The older flattened exchange: the record is replaced by the answer.
  CXFlattenedData record;
  record.write(uint32_t{11});
  CallToDriver(&record);
  EXPECT_EQ(record.readShort(), 1);
  EXPECT_EQ(load_be16(&record.readMouseVersionInfo().bytes[2]), 0x0300);
}

TEST_F(ReferenceDriverTest, ActionListsMenuEntriesAndNames) {
  const act_item_chain chain = two_step_chain();
  EXPECT_EQ(SetActionList(0, 5, chain.head()), 0);
  EXPECT_EQ(GetActionListSize(0, 5), 2);
  std::array<act_item, 4> items{};
  ASSERT_EQ(GetActionList(0, 5, items), 2);
  EXPECT_EQ(items[0].ch12, 0x0102);
  EXPECT_EQ(items[0].extra_info, 7u);
  EXPECT_EQ(items[0].link, &items[1]);
  EXPECT_EQ(items[1].act, 0x3000);
  EXPECT_EQ(items[1].link, nullptr);
  // Another modifier combination of the same button is another list.
  EXPECT_EQ(GetActionListSize(1, 5), 0);

  EXPECT_EQ(SetMenuActionList(0, 5, 3, chain.head()->link), 0);
  EXPECT_EQ(GetMenuActionListSize(0, 5, 3), 1);
  ASSERT_EQ(GetMenuActionList(0, 5, 3, items), 1);
  EXPECT_EQ(items[0].mods, 4);

  EXPECT_EQ(SetActionName(0, 5, 3, name_record("Scroll down")), 1);
  std::array<uint8_t, kActionNameSize> name{};
  EXPECT_EQ(GetActionName(0, 5, 3, name), 1);
  EXPECT_EQ(name, name_record("Scroll down"));

  act_item save = make_act_item(9, 9, 9, 9, 9);
  EXPECT_EQ(reinit_save_list(0, 6, &save), 0);
  ASSERT_EQ(GetActionList(0, 6, items), 1);
  EXPECT_EQ(items[0].act, 0x2000);
  EXPECT_EQ(items[0].mods, 1);
  EXPECT_EQ(items[0].ch12, 0);
}

TEST_F(ReferenceDriverTest, DataspacesAndDataRecords) {
  const int16_t index = AllocateSpace(12, -1);
  ASSERT_GT(index, 0);
  char text[] = "hello world";
  EXPECT_NE(CXAccessData(index, 12, 0, text, 12), nullptr);
  EXPECT_EQ(GetDataSize(index), 12);
  char back[12] = {};
  EXPECT_NE(CXAccessData(index, 40, 1, back, 12), nullptr);
  EXPECT_STREQ(back, "hello world");

  const int16_t global = AllocateSpace(4, -2);
  EXPECT_GE(global, 256);
  const short indices[] = {index, global};
  free_allocated_space(indices, 2);
  EXPECT_LT(GetDataSize(index), 0);
  EXPECT_LT(GetDataSize(global), 0);

  uint8_t levels[5] = {1, 2, 3, 4, 5};
  EXPECT_EQ(CXAccessGlobalData(2, kDataModeWrite, levels, 5), 1);
  uint8_t read_levels[5] = {};
  EXPECT_EQ(CXAccessGlobalData(2, kDataModeRead, read_levels, 5), 1);
  EXPECT_EQ(std::memcmp(levels, read_levels, 5), 0);

  uint8_t scrolling[4] = {3, 0, 0, 2};
  EXPECT_EQ(CXAccessAppData(72, kDataModeWrite, scrolling, 4), 1);
  uint8_t read_scrolling[4] = {};
  EXPECT_EQ(CXAccessAppData(72, kDataModeRead, read_scrolling, 4), 1);
  EXPECT_EQ(std::memcmp(scrolling, read_scrolling, 4), 0);
}

TEST_F(ReferenceDriverTest, ApplicationSetsAndTheirCache) {
  EXPECT_EQ(InControlPanel(1), 1);
  EXPECT_EQ(CurrentEditApp("com.example.app", "Example"), 1);
  std::array<char, 32> key{};
  std::array<char, 128> name{};
  EXPECT_EQ(QueryEditApp(key, name), 1);
  EXPECT_STREQ(key.data(), "com.example.app");
  EXPECT_STREQ(name.data(), "Example");
  key.fill('\0');
  EXPECT_EQ(GetAppName(1, key, name), 1);
  EXPECT_STREQ(key.data(), "com.example.app");

  uint8_t cache[6] = {9, 8, 7, 6, 5, 4};
  EXPECT_EQ(AccessCacheData(0, kDataModeWrite, cache, 6), 6u);
  EXPECT_EQ(GetCacheSize(0), 6u);
  uint8_t back[6] = {};
  EXPECT_EQ(AccessCacheData(0, kDataModeRead, back, 6), 6u);
  EXPECT_EQ(std::memcmp(cache, back, 6), 0);

  EXPECT_NE(CXDoSwitchApp("Example", 8), nullptr);
  EXPECT_EQ(CurrentEditApp("", ""), 1);
  EXPECT_EQ(DeleteAppName("com.example.app"), 1);
  EXPECT_EQ(GetAppName(1, key, name), 0);
  EXPECT_EQ(InControlPanel(0), 1);
}

// Builds response blocks in place behind SetResponseDataStart, growing the
// request buffer and starting again when they do not fit.
int16_t store_click_responses(uint8_t first_button, int count, uint16_t items_per_response) {
  std::vector<act_item> items(items_per_response, click_actlist[0]);
  for (;;) {
    CXTransferContext ctx;
    uint32_t capacity = 0;
    SetResponseDataStart(&ctx, &capacity);
    for (int i = 0; i < count; ++i) {
      uint32_t avail = 0;
      uint8_t* at = CXTransferAvailSpace(&ctx, &avail);
      const uint32_t used =
          build_actlist_response_block(at, avail, 0, static_cast<uint8_t>(first_button + i), 0,
                                       false, items.data(), items_per_response, "Clicks");
      CXTransferTakeSpace(&ctx, used);
    }
    const uint32_t length = CXTransferEnd(&ctx);
    if (length > capacity) {
      if (!ResizeInputSharedMemory(length)) return -101;
      continue;
    }
    uint32_t reply_length = 0;
    return SetResponseData(&reply_length);
  }
}

TEST_F(ReferenceDriverTest, ResponsesStoredAndFetched) {
  EXPECT_EQ(store_click_responses(7, 1, 2), 1);
  uint32_t len = 0;
  int16_t status = 0;
  const uint8_t* run = GetFullResponse(0, 7, &len, &status);
  ASSERT_NE(run, nullptr);
  EXPECT_EQ(status, 1);
  uint32_t payload_length = 0;
  const uint8_t* payload = CXTransferValidate(run, len, &payload_length);
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(payload[0], 7);  // button first, then mods
  EXPECT_STREQ(reinterpret_cast<const char*>(payload + 4), "Clicks");
  EXPECT_EQ(load_be16(payload + 40), 2);

  std::vector<uint8_t> block(512);
  CXTransferContext ctx;
  CXTransferStartWithRequest(&ctx, block.data(), static_cast<uint32_t>(block.size()), 27);
  uint32_t avail = 0;
  uint8_t* at = CXTransferAvailSpace(&ctx, &avail);
  CXTransferTakeSpace(
      &ctx, build_launch_url_response_block(at, avail, 0, 8, 0, false, "http://example.com/"));
  const uint32_t length = CXTransferEnd(&ctx);
  ASSERT_LE(length, block.size());
  EXPECT_EQ(SetResponseDataCopy(block.data(), length), 1);

  run = GetSingleResponse(0, 8, 0, &len, &status);
  ASSERT_NE(run, nullptr);
  EXPECT_EQ(status, 1);
  const std::string stored(reinterpret_cast<const char*>(run), len);
  EXPECT_NE(stored.find(std::string("http://example.com/\0", 20)), std::string::npos);

  EXPECT_NE(GetResponses(0, 25, 0, 0, &len, &status), nullptr);
  EXPECT_EQ(status, 2);
}

TEST_F(ReferenceDriverTest, LargeRequestsAndRepliesGrowBothBuffers) {
  // 200 responses of 60 items: about 200 KiB each way.
  ASSERT_EQ(store_click_responses(0, 200, 60), 200);
  EXPECT_EQ(in_shmem->size, 0x40000u);
  uint32_t len = 0;
  int16_t status = 0;
  ASSERT_NE(GetResponses(0, 200, 0, 0, &len, &status), nullptr);
  EXPECT_EQ(status, 200);
  EXPECT_GT(len, 0x30000u);
  EXPECT_EQ(out_shmem->size, 0x40000u);

  // The flattened path never grows: a record one byte over is refused.
  CXFlattenedData over;
  std::vector<uint8_t> filler(0x40000 - 3);
  over.write(filler.data(), filler.size());
  CaptureStderr();
  CallToDriver(&over);
  EXPECT_EQ(GetCapturedStderr(), "Driver communication larger than 64K\n");
  EXPECT_EQ(over.getSize(), 0x40001u);
}

class ReferenceDriverWithMenuTest : public ReferenceDriverTest {
 protected:
  ReferenceDriverWithMenuTest()
      : ReferenceDriverTest([](refdriver::DriverState& state) {
          state.menu.pending = true;
          state.menu.button = 5;
          state.menu.slots.resize(3);
          std::memcpy(state.menu.slots[0].data(), "Home", 5);
          std::memcpy(state.menu.slots[1].data(), "-", 2);
          state.menu.x = 100;
          state.menu.y = 200;
          const uint8_t url[] = "http://example.com/";
          state.events.push(2, url);
        }) {}
};

TEST_F(ReferenceDriverWithMenuTest, PopupMenusEventsAndThePointer) {
  int16_t x = 0, y = 0;
  ASSERT_EQ(CheckMenuSize(&x, &y), 1);
  EXPECT_EQ(x, 3);
  EXPECT_EQ(y, 5);
  std::vector<uint8_t> names(3 * kMenuNameSize);
  EXPECT_EQ(GetMenuNames(2, names.data(), &x, &y), -1000);  // more names than room
  ASSERT_EQ(GetMenuNames(3, names.data(), &x, &y), 3);
  EXPECT_STREQ(reinterpret_cast<const char*>(names.data()), "Home");
  EXPECT_STREQ(reinterpret_cast<const char*>(names.data() + 32), "-");
  EXPECT_EQ(x, 100);
  EXPECT_EQ(y, 200);

  const act_item_chain chain = two_step_chain();
  SetMenuActionList(0, 5, 1, chain.head());
  EXPECT_EQ(ExecuteMenuItems(1), 1);
  EXPECT_LT(ExecuteMenuItems(7), 0);
  EXPECT_EQ(ClearAllMenuLists(), 1);
  EXPECT_EQ(CheckMenuSize(&x, &y), 0);
  EXPECT_EQ(GetMenuNames(3, names.data(), &x, &y), 0);
  EXPECT_EQ(SetAbsoluteMouse(-5, 40), 1);

  uint32_t len = 0;
  int16_t status = 0;
  const uint8_t* event = GetNextBackgroundEvent(&len, &status);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(status, 2);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(event), len),
            std::string("http://example.com/\0", 20));
  EXPECT_NE(GetNextBackgroundEvent(&len, &status), nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(len, 0u);
}

// Run only as the second agent of TwoAgentsShareOneDriver, in its own process.
TEST(SecondAgent, DISABLED_SeesAndChangesTheFirstAgentsSettings) {
  ASSERT_EQ(ConnectToDriver(), 1);
  std::array<act_item, 4> items{};
  ASSERT_EQ(GetActionList(0, 5, items), 2);
  EXPECT_EQ(items[1].act, 0x3000);
  EXPECT_EQ(InControlPanel(1), 0);  // the first agent holds control-panel mode
  EXPECT_EQ(SetActionName(0, 5, 0, name_record("Set by the second agent")), 1);
  DisconnectFromDriver();
}

TEST_F(ReferenceDriverTest, TwoAgentsShareOneDriver) {
  const act_item_chain chain = two_step_chain();
  SetActionList(0, 5, chain.head());
  ASSERT_EQ(InControlPanel(1), 1);

  const std::string dir_setting = "CORVEX_IOKIT_DIR=" + driver_.dir();
  std::vector<char*> env;
  for (char** e = environ; *e; ++e) {
    if (std::strncmp(*e, "CORVEX_IOKIT_DIR=", 17) != 0) env.push_back(*e);
  }
  env.push_back(const_cast<char*>(dir_setting.c_str()));
  env.push_back(nullptr);
  char exe[] = "/proc/self/exe";
  char filter[] = "--gtest_filter=SecondAgent.*";
  char disabled[] = "--gtest_also_run_disabled_tests";
  char* argv[] = {exe, filter, disabled, nullptr};
  pid_t child = 0;
  ASSERT_EQ(posix_spawn(&child, exe, nullptr, nullptr, argv, env.data()), 0);
  int wait_status = 0;
  ASSERT_EQ(waitpid(child, &wait_status, 0), child);
  ASSERT_TRUE(WIFEXITED(wait_status));
  EXPECT_EQ(WEXITSTATUS(wait_status), 0);

  std::array<uint8_t, kActionNameSize> name{};
  EXPECT_EQ(GetActionName(0, 5, 0, name), 1);
  EXPECT_EQ(name, name_record("Set by the second agent"));
  EXPECT_EQ(InControlPanel(0), 1);
}

TEST_F(ReferenceDriverTest, TheDaemonGoingAwayMidRun) {
  mouse_version_info info;
  ASSERT_EQ(GetMouseInfo(info), 1);
  driver_.stop();

  CaptureStderr();
  EXPECT_EQ(GetActionListSize(0, 1), 0);
  uint32_t len = 0;
  int16_t status = 0;
  EXPECT_EQ(MakeSimpleTransferRequest(6, nullptr, 0, &len, &status), nullptr);
  EXPECT_EQ(status, -50);
  EXPECT_EQ(AllocateSpace(4, -1), -100);
  const std::string messages = GetCapturedStderr();
  EXPECT_EQ(messages.rfind("Corvex - Driver comm failed with error 0xe00002c0 and output=0\n", 0),
            0u);
  // The link stays up until the agent closes it; it never reconnects by itself.
  EXPECT_TRUE(driver_connected);

  CaptureStderr();
  DisconnectFromDriver();
  GetCapturedStderr();
  EXPECT_FALSE(driver_connected || in_shmem || out_shmem);

  ASSERT_TRUE(driver_.start()) << driver_.error();
  ASSERT_EQ(GetMouseInfo(info), 1);
  EXPECT_EQ(info.bytes[4], 1);
}

}  // namespace
}  // namespace cx::test
