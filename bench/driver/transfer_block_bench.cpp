// Validating a full 64 KiB reply block, checksum included: the hot path of
// every large driver reply.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "driver/transfer_block.h"

namespace {

void BM_ValidateFullBlock(benchmark::State& state) {
  constexpr uint32_t kBufferSize = 0x10000;
  std::vector<uint8_t> buffer(kBufferSize);
  std::vector<uint8_t> payload(kBufferSize - cx::kTransferOverhead);
  for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<uint8_t>(i * 131 + 7);
  cx::CXTransferContext ctx;
  cx::CXTransferStart(&ctx, buffer.data(), kBufferSize);
  cx::CXTransferAdd(&ctx, payload.data(), static_cast<uint32_t>(payload.size()));
  if (cx::CXTransferEnd(&ctx) != kBufferSize) state.SkipWithError("block did not fit");

  for (auto _ : state) {
    uint32_t length = 0;
    benchmark::DoNotOptimize(cx::CXTransferValidate(buffer.data(), kBufferSize, &length));
    benchmark::DoNotOptimize(length);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBufferSize);
}
BENCHMARK(BM_ValidateFullBlock);

}  // namespace
