#include "driver/device_requests.h"

#include <algorithm>
#include <span>

#include "driver/request_codes.h"
#include "driver/request_params.h"
#include "driver/transfer_request.h"

namespace cx {

int16_t InitializeDriver(const uint8_t* records, int16_t count) {
  const uint32_t length = count > 0 ? count * kDeviceRecordSize : 0;
  return status_or_no_driver(simple_request(request_code::InitializeDriver,
                                            request_params::be16(count), {records, length}));
}

int16_t GetMouseInfo(mouse_version_info& info) {
  const driver_reply r = simple_request(request_code::GetMouseInfo, {});
  if (!r.data || r.length == 0) return 0;
  std::copy_n(r.data, std::min<size_t>(r.length, info.bytes.size()), info.bytes.begin());
  return r.status;
}

int16_t SetAbsoluteMouse(int32_t x, int32_t y) {
  return simple_request(request_code::SetAbsoluteMouse,
                        request_params::be32(static_cast<uint32_t>(x)),
                        request_params::be32(static_cast<uint32_t>(y)))
      .status;
}

const uint8_t* GetNextBackgroundEvent(uint32_t* len, int16_t* status) {
  return MakeSimpleTransferRequest(request_code::GetNextBackgroundEvent, nullptr, 0, len, status);
}

}  // namespace cx
