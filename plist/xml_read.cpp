#include "plist/xml_read.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "plist/date_text.h"
#include "plist/limits.h"
#include "plist/text.h"

namespace cx::plist {

namespace {

enum class Elem {
  Plist,
  Dict,
  Array,
  String,
  Key,
  Integer,
  Real,
  Date,
  Data,
  True,
  False,
  Unknown
};

struct ElemName {
  Elem elem;
  std::string_view name;
};

constexpr ElemName kElemNames[] = {
    {Elem::Plist, "plist"},   {Elem::Dict, "dict"},   {Elem::Array, "array"},
    {Elem::String, "string"}, {Elem::Key, "key"},     {Elem::Integer, "integer"},
    {Elem::Real, "real"},     {Elem::Date, "date"},   {Elem::Data, "data"},
    {Elem::True, "true"},     {Elem::False, "false"},
};

Elem elem_of(std::string_view name) {
  for (const auto& e : kElemNames)
    if (e.name == name) return e.elem;
  return Elem::Unknown;
}

std::string_view name_of(Elem elem) {
  for (const auto& e : kElemNames)
    if (e.elem == elem) return e.name;
  return "?";
}

std::string tag(std::string_view name) {
  return "<" + std::string(name) + ">";
}

bool is_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_alpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_name_start(char c) {
  return is_alpha(c) || c == '_' || c == ':';
}
bool is_name_char(char c) {
  return is_name_start(c) || is_digit(c) || c == '-' || c == '.';
}

int hex_digit(char c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && is_space(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_space(s.back())) s.remove_suffix(1);
  return s;
}

// An integer as written: decimal without leading zeros (libplist read them
// as octal) or 0x hex, between -2^63 and 2^64-1. Values above INT64_MAX are
// unsigned; the others fit the smallest of SInt32 and SInt64.
ValueRef integer_value(std::string_view text, std::string& defect) {
  std::string_view s = trim(text);
  if (s.empty()) {
    defect = "empty <integer>";
    return nullptr;
  }
  const bool negative = s.front() == '-';
  if (s.front() == '-' || s.front() == '+') s.remove_prefix(1);
  const bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
  if (hex) s.remove_prefix(2);
  defect = "bad integer text";
  if (s.empty()) return nullptr;
  if (!hex && s.size() > 1 && s[0] == '0') {
    defect = "integer with a leading zero";
    return nullptr;
  }
  const uint64_t base = hex ? 16 : 10;
  uint64_t magnitude = 0;
  bool overflow = false;
  for (char c : s) {
    const int d = hex ? hex_digit(c) : (is_digit(c) ? c - '0' : -1);
    if (d < 0) return nullptr;
    if (magnitude > (UINT64_MAX - static_cast<uint64_t>(d)) / base) overflow = true;
    magnitude = magnitude * base + static_cast<uint64_t>(d);
  }
  if (overflow || (negative && magnitude > uint64_t{1} << 63)) {
    defect = "integer out of range";
    return nullptr;
  }
  defect.clear();
  if (!negative && magnitude > uint64_t{INT64_MAX}) return make_uint64(magnitude);
  const int64_t v =
      negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
  const bool fits32 = v >= INT32_MIN && v <= INT32_MAX;
  return make_number(fits32 ? NumberType::SInt32 : NumberType::SInt64, v);
}

bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const char x = (a[i] >= 'A' && a[i] <= 'Z') ? static_cast<char>(a[i] - 'A' + 'a') : a[i];
    if (x != b[i]) return false;
  }
  return true;
}

