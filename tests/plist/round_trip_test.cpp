#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <tuple>

#include "plist/limits.h"
#include "plist/plist_io.h"
#include "tests/support/golden.h"

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
  EXPECT_TRUE(equal(xml.value, bin.value));
  for (const ValueRef& v : {xml.value, bin.value}) {
    EXPECT_EQ(keys_of(v), (std::vector<std::string>{"Zeta", "Alpha", "Mid"}));
    const ValueRef alpha = as<Dictionary>(v)->get("Alpha");
    EXPECT_EQ(keys_of(alpha), (std::vector<std::string>{"Speed", "Enabled", "Disabled", "Negative",
                                                        "Big", "Huge", "Lowest"}));
    EXPECT_EQ(as<Number>(as<Dictionary>(alpha)->get("Speed"))->number_type(), NumberType::Float64);
    const std::tuple<const char*, NumberType, int64_t, bool> numbers[] = {
        {"Negative", NumberType::SInt32, -42, false},
        {"Big", NumberType::SInt64, 5000000000, false},
        {"Huge", NumberType::SInt64, -1, true},
        {"Lowest", NumberType::SInt64, std::numeric_limits<int64_t>::min(), false}};
    for (const auto& [key, type, value, is_unsigned] : numbers) {
      const Number& n = *as<Number>(as<Dictionary>(alpha)->get(key));
      EXPECT_EQ(std::tuple(n.number_type(), n.int_value(), n.is_unsigned()),
                std::tuple(type, value, is_unsigned))
          << key;
    }
    const auto* mid = as<Array>(as<Dictionary>(v)->get("Mid"));
    EXPECT_EQ(as<String>(mid->at(0))->text(), "Trackball \xE2\x9C\x93 & <mouse>");
    EXPECT_EQ(as<Data>(mid->at(1))->bytes(), (std::vector<uint8_t>{0x00, 0x01, 0xFE, 0xFF}));
    EXPECT_EQ(as<Date>(mid->at(2))->absolute_time(), 136468800.0);  // 2005-04-29T12:00:00Z
  }
}

