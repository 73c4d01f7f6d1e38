// Arbitrary bytes as a property list of the device bundle beside the agent:
// the descriptor table built from it and sent to the reference driver.
// Nothing may crash or hang; the table holds whole records in UniqueID order,
// no more than the list has descriptions, and the driver takes it as sent.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "driver/device_requests.h"
#include "driver/device_table.h"
#include "tests/support/in_process_driver.h"
#include "util/byte_order.h"

namespace {

constexpr size_t kUniqueIdOffset = 28;
// A usable list has at most 255 keys, "Version" among them.
constexpr size_t kMostDescriptions = 254;

std::string set_up_bundle() {
  namespace fs = std::filesystem;
  const fs::path root = fs::temp_directory_path() / ("cx-devices-" + std::to_string(getpid()));
  const fs::path resources = root / "CXDevices.cxdev" / "Contents" / "Resources";
  fs::create_directories(resources);
  setenv("CORVEX_BUNDLE", (root / "Corvex Background").c_str(), 1);
  return (resources / "Fuzzed.plist").string();
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
  static cx::test::InProcessDriver driver;
  driver.reset();
  std::ofstream(file, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

  const auto bundle = cx::dirt_bundle_create();
  if (!bundle) std::abort();
  const auto block = cx::device_properties_copy(*bundle);
  if (!block || block->size() % cx::kDeviceRecordSize != 0 || !in_unique_id_order(*block)) {
    std::abort();
  }
  if (block->size() / cx::kDeviceRecordSize > kMostDescriptions) std::abort();

  if (cx::setDeviceDescriptors() != 0) std::abort();
  const auto& held = driver.state->devices.descriptors();
  if (held.size() * cx::kDeviceRecordSize != block->size()) std::abort();
  for (size_t i = 0; i < held.size(); ++i) {
    if (!std::equal(held[i].begin(), held[i].end(), block->begin() + i * cx::kDeviceRecordSize)) {
      std::abort();
    }
  }
  // The connection refers to the static driver, which may go first at exit.
  cx::DisconnectFromDriver();
  return 0;
}