// Decimal reals as strtod reads them, and the words nan, inf, infinity.
bool is_real_text(std::string_view text) {
  std::string_view s = trim(text);
  if (!s.empty() && (s.front() == '-' || s.front() == '+')) s.remove_prefix(1);
  if (iequals(s, "nan") || iequals(s, "inf") || iequals(s, "infinity")) return true;
  size_t i = 0;
  size_t digits = 0;
  while (i < s.size() && is_digit(s[i])) ++i, ++digits;
  if (i < s.size() && s[i] == '.') {
    ++i;
    while (i < s.size() && is_digit(s[i])) ++i, ++digits;
  }
  if (digits == 0) return false;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) ++i;
    size_t exponent_digits = 0;
    while (i < s.size() && is_digit(s[i])) ++i, ++exponent_digits;
    if (exponent_digits == 0) return false;
  }
  return i == s.size();
}

ValueRef real_value(std::string_view text) {
  if (!is_real_text(text)) return nullptr;
  std::string_view s = trim(text);
  if (s.front() == '+') s.remove_prefix(1);
  double d = 0;
  const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), d);
  // Out of range: strtod's answer, the infinity or zero of that sign.
  if (error == std::errc::result_out_of_range) {
    const bool tiny =
        s.find_first_of("eE") != std::string_view::npos && s[s.find_first_of("eE") + 1] == '-';
    d = tiny ? 0.0 : HUGE_VAL;
    if (s.front() == '-') d = -d;
  }
  return make_real(NumberType::Float64, d);
}

int base64_digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (is_digit(c)) return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// Base64 with white space anywhere and at most two '=' of padding.
ValueRef data_value(std::string_view text) {
  std::string packed;
  packed.reserve(text.size());
  for (char c : text)
    if (!is_space(c)) packed += c;
  if (packed.size() % 4 != 0) return nullptr;
  size_t padding = 0;
  while (padding < 2 && padding < packed.size() && packed[packed.size() - 1 - padding] == '=')
    ++padding;
  std::vector<uint8_t> bytes;
  bytes.reserve(packed.size() / 4 * 3);
  uint32_t bits = 0;
  int held = 0;
  for (size_t i = 0; i + padding < packed.size(); ++i) {
    const int d = base64_digit(packed[i]);
    if (d < 0) return nullptr;
    bits = bits << 6 | static_cast<uint32_t>(d);
    held += 6;
    if (held >= 8) {
      held -= 8;
      bytes.push_back(static_cast<uint8_t>(bits >> held));
    }
  }
  return make_data(std::move(bytes));
}

class Scanner {
 public:
  explicit Scanner(std::string_view doc) : doc_(doc) {}

  XmlRead run() {
    XmlRead r;
    if (check_characters() && skip_prolog() && scan_body() && skip_epilog())
      r.value = std::move(root_);
    else
      r.defect = locate(failure_at_, failure_);
    return r;
  }

 private:
  struct Frame {
    Elem kind = Elem::Plist;
    size_t open_at = 0;
    size_t items = 0;
    std::vector<Dictionary::Entry> entries;  // a dictionary's, made at its end
    std::shared_ptr<Array> array;
  };
  struct StartTag {
    std::string_view name;
    bool empty = false;
  };

  bool fail(size_t at, std::string what) {
    failure_at_ = at;
    failure_ = std::move(what);
    return false;
  }

  bool at_end() const { return pos_ >= doc_.size(); }
  bool starts(std::string_view s) const {
    return pos_ <= doc_.size() && doc_.size() - pos_ >= s.size() &&
           std::memcmp(doc_.data() + pos_, s.data(), s.size()) == 0;
  }

  bool skip_space() {
    const size_t from = pos_;
    while (!at_end() && is_space(doc_[pos_])) ++pos_;
    return pos_ != from;
  }

  XmlDefect locate(size_t at, std::string what) const {
    XmlDefect d;
    d.what = std::move(what);
    for (size_t i = 0; i < at && i < doc_.size(); ++i) {
      const auto c = static_cast<uint8_t>(doc_[i]);
      if (c == '\n') {
        ++d.line;
        d.column = 1;
      } else if ((c & 0xC0) != 0x80) {
        ++d.column;
      }
    }
    return d;
  }

