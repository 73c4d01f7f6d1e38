// Arbitrary Apple events from the session bus into the control-panel
// server, whose requests reach the reference driver's request handler
// through the in-process fake user client. Each step:
//   handler (1 byte, modulo the 18 handlers), flags (bit 0: no reply),
//   parameter count (1 byte), then per parameter: keyword (1 byte, from the
//   suite's keywords or taken raw), descriptor type (1 byte), length (1
//   byte) and that many data bytes (fewer at the end).
// Nothing may crash, and every reply must be well-formed.
#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "agent/agent_state.h"
#include "cpanel/cx_ae_mgr.h"
#include "fuzz/driver_round.h"
#include "fuzz/fuzz_support.h"
#include "platform/apple_events.h"

namespace {

using namespace cx;
using fuzz::check;
using platform::fourcc;
using platform::OSType;

constexpr std::array<platform::AEEventHandlerProc, 18> kHandlers = {
    CXAEMgr::WritePrefsEventHandler,
    CXAEMgr::RestoreDefaultPrefsEventHandler,
    CXAEMgr::GetBackgroundAppActiveEventHandler,
    CXAEMgr::GetMouseInfoEventHandler,
    CXAEMgr::AccessDataEventHandler,
    CXAEMgr::AccessGlobalDataEventHandler,
    CXAEMgr::AccessAppDataEventHandler,
    CXAEMgr::AllocateSpaceEventHandler,
    CXAEMgr::DeallocateSpaceEventHandler,
    CXAEMgr::GetActionListEventHandler,
    CXAEMgr::GetActionListSizeEventHandler,
    CXAEMgr::GetActionNameEventHandler,
    CXAEMgr::GetDataSizeEventHandler,
    CXAEMgr::GetMenuActionListEventHandler,
    CXAEMgr::GetMenuActionListSizeEventHandler,
    CXAEMgr::SetActionListEventHandler,
    CXAEMgr::SetActionNameEventHandler,
    CXAEMgr::SetMenuActionListEventHandler,
};

constexpr std::array<OSType, 13> kKeywords = {
    fourcc("btni"), fourcc("modi"), fourcc("mnui"), fourcc("indx"), fourcc("ddir"),
    fourcc("dtyp"), fourcc("data"), fourcc("actl"), fourcc("acti"), fourcc("anms"),
    fourcc("lnms"), fourcc("faka"), fourcc("----")};
constexpr std::array<OSType, 8> kTypes = {fourcc("TEXT"), fourcc("shor"), fourcc("long"),
                                          fourcc("****"), fourcc("cstr"), fourcc("alis"),
                                          fourcc("null"), fourcc("psn ")};

class Reader {
 public:
  explicit Reader(std::span<const uint8_t> in) : in_(in) {}
  bool more() const { return at_ < in_.size(); }
  uint8_t byte() { return more() ? in_[at_++] : 0; }
  std::vector<uint8_t> bytes(size_t n) {
    n = std::min(n, in_.size() - at_);
    std::vector<uint8_t> out(in_.begin() + at_, in_.begin() + at_ + n);
    at_ += n;
    return out;
  }

 private:
  std::span<const uint8_t> in_;
  size_t at_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::DriverRound round;
  background_app_active = 1;
  Reader in({data, size});
  for (int step = 0; step < 16 && in.more(); ++step) {
    const auto handler = kHandlers[in.byte() % kHandlers.size()];
    const bool no_reply = (in.byte() & 1) != 0;
    platform::AppleEvent event(fourcc("cxvx"), fourcc("fuzz"), {});
    for (int n = in.byte() % 8; n > 0 && in.more(); --n) {
      const uint8_t k = in.byte();
      const OSType keyword = k < kKeywords.size() ? kKeywords[k] : fourcc("xxxx") + k;
      platform::AEDesc desc{kTypes[in.byte() % kTypes.size()], {}};
      desc.data = in.bytes(in.byte());
      event.put_param(keyword, std::move(desc));
    }
    platform::AppleEvent reply =
        no_reply ? platform::AppleEvent() : platform::AppleEvent::make_reply();
    handler(event, reply, 0);
    check(no_reply ? reply.parameters().empty()
                   : reply.descriptor_type() == platform::typeAppleEvent);
  }
  return 0;
}
