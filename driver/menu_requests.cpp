#include "driver/menu_requests.h"

#include <algorithm>

#include "driver/request_codes.h"
#include "driver/request_params.h"
#include "driver/transfer_request.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr uint32_t kMenuSizeReplyLength = 4;
// Eight bytes follow the names; x and y are the 16-bit values at 2 and 6.
constexpr uint32_t kMenuNamesTrailer = 8;
constexpr uint32_t kMenuNamesXOffset = 2;
constexpr uint32_t kMenuNamesYOffset = 6;

}  // namespace

int16_t ClearAllMenuLists() {
  return simple_request(request_code::ClearAllMenuLists, {}).status;
}

int16_t CheckMenuSize(int16_t* x, int16_t* y) {
  const driver_reply r = simple_request(request_code::CheckMenuSize, {});
  if (!r.data || r.status != 1 || r.length != kMenuSizeReplyLength) return 0;
  *x = static_cast<int16_t>(load_be16(r.data));
  *y = static_cast<int16_t>(load_be16(r.data + 2));
  return 1;
}

int16_t GetMenuNames(int16_t max, uint8_t* dest, int16_t* x, int16_t* y) {
  const driver_reply r = simple_request(request_code::GetMenuNames, request_params::be16(max));
  const int16_t n = r.status;
  if (n < 1) return n;
  const uint32_t names_length = n * kMenuNameSize;
  if (!r.data || n > max || r.length != names_length + kMenuNamesTrailer) {
    return kMenuNamesMalformed;
  }
  std::copy_n(r.data, names_length, dest);
  *x = static_cast<int16_t>(load_be16(r.data + names_length + kMenuNamesXOffset));
  *y = static_cast<int16_t>(load_be16(r.data + names_length + kMenuNamesYOffset));
  return n;
}

int16_t ExecuteMenuItems(int16_t index) {
  return simple_request(request_code::ExecuteMenuItems, request_params::be16(index)).status;
}

}  // namespace cx
