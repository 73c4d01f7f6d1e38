#include "actions/alias_record.h"

#include <string_view>

#include "util/byte_order.h"

namespace cx {
namespace {

constexpr std::size_t kRecordSizeOffset = 4;
constexpr std::size_t kVersionOffset = 6;
constexpr uint16_t kAliasVersion = 2;
// The fixed part ends here; tagged extended information follows.
constexpr std::size_t kExtendedInfoOffset = 150;
constexpr int16_t kTagPosixPath = 18;
constexpr int16_t kTagMountPoint = 19;
constexpr int16_t kTagEnd = -1;
constexpr std::string_view kFileScheme = "file://";

struct PosixParts {
  std::optional<std::string> path;
  std::optional<std::string> mount_point;
};

std::optional<PosixParts> read_extended_info(std::span<const uint8_t> record) {
  PosixParts parts;
  std::size_t at = kExtendedInfoOffset;
  while (at + 4 <= record.size()) {
    const auto tag = static_cast<int16_t>(load_be16(&record[at]));
    const uint16_t length = load_be16(&record[at + 2]);
    if (tag == kTagEnd) return parts;
    at += 4;
    if (at + length > record.size()) return std::nullopt;
    const std::string text(reinterpret_cast<const char*>(&record[at]), length);
    if (tag == kTagPosixPath) parts.path = text;
    if (tag == kTagMountPoint) parts.mount_point = text;
    at += length + (length & 1u);  // entries are padded to even lengths
  }
  return std::nullopt;
}

std::optional<std::string> uri_text(std::span<const uint8_t> data) {
  std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
  if (!text.starts_with(kFileScheme)) return std::nullopt;
  text = text.substr(0, text.find('\0'));
  return std::string(text);
}

}  // namespace

std::optional<std::string> alias_target(std::span<const uint8_t> data) {
  if (auto uri = uri_text(data)) return uri;
  if (data.size() < kExtendedInfoOffset) return std::nullopt;
  if (load_be16(&data[kVersionOffset]) != kAliasVersion) return std::nullopt;
  const uint16_t record_size = load_be16(&data[kRecordSizeOffset]);
  if (record_size < kExtendedInfoOffset || record_size > data.size()) return std::nullopt;
  const auto parts = read_extended_info(data.first(record_size));
  if (!parts || !parts->path || parts->path->empty()) return std::nullopt;
  std::string path = *parts->path;
  if (path.front() != '/') path.insert(path.begin(), '/');
  if (parts->mount_point && *parts->mount_point != "/") {
    std::string mount = *parts->mount_point;
    while (!mount.empty() && mount.back() == '/') mount.pop_back();
    path = mount + path;
  }
  return path;
}

}  // namespace cx
