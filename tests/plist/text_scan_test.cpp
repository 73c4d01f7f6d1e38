#include <gtest/gtest.h>

#include <string>

#include "plist/text.h"
#include "plist/value.h"

namespace cx::plist {
namespace {

// The scan passes eight bytes at a time: a disallowed byte must stop it in
// every lane of a word and across word edges, and the allowed control
// characters must not.
TEST(TextScanTest, StopsAtTheFirstByteThatIsNotPlainAscii) {
  const std::string plain = "a\tb\nc\rd ~}|{zyx0\t\t\n\n\r\r !";
  EXPECT_EQ(skip_plain_ascii(plain, 0), plain.size());
  EXPECT_EQ(skip_plain_ascii(plain, 5), plain.size());
  for (const char bad : {'\0', '\x01', '\x08', '\x0B', '\x1F', '\x80', '\xC3', '\xFF'}) {
    for (size_t at = 0; at < plain.size(); ++at) {
      std::string s = plain;
      s[at] = bad;
      SCOPED_TRACE("byte " + std::to_string(static_cast<uint8_t>(bad)) + " at " +
                   std::to_string(at));
      EXPECT_EQ(skip_plain_ascii(s, 0), at);
      EXPECT_EQ(skip_plain_ascii(s, at), at);
    }
  }
}

// Small dictionaries are merged without an index, large ones with one: both
// keep a repeated key's first position and its last value.
TEST(TextScanTest, RepeatedKeysMergeTheSameWayAtEverySize) {
  for (const int size : {3, 15, 16, 40}) {
    std::vector<Dictionary::Entry> entries;
    for (int i = 0; i < size; ++i) entries.emplace_back("k" + std::to_string(i), make_int32(i));
    entries.emplace_back("k1", make_int32(-1));
    entries.emplace_back("k0", make_int32(-2));
    const auto d = make_dictionary(std::move(entries));
    SCOPED_TRACE(size);
    ASSERT_EQ(d->size(), static_cast<size_t>(size));
    EXPECT_EQ(d->entries()[0].first, "k0");
    EXPECT_EQ(as<Number>(d->get("k0"))->int_value(), -2);
    EXPECT_EQ(d->entries()[1].first, "k1");
    EXPECT_EQ(as<Number>(d->get("k1"))->int_value(), -1);
    EXPECT_EQ(d->entries().back().first, "k" + std::to_string(size - 1));
  }
}

}  // namespace
}  // namespace cx::plist
