// Reading and writing XML and binary property lists. Readers refuse every
// malformed document with a message that says what is wrong and where;
// writers are deterministic (the same value always gives the same bytes).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "plist/value.h"

namespace cx::plist {

enum class Format { Xml, Binary };

struct ReadResult {
  ValueRef value;  // null on failure
  Format format = Format::Xml;
  // On failure: "line 3, column 7: <what>" (XML) or "byte offset 42: <what>"
  // (binary), prefixed with "<path>: " for files.
  std::string error;
};

struct WriteResult {
  std::vector<uint8_t> bytes;
  std::string error;  // empty on success
  bool ok() const { return error.empty(); }
};

// Binary when the bytes start with "bplist", XML otherwise. What is read:
// integers as SInt32 when they fit in 32 bits, else SInt64 (unsigned above
// INT64_MAX); reals as Float64; dates of any year (binary: the exact time);
// strings as UTF-8 without NUL. XML may start with a UTF-8 byte-order mark.
// Nesting deeper than kMaxDepth is refused, and so are UID objects.
ReadResult read_plist(std::span<const uint8_t> bytes);
ReadResult read_plist_file(const std::string& path);

// XML keeps whole seconds of a date and years 0000-9999, binary the exact
// time. XML refuses
// strings with characters XML cannot carry (control characters but tab,
// line feed and carriage return); both refuse NUL and invalid UTF-8.
WriteResult write_plist(const Value& value, Format format);
// Writes the file in place (no temporary file; callers that need atomic
// replacement write the bytes themselves). `bytes` holds what was written.
WriteResult write_plist_file(const std::string& path, const Value& value, Format format);

}  // namespace cx::plist
