#include "driver/driver_connection.h"

#include <gtest/gtest.h>

#include <string>

#include "driver/actlist_requests.h"
#include "driver/data_requests.h"
#include "driver/driver_call.h"
#include "driver/transfer_request.h"
#include "model/flattened_data.h"
#include "tests/driver/driver_link_fixture.h"

namespace cx::test {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

const std::string kClass = "com_velcorra_corvex_iokit_VelcorraMouseDriver";

TEST_F(DriverLinkTest, ConnectingMapsTwo64KBuffersOnce) {
  ASSERT_EQ(ConnectToDriver(), 1);
  EXPECT_TRUE(driver_connected);
  ASSERT_TRUE(in_shmem && out_shmem);
  EXPECT_EQ(in_shmem->size, 0x10000u);
  EXPECT_EQ(out_shmem->size, 0x10000u);
  EXPECT_NE(in_shmem->memoryType, out_shmem->memoryType);
  EXPECT_EQ(in_shmem->address, driver.buffer(in_shmem->memoryType).data());
  EXPECT_EQ(out_shmem->address, driver.buffer(out_shmem->memoryType).data());

  ASSERT_EQ(ConnectToDriver(), 1);
  EXPECT_EQ(driver.opens, 1);
  EXPECT_EQ(driver.created_sizes, (std::vector<uint64_t>{0x10000, 0x10000}));
}

TEST_F(DriverLinkTest, NoServiceMeansNoDriver) {
  driver.has_service = false;
  CaptureStderr();
  EXPECT_EQ(ConnectToDriver(), 0);
  EXPECT_EQ(GetCapturedStderr(), "Service '" + kClass + "' not found\n");

  CaptureStderr();
  uint32_t length = 7;
  int16_t status = 0;
  EXPECT_EQ(MakeSimpleTransferRequest(6, nullptr, 0, &length, &status), nullptr);
  EXPECT_EQ(status, -100);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(AllocateSpace(10, -1), -100);
  EXPECT_EQ(GetActionListSize(0, 1), 0);
  uint32_t reply_length = 0;
  EXPECT_EQ(CallDriverTransfer(1, &reply_length), -100);
  GetCapturedStderr();

  driver.has_service = true;
  driver.match_result = platform::kIOReturnError;
  CaptureStderr();
  EXPECT_EQ(ConnectToDriver(), 0);
  EXPECT_EQ(GetCapturedStderr(), "Service '" + kClass + "' not found\n");
  EXPECT_EQ(driver.opens, 0);
}

TEST_F(DriverLinkTest, RefusedOpenIsReported) {
  driver.open_result = platform::kIOReturnNoDevice;
  CaptureStderr();
  EXPECT_EQ(ConnectToDriver(), 0);
  EXPECT_EQ(GetCapturedStderr(), "Unable to open service '" + kClass + "'\n");
  EXPECT_FALSE(driver_connected);
  EXPECT_FALSE(vcx_connect);
}

TEST_F(DriverLinkTest, BufferFailuresDisconnectFullyAndTheNextRequestStartsOver) {
  driver.buffers_left = 1;
  CaptureStderr();
  EXPECT_EQ(ConnectToDriver(), 0);
  EXPECT_EQ(GetCapturedStderr(),
            "kCXNewSharedMemory failed with result = -536870211\n"
            "Unable to allocate shared driver memory areas\n");
  EXPECT_FALSE(driver_connected);
  EXPECT_FALSE(in_shmem || out_shmem || vcx_connect);
  EXPECT_FALSE(driver.open_now);
  EXPECT_EQ(driver.released_types.size(), 1u);  // the request buffer that was made

  driver.buffers_left = 1000;
  driver.map_result = platform::kIOReturnNoMemory;
  CaptureStderr();
  EXPECT_EQ(ConnectToDriver(), 0);
  EXPECT_EQ(GetCapturedStderr(),
            "IOConnectMapMemory() failed with result = -536870211\n"
            "IOConnectMapMemory() failed with result = -536870211\n"
            "Unable to allocate shared driver memory areas\n");
  EXPECT_EQ(driver.opens, 2);

  driver.map_result = platform::kIOReturnSuccess;
  driver.map_without_address = true;
  CaptureStderr();
  EXPECT_EQ(ConnectToDriver(), 0);
  EXPECT_EQ(GetCapturedStderr(),
            "IOConnectMapMemory() failed to initialize memory\n"
            "IOConnectMapMemory() failed to initialize memory\n"
            "Unable to allocate shared driver memory areas\n");

  driver.map_without_address = false;
  EXPECT_EQ(ConnectToDriver(), 1);
  EXPECT_EQ(driver.opens, 4);
}

TEST_F(DriverLinkTest, DisconnectReleasesBothBuffersAndReportsFailures) {
  DisconnectFromDriver();  // harmless while closed
  ASSERT_EQ(ConnectToDriver(), 1);
  const uint32_t in_type = in_shmem->memoryType;
  const uint32_t out_type = out_shmem->memoryType;
  driver.unmap_result = platform::kIOReturnError;
  driver.release_result = platform::kIOReturnBadArgument;
  CaptureStderr();
  DisconnectFromDriver();
  EXPECT_EQ(GetCapturedStderr(),
            "CX - IOConnectUnmapMemory() failed with result = e00002bc\n"
            "CX - kMyReleaseSharedMemory failed with result = -536870206\n"
            "CX - IOConnectUnmapMemory() failed with result = e00002bc\n"
            "CX - kMyReleaseSharedMemory failed with result = -536870206\n");
  EXPECT_EQ(driver.unmapped_types, (std::vector<uint32_t>{in_type, out_type}));
  EXPECT_EQ(driver.released_types, (std::vector<uint32_t>{in_type, out_type}));
  EXPECT_FALSE(driver_connected || in_shmem || out_shmem || vcx_connect);
  EXPECT_FALSE(driver.open_now);
}

TEST_F(DriverLinkTest, BuffersGrowInWholeStepsAndNeverShrink) {
  ASSERT_EQ(ConnectToDriver(), 1);
  const uint32_t old_type = in_shmem->memoryType;
  ASSERT_EQ(ResizeInputSharedMemory(0x10001), 1);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(driver.released_types, (std::vector<uint32_t>{old_type}));
  ASSERT_EQ(ResizeInputSharedMemory(0x10000), 1);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  ASSERT_EQ(ResizeOutputSharedMemory(0x3FFFF), 1);
  EXPECT_EQ(out_shmem->size, 0x40000u);

  shared_memory_slot empty;
  ASSERT_EQ(resizeSharedMemory(&empty, 5), 1);
  EXPECT_EQ(empty->size, 0x10000u);
  releaseSharedMemory(std::move(empty));
  EXPECT_EQ(resizeSharedMemory(nullptr, 5), 0);

  driver.max_buffer_size = 0x40000;
  uint8_t* const address = in_shmem->address;
  CaptureStderr();
  EXPECT_EQ(ResizeInputSharedMemory(0x40001), 0);
  EXPECT_EQ(GetCapturedStderr(), "kCXNewSharedMemory failed with result = -536870211\n");
  EXPECT_EQ(in_shmem->size, 0x20000u);
  EXPECT_EQ(in_shmem->address, address);
  EXPECT_EQ(driver.created_sizes.back(), 0x50000u);
}

TEST_F(DriverLinkTest, AReplyAsLongAsTheReplyBufferForcesAGrow) {
  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> reply) -> int64_t {
    if (reply.size() <= 0x10000) return 0x10000;
    return FakeDriver::reply_block(reply, 3, {});
  };
  const uint8_t params[] = {1, 2};
  uint32_t length = 0;
  int16_t status = 0;
  EXPECT_NE(MakeSimpleTransferRequest(6, params, 2, &length, &status), nullptr);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(out_shmem->size, 0x20000u);
  // The driver was asked again with the same request.
  ASSERT_EQ(driver.transfers(), 2);
  EXPECT_EQ(driver.requests[0], driver.requests[1]);
  EXPECT_EQ(driver.last_payload(), bytes({0, 0, 0, 6, 1, 2}));

  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> reply) -> int64_t {
    return static_cast<int64_t>(reply.size());
  };
  EXPECT_EQ(CallDriverTransfer(0, &length), -10);
  EXPECT_EQ(length, 0x20000u);
  EXPECT_EQ(out_shmem->size, 0x20000u);

  driver.max_buffer_size = 0x20000;
  CaptureStderr();
  EXPECT_EQ(CallDriverTransfer(1, &length), -102);
  GetCapturedStderr();
  EXPECT_EQ(out_shmem->size, 0x20000u);
}

