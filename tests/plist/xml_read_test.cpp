#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>

#include "plist/limits.h"
#include "plist/plist_io.h"

namespace cx::plist {
namespace {

ReadResult read_text(std::string_view doc) {
  return read_plist({reinterpret_cast<const uint8_t*>(doc.data()), doc.size()});
}

// The error for a document that must be refused.
std::string refusal(std::string_view doc) {
  const ReadResult r = read_text(doc);
  EXPECT_EQ(r.value, nullptr) << doc;
  EXPECT_EQ(r.format, Format::Xml);
  return r.error;
}

std::string in_plist(std::string_view body) {
  return "<plist version=\"1.0\">" + std::string(body) + "</plist>";
}

TEST(XmlReadTest, MismatchedCloseTagIsLocated) {
  EXPECT_EQ(refusal("<plist>\n<dict>\n  <key>a</key><true/>\n</plist>"),
            "line 4, column 1: </plist> does not close <dict>");
}

TEST(XmlReadTest, UnclosedTagAtEndOfDocument) {
  EXPECT_EQ(refusal("<plist>\n  <array>\n"),
            "line 3, column 1: unclosed <array> (opened at line 2, column 3)");
  EXPECT_EQ(refusal("<plist><string>abc"), "line 1, column 8: unclosed <string>");
}

TEST(XmlReadTest, ColumnsCountCharactersNotBytes) {
  EXPECT_EQ(refusal("<plist><array><string>\xC3\xA9\xE2\x9C\x93</string><bogus/></array></plist>"),
            "line 1, column 34: unknown element <bogus>");
}

TEST(XmlReadTest, BadIntegerText) {
  EXPECT_EQ(refusal(in_plist("<integer>12abc</integer>")), "line 1, column 22: bad integer text");
  EXPECT_NE(refusal(in_plist("<integer></integer>")).find("empty <integer>"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<integer>-</integer>")).find("bad integer text"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<integer>010</integer>")).find("leading zero"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<integer>&#49;</integer>")).find("markup inside <integer>"),
            std::string::npos);
}

TEST(XmlReadTest, IntegerOutOfRange) {
  EXPECT_NE(
      refusal(in_plist("<integer>18446744073709551616</integer>")).find("integer out of range"),
      std::string::npos);
  EXPECT_NE(
      refusal(in_plist("<integer>-9223372036854775809</integer>")).find("integer out of range"),
      std::string::npos);
}

TEST(XmlReadTest, BadRealText) {
  EXPECT_NE(refusal(in_plist("<real>abc</real>")).find("bad real text"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<real>1e</real>")).find("bad real text"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<real>0x1p3</real>")).find("bad real text"), std::string::npos);
}

TEST(XmlReadTest, BadDateText) {
  EXPECT_NE(refusal(in_plist("<date>2005-02-30T00:00:00Z</date>")).find("bad date text"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<date>2005-01-01T00:00:00</date>")).find("bad date text"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<date>2070-01-01T00:00:00Z</date>")).find("date out of range"),
            std::string::npos);
}

TEST(XmlReadTest, BadBase64Data) {
  EXPECT_NE(refusal(in_plist("<data>AAE</data>")).find("bad base64 data"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<data>A=B=</data>")).find("bad base64 data"), std::string::npos);
}

TEST(XmlReadTest, DictionaryShape) {
  EXPECT_NE(refusal(in_plist("<dict><key>a</key></dict>")).find("<key> without a value"),
            std::string::npos);
  EXPECT_NE(
      refusal(in_plist("<dict><key>a</key><key>b</key></dict>")).find("<key> without a value"),
      std::string::npos);
  EXPECT_NE(refusal(in_plist("<dict><true/></dict>")).find("expected <key>, found <true>"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<array><key>a</key></array>")).find("<key> outside a dictionary"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<dict>junk</dict>")).find("text inside <dict>"), std::string::npos);
}

TEST(XmlReadTest, DocumentShape) {
  EXPECT_NE(refusal("").find("no property list"), std::string::npos);
  EXPECT_NE(refusal("<dict/>").find("expected <plist>, found <dict>"), std::string::npos);
  EXPECT_NE(refusal(in_plist("")).find("empty property list"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<true/><false/>")).find("more than one value"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<true/>") + "junk").find("content after </plist>"),
            std::string::npos);
  EXPECT_NE(
      refusal("<!DOCTYPE plist [<!ENTITY x 'y'>]>" + in_plist("<true/>")).find("internal subset"),
      std::string::npos);
}

TEST(XmlReadTest, CharactersXmlCannotCarry) {
  EXPECT_NE(refusal(in_plist("<string>\xFF</string>")).find("invalid UTF-8"), std::string::npos);
  EXPECT_NE(refusal(in_plist("<string>\xC0\xAF</string>")).find("invalid UTF-8"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<string>a\x01</string>")).find("U+0001 is not allowed"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<string>&#0;</string>")).find("U+0000, not an XML character"),
            std::string::npos);
  EXPECT_NE(refusal(in_plist("<string>&nbsp;</string>")).find("unknown entity &nbsp;"),
            std::string::npos);
}

std::string nested_arrays(int depth) {
  std::string body;
  for (int i = 0; i < depth; ++i) body += "<array>";
  for (int i = 0; i < depth; ++i) body += "</array>";
  return in_plist(body);
}

TEST(XmlReadTest, NestingTooDeep) {
  EXPECT_NE(read_text(nested_arrays(kMaxDepth)).value, nullptr);
  EXPECT_NE(refusal(nested_arrays(kMaxDepth + 1)).find("nesting deeper than 512 levels"),
            std::string::npos);
  // Far past the limit: refused before libplist could recurse that deep.
  EXPECT_NE(refusal(nested_arrays(200000)).find("nesting deeper"), std::string::npos);
}

TEST(XmlReadTest, AcceptsWhatWellFormedWritersProduce) {
  const ReadResult r = read_text(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
      "1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version='1.0'><dict>"
      "<key><![CDATA[a<b]]></key><string/>"
      "<key>n</key><integer> -0x10 </integer>"
      "<key>r</key><real>-infinity</real>"
      "</dict></plist>\n<!-- trailer -->\n");
  ASSERT_NE(r.value, nullptr) << r.error;
  const auto* d = as<Dictionary>(r.value);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(as<String>(d->get("a<b"))->text(), "");
  EXPECT_EQ(as<Number>(d->get("n"))->int_value(), -16);
  EXPECT_EQ(as<Number>(d->get("r"))->real_value(), -INFINITY);
}

}  // namespace
}  // namespace cx::plist
