// Building one response block (44-byte header, four items): done for every
// button and menu entry whenever the preferences are loaded into the driver.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "model/response_block.h"

namespace {

void BM_BuildDoubleClickBlock(benchmark::State& state) {
  std::array<uint8_t, 256> buffer{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        cx::build_dclick_response_block(buffer.data(), buffer.size(), 0, 3, 0, false));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_BuildDoubleClickBlock);

}  // namespace