TEST(FileTest, ErrorsNameTheFile) {
  const std::string missing = data_path("no-such.plist");
  EXPECT_EQ(read_plist_file(missing).error.rfind(missing + ": ", 0), 0u);
  const auto dir =
      std::filesystem::temp_directory_path() / ("cx_plist_test_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string path = (dir / "bad.plist").string();
  auto d = make_dictionary();
  d->set("k", make_bool(true));
  ASSERT_TRUE(write_plist_file(path, *d, Format::Xml).ok());
  const ReadResult good = read_plist_file(path);
  ASSERT_NE(good.value, nullptr) << good.error;
  EXPECT_TRUE(equal(good.value, d));
  d->set("t", make_date(1e12));
  EXPECT_EQ(write_plist_file(path, *d, Format::Xml).error,
            path + ": date out of range (years 0000-9999)");
  d->remove("t");
  d->set("k", make_string(std::string("a\x01", 2)));
  ASSERT_TRUE(write_plist_file(path, *d, Format::Binary).ok());
  std::filesystem::resize_file(path, 20);
  EXPECT_EQ(read_plist_file(path).error, path + ": byte offset 20: truncated trailer");
  std::filesystem::remove_all(dir);
}

TEST(RoundTripTest, IntegersKeepTheirValueAndGetFileTypes) {
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  // clang-format off
  const int64_t values[] = {0, 1, -1, 127, 128, 255, 256, 65535, 65536, -32769, INT32_MAX,
                            INT32_MIN, int64_t{INT32_MAX} + 1, int64_t{INT32_MIN} - 1, kMin, kMax};
  // clang-format on
  for (Format format : {Format::Xml, Format::Binary}) {
    for (int64_t v : values) {
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
  }
}

TEST(RoundTripTest, RealsKeepTheirValue) {
  constexpr double kInf = std::numeric_limits<double>::infinity();
  const double values[] = {0.1,         -2.5, 1e300, -1e-300, 4.9406564584124654e-324,
                           123456789.0, kInf, -kInf};
  for (Format format : {Format::Xml, Format::Binary}) {
    for (double v : values) {
      const ValueRef back = round_trip(Number(NumberType::Float64, v), format);
      EXPECT_EQ(as<Number>(back)->number_type(), NumberType::Float64);
      EXPECT_EQ(as<Number>(back)->real_value(), v);
    }
    EXPECT_TRUE(
        std::isnan(as<Number>(round_trip(Number(NumberType::Double, NAN), format))->real_value()));
    EXPECT_EQ(as<Number>(round_trip(Number(NumberType::Float32, 0.1), format))->real_value(),
              static_cast<double>(0.1f));
    // Dates of any year: 2001, 1800, 0501 (libplist drops the zeros), 2500.
    for (double t : {1000.75, -6337594433.0, -47335449600.0, 15752293567.5}) {
      EXPECT_EQ(as<Date>(round_trip(Date(t), format))->absolute_time(),
                format == Format::Xml ? std::trunc(t) : t);
    }
  }
}

TEST(RoundTripTest, KeyOrderAndEverythingElseSurvive) {
  auto d = make_dictionary();
  d->set("zebra", make_string("\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80 <&>\t\r\n"));
  d->set("apple", make_data({0, 1, 2, 253, 254, 255}));
  d->set("mango", make_date(-86400.0 * 365));
  auto list = make_array();
  list->append(make_bool(true));
  list->append(make_bool(false));
  list->append(make_dictionary());
  list->append(make_array());
  list->append(make_string(""));
  list->append(make_data({}));
  d->set("list", list);
  for (Format format : {Format::Xml, Format::Binary}) {
    const ValueRef back = round_trip(*d, format);
    EXPECT_TRUE(equal(back, d));
    EXPECT_EQ(keys_of(back), (std::vector<std::string>{"zebra", "apple", "mango", "list"}));
  }
}

TEST(WriteTest, OutputIsDeterministic) {
  const auto build = [] {
    auto d = make_dictionary();
    for (int i = 0; i < 50; ++i)
      d->set("key" + std::to_string(i % 7) + std::to_string(i), make_int32(i % 5));
    d->set("shared", make_string("key00"));
    // Equal data values, which libplist's own writer may or may not merge.
    auto blobs = make_array();
    for (int i = 0; i < 64; ++i) blobs->append(make_data({0xA0, static_cast<uint8_t>(i % 2)}));
    d->set("blobs", blobs);
    return d;
  };
  for (Format format : {Format::Xml, Format::Binary}) {
    const WriteResult a = write_plist(*build(), format);
    const WriteResult b = write_plist(*build(), format);
    ASSERT_TRUE(a.ok());
    EXPECT_EQ(a.bytes, b.bytes);
  }
}

TEST(WriteTest, XmlLayout) {
  auto d = make_dictionary();
  d->set("b", make_int32(-5));
  d->set("a", make_real(NumberType::Float64, 0.5));
  const WriteResult w = write_plist(*d, Format::Xml);
  EXPECT_EQ(std::string(w.bytes.begin(), w.bytes.end()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n<dict>\n\t<key>b</key>\n\t<integer>-5</integer>\n"
            "\t<key>a</key>\n\t<real>0.5</real>\n</dict>\n</plist>\n");
}

TEST(WriteTest, BinaryLayoutSharesEqualScalars) {
  auto d = make_dictionary();
  d->set("a", make_int32(1));
  auto list = make_array();
  list->append(make_bool(true));
  list->append(make_string("a"));
  d->set("b", list);
  const WriteResult w = write_plist(*d, Format::Binary);
  EXPECT_EQ(w.bytes, test::read_hex("shared_scalars.hex"));
}

TEST(WriteTest, BinaryIntegerWidths) {
  const auto first_object = [](const Value& v, size_t n) {
    const std::vector<uint8_t> b = write_plist(v, Format::Binary).bytes;
    return b.size() < 8 + n ? std::vector<uint8_t>{} : std::vector<uint8_t>(&b[8], &b[8] + n);
  };
  // -1 is an eight-byte signed integer; 2^64-1 a sixteen-byte one.
  std::vector<uint8_t> expected(9, 0xFF);
  expected[0] = 0x13;
  EXPECT_EQ(first_object(Number(NumberType::SInt32, int64_t{-1}), 9), expected);
  expected = std::vector<uint8_t>(17, 0xFF);
  expected[0] = 0x14;
  std::fill(expected.begin() + 1, expected.begin() + 9, 0);
  EXPECT_EQ(first_object(Number(std::numeric_limits<uint64_t>::max()), 17), expected);
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
  auto d = make_dictionary();
  d->set("\x01", make_bool(true));
  EXPECT_EQ(error(*d, Format::Xml), "key cannot be written: U+0001 cannot be written in XML");
  EXPECT_EQ(error(Date(NAN), Format::Binary), "date is not a finite time");

  auto deep = make_array();
  for (int i = 1; i < kMaxDepth; ++i) {
    auto outer = make_array();
    outer->append(deep);
    deep = outer;
  }
  EXPECT_TRUE(write_plist(*deep, Format::Binary).ok());
  auto deeper = make_array();
  deeper->append(deep);
  EXPECT_EQ(error(*deeper, Format::Xml), "nesting deeper than 512 levels");

  auto cycle = make_array();
  cycle->append(cycle);
  EXPECT_EQ(error(*cycle, Format::Binary), "nesting deeper than 512 levels");
  cycle->clear();
}

}  // namespace
}  // namespace cx::plist

namespace cx::plist {
namespace {

// Files users already have were written by libplist 2.2; both goldens are its
// output for these values, so an unchanged save rewrites nothing.
TEST(XmlWriterTest, WritesWhatLibplistWrote) {
  std::vector<uint8_t> blob(100);
  for (size_t i = 0; i < blob.size(); ++i) blob[i] = static_cast<uint8_t>(i * 7);
  auto shapes = make_array();
  for (double d : {0.75, 1e300, -2.5e-7, 3.0, static_cast<double>(0.1f), HUGE_VAL, -HUGE_VAL,
                   std::numeric_limits<double>::quiet_NaN(), 123456789.123456789, -0.0, 0.0, 5e-324,
                   1e21, 1e-5})
    shapes->append(make_real(NumberType::Float64, d));
  shapes->append(make_number(NumberType::SInt8, -128));
  for (double t : {12345.75, -1.5}) shapes->append(make_date(t));
  shapes->append(make_number(NumberType::SInt32, -5));
  shapes->append(make_number(NumberType::SInt64, INT64_MIN));
  shapes->append(make_uint64(UINT64_MAX));
  shapes->append(make_bool(true));
  for (auto bytes : {std::vector<uint8_t>{}, std::vector<uint8_t>{1, 2, 3}, blob})
    shapes->append(make_data(bytes));
  for (double t : {0.0, -60000000000.0}) shapes->append(make_date(t));
  shapes->append(make_string(""));
  shapes->append(make_string("a<b>&c\"d'e\t\nf \xc3\xa9 ]]>"));
  shapes->append(make_array());
  shapes->append(make_dictionary());
  auto nested = make_array();
  nested->append(make_array());
  nested->append(make_data(blob));
  shapes->append(nested);
  const auto root = make_dictionary(
      {{"k<&>", shapes}, {"", make_string("x")}, {"\xc3\xa9\xe2\x82\xac", make_bool(false)}});

  blob.resize(90);
  ValueRef deep = make_data(blob);
  for (int level = 0; level < 14; ++level) {
    auto a = make_array();
    a->append(make_data(blob));
    a->append(deep);
    deep = a;
  }
  for (const auto& [value, golden] :
       {std::pair{ValueRef(root), "writer_shapes.xml"}, std::pair{deep, "writer_deep_data.xml"}}) {
    const WriteResult w = write_plist(*value, Format::Xml);
    ASSERT_TRUE(w.ok()) << w.error;
    EXPECT_EQ(std::string(w.bytes.begin(), w.bytes.end()), test::read_text(golden)) << golden;
    const ReadResult r = read_plist(w.bytes);
    ASSERT_NE(r.value, nullptr) << r.error;
    EXPECT_EQ(write_plist(*r.value, Format::Xml).bytes, w.bytes) << golden;
  }
}

}  // namespace
}  // namespace cx::plist
