// The driver's two flags around a popup menu: one says a menu is being
// tracked, the other that a popup the driver asked for is still pending.
#include <array>

#include "actions/popup_menus.h"
#include "driver/data_requests.h"
#include "util/byte_order.h"

namespace cx {
namespace {

struct RecordBit {
  int16_t index;
  uint32_t size;
  uint32_t word_offset;  // of the big-endian 16-bit word that holds the bit
  uint16_t bit;
};
constexpr RecordBit kMenuTracking{37, 12, 4, 0x0080};
constexpr RecordBit kPendingPopup{73, 2, 0, 0x0001};
static_assert(kPendingPopup.size <= kMenuTracking.size);

void change_bit(const RecordBit& flag, bool on) {
  std::array<uint8_t, kMenuTracking.size> record{};
  CXAccessGlobalData(flag.index, kDataModeRead, record.data(), flag.size);
  const uint16_t word = load_be16(&record[flag.word_offset]);
  store_be16(&record[flag.word_offset],
             static_cast<uint16_t>(on ? word | flag.bit : word & ~flag.bit));
  CXAccessGlobalData(flag.index, kDataModeWrite, record.data(), flag.size);
}

}  // namespace

int16_t handle_popup(const platform::Menu& menu, platform::GlobalPoint where) {
  change_bit(kMenuTracking, true);
  const int16_t item = platform::menus().pop_up(menu, where);
  change_bit(kMenuTracking, false);
  return item;
}

void clear_pending_popup() {
  change_bit(kPendingPopup, false);
}

}  // namespace cx
