// Typing a stored text: it goes on the clipboard as Unicode and as 8-bit
// text, then a Command-V makes the front application paste it. The clipboard
// keeps the text afterwards; what it held before is not restored. Every
// failure is silent.
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "actions/driver_actions.h"
#include "platform/clipboard.h"
#include "plist/text.h"
#include "util/memory.h"

namespace cx {
namespace {

struct BufferDeleter {
  void operator()(void* p) const { free_buffer(p); }
};
using Buffer = std::unique_ptr<uint8_t, BufferDeleter>;

Buffer new_buffer(std::size_t size) {
  return Buffer(static_cast<uint8_t*>(get_buffer(size, 0)));
}

struct KeyEvent {
  uint16_t character;
  uint16_t virtual_key;
  bool down;
};
constexpr uint16_t kCommandKey = 0x37;
constexpr uint16_t kVKey = 9;
constexpr std::array<KeyEvent, 4> kCommandV{{
    {0, kCommandKey, true},
    {'V', kVKey, true},
    {'V', kVKey, false},
    {0, kCommandKey, false},
}};

// The system's 8-bit encoding is ISO Latin-1, whose characters are the first
// 256 code points.
constexpr uint32_t kLatin1End = 0x100;

std::optional<std::u16string> decode_utf8(std::string_view bytes) {
  std::u16string units;
  for (std::size_t i = 0; i < bytes.size();) {
    uint32_t c = 0;
    const std::size_t length = plist::decode_utf8(bytes, i, c);
    if (length == 0) return std::nullopt;
    i += length;
    if (c < 0x10000) {
      units.push_back(static_cast<char16_t>(c));
    } else {
      c -= 0x10000;
      units.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    }
  }
  return units;
}

// Lossy: each character outside the encoding, a surrogate pair being one
// character, becomes "?". Returns the byte count.
std::size_t encode_latin1(std::u16string_view units, uint8_t* out, std::size_t capacity) {
  std::size_t n = 0;
  for (std::size_t i = 0; i < units.size() && n < capacity; ++i) {
    const char16_t u = units[i];
    if (u >= 0xD800 && u < 0xDC00 && i + 1 < units.size()) ++i;
    out[n++] = u < kLatin1End ? static_cast<uint8_t>(u) : '?';
  }
  return n;
}

void post_command_v() {
  for (const KeyEvent& key : kCommandV)
    platform::CGPostKeyboardEvent(key.character, key.virtual_key, key.down);
}

}  // namespace

void paste_text(const uint8_t* text, uint32_t length) {
  if (text == nullptr || length == 0) return;
  if (text[length - 1] == '\0') --length;
  if (length == 0) return;
  const std::optional<std::u16string> string =
      decode_utf8({reinterpret_cast<const char*>(text), length});
  if (!string) return;

  const std::size_t n = string->size();
  const Buffer unicode = new_buffer((n + 1) * 2);
  if (!unicode) return;
  std::memcpy(unicode.get(), string->data(), n * 2);

  platform::ClearCurrentScrap();
  platform::ScrapRef scrap = 0;
  if (platform::GetCurrentScrap(&scrap) != 0 || scrap == 0) return;
  if (const Buffer eight_bit = new_buffer((n + 1) * 4)) {
    const std::size_t size = encode_latin1(*string, eight_bit.get(), (n + 1) * 4);
    platform::PutScrapFlavor(scrap, platform::kScrapFlavorTypeText, size, eight_bit.get());
  }
  if (platform::PutScrapFlavor(scrap, platform::kScrapFlavorTypeUnicode, n * 2, unicode.get()) == 0)
    post_command_v();
}

}  // namespace cx
