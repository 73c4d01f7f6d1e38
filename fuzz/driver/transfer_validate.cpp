// Validates arbitrary bytes as a transfer block, three ways, with any
// capacity up to the input's size. The block sits in a buffer of exactly
// `capacity` bytes so that any read past it is caught.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "driver/transfer_block.h"
#include "fuzz/fuzz_support.h"

using cx::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const uint8_t trim = input.ConsumeIntegral<uint8_t>();
  std::vector<uint8_t> bytes = input.ConsumeRemainingBytes<uint8_t>();
  bytes.resize(bytes.size() - std::min<size_t>(trim, bytes.size()));
  bytes.shrink_to_fit();
  const auto capacity = static_cast<uint32_t>(bytes.size());
  const uint8_t* buffer = bytes.empty() ? nullptr : bytes.data();

  uint32_t length = 0;
  const uint8_t* payload = cx::CXTransferValidate(buffer, capacity, &length);
  uint32_t request_length = 0;
  uint32_t code = 0;
  const uint8_t* request =
      cx::CXTransferValidateWithRequest(buffer, capacity, &request_length, &code);
  uint32_t reply_length = 0;
  int16_t status = 1;
  const uint8_t* reply = cx::CXTransferValidateWithResult(buffer, capacity, &reply_length, &status);

  if (!payload) {
    check(length == 0 && !request && !reply && status == 0);
    return 0;
  }
  check(payload == buffer + 4 && length + 6 == cx::CXTransferBlockLength(buffer));
  check(request ? request_length + 4 == length : length < 4 && request_length == 0);
  check(reply ? reply_length + 2 == length : length < 2 && status == 0);

  // Writing the same payload again must give the same block.
  std::vector<uint8_t> copy(length + cx::kTransferOverhead);
  cx::CXTransferContext ctx;
  cx::CXTransferStart(&ctx, copy.data(), static_cast<uint32_t>(copy.size()));
  cx::CXTransferAdd(&ctx, payload, length);
  check(cx::CXTransferEnd(&ctx) == copy.size());
  check(std::memcmp(copy.data(), buffer, copy.size()) == 0);
  return 0;
}