  std::string where(size_t at) const {
    const XmlDefect d = locate(at, {});
    return "line " + std::to_string(d.line) + ", column " + std::to_string(d.column);
  }

  // XML 1.0 characters in UTF-8 only: libplist passes anything through, and
  // its XML writer silently drops what XML cannot carry.
  bool check_characters() {
    for (size_t i = 0; i < doc_.size();) {
      i = skip_plain_ascii(doc_, i);
      if (i == doc_.size()) break;
      uint32_t c = 0;
      const size_t len = decode_utf8(doc_, i, c);
      if (len == 0) return fail(i, "invalid UTF-8");
      if (!is_xml_char(c))
        return fail(i, "character " + code_point_name(c) + " is not allowed in XML");
      i += len;
    }
    return true;
  }

  bool skip_until(std::string_view end, const char* what) {
    const size_t found = doc_.find(end, pos_);
    if (found == std::string_view::npos) return fail(pos_, what);
    pos_ = found + end.size();
    return true;
  }

  bool skip_misc() {
    if (starts("<!--")) return skip_until("-->", "unterminated comment");
    if (starts("<?")) return skip_until("?>", "unterminated processing instruction");
    return true;
  }

  bool skip_prolog() {
    for (;;) {
      skip_space();
      if (starts("<!DOCTYPE")) {
        const size_t end = doc_.find('>', pos_);
        const size_t subset = doc_.find('[', pos_);
        if (end == std::string_view::npos) return fail(pos_, "unterminated DOCTYPE");
        if (subset < end) return fail(subset, "DOCTYPE with an internal subset");
        pos_ = end + 1;
      } else if (starts("<!--") || starts("<?")) {
        if (!skip_misc()) return false;
      } else {
        return true;
      }
    }
  }

  bool skip_epilog() {
    for (;;) {
      skip_space();
      if (at_end()) return true;
      if (!starts("<!--") && !starts("<?")) return fail(pos_, "content after </plist>");
      if (!skip_misc()) return false;
    }
  }

  std::string_view read_name() {
    const size_t from = pos_;
    if (!at_end() && is_name_start(doc_[pos_])) {
      while (!at_end() && is_name_char(doc_[pos_])) ++pos_;
    }
    return doc_.substr(from, pos_ - from);
  }

  bool parse_start_tag(StartTag& out) {
    const size_t at = pos_++;
    out = StartTag{};
    out.name = read_name();
    if (out.name.empty()) return fail(at, "malformed tag");
    for (;;) {
      const bool spaced = skip_space();
      if (at_end()) return fail(at, "unterminated " + tag(out.name) + " tag");
      if (starts("/>")) {
        pos_ += 2;
        out.empty = true;
        return true;
      }
      if (doc_[pos_] == '>') {
        ++pos_;
        return true;
      }
      const size_t attr_at = pos_;
      if (!spaced || read_name().empty())
        return fail(attr_at, "malformed " + tag(out.name) + " tag");
      skip_space();
      if (at_end() || doc_[pos_] != '=') return fail(attr_at, "malformed attribute");
      ++pos_;
      skip_space();
      if (at_end() || (doc_[pos_] != '"' && doc_[pos_] != '\''))
        return fail(attr_at, "malformed attribute");
      const size_t close = doc_.find(doc_[pos_], pos_ + 1);
      if (close == std::string_view::npos) return fail(attr_at, "unterminated attribute value");
      if (doc_.substr(pos_, close - pos_).find('<') != std::string_view::npos)
        return fail(attr_at, "'<' in an attribute value");
      pos_ = close + 1;
    }
  }

  bool parse_end_tag(std::string_view& name) {
    const size_t at = pos_;
    pos_ += 2;
    name = read_name();
    skip_space();
    if (name.empty() || at_end() || doc_[pos_] != '>') return fail(at, "malformed end tag");
    ++pos_;
    return true;
  }

