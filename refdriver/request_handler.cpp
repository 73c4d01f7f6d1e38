#include "refdriver/request_handler.h"

#include <algorithm>
#include <cstdio>

#include "driver/transfer_block.h"
#include "refdriver/active_user.h"
#include "refdriver/driver_status.h"
#include "refdriver/request_codes.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

// Requests any client may make while another user's agent serves the
// driver: the version check, and claiming or clearing the active user.
bool open_to_everyone(uint32_t code, std::span<const uint8_t> params) {
  if (code == request::GetMouseInfo) return true;
  return code == request::CXAccessGlobalData && params.size() >= 6 &&
         load_be16(&params[4]) == kActiveUserIndex;
}

}  // namespace

const std::array<RequestHandler::Method, request::count> RequestHandler::kMethods = {
    &RequestHandler::InitializeDriver,
    &RequestHandler::CXAccessData,
    &RequestHandler::CXAccessGlobalData,
    &RequestHandler::AllocateSpace,
    &RequestHandler::DeallocateSpace,
    &RequestHandler::GetActionList,
    &RequestHandler::GetActionListSize,
    &RequestHandler::GetActionName,
    &RequestHandler::GetDataSize,
    &RequestHandler::GetMenuActionList,
    &RequestHandler::GetMenuActionListSize,
    &RequestHandler::GetMouseInfo,
    &RequestHandler::SetActionList,
    &RequestHandler::SetActionName,
    &RequestHandler::SetMenuActionList,
    &RequestHandler::CXAccessAppData,
    &RequestHandler::CXDoSwitchApp,
    &RequestHandler::CurrentEditApp,
    &RequestHandler::GetAppName,
    &RequestHandler::QueryEditApp,
    &RequestHandler::DeleteAppName,
    &RequestHandler::InControlPanel,
    &RequestHandler::GetCacheSize,
    &RequestHandler::AccessCacheData,
    &RequestHandler::GetSingleResponse,
    &RequestHandler::GetFullResponse,
    &RequestHandler::GetResponses,
    &RequestHandler::SetResponseData,
    &RequestHandler::GetNextBackgroundEvent,
    &RequestHandler::ClearAllMenuLists,
    &RequestHandler::CheckMenuSize,
    &RequestHandler::GetMenuNames,
    &RequestHandler::ExecuteMenuItems,
    &RequestHandler::SetAbsoluteMouse,
};

RequestHandler::RequestHandler(DriverState& state, DriverSink& sink, bool verbose,
                               ConsoleSessions* sessions)
    : state_(state),
      sink_(sink),
      posts_(sink, state),
      runner_(state, posts_),
      verbose_(verbose),
      sessions_(sessions) {}

int64_t RequestHandler::transfer(const ClientPeer& peer, std::span<const uint8_t> request,
                                 std::span<uint8_t> reply) {
  // The client can still write to the shared buffer: work on a copy so that
  // what was checked is what is used.
  snapshot_.clear();
  if (request.size() >= 4) {
    const size_t length = std::min<size_t>(load_be32(request.data()), request.size());
    snapshot_.assign(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(length));
  }
  uint32_t length = 0;
  uint32_t code = 0;
  const uint8_t* params = CXTransferValidateWithRequest(
      snapshot_.data(), static_cast<uint32_t>(snapshot_.size()), &length, &code);
  Reply r = params ? dispatch(peer, code, {params, length}) : status(kBadRequest);
  if (!params && verbose_) sink_.log("request: not a valid transfer block");

  const size_t needed = kTransferOverhead + 2 + r.data.size();
  if (needed < reply.size()) {
    CXTransferContext ctx;
    CXTransferStartWithResult(&ctx, reply.data(), static_cast<uint32_t>(reply.size()));
    CXTransferAdd(&ctx, r.data.data(), static_cast<uint32_t>(r.data.size()));
    CXTransferEndWithResult(&ctx, r.status);
    if (r.pops_event) state_.events.pop();
  }
  return static_cast<int64_t>(needed);
}

RequestHandler::Reply RequestHandler::dispatch(const ClientPeer& peer, uint32_t code,
                                               std::span<const uint8_t> params) {
  Reply r;
  posts_.caused_by(peer.uid);
  if (code >= kMethods.size()) {
    r = status(kUnimplemented);
  } else if (!serves_peer(state_.global_record(kActiveUserIndex), peer.uid) &&
             !open_to_everyone(code, params)) {
    // Another user's settings: nothing to read, nothing to change.
    r = status(code == request::GetNextBackgroundEvent ? kNothing : kPermission);
  } else {
    ByteReader in(params);
    r = (this->*kMethods[code])(peer, in);
  }
  if (verbose_) {
    char line[160];
    std::snprintf(line, sizeof line, "request uid %u: %s (%u) -> %d, %zu bytes", peer.uid,
                  code < kRequestNames.size() ? kRequestNames[code].data() : "unknown", code,
                  r.status, r.data.size());
    sink_.log(line);
  }
  return r;
}

platform::kern_return_t RequestHandler::adb_method(const ClientPeer& peer, uint32_t instance,
                                                   std::span<const uint8_t, 4> input) {
  ++state_.firmware_updates;
  char line[96];
  std::snprintf(line, sizeof line,
                "ADBID32Mouse.%u: firmware method from uid %u (%02x %02x %02x %02x)", instance,
                peer.uid, input[0], input[1], input[2], input[3]);
  sink_.log(line);
  return platform::kIOReturnSuccess;
}

void RequestHandler::closed(const ClientPeer& peer) {
  std::erase(told_active_, peer.connection);
  if (state_.control_panel_holder == peer.connection) {
    state_.control_panel_holder = 0;
    state_.apps.select_global();
  }
}

}  // namespace cx::refdriver
