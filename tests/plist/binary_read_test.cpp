#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "plist/limits.h"
#include "plist/plist_io.h"
#include "util/byte_order.h"

namespace cx::plist {
namespace {

using Bytes = std::vector<uint8_t>;

// Assembles a binary property list from raw objects, one-byte references.
struct Bplist {
  std::vector<Bytes> objects;
  uint64_t root = 0;
  uint8_t offset_size = 1;

  Bytes bytes() const {
    Bytes out{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    std::vector<uint64_t> offsets;
    for (const Bytes& o : objects) {
      offsets.push_back(out.size());
      out.insert(out.end(), o.begin(), o.end());
    }
    const uint64_t table_at = out.size();
    for (uint64_t off : offsets) {
      for (int shift = (offset_size - 1) * 8; shift >= 0; shift -= 8)
        out.push_back(static_cast<uint8_t>(off >> shift));
    }
    uint8_t trailer[32] = {};
    trailer[6] = offset_size;
    trailer[7] = 1;
    store_be64(trailer + 8, objects.size());
    store_be64(trailer + 16, root);
    store_be64(trailer + 24, table_at);
    out.insert(out.end(), trailer, trailer + 32);
    return out;
  }
};

std::string refusal(const Bytes& data) {
  const ReadResult r = read_plist(data);
  EXPECT_EQ(r.value, nullptr);
  EXPECT_EQ(r.format, Format::Binary);
  return r.error;
}

ValueRef accepted(const Bytes& data) {
  const ReadResult r = read_plist(data);
  EXPECT_NE(r.value, nullptr) << r.error;
  return r.value;
}

TEST(BinaryReadTest, TruncatedTrailer) {
  Bytes data = Bplist{{{0x09}}}.bytes();
  data.resize(data.size() - 5);
  EXPECT_EQ(refusal(Bytes(data.begin(), data.begin() + 20)), "byte offset 20: truncated trailer");
}

TEST(BinaryReadTest, UnsupportedVersion) {
  Bytes data = Bplist{{{0x09}}}.bytes();
  data[7] = '1';
  EXPECT_EQ(refusal(data), "byte offset 6: unsupported binary property list version");
}

TEST(BinaryReadTest, BadTrailerFields) {
  Bytes data = Bplist{{{0x09}}}.bytes();
  const size_t trailer = data.size() - 32;
  Bytes bad_size = data;
  bad_size[trailer + 6] = 3;
  EXPECT_EQ(refusal(bad_size),
            "byte offset " + std::to_string(trailer + 6) + ": bad offset size 3");
  Bytes bad_root = data;
  bad_root[trailer + 23] = 1;
  EXPECT_NE(refusal(bad_root).find("root object 1 out of range"), std::string::npos);
  Bytes bad_table = data;
  store_be64(bad_table.data() + trailer + 24, 1u << 20);
  EXPECT_NE(refusal(bad_table).find("offset table outside the file"), std::string::npos);
  Bytes huge_count = data;
  store_be64(huge_count.data() + trailer + 8, uint64_t{1} << 60);
  EXPECT_NE(refusal(huge_count).find("offset table runs into the trailer"), std::string::npos);
}

TEST(BinaryReadTest, ObjectOffsetOutsideObjectArea) {
  Bytes data = Bplist{{{0x09}}}.bytes();
  data[9] = 200;  // the one offset-table entry
  EXPECT_EQ(refusal(data), "byte offset 9: object 0 at offset 200 outside the object area");
}

TEST(BinaryReadTest, ObjectRefOutOfRange) {
  // Array of one reference, to object 7 of 2.
  EXPECT_EQ(refusal(Bplist{{{0xA1, 7}, {0x09}}}.bytes()),
            "byte offset 9: object reference 7 out of range");
}

TEST(BinaryReadTest, ReferenceCycle) {
  // Object 0 is an array holding object 1, an array holding object 0.
  EXPECT_EQ(refusal(Bplist{{{0xA1, 1}, {0xA1, 0}}}.bytes()),
            "byte offset 11: reference cycle through object 0");
  EXPECT_NE(refusal(Bplist{{{0xA1, 0}}}.bytes()).find("reference cycle"), std::string::npos);
}

TEST(BinaryReadTest, SharedObjectsAreExpanded) {
  const ValueRef v = accepted(Bplist{{{0xA2, 1, 1}, {0x51, 'x'}}}.bytes());
  const auto* a = as<Array>(v);
  ASSERT_NE(a, nullptr);
  ASSERT_EQ(a->size(), 2u);
  EXPECT_EQ(as<String>(a->at(1))->text(), "x");
}

// `levels` arrays, each holding the next; two-byte offsets and references.
Bytes chain_of_arrays(int levels) {
  Bytes data{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  std::vector<uint16_t> offsets;
  for (int i = 0; i < levels; ++i) {
    offsets.push_back(static_cast<uint16_t>(data.size()));
    const bool last = i + 1 == levels;
    data.push_back(last ? 0xA0 : 0xA1);
    if (!last) {
      data.resize(data.size() + 2);
      store_be16(data.data() + data.size() - 2, static_cast<uint16_t>(i + 1));
    }
  }
  const uint64_t table_at = data.size();
  for (uint16_t off : offsets) {
    data.resize(data.size() + 2);
    store_be16(data.data() + data.size() - 2, off);
  }
  uint8_t trailer[32] = {};
  trailer[6] = 2;
  trailer[7] = 2;
  store_be64(trailer + 8, offsets.size());
  store_be64(trailer + 24, table_at);
  data.insert(data.end(), trailer, trailer + 32);
  return data;
}

TEST(BinaryReadTest, NestingTooDeep) {
  EXPECT_NE(accepted(chain_of_arrays(kMaxDepth)), nullptr);
  EXPECT_NE(refusal(chain_of_arrays(kMaxDepth + 1)).find("nesting deeper than 512 levels"),
            std::string::npos);
  EXPECT_NE(refusal(chain_of_arrays(20000)).find("nesting deeper"), std::string::npos);
}

TEST(BinaryReadTest, SharedObjectExpansionIsBounded) {
  // 40 levels, each an array holding the next level twice: 2^40 values.
  Bplist b;
  for (uint8_t i = 0; i < 40; ++i)
    b.objects.push_back({0xA2, static_cast<uint8_t>(i + 1), static_cast<uint8_t>(i + 1)});
  b.objects.push_back({0x09});
  EXPECT_NE(refusal(b.bytes()).find("too many values once shared objects are expanded"),
            std::string::npos);
}

TEST(BinaryReadTest, CountPastTheData) {
  // A string claiming 0xFFFF bytes through an extended count.
  EXPECT_EQ(refusal(Bplist{{{0x5F, 0x11, 0xFF, 0xFF, 'a'}}}.bytes()),
            "byte offset 8: object runs past the object area");
  EXPECT_NE(refusal(Bplist{{{0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}}.bytes())
                .find("object runs past the object area"),
            std::string::npos);
  EXPECT_NE(refusal(Bplist{{{0x13, 0x00}}}.bytes()).find("object runs past"), std::string::npos);
}

TEST(BinaryReadTest, DictionaryKeyMustBeAString) {
  EXPECT_EQ(refusal(Bplist{{{0xD1, 1, 1}, {0x10, 0x05}}}.bytes()),
            "byte offset 9: dictionary key is not a string");
}

TEST(BinaryReadTest, UnsupportedObjectTypes) {
  EXPECT_NE(refusal(Bplist{{{0x00}}}.bytes()).find("unsupported object type 0x00"),
            std::string::npos);
  EXPECT_NE(refusal(Bplist{{{0x80, 0x01}}}.bytes()).find("unsupported object type 0x80"),
            std::string::npos);
  EXPECT_NE(refusal(Bplist{{{0xC0}}}.bytes()).find("unsupported object type 0xc0"),
            std::string::npos);
  EXPECT_NE(refusal(Bplist{{{0x15}}}.bytes()).find("unsupported object type 0x15"),
            std::string::npos);
}

TEST(BinaryReadTest, StringsMustBeText) {
  EXPECT_EQ(refusal(Bplist{{{0x52, 'a', 0x80}}}.bytes()),
            "byte offset 10: non-ASCII byte in an ASCII string");
  EXPECT_EQ(refusal(Bplist{{{0x52, 'a', 0x00}}}.bytes()), "byte offset 10: NUL in a string");
  EXPECT_EQ(refusal(Bplist{{{0x61, 0xD8, 0x00}}}.bytes()),
            "byte offset 9: unpaired UTF-16 surrogate");
  EXPECT_EQ(refusal(Bplist{{{0x61, 0xDC, 0x00}}}.bytes()),
            "byte offset 9: unpaired UTF-16 surrogate");
  const ValueRef pair = accepted(Bplist{{{0x62, 0xD8, 0x3D, 0xDE, 0x00}}}.bytes());
  EXPECT_EQ(as<String>(pair)->text(), "\xF0\x9F\x98\x80");
}

TEST(BinaryReadTest, IntegersByWidth) {
  // One, two and four bytes are unsigned, eight signed, sixteen unsigned.
  EXPECT_EQ(as<Number>(accepted(Bplist{{{0x10, 0xFF}}}.bytes()))->int_value(), 255);
  EXPECT_EQ(as<Number>(accepted(Bplist{{{0x12, 0xFF, 0xFF, 0xFF, 0xFF}}}.bytes()))->int_value(),
            4294967295);
  const ValueRef negative =
      accepted(Bplist{{{0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}}}.bytes());
  EXPECT_EQ(as<Number>(negative)->int_value(), -2);
  EXPECT_EQ(as<Number>(negative)->number_type(), NumberType::SInt32);
  Bytes wide{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 1};
  const ValueRef unsigned_value = accepted(Bplist{{wide}}.bytes());
  EXPECT_TRUE(as<Number>(unsigned_value)->is_unsigned());
  EXPECT_EQ(static_cast<uint64_t>(as<Number>(unsigned_value)->int_value()),
            (uint64_t{1} << 63) + 1);
  wide[8] = 1;  // beyond 64 bits
  EXPECT_EQ(refusal(Bplist{{wide}}.bytes()), "byte offset 8: integer out of range");
}

TEST(BinaryReadTest, DateOutOfRange) {
  Bytes date{0x33, 0, 0, 0, 0, 0, 0, 0, 0};
  store_be64(date.data() + 1, 0x41F0000000000000);  // 2^32 seconds
  EXPECT_EQ(refusal(Bplist{{date}}.bytes()), "byte offset 8: date out of range");
  store_be64(date.data() + 1, 0x7FF8000000000000);  // NaN
  EXPECT_EQ(refusal(Bplist{{date}}.bytes()), "byte offset 8: date out of range");
}

}  // namespace
}  // namespace cx::plist
