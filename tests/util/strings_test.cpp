#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "util/far_string.h"
#include "util/number_text.h"
#include "util/pascal_string.h"

namespace cx {
namespace {

TEST(FarString, BoundedCopiesStayInsideTheirLimits) {
  char dest[8];
  std::memset(dest, '#', sizeof dest);
  far_strncpy(dest, "abcdef", 4);
  EXPECT_EQ(std::string(dest, 8), "abcd####") << "no terminator, nothing past n";
  far_strncpy(dest, "ab", 5);
  EXPECT_EQ(std::string(dest, 8), std::string("ab\0\0\0###", 8)) << "padded to n";

  std::memset(dest, '#', sizeof dest);
  std::strcpy(dest, "ab");
  far_strncat(dest, "cdefgh", 3);
  EXPECT_EQ(std::string(dest, 8), std::string("abcde\0##", 8)) << "n bytes and a NUL";

  EXPECT_EQ(far_strncmp("abcX", "abcY", 3), 0);
  EXPECT_LT(far_strncmp("abcX", "abcY", 4), 0);
  EXPECT_EQ(far_strnicmp("HeLLo!", "hello?", 5), 0);
  EXPECT_NE(far_strnicmp("HeLLo!", "hello?", 6), 0);
  EXPECT_EQ(far_strnicmp("ab", "AB", 100), 0) << "stops at the terminator";
}

TEST(FarString, CaseAndSearch) {
  EXPECT_EQ(far_stricmp("Corvex", "cORVEX"), 0);
  EXPECT_LT(far_stricmp("apple", "Banana"), 0);
  EXPECT_GT(far_stricmp("abc", "AB"), 0);
  EXPECT_NE(far_stricmp("\xC4", "\xE4"), 0) << "only ASCII letters fold";
  const char* text = "one:two:three";
  EXPECT_EQ(far_strchr(text, ':'), text + 3);
  EXPECT_EQ(far_strchr(text, 0), text + 13);
  EXPECT_EQ(far_strchr(text, '!'), nullptr);
  EXPECT_EQ(far_strstr(text, "three"), text + 8);
  EXPECT_EQ(far_strstr(text, "four"), nullptr);
  char buf[16] = "ab";
  EXPECT_STREQ(far_strcat(far_strcpy(buf, "xy"), "z"), "xyz");
  EXPECT_EQ(far_strlen(nullptr), 0u);
  EXPECT_EQ(far_strcmp(nullptr, ""), 0);
  EXPECT_EQ(far_strcpy(nullptr, "a"), nullptr);
  EXPECT_EQ(far_strchr(static_cast<const char*>(nullptr), 'a'), nullptr);
}

TEST(PascalString, LengthByteLimits) {
  unsigned char p[kPascalStringSize + 1];
  p[kPascalStringSize] = 0xCC;
  const std::string long_text(300, 'x');
  cstr_to_pstr(p, long_text.c_str());
  EXPECT_EQ(p[0], 255);
  EXPECT_EQ(p[255], 'x');
  EXPECT_EQ(p[kPascalStringSize], 0xCC) << "nothing written past 256 bytes";

  char c[kPascalStringSize];
  EXPECT_EQ(std::string(pstr_to_cstr(c, p)), std::string(255, 'x'));
  cstr_to_pstr(p, "");
  EXPECT_EQ(p[0], 0);
  EXPECT_STREQ(pstr_to_cstr(c, p), "");

  // In place, as the File Manager calls were fed.
  char in_place[kPascalStringSize] = "Corvex Preferences";
  auto* as_pascal = cstr_to_pstr(reinterpret_cast<unsigned char*>(in_place), in_place);
  EXPECT_EQ(as_pascal[0], 18);
  EXPECT_EQ(as_pascal[1], 'C');
  EXPECT_STREQ(pstr_to_cstr(in_place, as_pascal), "Corvex Preferences");
  const unsigned char with_nul[] = {3, 'a', 0, 'b'};
  EXPECT_EQ(std::string(pstr_to_cstr(c, with_nul), 3), std::string("a\0b", 3));
  EXPECT_EQ(cstr_to_pstr(nullptr, "x"), nullptr);
}

TEST(NumberText, Hexadecimal) {
  char t[kHexTextSize];
  EXPECT_STREQ(base16_itoa(0, t), "0");
  EXPECT_STREQ(base16_itoa(-26, t), "-1A");
  EXPECT_STREQ(base16_itoa(0x7FFFFFFF, t), "7FFFFFFF");
  EXPECT_STREQ(base16_itoa(INT32_MIN, t), "-80000000");
  EXPECT_EQ(atoi_base16("0x1f"), 31);
  EXPECT_EQ(atoi_base16("-FF"), -255);
  EXPECT_EQ(atoi_base16("12G4"), 18);
  EXPECT_EQ(atoi_base16("-0XaBc"), -0xABC);
  EXPECT_EQ(atoi_base16(" 1"), 0) << "no blanks are skipped";
  EXPECT_EQ(atoi_base16("+1"), 0) << "no plus sign";
  EXPECT_EQ(atoi_base16("0x"), 0);
  EXPECT_EQ(atoi_base16("FFFFFFFF"), -1) << "wraps at 32 bits";
  EXPECT_EQ(atoi_base16(nullptr), 0);
  for (int32_t v : {1, -1, 0x1234ABCD, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(atoi_base16(base16_itoa(v, t)), v);
  }
}

TEST(NumberText, Decimal) {
  char t[kDecimalTextSize];
  EXPECT_STREQ(far_itoa(0, t), "0");
  EXPECT_STREQ(far_itoa(-305, t), "-305");
  EXPECT_STREQ(far_itoa(INT32_MIN, t), "-2147483648");
  EXPECT_EQ(far_atoi(" \t\n-42abc"), -42);
  EXPECT_EQ(far_atoi("+17"), 17);
  EXPECT_EQ(far_atoi("x1"), 0);
  EXPECT_EQ(far_atoi("-2147483648"), INT32_MIN);
  EXPECT_EQ(far_itoa(5, nullptr), nullptr);
}

}  // namespace
}  // namespace cx
