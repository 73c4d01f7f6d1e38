// The driver side of every request: takes a client's transfer block (or
// flattened record), checks it, acts on the live state and writes the reply.
// Nothing a client sends can make it read outside the request or store
// beyond the limits; a malformed request is answered with kBadRequest.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "refdriver/action_runner.h"
#include "refdriver/byte_reader.h"
#include "refdriver/console_sessions.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/post_limiter.h"
#include "refdriver/request_codes.h"
#include "refdriver/response_run.h"
#include "refdriver/transport_handler.h"

namespace cx::refdriver {

class RequestHandler : public TransportHandler {
 public:
  // `sessions` decides which clients may make their user active; without it
  // (or when it cannot tell) a client may claim its own uid.
  RequestHandler(DriverState& state, DriverSink& sink, bool verbose = false,
                 ConsoleSessions* sessions = nullptr);

  // Transfer-block exchange (selector 4): the request block at the start of
  // `request`, the reply block written at the start of `reply` when it fits
  // (shorter than the buffer). Returns the reply's full length. A request
  // whose reply did not fit changes nothing that asking again would repeat
  // (a queued event stays queued).
  int64_t transfer(const ClientPeer& peer, std::span<const uint8_t> request,
                   std::span<uint8_t> reply) override;

  // Flattened-data exchange (selector 2), the older whole-record path. The
  // request buffer starts with a flattened record: 32-bit total size, then a
  // 32-bit request code and its values; the answer is a flattened record at
  // the start of `reply`, beginning with a 16-bit status:
  //   11 GetMouseInfo   -> status, the 180-byte mouse information
  //    5 GetActionList  button, mods (8-bit) -> status, the list (16-bit
  //                     count, items linked in order), its 36-byte name record
  //   12 SetActionList  button, mods, 16-bit count, items, name record -> status
  // Other codes answer kUnimplemented; a record that is not exactly what its
  // code needs answers kBadRequest. Returns 0, or kNoRoom when the answer
  // does not fit in `reply`.
  int32_t flattened(const ClientPeer& peer, std::span<const uint8_t> request,
                    std::span<uint8_t> reply) override;

  // Counts the call and logs it: there is no firmware to update.
  platform::kern_return_t adb_method(const ClientPeer& peer, uint32_t instance,
                                     std::span<const uint8_t, 4> input) override;

  // The connection leaves control-panel mode.
  void closed(const ClientPeer& peer) override;

 private:
  struct Reply {
    int16_t status = 0;
    std::vector<uint8_t> data;
    bool pops_event = false;
  };
  using Method = Reply (RequestHandler::*)(const ClientPeer&, ByteReader&);
  static const std::array<Method, request::count> kMethods;

  Reply dispatch(const ClientPeer& peer, uint32_t code, std::span<const uint8_t> params);
  static Reply status(int16_t s) { return Reply{s, {}, false}; }
  Reply access_record(const ClientPeer& peer, ByteReader& in, bool global);
  // A write of the active-user record.
  int16_t claim_active_user(const ClientPeer& peer, std::span<const uint8_t> data);
  // Whether the peer's process may make a user active.
  bool at_console(const ClientPeer& peer, std::span<const uint8_t> data);

  Reply InitializeDriver(const ClientPeer&, ByteReader&);
  Reply CXAccessData(const ClientPeer&, ByteReader&);
  Reply CXAccessGlobalData(const ClientPeer&, ByteReader&);
  Reply AllocateSpace(const ClientPeer&, ByteReader&);
  Reply DeallocateSpace(const ClientPeer&, ByteReader&);
  Reply GetActionList(const ClientPeer&, ByteReader&);
  Reply GetActionListSize(const ClientPeer&, ByteReader&);
  Reply GetActionName(const ClientPeer&, ByteReader&);
  Reply GetDataSize(const ClientPeer&, ByteReader&);
  Reply GetMenuActionList(const ClientPeer&, ByteReader&);
  Reply GetMenuActionListSize(const ClientPeer&, ByteReader&);
  Reply GetMouseInfo(const ClientPeer&, ByteReader&);
  Reply SetActionList(const ClientPeer&, ByteReader&);
  Reply SetActionName(const ClientPeer&, ByteReader&);
  Reply SetMenuActionList(const ClientPeer&, ByteReader&);
  Reply CXAccessAppData(const ClientPeer&, ByteReader&);
  Reply CXDoSwitchApp(const ClientPeer&, ByteReader&);
  Reply CurrentEditApp(const ClientPeer&, ByteReader&);
  Reply GetAppName(const ClientPeer&, ByteReader&);
  Reply QueryEditApp(const ClientPeer&, ByteReader&);
  Reply DeleteAppName(const ClientPeer&, ByteReader&);
  Reply InControlPanel(const ClientPeer&, ByteReader&);
  Reply GetCacheSize(const ClientPeer&, ByteReader&);
  Reply AccessCacheData(const ClientPeer&, ByteReader&);
  Reply GetSingleResponse(const ClientPeer&, ByteReader&);
  Reply GetFullResponse(const ClientPeer&, ByteReader&);
  Reply GetResponses(const ClientPeer&, ByteReader&);
  Reply SetResponseData(const ClientPeer&, ByteReader&);
  Reply GetNextBackgroundEvent(const ClientPeer&, ByteReader&);
  Reply ClearAllMenuLists(const ClientPeer&, ByteReader&);
  Reply CheckMenuSize(const ClientPeer&, ByteReader&);
  Reply GetMenuNames(const ClientPeer&, ByteReader&);
  Reply ExecuteMenuItems(const ClientPeer&, ByteReader&);
  Reply SetAbsoluteMouse(const ClientPeer&, ByteReader&);

  // Shared by the list requests: (button, mods, entry) parameters.
  Reply get_list(ByteReader& in, bool menu, bool with_items);
  Reply set_list(ByteReader& in, bool menu);
  // Appends a button's response and its menu entries; false when the reply
  // would pass kMaxReplySize.
  bool append_full_response(std::vector<uint8_t>& out, AppSet& set, uint8_t mods, uint8_t button,
                            int& blocks);
  int16_t store_response(const ParsedResponse& response);

  DriverState& state_;
  DriverSink& sink_;
  PostLimiter posts_;  // every message a request causes goes through it
  ActionRunner runner_;
  bool verbose_;
  ConsoleSessions* sessions_;
  bool said_unreachable_ = false;
  // The connections that have been told of the current active user.
  std::vector<uint64_t> told_active_;
  std::vector<uint8_t> snapshot_;  // the request, copied out of shared memory
  // Scratch kept between requests so that large runs allocate once.
  std::vector<ParsedResponse> parsed_;
  std::vector<uint8_t> items_;
};

}  // namespace cx::refdriver
