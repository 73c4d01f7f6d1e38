#include "plist/xml_write.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "plist/date_text.h"
#include "plist/limits.h"
#include "plist/text.h"

namespace cx::plist {

namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kFooter = "</plist>\n";

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

class Writer {
 public:
  Writer(std::string& out, std::string& error) : out_(out), error_(error) {}

  bool value(const Value& v, int depth) {
    switch (v.type()) {
      case Type::Dictionary:
        return dictionary(*as<Dictionary>(&v), depth);
      case Type::Array:
        return array(*as<Array>(&v), depth);
      case Type::String:
        return text_element("string", as<String>(&v)->text(), depth);
      case Type::Number:
        number(*as<Number>(&v), depth);
        return true;
      case Type::Boolean:
        indent(depth);
        out_ += as<Boolean>(&v)->value() ? "<true/>\n" : "<false/>\n";
        return true;
      case Type::Data:
        data(as<Data>(&v)->bytes(), depth);
        return true;
      case Type::Date:
        return date(as<Date>(&v)->absolute_time(), depth);
    }
    return fail("unsupported value type");
  }

 private:
  bool fail(std::string what) {
    error_ = std::move(what);
    return false;
  }

  void indent(int depth) { out_.append(static_cast<size_t>(depth), '\t'); }

  bool escaped(std::string_view text, const char* what) {
    const std::string defect = text_defect(text, true);
    if (!defect.empty()) return fail(std::string(what) + " cannot be written: " + defect);
    for (char c : text) {
      if (c == '&')
        out_ += "&amp;";
      else if (c == '<')
        out_ += "&lt;";
      else if (c == '>')
        out_ += "&gt;";
      else
        out_ += c;
    }
    return true;
  }

  bool text_element(std::string_view name, std::string_view text, int depth) {
    indent(depth);
    out_.append("<").append(name).append(">");
    if (!escaped(text, name == "key" ? "key" : "string")) return false;
    out_.append("</").append(name).append(">\n");
    return true;
  }

  bool too_deep(int depth) {
    if (depth < kMaxDepth) return false;
    return !fail("nesting deeper than " + std::to_string(kMaxDepth) + " levels");
  }

  bool dictionary(const Dictionary& d, int depth) {
    if (too_deep(depth)) return false;
    indent(depth);
    if (d.empty()) {
      out_ += "<dict/>\n";
      return true;
    }
    out_ += "<dict>\n";
    for (const auto& [key, item] : d.entries()) {
      if (!text_element("key", key, depth + 1)) return false;
      if (!item) return fail("key \"" + key + "\" has no value");
      if (!value(*item, depth + 1)) return false;
    }
    indent(depth);
    out_ += "</dict>\n";
    return true;
  }

  bool array(const Array& a, int depth) {
    if (too_deep(depth)) return false;
    indent(depth);
    if (a.empty()) {
      out_ += "<array/>\n";
      return true;
    }
    out_ += "<array>\n";
    for (const auto& item : a.items()) {
      if (!item) return fail("array item has no value");
      if (!value(*item, depth + 1)) return false;
    }
    indent(depth);
    out_ += "</array>\n";
    return true;
  }

  void number(const Number& n, int depth) {
    indent(depth);
    char text[32];
    if (!n.is_float()) {
      const int64_t v = n.int_value();
      const auto end = n.is_unsigned() || v >= 0
                           ? std::to_chars(text, text + sizeof text, static_cast<uint64_t>(v)).ptr
                           : std::to_chars(text, text + sizeof text, v).ptr;
      out_.append("<integer>").append(text, end).append("</integer>\n");
      return;
    }
    const double d = n.real_value();
    std::string_view shown;
    if (d == 0)
      shown = "0.0";  // either sign
    else if (std::isnan(d))
      shown = "nan";
    else if (std::isinf(d))
      shown = d > 0 ? "+infinity" : "-infinity";
    else
      shown = std::string_view(
          text, std::to_chars(text, text + sizeof text, d, std::chars_format::general, 17).ptr);
    out_.append("<real>").append(shown).append("</real>\n");
  }

  // Base64 lines as wide as 76 columns minus a tab stop per level, indented
  // by at most eight tabs.
  void data(const std::vector<uint8_t>& bytes, int depth) {
    indent(depth);
    out_ += "<data>\n";
    const int tabs = depth < 8 ? depth : 8;
    const size_t width = static_cast<size_t>(76 - 8 * tabs);
    std::string encoded;
    encoded.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
      const size_t left = bytes.size() - i;
      const uint32_t bits = uint32_t{bytes[i]} << 16 |
                            (left > 1 ? uint32_t{bytes[i + 1]} << 8 : 0) |
                            (left > 2 ? bytes[i + 2] : 0);
      encoded += kBase64[bits >> 18 & 63];
      encoded += kBase64[bits >> 12 & 63];
      encoded += left > 1 ? kBase64[bits >> 6 & 63] : '=';
      encoded += left > 2 ? kBase64[bits & 63] : '=';
    }
    for (size_t at = 0; at < encoded.size(); at += width) {
      indent(tabs);
      out_.append(encoded, at, width).append("\n");
    }
    indent(depth);
    out_ += "</data>\n";
  }

  bool date(double t, int depth) {
    const std::optional<std::string> text = date_text(t);
    if (!text) return fail("date out of range (years 0000-9999)");
    indent(depth);
    out_.append("<date>").append(*text).append("</date>\n");
    return true;
  }

  std::string& out_;
  std::string& error_;
};

}  // namespace

bool write_xml_plist(const Value& value, std::vector<uint8_t>& out, std::string& error) {
  std::string text(kHeader);
  if (!Writer(text, error).value(value, 0)) return false;
  text += kFooter;
  out.assign(text.begin(), text.end());
  return true;
}

}  // namespace cx::plist
