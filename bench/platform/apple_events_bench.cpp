// Receiving one Dispatch: its parameter array into an event. The time per
// parameter stays flat as the count grows to the bound.
#include <benchmark/benchmark.h>

#include <vector>

#include "platform/apple_events.h"
#include "platform/linux/apple_events_glib.h"
#include "platform/linux/apple_events_wire.h"

namespace cx::platform::dbus_ae {
namespace {

void BM_ParametersFromWire(benchmark::State& state) {
  const auto count = static_cast<size_t>(state.range(0));
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(uuay)"));
  const std::vector<uint8_t> data(2);
  for (size_t i = 0; i < count; ++i) {
    g_variant_builder_add(
        &builder, "(uu@ay)", static_cast<guint32>(i), typeSInt16,
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data.data(), data.size(), sizeof(uint8_t)));
  }
  const VariantPtr wire(g_variant_ref_sink(g_variant_builder_end(&builder)));
  for (auto _ : state) {
    AppleEvent event = AppleEvent::make_reply();
    benchmark::DoNotOptimize(add_parameters_from_variant(wire.get(), event));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}
BENCHMARK(BM_ParametersFromWire)->Arg(16)->Arg(256)->Arg(1024);

}  // namespace
}  // namespace cx::platform::dbus_ae
