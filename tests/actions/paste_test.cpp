// Pasting a text: the whole sequence of clipboard calls and key events, and
// what each kind of bad input or refusal leaves out.
#include <gtest/gtest.h>

#include <string>

#include "actions/driver_actions.h"
#include "tests/support/fake_clipboard.h"

namespace cx {
namespace {

const std::string kCommandV = "key 00 37 down\nkey 56 09 down\nkey 56 09 up\nkey 00 37 up\n";

TEST(PasteText, PutsBothFlavorsThenTypesCommandV) {
  struct Case {
    std::string text;
    bool no_scrap, refuse_utxt;
    std::string log;
  };
  const Case cases[] = {
      {{"Hi\0", 3}, false, false, "clear\nTEXT 48 69\nutxt 0048 0069\n" + kCommandV},
      {"Hi", false, false, "clear\nTEXT 48 69\nutxt 0048 0069\n" + kCommandV},
      {{"a\0\0", 3}, false, false, "clear\nTEXT 61 00\nutxt 0061 0000\n" + kCommandV},
      // Outside Latin-1 each character, a surrogate pair too, is one "?".
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", false, false,
       "clear\nTEXT e9 3f 3f\nutxt 00e9 20ac d83d de00\n" + kCommandV},
      {{"\0", 1}, false, false, ""},
      {"", false, false, ""},
      {"\xFF", false, false, ""},                         // not UTF-8
      {"\xE2\x82", false, false, ""},                     // cut short
      {"\xC0\xAF", false, false, ""},                     // overlong
      {"\xED\xA0\x80", false, false, ""},                 // an encoded surrogate
      {"x", true, false, "clear\n"},                      // no clipboard to be had
      {"x", false, true, "clear\nTEXT 78\nutxt 0078\n"},  // no Unicode, no keys
  };
  for (const Case& c : cases) {
    testing::FakeClipboard fake;
    fake.no_scrap = c.no_scrap;
    fake.refuse_utxt = c.refuse_utxt;
    platform::set_clipboard(&fake);
    paste_text(reinterpret_cast<const uint8_t*>(c.text.data()), uint32_t(c.text.size()));
    EXPECT_EQ(fake.log, c.log) << c.text;
  }
  platform::set_clipboard(nullptr);
}

}  // namespace
}  // namespace cx
