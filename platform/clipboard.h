// The Scrap Manager's current scrap (the desktop's clipboard) and the window
// server's keyboard events: enough to put a text on the clipboard and have
// the front application paste it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/apple_events.h"

namespace cx::platform {

// Text in the system's 8-bit encoding (ISO Latin-1 here).
inline constexpr OSType kScrapFlavorTypeText = fourcc("TEXT");
// UTF-16 in host byte order, no byte-order mark, no terminator.
inline constexpr OSType kScrapFlavorTypeUnicode = fourcc("utxt");

// Scrap Manager and window-server results.
inline constexpr int32_t noScrapErr = -100;
inline constexpr int32_t internalScrapErr = -4988;
inline constexpr int32_t kCGErrorFailure = 1000;

// One generation of the clipboard's contents, ended by the next clear or by
// another application taking the clipboard; 0 is none.
using ScrapRef = uint32_t;

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  // Empties the clipboard and takes it for this process. 0, or a status.
  virtual int32_t clear() = 0;
  // The contents made by the last clear, while this process still holds them.
  virtual int32_t current(ScrapRef& scrap) = 0;
  // Adds `flavor` (one of the two above) to `scrap`.
  virtual int32_t put_flavor(ScrapRef scrap, OSType flavor, std::span<const uint8_t> data) = 0;
  // A key going down or up for the front application, as from the keyboard:
  // `virtual_key` is a Mac virtual key code, `character` what the key types
  // (0 for a modifier). The Command key acts as the desktop's Control key.
  virtual int32_t post_key(uint16_t character, uint16_t virtual_key, bool down) = 0;
};

// The process-wide service: the desktop's, unless a test installed another.
Clipboard& clipboard();
// Installs `c` (not owned; null restores the desktop's).
void set_clipboard(Clipboard* c);

// The Scrap Manager and CoreGraphics names, over clipboard().
inline int32_t ClearCurrentScrap() {
  return clipboard().clear();
}
inline int32_t GetCurrentScrap(ScrapRef* scrap) {
  return clipboard().current(*scrap);
}
inline int32_t PutScrapFlavor(ScrapRef scrap, OSType flavor, std::size_t size, const void* data) {
  return clipboard().put_flavor(scrap, flavor, {static_cast<const uint8_t*>(data), size});
}
inline int32_t CGPostKeyboardEvent(uint16_t key_char, uint16_t virtual_key, bool key_down) {
  return clipboard().post_key(key_char, virtual_key, key_down);
}

}  // namespace cx::platform
