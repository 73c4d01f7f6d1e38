// Requests on data records, dataspaces, caches, devices and the pointer.
#include <algorithm>
#include <cstdio>

#include "refdriver/active_user.h"
#include "refdriver/driver_status.h"
#include "refdriver/event_codes.h"
#include "refdriver/limits.h"
#include "refdriver/low_battery.h"
#include "refdriver/request_codes.h"
#include "refdriver/request_handler.h"
#include "util/byte_order.h"

namespace cx::refdriver {

RequestHandler::Reply RequestHandler::InitializeDriver(const ClientPeer&, ByteReader& in) {
  const uint16_t count = in.u16();
  const std::span<const uint8_t> records = in.bytes(in.remaining());
  if (!in.done() || !state_.devices.replace(records, count)) return status(kBadRequest);
  char line[64];
  std::snprintf(line, sizeof line, "device table: %u descriptors", count);
  sink_.log(line);
  return status(static_cast<int16_t>(count));
}

RequestHandler::Reply RequestHandler::CXAccessData(const ClientPeer&, ByteReader& in) {
  const int16_t index = in.i16();
  const uint16_t length = in.u16();
  const uint32_t mode = in.u32();
  const std::span<const uint8_t> data = mode == 0 ? in.bytes(length) : std::span<const uint8_t>{};
  if (!in.done()) return status(kBadRequest);
  std::vector<uint8_t>* block = state_.dataspaces.find(state_.apps.edited(), index);
  if (!block) return status(kNotFound);
  if (mode == 0) {
    if (data.size() > block->size()) return status(kBadRequest);
    std::copy(data.begin(), data.end(), block->begin());
    return status(kDone);
  }
  const size_t n = std::min<size_t>(length, block->size());
  return Reply{
      kDone, std::vector<uint8_t>(block->begin(), block->begin() + static_cast<std::ptrdiff_t>(n)),
      false};
}

// CXAccessGlobalData and CXAccessAppData: 32-bit length, 16-bit index,
// 8-bit mode, 1 unused byte, then the data when writing.
RequestHandler::Reply RequestHandler::access_record(const ClientPeer& peer, ByteReader& in,
                                                    bool global) {
  const uint32_t length = in.u32();
  const uint16_t index = in.u16();
  const uint8_t mode = in.u8();
  in.skip(1);
  const std::span<const uint8_t> data =
      mode != kModeRead ? in.bytes(length) : std::span<const uint8_t>{};
  if (!in.done() || (mode != kModeRead && mode != kModeWrite)) return status(kBadRequest);
  RecordStore& store = global ? state_.globals : state_.apps.edited().data;
  if (mode == kModeRead) {
    Reply r{kDone, {}, false};
    r.status = store.read(index, length, r.data);
    return r;
  }
  if (!global) return status(store.write(index, data));
  if (index == kActiveUserIndex) return status(claim_active_user(peer, data));
  if (index == kLowBatteryIndex) {
    if (!valid_low_battery_table(data)) return status(kBadRequest);
    state_.globals.write(index, data);
    if (state_.low_battery.answer(state_.global_record(kLowBatteryIndex), state_.now(),
                                  state_.low_battery_interval)) {
      sink_.log("low battery: alert due");
      posts_.notify(event_code::low_battery_alert, 0);
    }
    return status(kDone);
  }
  return status(store.write(index, data));
}

RequestHandler::Reply RequestHandler::CXAccessGlobalData(const ClientPeer& peer, ByteReader& in) {
  return access_record(peer, in, true);
}

RequestHandler::Reply RequestHandler::CXAccessAppData(const ClientPeer& peer, ByteReader& in) {
  return access_record(peer, in, false);
}

RequestHandler::Reply RequestHandler::AllocateSpace(const ClientPeer&, ByteReader& in) {
  const int16_t hint = in.i16();
  const int16_t size = in.i16();
  in.skip(4);
  if (!in.done()) return status(kBadRequest);
  return status(state_.dataspaces.allocate(state_.apps.edited(), hint, size));
}

RequestHandler::Reply RequestHandler::DeallocateSpace(const ClientPeer&, ByteReader& in) {
  const int16_t index = in.i16();
  in.skip(6);
  if (!in.done()) return status(kBadRequest);
  return status(state_.dataspaces.deallocate(state_.apps.edited(), index));
}

RequestHandler::Reply RequestHandler::GetDataSize(const ClientPeer&, ByteReader& in) {
  const int16_t index = in.i16();
  in.skip(6);
  if (!in.done()) return status(kBadRequest);
  const std::vector<uint8_t>* block = state_.dataspaces.find(state_.apps.edited(), index);
  return status(block ? static_cast<int16_t>(block->size()) : kNotFound);
}

RequestHandler::Reply RequestHandler::GetMouseInfo(const ClientPeer&, ByteReader& in) {
  if (!in.done()) return status(kBadRequest);
  const auto info = state_.devices.mouse_info();
  return Reply{kDone, std::vector<uint8_t>(info.begin(), info.end()), false};
}

RequestHandler::Reply RequestHandler::GetCacheSize(const ClientPeer&, ByteReader& in) {
  const uint16_t index = in.u16();
  if (!in.done()) return status(kBadRequest);
  const AppSet* set = state_.apps.listed(index);
  if (!set) return status(kNotFound);
  Reply r{kDone, std::vector<uint8_t>(4), false};
  store_be32(r.data.data(), static_cast<uint32_t>(set->cache.size()));
  return r;
}

RequestHandler::Reply RequestHandler::AccessCacheData(const ClientPeer&, ByteReader& in) {
  const uint32_t length = in.u32();
  const uint16_t index = in.u16();
  const uint8_t mode = in.u8();
  in.skip(1);
  const std::span<const uint8_t> data =
      mode != kModeRead ? in.bytes(length) : std::span<const uint8_t>{};
  if (!in.done() || (mode != kModeRead && mode != kModeWrite) || length > kMaxCacheSize) {
    return status(kBadRequest);
  }
  AppSet* set = state_.apps.listed(index);
  if (!set) return status(kNotFound);
  Reply r{kDone, {}, false};
  if (mode == kModeWrite) {
    if (state_.budget.cache_bytes - set->cache.size() + data.size() > kMaxCacheBytes) {
      return status(kNoRoom);
    }
    state_.budget.cache_bytes = state_.budget.cache_bytes - set->cache.size() + data.size();
    set->cache.assign(data.begin(), data.end());
  } else {
    r.data.assign(length, 0);
    std::copy_n(set->cache.begin(), std::min<size_t>(length, set->cache.size()), r.data.begin());
  }
  r.data.resize(r.data.size() + 4);
  store_be32(&r.data[r.data.size() - 4],
             static_cast<uint32_t>(mode == kModeWrite ? data.size() : set->cache.size()));
  return r;
}

RequestHandler::Reply RequestHandler::SetAbsoluteMouse(const ClientPeer&, ByteReader& in) {
  const int32_t x = static_cast<int32_t>(in.u32());
  const int32_t y = static_cast<int32_t>(in.u32());
  if (!in.done()) return status(kBadRequest);
  state_.mouse_x = x;
  state_.mouse_y = y;
  char line[64];
  std::snprintf(line, sizeof line, "pointer moved to (%d, %d)", x, y);
  sink_.log(line);
  return status(kDone);
}

}  // namespace cx::refdriver
