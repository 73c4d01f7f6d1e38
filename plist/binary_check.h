// A structural check of a binary property list before libplist sees it.
// libplist 2.2 trusts offsets and counts, recurses per reference without
// noticing cycles, and expands shared objects; this check refuses anything
// that could make it read out of bounds, loop, or blow up, and says at
// which byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace cx::plist {

struct BinaryDefect {
  size_t offset = 0;
  std::string what;
};

// The first defect of `data` ("bplist00" and on), or nothing when libplist
// can be given it.
std::optional<BinaryDefect> check_binary_plist(std::span<const uint8_t> data);

}  // namespace cx::plist
