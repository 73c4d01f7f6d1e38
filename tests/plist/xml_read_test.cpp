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

std::string nested_arrays(int depth) {
  std::string body;
  for (int i = 0; i < depth; ++i) body += "<array>";
  for (int i = 0; i < depth; ++i) body += "</array>";
  return in_plist(body);
}

// Errors are located by line and by character (not byte) column.
TEST(XmlReadTest, MalformedValuesAndShapesAreRefused) {
  const struct {
    std::string doc;
    const char* error;  // a part of the message
  } cases[] = {
      {"<plist>\n<dict>\n  <key>a</key><true/>\n</plist>",
       "line 4, column 1: </plist> does not close <dict>"},
      {"<plist>\n  <array>\n", "line 3, column 1: unclosed <array> (opened at line 2, column 3)"},
      {"<plist><array><string>\xC3\xA9\xE2\x9C\x93</string><bogus/></array></plist>",
       "line 1, column 34: unknown element <bogus>"},
      {in_plist("<integer>12abc</integer>"), "line 1, column 22: bad integer text"},
      {in_plist("<integer></integer>"), "empty <integer>"},
      {in_plist("<integer>-</integer>"), "bad integer text"},
      {in_plist("<integer>010</integer>"), "leading zero"},
      {in_plist("<integer>&#49;</integer>"), "markup inside <integer>"},
      {in_plist("<integer>18446744073709551616</integer>"), "integer out of range"},
      {in_plist("<integer>-9223372036854775809</integer>"), "integer out of range"},
      {in_plist("<real>1e</real>"), "bad real text"},
      {in_plist("<real>0x1p3</real>"), "bad real text"},
      {in_plist("<date>2005-02-30T00:00:00Z</date>"), "bad date text"},
      {in_plist("<date>2005-01-01T00:00:00</date>"), "bad date text"},
      {in_plist("<data>AAE</data>"), "bad base64 data"},
      {in_plist("<data>A=B=</data>"), "bad base64 data"},
      {in_plist("<dict><key>a</key></dict>"), "<key> without a value"},
      {in_plist("<dict><key>a</key><key>b</key></dict>"), "<key> without a value"},
      {in_plist("<dict><true/></dict>"), "expected <key>, found <true>"},
      {in_plist("<array><key>a</key></array>"), "<key> outside a dictionary"},
      {in_plist("<dict>junk</dict>"), "text inside <dict>"},
      {"", "no property list"},
      {"<dict/>", "expected <plist>, found <dict>"},
      {in_plist(""), "empty property list"},
      {in_plist("<true/><false/>"), "more than one value"},
      {in_plist("<true/>") + "junk", "content after </plist>"},
      {"<!DOCTYPE plist [<!ENTITY x 'y'>]>" + in_plist("<true/>"), "internal subset"},
      {in_plist("<string>\xFF</string>"), "invalid UTF-8"},
      {in_plist("<string>\xC0\xAF</string>"), "invalid UTF-8"},
      {in_plist("<string>a\x01</string>"), "U+0001 is not allowed"},
      {in_plist("<string>&#0;</string>"), "U+0000, not an XML character"},
      {in_plist("<string>&nbsp;</string>"), "unknown entity &nbsp;"},
      {nested_arrays(kMaxDepth + 1), "nesting deeper than 512 levels"},
      // Far past the limit: refused before libplist could recurse that deep.
      {nested_arrays(200000), "nesting deeper than 512 levels"},
  };
  for (const auto& c : cases) {
    EXPECT_NE(refusal(c.doc).find(c.error), std::string::npos) << c.doc << " -> " << c.error;
  }
}

TEST(XmlReadTest, AcceptsWhatWellFormedWritersProduce) {
  const ReadResult r = read_text(
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
      "\"-//Apple//DTD PLIST "
      "1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version='1.0'><dict>"
      "<key><![CDATA[a<b]]></key><string/>"
      "<key>n</key><integer> -0x10 </integer>"
      "<key>r</key><real>-infinity</real>"
      "<key>d</key><date>1800-03-04T05:06:07Z</date>"
      "</dict></plist>\n<!-- trailer -->\n");
  ASSERT_NE(r.value, nullptr) << r.error;
  EXPECT_NE(read_text(nested_arrays(kMaxDepth)).value, nullptr);
  const auto* d = as<Dictionary>(r.value);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(as<String>(d->get("a<b"))->text(), "");
  EXPECT_EQ(as<Number>(d->get("n"))->int_value(), -16);
  EXPECT_EQ(as<Number>(d->get("r"))->real_value(), -INFINITY);
  EXPECT_EQ(as<Date>(d->get("d"))->absolute_time(), -6337594433.0);
}

}  // namespace
}  // namespace cx::plist
