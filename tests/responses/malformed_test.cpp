// Response blocks cut short or missing: nothing is read past the bytes
// given, the reader always moves on, and the defect is reported.
#include <gtest/gtest.h>

#include <string>

#include "tests/responses/resp_run.h"
#include "tests/support/golden_files.h"

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

TEST(MalformedResponse, NoBlockAtTheReadPosition) {
  resp_work work;
  std::shared_ptr<plist::Dictionary> dict;
  const uint8_t garbage[50] = {0, 0, 0, 50};
  work.read_pos = garbage;
  work.remaining = sizeof garbage;
  testing::internal::CaptureStderr();
  put_resp_data(&work, &dict, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Corvex Background: Cannot make prefs - invalid response block");
  EXPECT_EQ(work.remaining, 0) << "a reader always makes progress";
  EXPECT_FALSE(start_resp_read(&work, garbage, sizeof garbage));
}

}  // namespace
}  // namespace cx
