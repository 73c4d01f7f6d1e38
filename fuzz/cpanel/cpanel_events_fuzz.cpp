// Arbitrary Apple events from the session bus into the control-panel
// server, whose requests reach the reference driver's request handler
// through an in-process user client. Each step:
//   handler (1 byte, modulo the 18 handlers), flags (bit 0: no reply),
//   parameter count (1 byte), then per parameter: keyword (1 byte, from the
//   suite's keywords or taken raw), descriptor type (1 byte), length (1
//   byte) and that many data bytes (fewer at the end).
// Nothing may crash, and every reply must be well-formed.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "agent/agent_state.h"
#include "cpanel/cx_ae_mgr.h"
#include "driver/driver_connection.h"
#include "platform/apple_events.h"
#include "platform/user_client.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/request_handler.h"

namespace {

using namespace cx;
using platform::fourcc;
using platform::OSType;

class NullSink final : public refdriver::DriverSink {
 public:
  void notify(uint32_t, uint64_t) override {}
  void log(std::string_view) override {}
};

// The driver side of the link: buffers in this process, transfers handed
// straight to the request handler.
class InProcessDriver final : public platform::UserClientService {
 public:
  InProcessDriver() { reset(); }
  void reset() {
    state_ = std::make_unique<refdriver::DriverState>([] { return 0u; });
    handler_ = std::make_unique<refdriver::RequestHandler>(*state_, sink_);
  }
  platform::kern_return_t matching_services(std::string_view name,
                                            std::vector<std::string>& out) override {
    out.emplace_back(name);
    return 0;
  }
  platform::kern_return_t open(const std::string&,
                               std::unique_ptr<platform::UserClientConnection>& c) override;
  platform::kern_return_t open_interest(const std::string&,
                                        std::unique_ptr<platform::InterestNotifier>&) override {
    return platform::kIOReturnUnsupported;
  }

  std::map<uint32_t, std::vector<uint8_t>> buffers;
  uint32_t next_type = 1;
  std::unique_ptr<refdriver::DriverState> state_;
  std::unique_ptr<refdriver::RequestHandler> handler_;

 private:
  NullSink sink_;
};

class Mapping final : public platform::MemoryMapping {
 public:
  explicit Mapping(std::vector<uint8_t>& b) : b_(b) {}
  uint8_t* address() const override { return b_.data(); }
  uint64_t size() const override { return b_.size(); }

 private:
  std::vector<uint8_t>& b_;
};

class Connection final : public platform::UserClientConnection {
 public:
  explicit Connection(InProcessDriver& d) : d_(d) {}
  platform::kern_return_t call_scalar(uint32_t selector, std::span<const int64_t> in,
                                      std::span<int64_t> out) override {
    constexpr refdriver::ClientPeer kPeer{1, 0, 1};
    if (selector == driver_method::new_shared_memory) {
      if (in[0] <= 0 || in[0] > (16 << 20)) return platform::kIOReturnNoMemory;
      d_.buffers[d_.next_type].assign(static_cast<size_t>(in[0]), 0);
      out[0] = d_.next_type++;
      return 0;
    }
    if (selector == driver_method::release_shared_memory) {
      d_.buffers.erase(static_cast<uint32_t>(in[0]));
      return 0;
    }
    if (selector != driver_method::transfer_exchange) return platform::kIOReturnUnsupported;
    auto request = d_.buffers.find(static_cast<uint32_t>(in[0]));
    auto reply = d_.buffers.find(static_cast<uint32_t>(in[1]));
    if (request == d_.buffers.end() || reply == d_.buffers.end())
      return platform::kIOReturnBadArgument;
    out[0] = d_.handler_->transfer(kPeer, request->second, reply->second);
    return 0;
  }
  platform::kern_return_t call_struct(uint32_t, std::span<const uint8_t>, std::span<uint8_t>,
                                      std::size_t&) override {
    return platform::kIOReturnUnsupported;
  }
  platform::kern_return_t map_memory(uint32_t type,
                                     std::unique_ptr<platform::MemoryMapping>& m) override {
    auto it = d_.buffers.find(type);
    if (it == d_.buffers.end()) return platform::kIOReturnBadArgument;
    m = std::make_unique<Mapping>(it->second);
    return 0;
  }
  platform::kern_return_t unmap_memory(uint32_t,
                                       std::unique_ptr<platform::MemoryMapping>) override {
    return 0;
  }

 private:
  InProcessDriver& d_;
};

platform::kern_return_t InProcessDriver::open(const std::string&,
                                              std::unique_ptr<platform::UserClientConnection>& c) {
  c = std::make_unique<Connection>(*this);
  return 0;
}

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

void check(bool ok) {
  if (!ok) std::abort();
}

InProcessDriver& driver() {
  static InProcessDriver d;
  static const bool installed = (platform::set_user_client_service(&d), true);
  (void)installed;
  return d;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InProcessDriver& d = driver();
  DisconnectFromDriver();
  d.reset();
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
