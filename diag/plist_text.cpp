#include "diag/plist_text.h"

#include <iterator>

namespace cx {
namespace {

enum class Reading { Long, Float, None };

struct NumberTypeInfo {
  const char* name;
  Reading reading;
};

// Indexed by the platform's number type code; LongLong is deliberately
// not displayed.
constexpr NumberTypeInfo kNumberTypes[] = {
    {"Unknown Number Type", Reading::None},
    {"SInt8", Reading::Long},
    {"SInt16", Reading::Long},
    {"SInt32", Reading::Long},
    {"SInt64", Reading::Long},
    {"Float32", Reading::Float},
    {"Float64", Reading::Float},
    {"Char", Reading::Long},
    {"Short", Reading::Long},
    {"Int", Reading::Long},
    {"Long", Reading::Long},
    {"LongLong", Reading::None},
    {"Float", Reading::Float},
    {"Double", Reading::Float},
    {"CFIndex", Reading::Long},
};

const NumberTypeInfo& type_info(plist::NumberType type) {
  const auto code = static_cast<size_t>(type);
  return code < std::size(kNumberTypes) ? kNumberTypes[code] : kNumberTypes[0];
}

}  // namespace

const char* dump_c_string(const std::string& text) {
  return text.size() < kDumpStringBufferSize ? text.c_str() : nullptr;
}

const char* dump_number_type_name(plist::NumberType type) {
  return type_info(type).name;
}

DumpNumber read_dump_number(const plist::Number& number) {
  const NumberTypeInfo& info = type_info(number.number_type());
  DumpNumber out{DumpNumberShape::Undisplayable, 0, 0.0, info.name};
  switch (info.reading) {
    case Reading::Long: {
      long v = 0;
      const bool ok = number.get_value(plist::NumberType::Long, &v);
      out.shape = ok ? DumpNumberShape::Long : DumpNumberShape::NoLong;
      out.long_value = v;
      break;
    }
    case Reading::Float: {
      double v = 0;
      const bool ok = number.get_value(plist::NumberType::Float64, &v);
      out.shape = ok ? DumpNumberShape::Float : DumpNumberShape::NoFloat;
      out.float_value = v;
      break;
    }
    case Reading::None:
      break;
  }
  return out;
}

}  // namespace cx
