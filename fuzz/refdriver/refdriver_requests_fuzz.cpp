// Arbitrary byte strings as sequences of client requests to the reference
// driver's request handler, with simulated presses in between. Each step:
//   op (1 byte): low 2 bits 0 framed request, 1 raw request buffer,
//                2 flattened record, 3 simulation; bits 2-3 the peer;
//                bits 4-5 the reply buffer's size
//   length (2 bytes, big-endian), then that many bytes (fewer at the end).
// A framed request gets a valid transfer block around its bytes, its first
// byte picking the request code, so that the fuzzer reaches every request.
// After each step the replies must be valid blocks and the driver's memory
// accounting must match what it holds.
#include <cstdint>
#include <span>
#include <vector>

#include "driver/transfer_block.h"
#include "fuzz/fuzz_support.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/request_codes.h"
#include "refdriver/request_handler.h"
#include "refdriver/simulator.h"
#include "util/byte_order.h"

namespace {

using namespace cx;
using namespace cx::refdriver;

using fuzz::check;

class NullSink final : public DriverSink {
 public:
  void notify(uint32_t, uint64_t) override {}
  void log(std::string_view) override {}
};

constexpr ClientPeer kPeers[] = {{1, 1000, 10}, {2, 1001, 11}, {3, 0, 12}, {4, 1, 13}};
constexpr size_t kReplySizes[] = {8, 300, 0x10000, 0x20000};

// What the sets hold adds up to what the budget says.
void check_accounting(DriverState& state) {
  Budget seen;
  auto add_set = [&](const AppSet& set) {
    seen.responses += set.responses.size();
    for (const auto& [key, r] : set.responses) seen.items += r.item_count();
    for (const auto& [index, bytes] : set.dataspaces) seen.dataspace_bytes += bytes.size();
    seen.cache_bytes += set.cache.size();
  };
  add_set(state.apps.global());
  for (const uint32_t id : state.apps.listed_ids()) {
    if (id != 0) add_set(*state.apps.find(id));
  }
  for (const auto& [index, bytes] : state.dataspaces.global()) seen.dataspace_bytes += bytes.size();
  check(seen.responses == state.budget.responses && seen.items == state.budget.items &&
        seen.dataspace_bytes == state.budget.dataspace_bytes &&
        seen.cache_bytes == state.budget.cache_bytes);
}

void simulate(Simulator& sim, std::span<const uint8_t> bytes) {
  if (bytes.size() < 3) return;
  switch (bytes[0] % 6) {
    case 0:
      sim.press(bytes[1], bytes[2]);
      break;
    case 1:
      sim.front(std::string(bytes.begin() + 1, bytes.end()));
      break;
    case 2:
      sim.low_battery(load_be16(&bytes[1]));
      break;
    case 3:
      sim.event(static_cast<int16_t>(load_be16(&bytes[1])), bytes.subspan(3));
      break;
    case 4:
      sim.hscroll();
      break;
    default:
      sim.console_switch();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  DriverState state([] { return 1000u; });
  NullSink sink;
  RequestHandler handler(state, sink);
  Simulator sim(state, sink);
  std::vector<uint8_t> request;
  std::vector<uint8_t> reply;

  std::span<const uint8_t> input(data, size);
  while (input.size() >= 3) {
    const uint8_t op = input[0];
    const size_t length = std::min<size_t>(load_be16(&input[1]), input.size() - 3);
    const std::span<const uint8_t> bytes = input.subspan(3, length);
    input = input.subspan(3 + length);
    const ClientPeer& peer = kPeers[(op >> 2) & 3];
    reply.assign(kReplySizes[(op >> 4) & 3], 0);

    switch (op & 3) {
      case 0: {
        if (bytes.empty()) break;
        request.assign(bytes.size() + 10, 0);
        CXTransferContext ctx;
        CXTransferStartWithRequest(&ctx, request.data(), static_cast<uint32_t>(request.size()),
                                   bytes[0] % (request::count + 1));
        CXTransferAdd(&ctx, bytes.data() + 1, static_cast<uint32_t>(bytes.size() - 1));
        CXTransferEnd(&ctx);
        [[fallthrough]];
      }
      case 1: {
        if ((op & 3) == 1) request.assign(bytes.begin(), bytes.end());
        const int64_t needed = handler.transfer(peer, request, reply);
        check(needed >= 8);
        if (static_cast<size_t>(needed) < reply.size()) {
          uint32_t n = 0;
          int16_t status = 0;
          check(CXTransferValidateWithResult(reply.data(), static_cast<uint32_t>(reply.size()), &n,
                                             &status) != nullptr);
          check(n + 8 == static_cast<uint64_t>(needed));
        }
        break;
      }
      case 2:
        request.assign(bytes.begin(), bytes.end());
        handler.flattened(peer, request, reply);
        break;
      default:
        simulate(sim, bytes);
    }
    check_accounting(state);
  }
  handler.closed(kPeers[0]);
  return 0;
}
