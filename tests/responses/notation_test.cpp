// The keystroke and modifier notation: the self-test texts under the three
// restriction sets (data/notation_selftest.txt), and keystrokes
// (data/keystrokes.txt).
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "responses/notation.h"
#include "tests/support/golden.h"

namespace cx {
namespace {

TEST(Notation, SelfTestTexts) {
  std::string lines;
  for (const auto& line : notation_selftest_lines()) lines += line + "\n";
  EXPECT_EQ(lines, test::read_text("notation_selftest.txt"));
}

TEST(Notation, Keystrokes) {
  std::istringstream table(test::read_text("keystrokes.txt"));
  int rows = 0;
  for (std::string line; std::getline(table, line);) {
    if (line.starts_with("# ")) continue;
    std::vector<std::string> field;
    std::istringstream fields(line);
    for (std::string f; std::getline(fields, f, '|');) field.push_back(f);
    SCOPED_TRACE(line);
    ++rows;
    uint8_t mods = 0;
    uint16_t code = 0;
    ASSERT_EQ(extract_keystroke(field[0], &mods, &code), field.size() == 4);
    if (field.size() < 4) continue;
    EXPECT_EQ(mods, std::stoul(field[1], nullptr, 16));
    EXPECT_EQ(code, std::stoul(field[2]));
    EXPECT_EQ(build_keystroke(code, mods), field[3]);
  }
  EXPECT_EQ(rows, 13);
  EXPECT_EQ(build_keystroke(128, 0), std::nullopt);
  EXPECT_EQ(build_keystroke(0, 0x80), "A") << "Hard is no keystroke modifier";
}

// Only the three keys named like modifiers cannot be written.
TEST(Notation, EveryOtherKeyCodeReadsBack) {
  for (uint16_t code = 0; code < 128; ++code) {
    const std::string text = build_keystroke(code, 0x0F).value();
    uint8_t mods = 0;
    uint16_t back = 0;
    const bool writable = code != 56 && code != 58 && code != 59;
    ASSERT_EQ(extract_keystroke(text, &mods, &back), writable) << text;
    EXPECT_TRUE(!writable || (back == code && mods == 0x0F)) << text;
  }
}

}  // namespace
}  // namespace cx
