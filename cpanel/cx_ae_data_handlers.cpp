// Unbound handlers for the driver's data: dataspaces and the global and
// per-application data records.
#include <cstdint>
#include <limits>

#include "cpanel/ae_codes.h"
#include "cpanel/ae_params.h"
#include "cpanel/cx_ae_mgr.h"
#include "driver/data_requests.h"
#include "util/byte_order.h"

namespace cx {

using platform::AppleEvent;
using platform::OSErr;

namespace {

constexpr int16_t kDefaultAllocateHint = -1;
constexpr int16_t kDefaultDeallocateIndex = -2;
// CXAccessData's direction: 0 writes, anything else reads.
constexpr uint8_t kDataspaceWrite = 0;

using record_access = int16_t (*)(int16_t index, uint8_t mode, void* buffer, uint32_t length);

// Global and application records share one exchange: mode 1 writes the
// `data` block and replies the status; otherwise the block's first word is
// the length to read, and the bytes read are the reply.
OSErr access_record(const AppleEvent& event, AppleEvent& reply, record_access access) {
  uint8_t type = 0;
  uint8_t direction = 0;
  if (OSErr err = get_byte_param(event, ae_code::kDataType, type); err != platform::noErr) {
    return err;
  }
  if (OSErr err = get_byte_param(event, ae_code::kDirection, direction); err != platform::noErr) {
    return err;
  }
  ae_data_handle data;
  if (OSErr err = CXAEMgr::ObtainDataFromAppleEvent(&event, &data); err != platform::noErr) {
    return err;
  }
  if (direction == kDataModeWrite) {
    const int16_t result =
        access(type, direction, data.bytes(), static_cast<uint32_t>(data.size()));
    return put_reply_shor(reply, result);
  }
  if (reply.is_null()) return platform::errAEDescNotFound;
  const uint16_t length = data.size() >= 2 ? load_be16(data.bytes()) : 0;
  ae_data_handle read = ae_data_handle::make_clear(length);
  if (read.is_null()) return memFullErr;
  access(type, direction, read.bytes(), length);
  return put_reply_bytes(reply, platform::keyDirectObject, read.bytes(), read.size());
}

}  // namespace

OSErr CXAEMgr::AccessDataEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  int16_t index = 0;
  uint8_t direction = 0;
  if (OSErr err = event.get_shor(ae_code::kDataIndex, index); err != platform::noErr) return err;
  if (OSErr err = get_byte_param(event, ae_code::kDirection, direction); err != platform::noErr) {
    return err;
  }
  if (direction == kDataspaceWrite) {
    ae_data_handle data;
    if (OSErr err = ObtainDataFromAppleEvent(&event, &data); err != platform::noErr) return err;
    // The request's length field is 16 bits; a cut-down write would corrupt the dataspace.
    if (data.size() > std::numeric_limits<uint16_t>::max()) return platform::paramErr;
    const auto length = static_cast<uint16_t>(data.size());
    CXAccessData(index, length, kDataspaceWrite, data.bytes(), length);
    return platform::noErr;
  }
  if (reply.is_null()) return platform::errAEDescNotFound;
  const int16_t size = GetDataSize(index);
  const auto length = static_cast<uint16_t>(size > 0 ? size : 0);
  ae_data_handle read = ae_data_handle::make_clear(length);
  if (read.is_null()) return memFullErr;
  CXAccessData(index, length, direction, read.bytes(), length);
  return put_reply_bytes(reply, platform::keyDirectObject, read.bytes(), read.size());
}

OSErr CXAEMgr::AccessGlobalDataEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  return access_record(event, reply, &CXAccessGlobalData);
}

OSErr CXAEMgr::AccessAppDataEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  return access_record(event, reply, &CXAccessAppData);
}

OSErr CXAEMgr::AllocateSpaceEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  int16_t size = 0;
  int16_t hint = kDefaultAllocateHint;
  if (OSErr err = event.get_shor(ae_code::kData, size); err != platform::noErr) return err;
  if (event.get_shor(ae_code::kDataIndex, hint) != platform::noErr) hint = kDefaultAllocateHint;
  return put_reply_shor(reply, AllocateSpace(size, hint));
}

OSErr CXAEMgr::DeallocateSpaceEventHandler(const AppleEvent& event, AppleEvent&, intptr_t) {
  int16_t index = kDefaultDeallocateIndex;
  const OSErr err = event.get_shor(ae_code::kDataIndex, index);
  if (err != platform::noErr) index = kDefaultDeallocateIndex;
  DeallocateSpace(index);
  return err;
}

OSErr CXAEMgr::GetDataSizeEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  int16_t index = 0;
  if (OSErr err = event.get_shor(ae_code::kDataIndex, index); err != platform::noErr) return err;
  return put_reply_shor(reply, GetDataSize(index));
}

}  // namespace cx
