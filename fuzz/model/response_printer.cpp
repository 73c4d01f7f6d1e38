// Dumps arbitrary bytes as a set-responses request, as a run of response
// blocks and as one block's payload. The printers must stay inside the input.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "model/response_printer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FILE* const sink = std::fopen("/dev/null", "w");
  // An exact-size copy, so a read past the end is caught.
  const std::vector<uint8_t> bytes(data, data + size);
  const auto length = static_cast<uint32_t>(bytes.size());
  cx::display_set_response_request(sink, bytes.data(), length);
  cx::display_response_blocks(sink, bytes.data(), length);
  cx::display_response_block(sink, bytes.data(), length);
  return 0;
}
