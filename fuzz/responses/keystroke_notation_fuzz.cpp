// The keystroke and modifier notation on arbitrary text: whatever parses
// prints back, and the printed text parses to the same bits, remainder and
// key code.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "responses/notation.h"

using cx::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (uint16_t restrictions = 0; restrictions < 4; ++restrictions) {
    std::optional<std::string> remainder;
    const uint8_t bits = cx::extract_modifiers(&remainder, text, restrictions);
    const std::optional<std::string> printed = cx::prepend_modifiers(bits, restrictions, remainder);
    check(printed.has_value());
    std::optional<std::string> again;
    check(cx::extract_modifiers(&again, *printed, restrictions) == bits);
    check(again == remainder);
  }
  uint8_t mods = 0;
  uint16_t code = 0;
  if (!cx::extract_keystroke(text, &mods, &code)) return 0;
  const std::optional<std::string> printed = cx::build_keystroke(code, mods);
  check(printed.has_value());
  uint8_t mods_again = 0;
  uint16_t code_again = 0;
  check(cx::extract_keystroke(*printed, &mods_again, &code_again));
  check(mods_again == mods && code_again == code);
  return 0;
}
