#include "platform/linux/wm_icon.h"

#include <cstddef>

namespace cx::platform {
namespace {

struct Image {
  uint32_t width;
  uint32_t height;
  std::size_t at;  // first pixel
};

// Whether `a` suits `size` better than `b`.
bool better(const Image& a, const Image& b, uint32_t size) {
  const bool a_fits = a.width >= size && a.height >= size;
  const bool b_fits = b.width >= size && b.height >= size;
  if (a_fits != b_fits) return a_fits;
  const uint64_t a_area = uint64_t{a.width} * a.height, b_area = uint64_t{b.width} * b.height;
  return a_fits ? a_area < b_area : a_area > b_area;
}

}  // namespace

std::optional<AppIcon> pick_wm_icon(std::span<const uint32_t> value, uint32_t size) {
  std::optional<Image> best;
  std::size_t at = 0;
  while (value.size() - at >= 2) {
    const uint32_t width = value[at], height = value[at + 1];
    const uint64_t pixels = uint64_t{width} * height;
    if (pixels == 0 || pixels > value.size() - at - 2) break;
    const Image image{width, height, at + 2};
    if (!best || better(image, *best, size)) best = image;
    at = image.at + static_cast<std::size_t>(pixels);
  }
  if (!best) return std::nullopt;
  const auto first = value.begin() + static_cast<std::ptrdiff_t>(best->at);
  return AppIcon{
      best->width,
      best->height,
      {first, first + static_cast<std::ptrdiff_t>(std::size_t{best->width} * best->height)},
      {}};
}

}  // namespace cx::platform
