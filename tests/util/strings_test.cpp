#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "util/far_string.h"
#include "util/number_text.h"
#include "util/pascal_string.h"

namespace cx {
namespace {

TEST(FarString, BoundedCopiesAndCaseFolding) {
  char dest[8];
  std::memset(dest, '#', sizeof dest);
  far_strncpy(dest, "abcdef", 4);
  EXPECT_EQ(std::string(dest, 8), "abcd####") << "no terminator, nothing past n";
  far_strncpy(dest, "ab", 5);
  EXPECT_EQ(std::string(dest, 8), std::string("ab\0\0\0###", 8)) << "padded to n";
  far_strncat(dest, "cdefgh", 3);
  EXPECT_EQ(std::string(dest, 8), std::string("abcde\0##", 8)) << "n bytes and a NUL";
  EXPECT_EQ(far_strnicmp("HeLLo!", "hello?", 5), 0);
  EXPECT_NE(far_strnicmp("HeLLo!", "hello?", 6), 0);
  EXPECT_EQ(far_strnicmp("ab", "AB", 100), 0) << "stops at the terminator";
  EXPECT_LT(far_stricmp("apple", "Banana"), 0);
  EXPECT_GT(far_stricmp("abc", "AB"), 0);
  EXPECT_NE(far_stricmp("\xC4", "\xE4"), 0) << "only ASCII letters fold";
}

TEST(PascalString, LengthByteLimits) {
  unsigned char p[kPascalStringSize + 1];
  p[kPascalStringSize] = 0xCC;
  cstr_to_pstr(p, std::string(300, 'x').c_str());
  EXPECT_EQ(p[0], 255);
  EXPECT_EQ(p[kPascalStringSize], 0xCC) << "nothing written past 256 bytes";
  char c[kPascalStringSize];
  EXPECT_EQ(std::string(pstr_to_cstr(c, p)), std::string(255, 'x'));
  // In place, as the File Manager calls were fed.
  char in_place[kPascalStringSize] = "Corvex Preferences";
  auto* as_pascal = cstr_to_pstr(reinterpret_cast<unsigned char*>(in_place), in_place);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(as_pascal), 2),
            "\x12"
            "C");
  EXPECT_STREQ(pstr_to_cstr(in_place, as_pascal), "Corvex Preferences");
  const unsigned char with_nul[] = {3, 'a', 0, 'b'};
  EXPECT_EQ(std::string(pstr_to_cstr(c, with_nul), 3), std::string("a\0b", 3));
}

TEST(NumberText, FormattingAndParsing) {
  char t[kHexTextSize > kDecimalTextSize ? kHexTextSize : kDecimalTextSize];
  const struct {
    int32_t value;
    const char *hex, *decimal;
  } formats[] = {{0, "0", "0"},
                 {-26, "-1A", "-26"},
                 {0x7FFFFFFF, "7FFFFFFF", "2147483647"},
                 {INT32_MIN, "-80000000", "-2147483648"}};
  for (const auto& f : formats) {
    SCOPED_TRACE(f.value);
    EXPECT_STREQ(base16_itoa(f.value, t), f.hex);
    EXPECT_EQ(atoi_base16(t), f.value);
    EXPECT_STREQ(far_itoa(f.value, t), f.decimal);
    EXPECT_EQ(far_atoi(t), f.value);
  }
  const struct {
    const char* text;
    int32_t hex, decimal;
  } parses[] = {{"0x1f", 31, 0}, {"12G4", 18, 12},    {"-0XaBc", -0xABC, 0},  {"+1", 0, 1},
                {"0x", 0, 0},    {"FFFFFFFF", -1, 0}, {" \t\n-42abc", 0, -42}};
  for (const auto& p : parses) {
    SCOPED_TRACE(p.text);
    EXPECT_EQ(atoi_base16(p.text), p.hex);
    EXPECT_EQ(far_atoi(p.text), p.decimal);
  }
}

}  // namespace
}  // namespace cx
