#include "tools/corvexctl/mouse_info.h"

#include <cstdio>

#include "util/byte_order.h"

namespace cx::corvexctl {
namespace {

constexpr size_t kFirstEntry = 12;
constexpr size_t kEntrySize = 24;
constexpr size_t kMaxEntries = (kMouseInfoSize - kFirstEntry) / kEntrySize;

struct CapabilityBit {
  uint32_t mask;
  const char* name;
};
constexpr CapabilityBit kCapabilityBits[] = {
    {0x100, "wireless"},        {0x200, "ring"}, {0x400, "wheel"}, {0x800, "pan wheel"},
    {0x1000, "wheel reversed"},
};

// The 16-bit fields after the capability word, in record order.
constexpr const char* kEntryFields[] = {
    "DevType",    "DevKind",    "WirelessBatteryID", "MoveMultiplier", "AccelerationTableIndex",
    "NumPresets", "FirstPreset"};

void append(std::string& text, const char* format, auto... args) {
  char line[128];
  std::snprintf(line, sizeof line, format, args...);
  text += line;
}

std::string capability_text(uint32_t word) {
  std::string text = std::to_string(word & 0xFF) + " buttons";
  for (const CapabilityBit& bit : kCapabilityBits) {
    if ((word & bit.mask) != 0) text += std::string(", ") + bit.name;
  }
  return text;
}

}  // namespace

bool format_mouse_info(const std::vector<uint8_t>& record, std::string& text) {
  text.clear();
  if (record.size() != kMouseInfoSize) return false;
  const uint8_t* p = record.data();
  const unsigned count = p[5];
  append(text, "size: %u\n", unsigned{load_be16(p)});
  append(text, "version: 0x%04x\n", unsigned{load_be16(p + 2)});
  append(text, "revision: %u\n", unsigned{p[4]});
  append(text, "devices: %u\n", count);
  append(text, "descriptors: %u\n", unsigned{load_be16(p + 6)});
  for (size_t i = 0; i < count && i < kMaxEntries; ++i) {
    const uint8_t* entry = p + kFirstEntry + i * kEntrySize;
    const uint32_t capabilities = load_be32(entry + 4);
    append(text, "device %zu:\n", i + 1);
    append(text, "  UniqueID: 0x%08x\n", unsigned{load_be32(entry)});
    append(text, "  capabilities: 0x%08x (%s)\n", unsigned{capabilities},
           capability_text(capabilities).c_str());
    for (size_t f = 0; f < std::size(kEntryFields); ++f)
      append(text, "  %s: %u\n", kEntryFields[f], unsigned{load_be16(entry + 8 + 2 * f)});
  }
  if (count > kMaxEntries) append(text, "(only %zu devices fit in the record)\n", kMaxEntries);
  return true;
}

}  // namespace cx::corvexctl
