// Arbitrary bytes through both readers; whatever reads must write back in
// both formats, read back deeply equal, and write back the same bytes.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "plist/plist_io.h"

namespace {

using cx::plist::Format;

// XML keeps the whole seconds of a date.
cx::plist::ValueRef whole_seconds(const cx::plist::Value& v) {
  using namespace cx::plist;
  switch (v.type()) {
    case Type::Date:
      return make_date(std::trunc(as<Date>(&v)->absolute_time()));
    case Type::Array: {
      auto array = make_array();
      for (const ValueRef& item : as<Array>(&v)->items()) array->append(whole_seconds(*item));
      return array;
    }
    case Type::Dictionary: {
      std::vector<Dictionary::Entry> entries;
      for (const auto& [key, item] : as<Dictionary>(&v)->entries())
        entries.emplace_back(key, whole_seconds(*item));
      return make_dictionary(std::move(entries));
    }
    default:
      return deep_copy(&v);
  }
}

void check_round_trips(const cx::plist::Value& value) {
  for (Format format : {Format::Xml, Format::Binary}) {
    const cx::plist::WriteResult written = cx::plist::write_plist(value, format);
    if (!written.ok()) {
      // A binary file may hold characters XML cannot carry, and dates of
      // years it cannot spell; nothing else may fail.
      const bool xml_only = written.error.find("cannot be written in XML") != std::string::npos ||
                            written.error.find("date out of range") != std::string::npos;
      if (format == Format::Binary || !xml_only) std::abort();
      continue;
    }
    const cx::plist::ReadResult back = cx::plist::read_plist(written.bytes);
    const cx::plist::ValueRef expected =
        format == Format::Xml ? whole_seconds(value) : cx::plist::deep_copy(&value);
    if (!back.value || back.format != format || !cx::plist::equal(back.value, expected))
      std::abort();
    if (cx::plist::write_plist(*back.value, format).bytes != written.bytes) std::abort();
  }
}

void parse(std::span<const uint8_t> bytes) {
  const cx::plist::ReadResult read = cx::plist::read_plist(bytes);
  if (!read.value) {
    if (read.error.empty()) std::abort();
    return;
  }
  check_round_trips(*read.value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const uint8_t> bytes(data, size);
  parse(bytes);
  // The same bytes as the body of a binary property list.
  constexpr std::string_view kMagic = "bplist00";
  if (size < kMagic.size() ||
      std::string_view(reinterpret_cast<const char*>(data), kMagic.size()) != kMagic) {
    std::vector<uint8_t> binary(kMagic.begin(), kMagic.end());
    binary.insert(binary.end(), data, data + size);
    parse(binary);
  }
  return 0;
}
