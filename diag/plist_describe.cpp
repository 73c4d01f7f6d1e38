#include "diag/plist_describe.h"

#include <cstdio>
#include <string>

#include "diag/plist_text.h"

namespace cx {
namespace {

// Dictionary keys are plain text here, not shared objects: they report the
// retain count of an object nobody else holds.
constexpr int kKeyRetainCount = 1;

void describe_text(const std::string& text, int retain, uint8_t verbose, const char* prefix) {
  const char* c = dump_c_string(text);
  // The string forms have no closing bracket.
  if (c == nullptr) {
    if (verbose)
      std::fprintf(stderr, "%s<String -- can't convert, Retain: %d", prefix, retain);
    else
      std::fprintf(stderr, "%s(Unconvertable string)", prefix);
  } else if (verbose) {
    std::fprintf(stderr, "%s<String -- \"%s\", Retain: %d", prefix, c, retain);
  } else {
    std::fprintf(stderr, "%s%s", prefix, c);
  }
}

}  // namespace

void CXCFDescribe(const plist::Value* value, uint8_t verbose, const char* prefix) {
  if (value == nullptr) {
    std::fprintf(stderr, "%s<NULL>", prefix);
  } else if (const auto* d = plist::as<plist::Dictionary>(value)) {
    CXCFDescribeDictionary(*d, verbose, prefix);
  } else if (const auto* a = plist::as<plist::Array>(value)) {
    CXCFDescribeArray(*a, verbose, prefix);
  } else if (const auto* s = plist::as<plist::String>(value)) {
    CXCFDescribeString(*s, verbose, prefix);
  } else if (const auto* b = plist::as<plist::Boolean>(value)) {
    CXCFDescribeBoolean(*b, verbose, prefix);
  } else if (const auto* n = plist::as<plist::Number>(value)) {
    CXCFDescribeNumber(*n, verbose, prefix);
  } else {
    std::fprintf(stderr, "%s<0x%lx: Unknown object type>", prefix, dump_address(value));
  }
}

void CXCFDescribeDictionary(const plist::Dictionary& dict, uint8_t verbose, const char* prefix) {
  // An empty dictionary is reported like a failure to read its entries.
  if (dict.empty()) {
    std::fprintf(stderr, "%s<Dictionary -- error trying to get count of keys and values>", prefix);
    return;
  }
  if (verbose)
    std::fprintf(stderr, "%s<Dictionary -- Nitems: %d, Retain: %d, Items:\n", prefix,
                 static_cast<int>(dict.size()), dump_retain_count(dict));
  else
    std::fprintf(stderr, "%sDictionary:\n", prefix);
  const std::string key_prefix = std::string(prefix) + "  ";
  const std::string value_prefix = std::string(prefix) + "    ";
  for (const auto& [key, value] : dict.entries()) {
    describe_text(key, kKeyRetainCount, verbose, key_prefix.c_str());
    std::fputs(verbose ? ", Value:\n" : ",\n", stderr);
    CXCFDescribe(value.get(), verbose, value_prefix.c_str());
    std::fputs("\n", stderr);
  }
  if (verbose) std::fprintf(stderr, "%s>", prefix);
}

void CXCFDescribeArray(const plist::Array& array, uint8_t verbose, const char* prefix) {
  if (verbose)
    std::fprintf(stderr, "%s<Array -- Count: %d, Retain: %d, Items:\n", prefix,
                 static_cast<int>(array.size()), dump_retain_count(array));
  else
    std::fprintf(stderr, "%sArray:\n", prefix);
  const std::string item_prefix = std::string(prefix) + "  ";
  for (size_t i = 0; i < array.size(); ++i) {
    std::fprintf(stderr, verbose ? "%s  Item #%d: " : "%s  %d: ", prefix, static_cast<int>(i));
    CXCFDescribe(array.at(i).get(), verbose, item_prefix.c_str());
    std::fputs("\n", stderr);
  }
  if (verbose) std::fprintf(stderr, "%s>", prefix);
}

void CXCFDescribeString(const plist::String& string, uint8_t verbose, const char* prefix) {
  describe_text(string.text(), dump_retain_count(string), verbose, prefix);
}

void CXCFDescribeBoolean(const plist::Boolean& boolean, uint8_t verbose, const char* prefix) {
  const char* word = boolean.value() ? "TRUE" : "FALSE";
  if (verbose)
    std::fprintf(stderr, "%s<Boolean -- Value: %s, Retain: %d>", prefix, word,
                 dump_retain_count(boolean));
  else
    std::fprintf(stderr, "%s%s", prefix, word);
}

void CXCFDescribeNumber(const plist::Number& number, uint8_t verbose, const char* prefix) {
  const DumpNumber n = read_dump_number(number);
  const int retain = dump_retain_count(number);
  switch (n.shape) {
    case DumpNumberShape::Long:
      if (verbose)
        std::fprintf(stderr, "%s<Number -- Type: %s, Value: %ld, Retains: %d>", prefix, n.type_name,
                     n.long_value, retain);
      else
        std::fprintf(stderr, "%s%s(%ld)", prefix, n.type_name, n.long_value);
      break;
    case DumpNumberShape::Float:
      if (verbose)
        std::fprintf(stderr, "%s<Number -- Type: %s, Value: %f, Retains: %d>", prefix, n.type_name,
                     n.float_value, retain);
      else
        std::fprintf(stderr, "%s%s(%f)", prefix, n.type_name, n.float_value);
      break;
    case DumpNumberShape::NoLong:
    case DumpNumberShape::NoFloat:
    case DumpNumberShape::Undisplayable: {
      const char* what = n.shape == DumpNumberShape::NoLong    ? "can't get long"
                         : n.shape == DumpNumberShape::NoFloat ? "can't get float"
                                                               : "undisplayable";
      if (verbose)
        std::fprintf(stderr, "%s<Number -- Type: %s, Value: %s, Retains: %d>", prefix, n.type_name,
                     what, retain);
      else
        std::fprintf(stderr, "%s%s(%s)", prefix, n.type_name, what);
      break;
    }
  }
}

void CXCFShow(const plist::Value* value, const plist::Value* title, uint8_t verbose) {
  if (title != nullptr) {
    CXCFDescribe(title, 0, "");
    std::fputs("\n", stderr);
  }
  CXCFDescribe(value, verbose, "  ");
  std::fputs("\n", stderr);
}

}  // namespace cx