  bool read_reference(std::string& text) {
    const size_t at = pos_;
    const size_t semi = doc_.find(';', pos_);
    if (semi == std::string_view::npos || semi - pos_ > 12)
      return fail(at, "unterminated entity reference");
    const std::string_view ref = doc_.substr(pos_ + 1, semi - pos_ - 1);
    pos_ = semi + 1;
    static constexpr std::pair<std::string_view, char> kNamed[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [name, c] : kNamed) {
      if (ref == name) {
        text += c;
        return true;
      }
    }
    if (ref.size() < 2 || ref[0] != '#')
      return fail(at, "unknown entity &" + std::string(ref) + ";");
    const bool hex = ref[1] == 'x';
    const std::string_view digits = ref.substr(hex ? 2 : 1);
    uint32_t c = 0;
    for (char d : digits) {
      const int v = hex ? hex_digit(d) : (is_digit(d) ? d - '0' : -1);
      if (v < 0 || c > 0x10FFFF) return fail(at, "bad character reference");
      c = c * (hex ? 16 : 10) + static_cast<uint32_t>(v);
    }
    if (digits.empty()) return fail(at, "bad character reference");
    if (!is_xml_char(c))
      return fail(at, "character reference to " + code_point_name(c) + ", not an XML character");
    append_utf8(text, c);
    return true;
  }

  // Text up to the end tag of `name`. Strings and keys may use entity
  // references and CDATA; the other scalars must be plain text.
  bool read_content(std::string_view name, size_t open_at, bool markup, std::string& text) {
    for (;;) {
      if (at_end()) return fail(open_at, "unclosed " + tag(name));
      const char c = doc_[pos_];
      if (c == '&' && markup) {
        if (!read_reference(text)) return false;
      } else if (c == '<' && markup && starts("<![CDATA[")) {
        const size_t end = doc_.find("]]>", pos_);
        if (end == std::string_view::npos) return fail(pos_, "unterminated CDATA section");
        text.append(doc_.substr(pos_ + 9, end - pos_ - 9));
        pos_ = end + 3;
      } else if (starts("</")) {
        const size_t at = pos_;
        std::string_view end_name;
        if (!parse_end_tag(end_name)) return false;
        if (end_name != name)
          return fail(at, "</" + std::string(end_name) + "> does not close " + tag(name));
        return true;
      } else if (c == '<' || c == '&') {
        return fail(pos_, "markup inside " + tag(name));
      } else {
        size_t end = pos_ + 1;
        while (end < doc_.size() && doc_[end] != '<' && doc_[end] != '&') ++end;
        text.append(doc_.substr(pos_, end - pos_));
        pos_ = end;
      }
    }
  }

  // The value of a scalar element's text; null with the defect recorded.
  ValueRef scalar_value(Elem kind, std::string& text, size_t at) {
    ValueRef v;
    std::string defect;
    switch (kind) {
      case Elem::String:
        return make_string(std::move(text));
      case Elem::Integer:
        v = integer_value(text, defect);
        break;
      case Elem::Real:
        v = real_value(text);
        defect = "bad real text";
        break;
      case Elem::Date:
        if (const auto t = date_from_text(text)) v = make_date(*t);
        defect = "bad date text";
        break;
      case Elem::Data:
        v = data_value(text);
        defect = "bad base64 data";
        break;
      case Elem::True:
      case Elem::False:
        if (trim(text).empty()) v = make_bool(kind == Elem::True);
        defect = "text inside " + tag(name_of(kind));
        break;
      default:
        break;
    }
    if (!v) fail(at, defect);
    return v;
  }

  // Hands a finished value to the element that holds it.
  void attach(Frame& holder, ValueRef v) {
    if (holder.kind == Elem::Array)
      holder.array->append(std::move(v));
    else if (holder.kind == Elem::Dict)
      holder.entries.back().second = std::move(v);
    else
      root_ = std::move(v);
  }

  static ValueRef finish(Frame& frame) {
    if (frame.kind == Elem::Array) return std::move(frame.array);
    return std::make_shared<Dictionary>(std::move(frame.entries));
  }

