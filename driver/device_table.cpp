#include "driver/device_table.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <new>

#include "driver/device_descriptor.h"
#include "driver/device_requests.h"
#include "platform/user_client.h"
#include "plist/plist_io.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr size_t kUniqueIDOffset = 28;
constexpr size_t kMaxRootKeys = 255;

// The URL loader's error codes, as the report has always shown them.
constexpr long kResourceNotFound = -12;
constexpr long kResourceAccessViolation = -13;
constexpr long kResourceUnknownError = -10;

long load_error(int error) {
  if (error == ENOENT || error == ENOTDIR) return kResourceNotFound;
  if (error == EACCES || error == EPERM) return kResourceAccessViolation;
  return kResourceUnknownError;
}

// The file's bytes; false with `error` set when it cannot be read.
bool load_file(const std::string& path, std::vector<uint8_t>& bytes, long& error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = load_error(errno);
    return false;
  }
  std::array<uint8_t, 4096> chunk;
  bool ok = true;
  for (;;) {
    const ssize_t n = ::read(fd, chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      error = load_error(errno);
      ok = false;
    }
    if (n <= 0) break;
    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + n);
  }
  ::close(fd);
  return ok;
}

bool is_usable_list(const plist::Dictionary& root) {
  const auto* version = plist::as<plist::String>(root.get("Version"));
  return version && version->text() == kDeviceListVersion && !root.empty() &&
         root.size() <= kMaxRootKeys;
}

uint32_t unique_id_at(const device_table_block& block, size_t record) {
  return load_be32(&block[record * kDeviceRecordSize + kUniqueIDOffset]);
}

}  // namespace

std::unique_ptr<platform::Bundle> dirt_bundle_create() {
  const std::string beside = platform::main_bundle().parent_path();
  return platform::Bundle::open(beside + "/" + kDeviceBundleName + "." + kDeviceBundleType);
}

std::vector<std::string> filter_hidden_files(std::span<const std::string> paths) {
  std::vector<std::string> visible;
  for (const auto& path : paths) {
    const auto slash = path.rfind('/');
    const std::string_view name = slash == std::string::npos
                                      ? std::string_view(path)
                                      : std::string_view(path).substr(slash + 1);
    if (!name.empty() && name.front() != '.') visible.push_back(path);
  }
  return visible;
}

int enumerate_cxdevices(const platform::Bundle& bundle, device_callback callback, void* context) {
  const auto listed = bundle.resource_paths_of_type("plist");
  if (listed.empty()) return 0;
  for (const auto& path : filter_hidden_files(listed)) {
    std::vector<uint8_t> bytes;
    long error = 0;
    if (!load_file(path, bytes, error)) {
      std::fprintf(stderr, "Corvex Background: Error %ld loading Device Property List:%s\n", error,
                   path.c_str());
      continue;
    }
    const plist::ReadResult parsed = plist::read_plist(bytes);
    if (!parsed.value) {
      std::fprintf(stderr, "Corvex Background: Invalid Device Property List:%s\n", path.c_str());
      if (!parsed.error.empty())
        std::fprintf(stderr, "...Failed with the following error string: %s\n",
                     parsed.error.c_str());
      continue;
    }
    const auto* root = plist::as<plist::Dictionary>(parsed.value);
    if (!root || !is_usable_list(*root)) continue;
    for (const auto& [key, value] : root->entries()) {
      const auto* description = plist::as<plist::Dictionary>(value);
      if (key == "Version" || !description) continue;
      if (const int result = callback(key, *description, context)) return result;
    }
  }
  return 0;
}

int device_descriptors_from_plist(const std::string&, const plist::Dictionary& description,
                                  void* context) {
  auto& block = *static_cast<device_table_block*>(context);
  dev_desc record;
  set_dev_desc_default(record);
  if (convert_plist_to_dev_desc(record, description) != 0) return 0;
  std::array<uint8_t, kDeviceRecordSize> bytes;
  encode_dev_desc(record, bytes);
  try {
    block.insert(block.end(), bytes.begin(), bytes.end());
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr,
                 "Corvex Background: Allocation error while expanding device descriptor table\n");
    return kDeviceTableFull;
  }
  return 0;
}

void sort_plist_data(device_table_block& block) {
  const size_t count = block.size() / kDeviceRecordSize;
  if (count < 2) return;
  // Swap the first pair out of order and look again from the front: only
  // neighbours ever move, so equal identifiers keep their order.
  size_t i = 0;
  while (i + 1 < count) {
    if (unique_id_at(block, i) > unique_id_at(block, i + 1)) {
      auto first = block.begin() + static_cast<std::ptrdiff_t>(i * kDeviceRecordSize);
      std::swap_ranges(first, first + kDeviceRecordSize, first + kDeviceRecordSize);
      i = 0;
    } else {
      ++i;
    }
  }
}

std::unique_ptr<device_table_block> device_properties_copy(const platform::Bundle& bundle) {
  std::unique_ptr<device_table_block> block(new (std::nothrow) device_table_block);
  if (!block) return nullptr;
  enumerate_cxdevices(bundle, device_descriptors_from_plist, block.get());
  sort_plist_data(*block);
  return block;
}

int setDeviceDescriptors() {
  const auto bundle = dirt_bundle_create();
  if (!bundle) return kNoDeviceBundle;
  const auto block = device_properties_copy(*bundle);
  if (!block) return kNoDeviceTable;
  const size_t count = std::min<size_t>(block->size() / kDeviceRecordSize, INT16_MAX);
  InitializeDriver(block->data(), static_cast<int16_t>(count));
  return 0;
}

void updateADBID32Firmware() {
  auto& service = platform::user_client_service();
  std::vector<std::string> mice;
  if (service.matching_services(kAdbMouseClassName, mice) != platform::kIOReturnSuccess) return;
  const std::array<uint8_t, 4> input{};
  for (const auto& mouse : mice) {
    std::unique_ptr<platform::UserClientConnection> connection;
    if (service.open(mouse, connection) != platform::kIOReturnSuccess || !connection) continue;
    size_t out_len = 0;
    connection->call_struct(0, input, {}, out_len);
  }
}

}  // namespace cx
