// The keystroke and modifier notation: the self-test texts under the three
// restriction sets (data/notation_selftest.txt), key names and codes.
#include <gtest/gtest.h>

#include <string>

#include "responses/notation.h"
#include "tests/support/golden_files.h"

namespace cx {
namespace {

TEST(Notation, SelfTestTexts) {
  std::string lines;
  for (const auto& line : notation_selftest_lines()) lines += line + "\n";
  EXPECT_EQ(lines, test::read_text("notation_selftest.txt"));
}

TEST(Notation, Keystrokes) {
  const struct {
    const char* text;
    bool ok;
    uint8_t mods;
    uint16_t code;
    const char* printed;
  } cases[] = {
      {"Num 0", true, 0, 82, "Num 0"},
      {"#102", true, 0, 102, "#102"},
      {"F1", true, 0, 122, "F1"},
      {"shift+cmd+a", true, 0x09, 0, "Shift+Cmd+A"},
      {"Shift+Num +", true, 0x01, 69, "Shift+Num +"},
      {"caps lock", true, 0, 57, "Caps Lock"},
      {"CapsLock+Command", true, 0x10, 55, "CapsLock+Command"},
      {"Hard+A", false, 0, 0, ""},
      {"Shift", false, 0, 0, ""},
      {"Ctrl+", false, 0, 0, ""},
      {"Cmd+Nothing", false, 0, 0, ""},
      {"A+Shift", false, 0, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    uint8_t mods = 0xFF;
    uint16_t code = 0xFFFF;
    ASSERT_EQ(extract_keystroke(c.text, &mods, &code), c.ok);
    if (!c.ok) continue;
    EXPECT_EQ(mods, c.mods);
    EXPECT_EQ(code, c.code);
    EXPECT_EQ(build_keystroke(code, mods), c.printed);
  }
  EXPECT_EQ(build_keystroke(128, 0), std::nullopt);
  EXPECT_EQ(build_keystroke(0, 0x80), "A") << "Hard is no keystroke modifier";
}

// Only the three keys named like modifiers cannot be written.
TEST(Notation, EveryOtherKeyCodeReadsBack) {
  for (uint16_t code = 0; code < 128; ++code) {
    const std::string text = build_keystroke(code, 0x0F).value();
    uint8_t mods = 0;
    uint16_t back = 0;
    if (code == 56 || code == 58 || code == 59) {
      EXPECT_FALSE(extract_keystroke(build_keystroke(code, 0).value(), &mods, &back)) << code;
      EXPECT_FALSE(extract_keystroke(text, &mods, &back)) << text;
      continue;
    }
    ASSERT_TRUE(extract_keystroke(text, &mods, &back)) << text;
    EXPECT_EQ(back, code) << text;
    EXPECT_EQ(mods, 0x0F) << text;
  }
}

}  // namespace
}  // namespace cx
