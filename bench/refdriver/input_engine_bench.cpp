// The input engine on a recorded-style stream of 100,000 events (a 1000 Hz
// mouse: motion reports, wheel turns, clicks, a drag, keystroke and chord
// presses), each event from its arrival to the output written to a real
// file descriptor. Reports the median and the 99th percentile per event.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <linux/input.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "model/builtin_actlists.h"
#include "refdriver/input/acceleration.h"
#include "refdriver/input/pointer_engine.h"

namespace {

using namespace cx;
using namespace cx::refdriver;

constexpr size_t kEvents = 100000;

// Written as the uinput device is: one write per batch.
class NullDeviceSink : public OutputSink {
 public:
  NullDeviceSink() : fd_(open("/dev/null", O_WRONLY | O_CLOEXEC)) {}
  ~NullDeviceSink() override { close(fd_); }
  void write(std::span<const OutputEvent> events) override {
    raw_.assign(events.size(), input_event{});
    for (size_t i = 0; i < events.size(); ++i) {
      raw_[i].type = events[i].type;
      raw_[i].code = events[i].code;
      raw_[i].value = events[i].value;
    }
    benchmark::DoNotOptimize(::write(fd_, raw_.data(), raw_.size() * sizeof(input_event)));
  }

 private:
  int fd_;
  std::vector<input_event> raw_;
};

class QuietSink : public DriverSink {
 public:
  void notify(uint32_t, uint64_t) override {}
  void log(std::string_view) override {}
};

std::vector<InputEvent> stream() {
  std::vector<InputEvent> events;
  uint64_t t = 0;
  auto add = [&](uint16_t type, uint16_t code, int32_t value) {
    events.push_back({t, type, code, value});
  };
  for (uint32_t n = 0; events.size() < kEvents; ++n, t += 1000) {
    const auto dx = static_cast<int32_t>((n * 7) % 23) - 11;
    const auto dy = static_cast<int32_t>((n * 5) % 17) - 8;
    add(EV_REL, REL_X, dx);
    add(EV_REL, REL_Y, dy);
    if (n % 40 == 0) add(EV_REL, REL_WHEEL, n % 80 == 0 ? 1 : -1);
    add(EV_SYN, SYN_REPORT, 0);
    // Every quarter second one of the buttons goes down, 60 ms later up.
    static constexpr uint16_t kButtons[] = {BTN_LEFT, BTN_MIDDLE, BTN_SIDE, BTN_RIGHT};
    const uint16_t button = kButtons[(n / 250) % 4];
    if (n % 250 == 0 || n % 250 == 60) {
      add(EV_KEY, button, n % 250 == 0 ? 1 : 0);
      add(EV_SYN, SYN_REPORT, 0);
    }
  }
  events.resize(kEvents);
  return events;
}

std::vector<uint8_t> wire(std::span<const act_item> items) {
  std::vector<uint8_t> out(items.size() * kItemSize);
  for (size_t i = 0; i < items.size(); ++i) encode_act_item(items[i], &out[i * kItemSize]);
  return out;
}

void BM_EventToOutput(benchmark::State& state) {
  DriverState driver;
  QuietSink quiet;
  NullDeviceSink sink;
  PointerOutput output(sink);
  PointerEngine engine(driver, quiet, output);
  engine.add_device(1, {0x2F1D, 0x0130, 4, true, false});
  // The default settings' levels and a mouse table; a dozen application sets.
  std::vector<uint8_t> table(kAccelTableSize, 16);
  for (size_t c = 0; c < kAccelColumns; ++c) table[2 * c + 1] = static_cast<uint8_t>(1 + 3 * c);
  driver.globals.write(kAccelLevelsIndex, std::vector<uint8_t>{3, 3, 3, 4, 4});
  driver.globals.write(kFirstAccelTableIndex + 1, table);
  for (int i = 0; i < 12; ++i) {
    driver.apps.select("com.example.app" + std::to_string(i), "App " + std::to_string(i));
    driver.apps.edited().data.write(72, std::vector<uint8_t>{3, 0, 0, 2});
  }
  driver.apps.set_front("App 11");
  const act_item keystroke[] = {make_act_item(0x09, 0, 2, 0x0200, 0)};
  driver.store_list(driver.apps.global(), response_key(0, 0, 0), wire(drag_actlist));
  driver.store_list(driver.apps.edited(), response_key(0, 2, 0), wire(keystroke));
  driver.store_list(driver.apps.global(), response_key(0, 3, 0), wire(dclick_actlist));
  driver.store_list(driver.apps.global(), response_key(0, 4, 0), wire(keystroke));

  const std::vector<InputEvent> events = stream();
  // Every event, and the reports alone: those are the events whose output
  // is written.
  std::vector<double> us, report_us;
  us.reserve(events.size() * 4);
  for (auto _ : state) {
    for (const InputEvent& e : events) {
      const auto start = std::chrono::steady_clock::now();
      engine.handle(1, e);
      const auto end = std::chrono::steady_clock::now();
      us.push_back(std::chrono::duration<double, std::micro>(end - start).count());
      if (e.type == EV_SYN) report_us.push_back(us.back());
    }
  }
  for (auto* v : {&us, &report_us}) std::sort(v->begin(), v->end());
  state.counters["median_us"] = us[us.size() / 2];
  state.counters["p99_us"] = us[us.size() * 99 / 100];
  state.counters["report_median_us"] = report_us[report_us.size() / 2];
  state.counters["report_p99_us"] = report_us[report_us.size() * 99 / 100];
  state.counters["max_us"] = us.back();
  state.SetItemsProcessed(static_cast<int64_t>(us.size()));
}
BENCHMARK(BM_EventToOutput)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
