#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>

#include "plist/plist_io.h"
#include "tests/support/golden.h"
#include "tests/support/temp_dir.h"

namespace cx::plist {
namespace {

using test::data_path;

ValueRef round_trip(const Value& v, Format format) {
  const WriteResult w = write_plist(v, format);
  EXPECT_TRUE(w.ok()) << w.error;
  const ReadResult r = read_plist(w.bytes);
  EXPECT_NE(r.value, nullptr) << r.error;
  EXPECT_EQ(r.format, format);
  return r.value;
}

std::vector<std::string> keys_of(const ValueRef& v) {
  std::vector<std::string> keys;
  for (const auto& e : as<Dictionary>(v)->entries()) keys.push_back(e.first);
  return keys;
}

TEST(FixtureTest, XmlAndForeignBinaryReadTheSame) {
  const ReadResult xml = read_plist_file(data_path("prefs.xml"));
  const ReadResult bin = read_plist_file(data_path("prefs.bplist"));
  ASSERT_NE(xml.value, nullptr) << xml.error;
  ASSERT_NE(bin.value, nullptr) << bin.error;
  // Two independent readers agree on every value (equal takes unsigned and
  // negative 64-bit integers apart), in the file's key order.
  EXPECT_TRUE(equal(xml.value, bin.value));
  for (const ValueRef& v : {xml.value, bin.value})
    EXPECT_EQ(keys_of(v), (std::vector<std::string>{"Zeta", "Alpha", "Mid"}));
}

TEST(FileTest, ErrorsNameTheFile) {
  const test::TempDir dir("cxplist");
  const std::string path = dir.file("bad.plist");
  ASSERT_TRUE(write_plist_file(path, Boolean(true), Format::Binary).ok());
  std::filesystem::resize_file(path, 20);
  EXPECT_EQ(read_plist_file(path).error, path + ": byte offset 20: truncated trailer");
}

TEST(RoundTripTest, ScalarsKeepTheirValueAndGetFileTypes) {
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  constexpr double kInf = std::numeric_limits<double>::infinity();
  // clang-format off
  const int64_t integers[] = {0, 1, -1, 127, 128, 255, 256, 65535, 65536, -32769, INT32_MAX,
                              INT32_MIN, int64_t{INT32_MAX} + 1, int64_t{INT32_MIN} - 1, kMin, kMax};
  // clang-format on
  const double reals[] = {0.1, 1e300, -1e-300, 4.9406564584124654e-324, 123456789.0, kInf, -kInf};
  for (Format format : {Format::Xml, Format::Binary}) {
    for (int64_t v : integers) {
      const ValueRef back = round_trip(Number(NumberType::SInt64, v), format);
      const auto* n = as<Number>(back);
      ASSERT_NE(n, nullptr);
      EXPECT_EQ(n->int_value(), v);
      EXPECT_FALSE(n->is_unsigned());
      EXPECT_EQ(n->number_type(), v == int32_t(v) ? NumberType::SInt32 : NumberType::SInt64) << v;
    }
    for (uint64_t u : {uint64_t{1} << 63, std::numeric_limits<uint64_t>::max()}) {
      const ValueRef back = round_trip(Number(u), format);
      EXPECT_TRUE(as<Number>(back)->is_unsigned());
      EXPECT_EQ(static_cast<uint64_t>(as<Number>(back)->int_value()), u);
    }
    for (double v : reals) {
      const ValueRef back = round_trip(Number(NumberType::Float64, v), format);
      EXPECT_EQ(as<Number>(back)->number_type(), NumberType::Float64);
      EXPECT_EQ(as<Number>(back)->real_value(), v);
    }
    // Dates of any year: 2001, 2000, 1800, 0501 (libplist drops the zeros), 2500;
    // XML keeps whole seconds, cut toward zero.
    for (double t : {1000.75, -1.5, -6337594433.0, -47335449600.0, 15752293567.5}) {
      EXPECT_EQ(as<Date>(round_trip(Date(t), format))->absolute_time(),
                format == Format::Xml ? std::trunc(t) : t);
    }
  }
}

TEST(RoundTripTest, KeyOrderAndEverythingElseSurvive) {
  auto list = make_array();
  for (ValueRef v : {make_bool(true), make_bool(false), ValueRef(make_dictionary()),
                     ValueRef(make_array()), make_string(""), make_data({})})
    list->append(v);
  const auto d =
      make_dictionary({{"zebra", make_string("\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80 <&>\t\r\n")},
                       {"apple", make_data({0, 1, 2, 253, 254, 255})},
                       {"mango", make_date(-86400.0 * 365)},
                       {"list", list}});
  for (Format format : {Format::Xml, Format::Binary}) {
    const ValueRef back = round_trip(*d, format);
    EXPECT_TRUE(equal(back, d));
    EXPECT_EQ(keys_of(back), (std::vector<std::string>{"zebra", "apple", "mango", "list"}));
  }
}

TEST(WriteTest, BinaryLayoutSharesEqualScalars) {
  auto d = make_dictionary();
  d->set("a", make_int32(1));
  auto list = make_array();
  list->append(make_bool(true));
  list->append(make_string("a"));
  d->set("b", list);
  EXPECT_EQ(write_plist(*d, Format::Binary).bytes, test::read_hex("shared_scalars.hex"));
  // Reading expands the shared object into each place that refers to it.
  EXPECT_TRUE(equal(read_plist(test::read_hex("shared_scalars.hex")).value, d));
}

TEST(WriteTest, RefusesWhatFilesCannotHold) {
  const auto error = [](const Value& v, Format f) { return write_plist(v, f).error; };
  EXPECT_EQ(error(String(std::string("a\0b", 3)), Format::Binary),
            "string cannot be written: NUL character");
  EXPECT_EQ(error(String("\xFF"), Format::Xml),
            "string cannot be written: invalid UTF-8 at byte 0");
  EXPECT_EQ(error(String("\x1B[0m"), Format::Xml),
            "string cannot be written: U+001B cannot be written in XML");
  EXPECT_TRUE(write_plist(String("\x1B[0m"), Format::Binary).ok());
  EXPECT_EQ(error(*make_dictionary({{"\x01", make_bool(true)}}), Format::Xml),
            "key cannot be written: U+0001 cannot be written in XML");
  EXPECT_EQ(error(Date(NAN), Format::Binary), "date is not a finite time");
  EXPECT_EQ(error(Date(1e12), Format::Xml), "date out of range (years 0000-9999)");

  auto cycle = make_array();
  cycle->append(cycle);
  EXPECT_EQ(error(*cycle, Format::Binary), "nesting deeper than 512 levels");
  cycle->clear();
}

// Files users already have were written by libplist 2.2; both goldens are its
// output (every shape of value, and base64 at every depth), so reading one
// and writing it again gives the same bytes: an unchanged save rewrites nothing.
TEST(XmlWriterTest, WritesWhatLibplistWrote) {
  for (const char* golden : {"writer_shapes.xml", "writer_deep_data.xml"}) {
    SCOPED_TRACE(golden);
    const std::string text = test::read_text(golden);
    const ReadResult r = read_plist({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    ASSERT_NE(r.value, nullptr) << r.error;
    const WriteResult w = write_plist(*r.value, Format::Xml);
    EXPECT_EQ(std::string(w.bytes.begin(), w.bytes.end()), text);
  }
}

}  // namespace
}  // namespace cx::plist
