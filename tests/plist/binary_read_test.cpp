#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "plist/limits.h"
#include "plist/plist_io.h"
#include "util/byte_order.h"

namespace cx::plist {
namespace {

using Bytes = std::vector<uint8_t>;

// Assembles a binary property list from raw objects, one-byte references.
struct Bplist {
  std::vector<Bytes> objects;  // the first is the root
  uint8_t offset_size = 1;
  uint8_t ref_size = 1;

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
    trailer[7] = ref_size;
    store_be64(trailer + 8, objects.size());
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

// `levels` arrays, each holding the next; two-byte offsets and references.
Bytes chain_of_arrays(int levels) {
  Bplist b{{}, 2, 2};
  for (int i = 1; i < levels; ++i)
    b.objects.push_back({0xA1, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)});
  b.objects.push_back({0xA0});
  return b.bytes();
}

// One object (at byte offset 8) in an otherwise sound file.
Bytes alone(Bytes object) {
  return Bplist{{std::move(object)}}.bytes();
}

TEST(BinaryReadTest, MalformedFilesAreRefusedAndNestingIsBounded) {
  const Bytes one = alone({0x09});  // a lone true; its trailer starts at 10
  const auto patched = [&](size_t at, std::initializer_list<uint8_t> bytes) {
    Bytes b = one;
    for (uint8_t v : bytes) b.at(at++) = v;
    return b;
  };
  Bplist doubling;  // 40 levels, each an array holding the next level twice: 2^40 values
  for (uint8_t i = 1; i <= 40; ++i) doubling.objects.push_back({0xA2, i, i});
  doubling.objects.push_back({0x09});
  const struct {
    Bytes data;
    const char* error;
  } cases[] = {
      {chain_of_arrays(kMaxDepth + 1), "nesting deeper than 512 levels"},
      {chain_of_arrays(20000), "nesting deeper than 512 levels"},
      {doubling.bytes(), "too many values once shared objects are expanded"},
      {Bytes(one.begin(), one.begin() + 20), "byte offset 20: truncated trailer"},
      {patched(7, {'1'}), "byte offset 6: unsupported binary property list version"},
      {patched(16, {3}), "byte offset 16: bad offset size 3"},
      {patched(33, {1}), "root object 1 out of range"},
      {patched(34, {0, 0, 0, 0, 0, 0x10, 0, 0}), "offset table outside the file"},
      {patched(18, {0x10, 0, 0, 0, 0, 0, 0, 0}), "offset table runs into the trailer"},
      {patched(9, {200}), "byte offset 9: object 0 at offset 200 outside the object area"},
      // Arrays: a reference to object 7 of 2; then 0 -> 1 -> 0; then 0 -> 0.
      {Bplist{{{0xA1, 7}, {0x09}}}.bytes(), "byte offset 9: object reference 7 out of range"},
      {Bplist{{{0xA1, 1}, {0xA1, 0}}}.bytes(), "byte offset 11: reference cycle through object 0"},
      {Bplist{{{0xA1, 0}}}.bytes(), "reference cycle"},
      {Bplist{{{0xD1, 1, 1}, {0x10, 0x05}}}.bytes(),
       "byte offset 9: dictionary key is not a string"},
      // A string claiming 0xFFFF bytes through an extended count.
      {alone({0x5F, 0x11, 0xFF, 0xFF, 'a'}), "byte offset 8: object runs past the object area"},
      {alone({0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
       "byte offset 8: object runs past the object area"},
      {alone({0x13, 0x00}), "byte offset 8: object runs past the object area"},
      {alone({0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1}),
       "byte offset 8: integer out of range"},
      {alone({0x00}), "byte offset 8: unsupported object type 0x00"},
      {alone({0x80, 0x01}),
       "byte offset 8: UID object (a keyed archive), not a property list value"},
      {alone({0xC0}), "byte offset 8: unsupported object type 0xc0"},
      {alone({0x15}), "byte offset 8: unsupported object type 0x15"},
      {alone({0x52, 'a', 0x80}), "byte offset 10: non-ASCII byte in an ASCII string"},
      {alone({0x52, 'a', 0x00}), "byte offset 10: NUL in a string"},
      {alone({0x61, 0xD8, 0x00}), "byte offset 9: unpaired UTF-16 surrogate"},
      {alone({0x61, 0xDC, 0x00}), "byte offset 9: unpaired UTF-16 surrogate"},
      {alone({0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0}),
       "byte offset 8: date is not a finite time"},  // NaN
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    EXPECT_NE(refusal(c.data).find(c.error), std::string::npos);
  }
  EXPECT_NE(accepted(chain_of_arrays(kMaxDepth)), nullptr);
  const ValueRef pair = accepted(alone({0x62, 0xD8, 0x3D, 0xDE, 0x00}));
  EXPECT_EQ(as<String>(pair)->text(), "\xF0\x9F\x98\x80");
}

}  // namespace
}  // namespace cx::plist
