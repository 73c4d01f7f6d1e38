// What the property-list dumpers share: string conversion and the reading of
// numbers by their type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "plist/value.h"

namespace cx {

// Strings are converted into a buffer of this size, NUL included.
inline constexpr size_t kDumpStringBufferSize = 1024;

// The text as a C string in the system encoding (UTF-8), or null when it
// does not fit the conversion buffer.
const char* dump_c_string(const std::string& text);

const char* dump_number_type_name(plist::NumberType type);

enum class DumpNumberShape { Long, Float, NoLong, NoFloat, Undisplayable };

struct DumpNumber {
  DumpNumberShape shape;
  long long_value;
  double float_value;
  const char* type_name;
};

DumpNumber read_dump_number(const plist::Number& number);

inline int dump_retain_count(const plist::Value& v) {
  return static_cast<int>(v.retain_count());
}
inline unsigned long dump_address(const plist::Value* v) {
  return static_cast<unsigned long>(reinterpret_cast<uintptr_t>(v));
}

}  // namespace cx
