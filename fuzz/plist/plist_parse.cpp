// Arbitrary bytes through both readers; whatever reads must write back in
// both formats, read back deeply equal, and write back the same bytes.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "plist/plist_io.h"

namespace {

using cx::plist::Format;

void check_round_trips(const cx::plist::Value& value) {
  for (Format format : {Format::Xml, Format::Binary}) {
    const cx::plist::WriteResult written = cx::plist::write_plist(value, format);
    if (!written.ok()) {
      // A binary file may hold characters XML cannot carry; nothing else may fail.
      const bool xml_characters =
          written.error.find("cannot be written in XML") != std::string::npos;
      if (format == Format::Binary || !xml_characters) std::abort();
      continue;
    }
    const cx::plist::ReadResult back = cx::plist::read_plist(written.bytes);
    if (!back.value || back.format != format || !cx::plist::equal(back.value.get(), &value))
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
