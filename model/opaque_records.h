// Records that the agent carries whole between the driver and its callers
// without looking inside.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace cx {

// A menu entry's action-list information (its name and what goes with it).
struct action_list_info {
  static constexpr size_t kSize = 36;
  std::array<uint8_t, kSize> bytes{};
};

// The mouse information record: driver version and revision, device count
// and one capability entry per device.
struct mouse_version_info {
  static constexpr size_t kSize = 180;
  std::array<uint8_t, kSize> bytes{};
};

}  // namespace cx