TEST_F(DriverLinkTest, FailedCallsGiveTheDriversStatusOrMinus50) {
  ASSERT_EQ(ConnectToDriver(), 1);
  driver.transfer_result = platform::kIOReturnError;
  driver.failed_transfer_output = -0x10005;  // low 16 bits: -5
  uint32_t length = 0;
  CaptureStderr();
  EXPECT_EQ(CallDriverTransfer(1, &length), -5);
  EXPECT_EQ(GetCapturedStderr(),
            "Corvex - Driver comm failed with error 0xe00002bc and output=-65541\n");

  driver.failed_transfer_output = 12;
  CaptureStderr();
  EXPECT_EQ(CallDriverTransfer(1, &length), -50);
  EXPECT_EQ(GetCapturedStderr(),
            "Corvex - Driver comm failed with error 0xe00002bc and output=12\n");

  // Still connected: the agent does not reconnect by itself.
  EXPECT_TRUE(driver_connected);
  EXPECT_EQ(driver.opens, 1);
}

TEST_F(DriverLinkTest, LargeRequestsGrowTheRequestBufferAndAreBuiltAgain) {
  driver.answer(4, bytes({9}));
  std::vector<uint8_t> data(0x10000);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7);
  uint32_t length = 0;
  int16_t status = 0;
  const uint8_t* reply = MakeSimpleTransferRequest3(16, nullptr, 0, data.data(), 0x8000,
                                                    data.data() + 0x8000, 0x8000, &length, &status);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(status, 4);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(reply[0], 9);
  EXPECT_EQ(in_shmem->size, 0x20000u);
  ASSERT_EQ(driver.transfers(), 1);
  EXPECT_EQ(driver.last_payload(), bytes({0, 0, 0, 16}) + data);

  driver.max_buffer_size = 0x20000;
  std::vector<uint8_t> too_large(0x20000);
  CaptureStderr();
  EXPECT_EQ(MakeSimpleTransferRequest3(16, too_large.data(), 0x20000, nullptr, 0, nullptr, 0,
                                       &length, &status),
            nullptr);
  GetCapturedStderr();
  EXPECT_EQ(status, -101);
  EXPECT_EQ(driver.transfers(), 1);
}

