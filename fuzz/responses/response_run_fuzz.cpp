// Arbitrary bytes as a run of response blocks written back as dictionaries,
// each of which is then read again into response blocks: the reader stays
// inside the input, always makes progress, and what it writes builds into
// a valid transfer block.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "driver/transfer_block.h"
#include "responses/resp_work.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An exact-size copy, so a read past the end is caught.
  const std::vector<uint8_t> run(data, data + size);
  std::vector<uint8_t> rebuilt(size_t{1} << 16);
  cx::resp_work work;
  uint32_t flags = 0;
  work.pref_flags = &flags;
  const uint8_t* at = run.data();
  auto left = static_cast<int32_t>(run.size());
  while (cx::start_resp_read(&work, at, left)) {
    std::shared_ptr<cx::plist::Dictionary> dict;
    cx::put_resp_data(&work, &dict, nullptr);
    if (work.remaining >= left) std::abort();
    at = work.read_pos;
    left = work.remaining;

    cx::CXTransferContext transfer;
    cx::CXTransferStart(&transfer, rebuilt.data(), static_cast<uint32_t>(rebuilt.size()));
    cx::resp_work again;
    again.header[0] = work.header[0];
    again.transfer = &transfer;
    cx::get_resp_data(&again, dict.get(), nullptr);
    const uint32_t length = cx::CXTransferEnd(&transfer);
    uint32_t payload = 0;
    if (length <= rebuilt.size() && !cx::CXTransferValidate(rebuilt.data(), length, &payload))
      std::abort();
  }
  return 0;
}
