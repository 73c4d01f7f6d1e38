// Requests on application sets: the front application, the set being
// edited, the list of sets, control-panel mode.
#include <cstdio>
#include <string>

#include "refdriver/driver_status.h"
#include "refdriver/limits.h"
#include "refdriver/request_handler.h"

namespace cx::refdriver {
namespace {

std::vector<uint8_t> two_names(const AppSet& set) {
  std::vector<uint8_t> out(set.key.begin(), set.key.end());
  out.push_back(0);
  out.insert(out.end(), set.name.begin(), set.name.end());
  out.push_back(0);
  return out;
}

// The agent sends a C string with its NUL; a Pascal string (length byte,
// no NUL) is taken too.
std::string front_name(std::span<const uint8_t> data) {
  const auto chars = [&](size_t from, size_t to) {
    return std::string(reinterpret_cast<const char*>(data.data()) + from, to - from);
  };
  if (data.empty()) return {};
  if (data.back() == 0) {
    size_t end = 0;
    while (data[end] != 0) ++end;
    return chars(0, end);
  }
  if (data[0] == data.size() - 1) return chars(1, data.size());
  return chars(0, data.size());
}

}  // namespace

RequestHandler::Reply RequestHandler::CXDoSwitchApp(const ClientPeer&, ByteReader& in) {
  const uint32_t length = in.u32();
  const std::span<const uint8_t> data = in.bytes(length);
  if (!in.done() || length > kMaxFrontNameLength + 1) return status(kBadRequest);
  state_.apps.set_front(front_name(data));
  const AppSet& front = state_.apps.front();
  std::string line = "front application: " + state_.apps.front_name() +
                     (front.id == 0 ? " (global set)" : " (its own set)");
  sink_.log(line);
  return status(front.id == 0 ? kNothing : kDone);
}

RequestHandler::Reply RequestHandler::CurrentEditApp(const ClientPeer&, ByteReader& in) {
  std::string_view key;
  std::string_view name;
  if (!in.c_string(kMaxKeyLength, key) || !in.c_string(kMaxNameLength, name) || !in.done()) {
    return status(kBadRequest);
  }
  return status(state_.apps.select(key, name));
}

RequestHandler::Reply RequestHandler::GetAppName(const ClientPeer&, ByteReader& in) {
  const uint16_t index = in.u16();
  if (!in.done()) return status(kBadRequest);
  const AppSet* set = index >= 1 ? state_.apps.listed(index - 1u) : nullptr;
  if (!set) return status(kNotFound);
  return Reply{kDone, two_names(*set), false};
}

RequestHandler::Reply RequestHandler::QueryEditApp(const ClientPeer&, ByteReader& in) {
  if (!in.done()) return status(kBadRequest);
  return Reply{kDone, two_names(state_.apps.edited()), false};
}

RequestHandler::Reply RequestHandler::DeleteAppName(const ClientPeer&, ByteReader& in) {
  std::string_view name;
  if (!in.c_string(kMaxNameLength, name) || !in.done()) return status(kBadRequest);
  return status(state_.delete_app_set(name));
}

// One connection at a time; a second is refused with 0. Leaving the mode
// (or closing the connection) selects the global set again.
RequestHandler::Reply RequestHandler::InControlPanel(const ClientPeer& peer, ByteReader& in) {
  const uint8_t flag = in.u8();
  if (!in.done()) return status(kBadRequest);
  uint64_t& holder = state_.control_panel_holder;
  if (holder != 0 && holder != peer.connection) return status(kNothing);
  holder = flag != 0 ? peer.connection : 0;
  if (flag == 0) state_.apps.select_global();
  return status(kDone);
}

}  // namespace cx::refdriver