TEST_F(DriverLinkTest, AnInvalidReplyBlockReadsAsStatusZero) {
  driver.on_transfer = [](std::span<const uint8_t>, std::span<uint8_t> reply) -> int64_t {
    const uint8_t block[] = {0, 0, 0, 8, 0, 3, 0x43, 0x20};  // checksum off by one
    std::copy(std::begin(block), std::end(block), reply.begin());
    return 8;
  };
  uint32_t length = 5;
  int16_t status = 5;
  EXPECT_EQ(MakeSimpleTransferRequest(6, nullptr, 0, &length, &status), nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(length, 0u);
}

TEST_F(DriverLinkTest, FlattenedRecordsUpToTheRequestBufferAreExchanged) {
  ASSERT_EQ(ConnectToDriver(), 1);
  ASSERT_EQ(ResizeInputSharedMemory(0x20000), 1);
  ASSERT_EQ(ResizeOutputSharedMemory(0x20000), 1);

  CXFlattenedData exact;
  std::vector<uint8_t> payload(0x20000 - 4);
  payload.front() = 1;
  payload.back() = 2;
  exact.write(payload.data(), payload.size());
  CallToDriver(&exact);
  EXPECT_EQ(driver.flattened_request.size(), 0x20000u);
  // The record now holds the driver's answer.
  ASSERT_EQ(exact.getSize(), 0x20000u);
  EXPECT_EQ(exact.getData()[4], 2);
  EXPECT_EQ(exact.getData()[0x20000 - 1], 1);

  CXFlattenedData one_more;
  payload.push_back(3);
  one_more.write(payload.data(), payload.size());
  driver.flattened_request.clear();
  CaptureStderr();
  CallToDriver(&one_more);
  EXPECT_EQ(GetCapturedStderr(), "Driver communication larger than 64K\n");
  EXPECT_TRUE(driver.flattened_request.empty());
  EXPECT_EQ(one_more.getSize(), 0x20001u);
  EXPECT_EQ(in_shmem->size, 0x20000u);
}

TEST_F(DriverLinkTest, AFailedFlattenedExchangeKeepsTheRecord) {
  driver.flattened_result = platform::kIOReturnNoDevice;
  CXFlattenedData record;
  record.write(int16_t{0x1234});
  CaptureStderr();
  CallToDriver(&record);
  EXPECT_EQ(GetCapturedStderr(), "CXBackGroundApp: Driver comm failed with error 0xe00002c0\n");
  EXPECT_EQ(record.getSize(), 6u);
  EXPECT_EQ(record.readShort(), 0x1234);

  DisconnectFromDriver();
  driver.has_service = false;
  CaptureStderr();
  CallToDriver(&record);
  EXPECT_EQ(GetCapturedStderr(), "Service '" + kClass + "' not found\n");
}

}  // namespace
}  // namespace cx::test
