// Response blocks cut short or missing: nothing is read past the bytes
// given, the reader always moves on, and the defect is reported.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plist/plist_io.h"
#include "tests/responses/resp_run.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

// Every prefix of a menu and its entries.
TEST(MalformedResponse, TruncatedRuns) {
  const test::Bytes run = test::read_hex("conversions/menu.hex");
  testing::internal::CaptureStderr();
  for (size_t size = 0; size < run.size(); ++size) {
    const auto written = test::read_back(test::Bytes(run.begin(), run.begin() + size));
    EXPECT_GE(written.left, 0);
    EXPECT_FALSE(written.dict && written.dict->contains("Response")) << size;
  }
  EXPECT_NE(testing::internal::GetCapturedStderr().find("missing menu entry"), std::string::npos);
}

// Heap copies of the exact size, so the sanitizers see a read past them.
TEST(MalformedResponse, NoBlockAtTheReadPosition) {
  for (const size_t size : {2, 50}) {
    std::vector<uint8_t> garbage(size);
    garbage[1] = 50;
    resp_work work;
    std::shared_ptr<plist::Dictionary> dict;
    work.read_pos = garbage.data();
    work.remaining = static_cast<int32_t>(size);
    testing::internal::CaptureStderr();
    put_resp_data(&work, &dict, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Corvex Background: Cannot make prefs - invalid response block");
    EXPECT_EQ(work.remaining, 0) << "a reader always makes progress";
    EXPECT_FALSE(start_resp_read(&work, garbage.data(), static_cast<int32_t>(size)));
  }
}

// A buffer too small for a menu and its entries is never written past, and
// the transfer block reports the size that holds them all.
TEST(MalformedResponse, FullBufferReportsTheSizeNeeded) {
  const auto menu = plist::read_plist_file(test::data_path("conversions/menu.plist")).value;
  const auto* user = plist::as<plist::Dictionary>(plist::as<plist::Dictionary>(menu)->get("User"));
  const size_t needed = 4 + test::read_hex("conversions/menu.hex").size() + 2;
  for (const size_t capacity : {0, 3, 60, 200, 300}) {
    std::vector<uint8_t> buffer(capacity);
    CXTransferContext transfer;
    CXTransferStart(&transfer, buffer.data(), static_cast<uint32_t>(capacity));
    resp_work work;
    work.header[0] = 3;
    work.transfer = &transfer;
    get_resp_data(&work, user, nullptr);
    EXPECT_EQ(CXTransferEnd(&transfer), needed) << capacity;
  }
}

}  // namespace
}  // namespace cx
