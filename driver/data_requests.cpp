#include "driver/data_requests.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "driver/request_codes.h"
#include "driver/request_params.h"
#include "driver/transfer_request.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr uint32_t kCacheValueSize = 4;

std::span<const uint8_t> bytes_of(const void* buffer, uint32_t length) {
  return {static_cast<const uint8_t*>(buffer), length};
}

int16_t access_record(uint32_t code, int16_t index, uint8_t mode, void* buffer, uint32_t length) {
  const bool read = mode == kDataModeRead;
  const driver_reply r =
      simple_request(code, request_params::data_access(index, mode, length),
                     read ? std::span<const uint8_t>() : bytes_of(buffer, length));
  if (!r.data) return 0;
  if (read && r.length == length) std::memcpy(buffer, r.data, length);
  return r.status;
}

}  // namespace

const uint8_t* CXAccessData(int16_t index, uint16_t length, uint32_t mode, void* buffer,
                            uint32_t max) {
  const auto sent = static_cast<uint16_t>(std::min<uint32_t>(length, max));
  const bool read = mode != 0;
  const driver_reply r = simple_request(request_code::CXAccessData,
                                        request_params::dataspace_access(index, sent, mode),
                                        read ? std::span<const uint8_t>() : bytes_of(buffer, sent));
  if (read && r.data && r.length == sent) std::memcpy(buffer, r.data, sent);
  return r.data;
}

int16_t CXAccessGlobalData(int16_t index, uint8_t mode, void* buffer, uint32_t length) {
  return access_record(request_code::CXAccessGlobalData, index, mode, buffer, length);
}

int16_t CXAccessAppData(int16_t index, uint8_t mode, void* buffer, uint32_t length) {
  return access_record(request_code::CXAccessAppData, index, mode, buffer, length);
}

int16_t AllocateSpace(int16_t a, int16_t b) {
  return status_or_no_driver(
      simple_request(request_code::AllocateSpace, request_params::dataspace(b, a)));
}

const uint8_t* DeallocateSpace(int16_t index) {
  return simple_request(request_code::DeallocateSpace, request_params::dataspace(index, 0)).data;
}

int16_t GetDataSize(int16_t index) {
  return status_or_no_driver(
      simple_request(request_code::GetDataSize, request_params::dataspace(index, 0)));
}

uint32_t GetCacheSize(int16_t index) {
  const driver_reply r = simple_request(request_code::GetCacheSize, request_params::be16(index));
  if (!r.data || r.status < 0 || r.length != kCacheValueSize) return 0;
  return load_be32(r.data);
}

uint32_t AccessCacheData(int16_t index, uint8_t mode, void* buffer, uint32_t length) {
  const bool read = mode == kDataModeRead;
  const driver_reply r = simple_request(
      request_code::AccessCacheData, request_params::data_access(index, mode, length),
      read ? std::span<const uint8_t>() : bytes_of(buffer, length));
  if (!r.data || r.status < 0) return 0;
  const uint32_t data_length = read ? length : 0;
  if (uint64_t{r.length} != uint64_t{data_length} + kCacheValueSize) return 0;
  if (read) std::memcpy(buffer, r.data, length);
  return load_be32(r.data + data_length);
}

}  // namespace cx
