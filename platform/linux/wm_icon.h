// The icons a window offers in `_NET_WM_ICON`: images one after the other,
// each its width, its height, then width x height ARGB pixels.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/processes.h"

namespace cx::platform {

// The smallest image at least `size` pixels on each side, else the largest.
// Reading stops at the first image that is empty or does not fit in
// `value`; none when no whole image came before it.
std::optional<AppIcon> pick_wm_icon(std::span<const uint32_t> value, uint32_t size);

}  // namespace cx::platform
