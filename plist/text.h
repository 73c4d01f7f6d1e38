// Text rules shared by the readers and writers: strings are UTF-8 without
// NUL (libplist 2.2 keeps strings as C strings), and XML carries only the
// XML 1.0 characters (libplist's XML writer drops the others silently).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace cx::plist {

// Decodes the UTF-8 sequence at s[i] into `c`; returns its length, or 0 when
// it is malformed (overlong, surrogate, above U+10FFFF, truncated).
size_t decode_utf8(std::string_view s, size_t i, uint32_t& c);

void append_utf8(std::string& out, uint32_t c);

bool is_xml_char(uint32_t c);

// The index of the first byte at or after `i` that is neither printable ASCII
// nor tab, line feed or carriage return; s.size() when there is none. Files
// are mostly such bytes, so they are passed eight at a time.
size_t skip_plain_ascii(std::string_view s, size_t i);

// "U+0001"
std::string code_point_name(uint32_t c);

// Empty when `s` can be written as a string or key; else what is wrong.
// `xml` adds the XML character rule.
std::string text_defect(std::string_view s, bool xml);

}  // namespace cx::plist