  bool scan_body() {
    skip_space();
    if (at_end()) return fail(pos_, "no property list");
    if (!starts("<")) return fail(pos_, "expected <plist>");
    const size_t plist_at = pos_;
    StartTag start;
    if (!parse_start_tag(start)) return false;
    if (start.name != "plist") return fail(plist_at, "expected <plist>, found " + tag(start.name));
    if (start.empty) return fail(plist_at, "empty property list");
    std::vector<Frame> stack(1);
    stack.back().kind = Elem::Plist;
    stack.back().open_at = plist_at;
    while (!stack.empty()) {
      skip_space();
      Frame& top = stack.back();
      if (at_end()) {
        return fail(
            pos_, "unclosed " + tag(name_of(top.kind)) + " (opened at " + where(top.open_at) + ")");
      }
      if (starts("<!--")) {
        if (!skip_misc()) return false;
        continue;
      }
      const size_t at = pos_;
      if (starts("</")) {
        std::string_view name;
        if (!parse_end_tag(name)) return false;
        if (name != name_of(top.kind))
          return fail(at, "</" + std::string(name) + "> does not close " + tag(name_of(top.kind)));
        if (top.kind == Elem::Dict && top.items % 2 != 0) return fail(at, "<key> without a value");
        if (top.kind == Elem::Plist && top.items == 0) return fail(at, "empty property list");
        if (top.kind != Elem::Plist) {
          ValueRef done = finish(top);
          stack.pop_back();
          attach(stack.back(), std::move(done));
        } else {
          stack.pop_back();
        }
        continue;
      }
      if (doc_[pos_] != '<') return fail(at, "text inside " + tag(name_of(top.kind)));
      if (starts("<!") || starts("<?")) return fail(at, "markup inside " + tag(name_of(top.kind)));
      if (!parse_start_tag(start)) return false;
      const Elem kind = elem_of(start.name);
      if (kind == Elem::Unknown || kind == Elem::Plist)
        return fail(at, "unknown element " + tag(start.name));
      if (top.kind == Elem::Dict) {
        if (top.items % 2 == 0 && kind != Elem::Key)
          return fail(at, "expected <key>, found " + tag(start.name));
        if (top.items % 2 != 0 && kind == Elem::Key) return fail(at, "<key> without a value");
      } else if (kind == Elem::Key) {
        return fail(at, "<key> outside a dictionary");
      }
      if (top.kind == Elem::Plist && top.items > 0)
        return fail(at, "more than one value in <plist>");
      ++top.items;
      if (kind == Elem::Dict || kind == Elem::Array) {
        // The <plist> frame is not a nesting level; empty containers are.
        if (static_cast<int>(stack.size()) > kMaxDepth)
          return fail(at, "nesting deeper than " + std::to_string(kMaxDepth) + " levels");
        if (start.empty) {
          attach(top, kind == Elem::Dict ? ValueRef(make_dictionary()) : ValueRef(make_array()));
        } else {
          Frame frame;
          frame.kind = kind;
          frame.open_at = at;
          if (kind == Elem::Array) frame.array = std::make_shared<Array>();
          stack.push_back(std::move(frame));
        }
        continue;
      }
      std::string text;
      const bool markup = kind == Elem::String || kind == Elem::Key;
      if (!start.empty && !read_content(start.name, at, markup, text)) return false;
      if (kind == Elem::Key) {
        top.entries.emplace_back(std::move(text), nullptr);
        continue;
      }
      ValueRef v = scalar_value(kind, text, at);
      if (!v) return false;
      attach(top, std::move(v));
    }
    return true;
  }

  std::string_view doc_;
  size_t pos_ = 0;
  size_t failure_at_ = 0;
  std::string failure_;
  ValueRef root_;
};

}  // namespace

XmlRead read_xml_plist(std::string_view doc) {
  return Scanner(doc).run();
}

}  // namespace cx::plist
