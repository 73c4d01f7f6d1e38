// The agent's driver link against the reference driver served in this
// process over its real sockets and shared memory:
// - a small request (GetActionListSize) next to a raw Unix-socket ping-pong
//   of the very frames that request exchanges, measured in the same run;
// - SetResponseData of 1 MiB of response blocks built in place in the
//   shared request buffer, once as action lists and once as texts.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <thread>
#include <vector>

#include "driver/actlist_requests.h"
#include "driver/driver_connection.h"
#include "driver/response_requests.h"
#include "model/act_item_chain.h"
#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_socket.h"
#include "platform/user_client.h"
#include "tests/support/agent_link.h"
#include "tests/support/reference_driver.h"

namespace {

// The reference driver and an agent connected to it, for one benchmark.
class ConnectedAgent {
 public:
  bool connected() const { return driver_.running() && cx::ConnectToDriver() == 1; }

 private:
  cx::test::ReferenceDriver driver_;
  cx::test::AgentLink link_{driver_.dir()};
};

void BM_GetActionListSize(benchmark::State& state) {
  ConnectedAgent agent;
  if (!agent.connected()) return state.SkipWithError("no reference driver");
  const cx::act_item_chain list(
      std::vector<cx::act_item>(cx::click_actlist.begin(), cx::click_actlist.end()));
  cx::SetActionList(0, 5, list.head());
  for (auto _ : state) {
    if (cx::GetActionListSize(0, 5) != 2) return state.SkipWithError("wrong answer");
  }
}
BENCHMARK(BM_GetActionListSize)->UseRealTime();

// What one request costs on the socket alone: the transfer call and its
// reply, both whole frames, bounced by a thread that does nothing else.
void BM_RawSocketPingPong(benchmark::State& state) {
  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
    return state.SkipWithError("no socket pair");
  }
  const int64_t buffers[] = {0x101, 0x102};
  std::array<uint8_t, cx::uc::kMaxScalarCallSize> call{};
  const size_t call_size = cx::uc::encode_scalar_call(call.data(), 4, buffers, 1);
  const int64_t reply_length[] = {10};
  std::array<uint8_t, cx::uc::kMaxScalarReplySize> reply{};
  const size_t reply_size = cx::uc::encode_scalar_reply(reply.data(), 0, reply_length);

  std::thread echo([&] {
    std::array<uint8_t, cx::uc::kMaxScalarCallSize> in{};
    while (recv(fds[1], in.data(), call_size, MSG_WAITALL) == static_cast<ssize_t>(call_size)) {
      if (send(fds[1], reply.data(), reply_size, MSG_NOSIGNAL) < 0) break;
    }
  });
  std::array<uint8_t, cx::uc::kMaxScalarReplySize> in{};
  for (auto _ : state) {
    if (send(fds[0], call.data(), call_size, MSG_NOSIGNAL) != static_cast<ssize_t>(call_size) ||
        recv(fds[0], in.data(), reply_size, MSG_WAITALL) != static_cast<ssize_t>(reply_size)) {
      state.SkipWithError("socket failed");
      break;
    }
  }
  shutdown(fds[0], SHUT_RDWR);
  echo.join();
  close(fds[0]);
  close(fds[1]);
}
BENCHMARK(BM_RawSocketPingPong)->UseRealTime();

constexpr uint32_t kResponseBytes = 1 << 20;

// Appends one response block for the n-th response at the end of `ctx`.
using ResponseBuilder = uint32_t (*)(uint8_t* at, uint32_t avail, int n);

// Builds 1 MiB of response blocks in place behind SetResponseDataStart and
// sends them: what storing a whole preference file costs end to end.
void set_response_data(benchmark::State& state, ResponseBuilder build) {
  ConnectedAgent agent;
  if (!agent.connected()) return state.SkipWithError("no reference driver");
  // One block of all the responses, plus the request code and framing.
  if (!cx::ResizeInputSharedMemory(kResponseBytes + 0x10000)) {
    return state.SkipWithError("request buffer cannot grow");
  }
  uint32_t sent = 0;
  for (auto _ : state) {
    cx::CXTransferContext ctx;
    uint32_t capacity = 0;
    cx::SetResponseDataStart(&ctx, &capacity);
    int responses = 0;
    for (uint32_t avail = 0; ctx.used < kResponseBytes; ++responses) {
      uint8_t* at = cx::CXTransferAvailSpace(&ctx, &avail);
      cx::CXTransferTakeSpace(&ctx, build(at, avail, responses));
    }
    sent = cx::CXTransferEnd(&ctx);
    uint32_t reply_length = 0;
    if (sent > capacity || cx::SetResponseData(&reply_length) != responses) {
      return state.SkipWithError("responses not stored");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * sent);
}

// Action-list responses of 60 items each (about 1 KiB), one per button and
// modifier combination.
void BM_SetResponseData1MiB_ActionLists(benchmark::State& state) {
  static const std::vector<cx::act_item> items(60, cx::click_actlist[0]);
  set_response_data(state, [](uint8_t* at, uint32_t avail, int n) {
    return cx::build_actlist_response_block(at, avail, static_cast<uint8_t>(n / 256),
                                            static_cast<uint8_t>(n), 0, false, items.data(),
                                            static_cast<uint16_t>(items.size()), "Clicks");
  });
}
BENCHMARK(BM_SetResponseData1MiB_ActionLists)->UseRealTime()->Unit(benchmark::kMillisecond);

// Paste-text responses of 8 KiB of text each: few items, mostly dataspace bytes.
void BM_SetResponseData1MiB_PasteTexts(benchmark::State& state) {
  static const std::vector<uint8_t> text = [] {
    std::vector<uint8_t> t(8192, 'x');
    t.back() = 0;
    return t;
  }();
  set_response_data(state, [](uint8_t* at, uint32_t avail, int n) {
    return cx::build_dataspace_response_block(
        at, avail, 0, static_cast<uint8_t>(n), 0, false, cx::paste_text_actlist.data(),
        static_cast<uint16_t>(cx::paste_text_actlist.size()), text.data(),
        static_cast<uint16_t>(text.size()), 0, "Text");
  });
}
BENCHMARK(BM_SetResponseData1MiB_PasteTexts)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
