#include "diag/plist_show.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "diag/plist_text.h"

namespace cx {
namespace {

// Keys of dictionaries and array positions are not shared objects here:
// they report the retain count of an object nobody else holds.
constexpr long kKeyRetainCount = 1;

constexpr const char kNotAString[] = "<not a string>";
constexpr const char kUnconvertible[] = "<Unconvertable string>";

long retain_of(const plist::Value* v) {
  return v ? v->retain_count() : 0;
}

int text_length(const std::string& text) {
  const char* c = dump_c_string(text);
  return c ? static_cast<int>(std::strlen(c)) : 0;
}

int print_text(const std::string& text) {
  const char* c = dump_c_string(text);
  if (c == nullptr) c = kUnconvertible;
  std::fputs(c, stderr);
  return static_cast<int>(std::strlen(c));
}

std::string position_key(size_t index) {
  return std::to_string(index + 1);
}

void show_key_line(long key_retain, const std::string* key, int width, const plist::Value* value,
                   int depth) {
  std::fprintf(stderr, "(%2ld/%2ld)", key_retain, retain_of(value));
  for (int i = 0; i < depth; ++i) std::fputs("  ", stderr);
  int printed = 0;
  if (key == nullptr) {
    std::fputs(kNotAString, stderr);
    printed = static_cast<int>(std::strlen(kNotAString));
  } else {
    printed = print_text(*key);
  }
  for (; 2 * depth + printed < width + 4; ++printed) std::fputc(' ', stderr);
  CXCFShowObject(value, width, depth);
}

int key_width(int key_length, const plist::Value* value, int depth) {
  int width = key_length + 2 * depth;
  if (const auto* d = plist::as<plist::Dictionary>(value))
    width = std::max(width, CXCFGetMaxKeyLengthFromDictionary(*d, depth + 1));
  else if (const auto* a = plist::as<plist::Array>(value))
    width = std::max(width, CXCFGetMaxKeyLengthFromArray(*a, depth + 1));
  return std::max(width, 0);
}

}  // namespace

void CXCFKeyShow(const plist::Value* key, const plist::Value* value) {
  CXCFKeyShowObject(key, CXCFGetMaxKeyLength(key, value, 0), value, 0);
}

void CXCFKeyShowObject(const plist::Value* key, int width, const plist::Value* value, int depth) {
  const auto* s = plist::as<plist::String>(key);
  show_key_line(retain_of(key), s ? &s->text() : nullptr, width, value, depth);
}

void CXCFShowObject(const plist::Value* value, int width, int depth) {
  if (value == nullptr) {
    std::fputs("Unknown   NULL\n", stderr);
  } else if (const auto* d = plist::as<plist::Dictionary>(value)) {
    std::fputs("Dict      ", stderr);
    CXCFShowDictionary(*d, width, depth);
  } else if (const auto* a = plist::as<plist::Array>(value)) {
    std::fputs("Array     ", stderr);
    CXCFShowArray(*a, width, depth);
  } else if (plist::as<plist::String>(value) != nullptr) {
    std::fputs("String    ", stderr);
    CXCFShowString(value);
    std::fputs("\n", stderr);
  } else if (const auto* b = plist::as<plist::Boolean>(value)) {
    std::fputs("Boolean   ", stderr);
    CXCFShowBoolean(*b);
  } else if (const auto* n = plist::as<plist::Number>(value)) {
    std::fputs("Number    ", stderr);
    CXCFShowNumber(*n);
  } else {
    std::fprintf(stderr, "Unknown   0x%lx\n", dump_address(value));
  }
}

void CXCFShowDictionary(const plist::Dictionary& dict, int width, int depth) {
  if (dict.empty()) {
    std::fputs("<zero key/value pairs>\n", stderr);
    return;
  }
  std::fprintf(stderr, "    <%d key/value pairs>\n", static_cast<int>(dict.size()));
  for (const auto& [key, value] : dict.entries())
    show_key_line(kKeyRetainCount, &key, width, value.get(), depth + 1);
}

void CXCFShowArray(const plist::Array& array, int width, int depth) {
  std::fprintf(stderr, "    <%d objects>\n", static_cast<int>(array.size()));
  for (size_t i = 0; i < array.size(); ++i) {
    const std::string key = position_key(i);
    show_key_line(kKeyRetainCount, &key, width, array.at(i).get(), depth + 1);
  }
}

int CXCFShowString(const plist::Value* string) {
  if (const auto* s = plist::as<plist::String>(string)) return print_text(s->text());
  std::fputs(kNotAString, stderr);
  return static_cast<int>(std::strlen(kNotAString));
}

void CXCFShowBoolean(const plist::Boolean& boolean) {
  std::fputs(boolean.value() ? "YES\n" : "NO\n", stderr);
}

void CXCFShowNumber(const plist::Number& number) {
  const DumpNumber n = read_dump_number(number);
  switch (n.shape) {
    case DumpNumberShape::Long:
      std::fprintf(stderr, "%ld (%s)\n", n.long_value, n.type_name);
      break;
    case DumpNumberShape::Float:
      std::fprintf(stderr, "%f (%s)\n", n.float_value, n.type_name);
      break;
    case DumpNumberShape::NoLong:
      std::fprintf(stderr, "can't get long (%s)\n", n.type_name);
      break;
    case DumpNumberShape::NoFloat:
      std::fprintf(stderr, "can't get float (%s)\n", n.type_name);
      break;
    case DumpNumberShape::Undisplayable:
      std::fprintf(stderr, "undisplayable (%s)\n", n.type_name);
      break;
  }
}

int CXCFGetStringLength(const plist::Value* string) {
  const auto* s = plist::as<plist::String>(string);
  return s ? text_length(s->text()) : 0;
}

int CXCFGetMaxKeyLength(const plist::Value* key, const plist::Value* value, int depth) {
  return key_width(CXCFGetStringLength(key), value, depth);
}

int CXCFGetMaxKeyLengthFromDictionary(const plist::Dictionary& dict, int depth) {
  int width = 0;
  for (const auto& [key, value] : dict.entries())
    width = std::max(width, key_width(text_length(key), value.get(), depth));
  return width;
}

int CXCFGetMaxKeyLengthFromArray(const plist::Array& array, int depth) {
  int width = 0;
  for (size_t i = 0; i < array.size(); ++i)
    width = std::max(width, key_width(text_length(position_key(i)), array.at(i).get(), depth));
  return width;
}

}  // namespace cx
