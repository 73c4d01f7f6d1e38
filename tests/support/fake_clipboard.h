// The clipboard and keys for tests: every call written down as a line, bytes
// in hex (utxt as 16-bit units), so a test compares the whole sequence.
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "platform/clipboard.h"

namespace cx::testing {

class FakeClipboard final : public platform::Clipboard {
 public:
  std::string log;
  bool no_scrap = false;     // the clipboard cannot be had
  bool refuse_utxt = false;  // Unicode text is not taken

  int32_t clear() override { return note("clear"), 0; }
  int32_t current(platform::ScrapRef& scrap) override {
    scrap = no_scrap ? 0 : 1;
    return no_scrap ? platform::noScrapErr : 0;
  }
  int32_t put_flavor(platform::ScrapRef, platform::OSType flavor,
                     std::span<const uint8_t> data) override {
    const bool utxt = flavor == platform::kScrapFlavorTypeUnicode;
    std::string line = platform::fourcc_text(flavor);
    for (std::size_t i = 0; i < data.size(); i += utxt ? 2 : 1)
      line += hex(utxt ? *reinterpret_cast<const char16_t*>(&data[i]) : data[i], utxt ? 4 : 2);
    note(line);
    return utxt && refuse_utxt ? platform::internalScrapErr : 0;
  }
  int32_t post_key(uint16_t character, uint16_t virtual_key, bool down) override {
    return note("key" + hex(character, 2) + hex(virtual_key, 2) + (down ? " down" : " up")), 0;
  }

 private:
  static std::string hex(unsigned value, int width) {
    char text[8];
    std::snprintf(text, sizeof text, " %0*x", width, value);
    return text;
  }
  void note(const std::string& line) { log += line + "\n"; }
};

}  // namespace cx::testing
