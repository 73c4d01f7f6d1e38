// Arbitrary bytes as a property list of the device bundle beside the agent:
// the descriptor table built from it and sent to the reference driver.
// Nothing may crash or hang; the table holds whole records in UniqueID order,
// no more than the list has descriptions, and the driver takes it as sent.
#include <algorithm>
#include <cstdint>
#include <string>

#include "driver/device_requests.h"
#include "driver/device_table.h"
#include "fuzz/driver_round.h"
#include "fuzz/fuzz_support.h"
#include "util/byte_order.h"

namespace {

using cx::fuzz::check;

constexpr size_t kUniqueIdOffset = 28;
// A usable list has at most 255 keys, "Version" among them.
constexpr size_t kMostDescriptions = 254;

std::string set_up_bundle() {
  const std::filesystem::path resources = "CXDevices.cxdev/Contents/Resources";
  const std::filesystem::path root = cx::fuzz::private_folder("cx-devices", resources);
  setenv("CORVEX_BUNDLE", (root / "Corvex Background").c_str(), 1);
  return root / resources / "Fuzzed.plist";
}

bool in_unique_id_order(const cx::device_table_block& block) {
  for (size_t at = cx::kDeviceRecordSize; at < block.size(); at += cx::kDeviceRecordSize) {
    if (cx::load_be32(&block[at - cx::kDeviceRecordSize + kUniqueIdOffset]) >
        cx::load_be32(&block[at + kUniqueIdOffset])) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string file = set_up_bundle();
  const cx::fuzz::DriverRound round;
  cx::fuzz::write_input(file, data, size);

  const auto bundle = cx::dirt_bundle_create();
  check(bundle != nullptr);
  const auto block = cx::device_properties_copy(*bundle);
  check(block && block->size() % cx::kDeviceRecordSize == 0 && in_unique_id_order(*block));
  check(block->size() / cx::kDeviceRecordSize <= kMostDescriptions);

  check(cx::setDeviceDescriptors() == 0);
  const auto& held = round.driver().state->devices.descriptors();
  check(held.size() * cx::kDeviceRecordSize == block->size());
  for (size_t i = 0; i < held.size(); ++i) {
    check(std::equal(held[i].begin(), held[i].end(), block->begin() + i * cx::kDeviceRecordSize));
  }
  return 0;
}
