#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_state.h"
#include "diag/diag_writers.h"
#include "tests/support/temp_dir.h"

namespace {

// A trace line under the default filter: the common case in the field.
void BM_DiagLineFilteredOut(benchmark::State& state) {
  cx::diag_reset_state();
  for (auto _ : state) {
    cx::diag_line("Switching App to Finder", 0x1ffff);
    benchmark::ClobberMemory();
  }
  cx::diag_reset_state();
}
BENCHMARK(BM_DiagLineFilteredOut);

void BM_DiagLineWritten(benchmark::State& state) {
  const cx::test::TempDir dir("cxdiagbench");
  if (dir.path().empty()) return state.SkipWithError("no temporary folder");
  const std::string path = dir.file("log.txt");
  cx::diag_reset_state();
  cx::cc_diag_set_window_info(nullptr, path.c_str(), 0, 0, 0, 0, 0, 0, 1);
  cx::cc_diag_set_display_level(0x1ffff);
  for (auto _ : state) cx::diag_line("Switching App to Finder", 0x1ffff);
  cx::diag_reset_state();
}
BENCHMARK(BM_DiagLineWritten);

}  // namespace
