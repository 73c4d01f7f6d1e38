// The file reference a control panel stores for a launch-file button: a Mac
// alias record (version 2), or a "file://" URI written by a control panel
// that has no aliases.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace cx {

// The POSIX path of the aliased item from the record's extended
// information (the volume's mount point joined in front of a path taken
// from a volume other than the root), or the URI as given; nothing when the
// data is neither or is cut short.
std::optional<std::string> alias_target(std::span<const uint8_t> data);

}  // namespace cx
