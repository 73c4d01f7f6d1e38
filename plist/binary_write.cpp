#include "plist/binary_write.h"

#include <bit>
#include <cmath>
#include <map>

#include "plist/limits.h"
#include "plist/text.h"
#include "util/byte_order.h"

namespace cx::plist {

namespace {

using Bytes = std::vector<uint8_t>;

void put_be(Bytes& out, uint64_t v, unsigned size) {
  for (unsigned i = size; i-- > 0;) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

// Smallest of 1, 2, 4 and 8 bytes that holds v.
unsigned width_of(uint64_t v) {
  if (v <= 0xFF) return 1;
  if (v <= 0xFFFF) return 2;
  if (v <= 0xFFFFFFFF) return 4;
  return 8;
}

void put_int_object(Bytes& out, uint64_t v) {
  const unsigned width = width_of(v);
  out.push_back(static_cast<uint8_t>(0x10 | std::countr_zero(width)));
  put_be(out, v, width);
}

// Marker with the count in its low nibble, or 0xF and an integer object.
void put_marker(Bytes& out, uint8_t type, uint64_t count) {
  if (count < 0x0F) {
    out.push_back(static_cast<uint8_t>(type << 4 | count));
    return;
  }
  out.push_back(static_cast<uint8_t>(type << 4 | 0x0F));
  put_int_object(out, count);
}

void put_double(Bytes& out, uint8_t marker, double d) {
  out.push_back(marker);
  put_be(out, std::bit_cast<uint64_t>(d), 8);
}

Bytes encode_number(const Number& n) {
  Bytes out;
  if (n.is_float()) {
    put_double(out, 0x23, n.real_value());
  } else if (n.is_unsigned()) {
    out.push_back(0x14);  // 128-bit, high half zero
    put_be(out, 0, 8);
    put_be(out, static_cast<uint64_t>(n.int_value()), 8);
  } else if (n.int_value() < 0) {
    out.push_back(0x13);  // eight bytes are signed
    put_be(out, static_cast<uint64_t>(n.int_value()), 8);
  } else {
    put_int_object(out, static_cast<uint64_t>(n.int_value()));
  }
  return out;
}

// ASCII as is, anything else as UTF-16BE. The text is valid UTF-8.
Bytes encode_string(const std::string& text) {
  Bytes out;
  bool ascii = true;
  for (char c : text) ascii = ascii && static_cast<uint8_t>(c) < 0x80;
  if (ascii) {
    put_marker(out, 0x5, text.size());
    out.insert(out.end(), text.begin(), text.end());
    return out;
  }
  Bytes units;
  for (size_t i = 0; i < text.size();) {
    uint32_t c = 0;
    i += decode_utf8(text, i, c);
    if (c >= 0x10000) {
      c -= 0x10000;
      put_be(units, 0xD800 | (c >> 10), 2);
      put_be(units, 0xDC00 | (c & 0x3FF), 2);
    } else {
      put_be(units, c, 2);
    }
  }
  put_marker(out, 0x6, units.size() / 2);
  out.insert(out.end(), units.begin(), units.end());
  return out;
}

class Writer {
 public:
  explicit Writer(std::string& error) : error_(error) {}

  bool write(const Value& root, Bytes& out) {
    if (!add(root, 0)) return false;
    const uint64_t count = objects_.size();
    const unsigned ref_size = width_of(count - 1);
    out = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    std::vector<uint64_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& o : objects_) {
      offsets.push_back(out.size());
      out.insert(out.end(), o.bytes.begin(), o.bytes.end());
      for (uint64_t ref : o.refs) put_be(out, ref, ref_size);
    }
    const uint64_t table_at = out.size();
    const unsigned offset_size = width_of(table_at);
    for (uint64_t offset : offsets) put_be(out, offset, offset_size);
    uint8_t trailer[32] = {};
    trailer[6] = static_cast<uint8_t>(offset_size);
    trailer[7] = static_cast<uint8_t>(ref_size);
    store_be64(trailer + 8, count);
    store_be64(trailer + 16, 0);  // the root is the first object
    store_be64(trailer + 24, table_at);
    out.insert(out.end(), trailer, trailer + sizeof trailer);
    return true;
  }

 private:
  // An object's marker and payload; a container's references follow.
  struct Object {
    Bytes bytes;
    std::vector<uint64_t> refs;
  };

  bool fail(std::string what) {
    error_ = std::move(what);
    return false;
  }

  // Equal scalars share one object, numbered where first met.
  uint64_t add_scalar(Bytes bytes) {
    const auto [it, added] = scalars_.try_emplace(std::move(bytes), objects_.size());
    if (added) objects_.push_back({it->first, {}});
    return it->second;
  }

  bool add_text(const std::string& text, const char* what, uint64_t& index) {
    const std::string defect = text_defect(text, false);
    if (!defect.empty()) return fail(std::string(what) + " cannot be written: " + defect);
    index = add_scalar(encode_string(text));
    return true;
  }

  // Adds `v` and what it holds, depth-first; `index` is where `v` went.
  bool add(const Value& v, int depth, uint64_t* index = nullptr) {
    uint64_t at = 0;
    switch (v.type()) {
      case Type::Dictionary:
      case Type::Array: {
        if (depth >= kMaxDepth)
          return fail("nesting deeper than " + std::to_string(kMaxDepth) + " levels");
        at = objects_.size();
        objects_.emplace_back();
        if (!add_children(v, depth, at)) return false;
        break;
      }
      case Type::String:
        if (!add_text(as<String>(&v)->text(), "string", at)) return false;
        break;
      case Type::Number:
        at = add_scalar(encode_number(*as<Number>(&v)));
        break;
      case Type::Boolean:
        at = add_scalar({static_cast<uint8_t>(as<Boolean>(&v)->value() ? 0x09 : 0x08)});
        break;
      case Type::Data: {
        const auto& data = as<Data>(&v)->bytes();
        Bytes bytes;
        put_marker(bytes, 0x4, data.size());
        bytes.insert(bytes.end(), data.begin(), data.end());
        at = add_scalar(std::move(bytes));
        break;
      }
      case Type::Date: {
        const double t = as<Date>(&v)->absolute_time();
        if (!std::isfinite(t)) return fail("date is not a finite time");
        Bytes bytes;
        put_double(bytes, 0x33, t);
        at = add_scalar(std::move(bytes));
        break;
      }
    }
    if (index) *index = at;
    return true;
  }

  bool add_children(const Value& v, int depth, uint64_t at) {
    std::vector<uint64_t> refs;
    if (const auto* array = as<Array>(&v)) {
      put_marker(objects_[at].bytes, 0xA, array->size());
      for (const ValueRef& item : array->items()) {
        if (!item) return fail("array item has no value");
        refs.push_back(0);
        if (!add(*item, depth + 1, &refs.back())) return false;
      }
    } else {
      const auto* dict = as<Dictionary>(&v);
      put_marker(objects_[at].bytes, 0xD, dict->size());
      std::vector<uint64_t> values;
      for (const auto& [key, value] : dict->entries()) {
        if (!value) return fail("key \"" + key + "\" has no value");
        refs.push_back(0);
        if (!add_text(key, "key", refs.back())) return false;
        values.push_back(0);
        if (!add(*value, depth + 1, &values.back())) return false;
      }
      refs.insert(refs.end(), values.begin(), values.end());
    }
    objects_[at].refs = std::move(refs);
    return true;
  }

  std::string& error_;
  std::vector<Object> objects_;
  std::map<Bytes, uint64_t> scalars_;
};

}  // namespace

bool write_binary_plist(const Value& value, std::vector<uint8_t>& out, std::string& error) {
  return Writer(error).write(value, out);
}

}  // namespace cx::plist
