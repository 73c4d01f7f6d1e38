// Property-list values: the types the agent keeps in preference files and
// hands around in memory. Values are shared (CoreFoundation-style retain);
// dictionaries and arrays are mutable in place.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cx::plist {

enum class Type { Dictionary, Array, String, Number, Boolean, Data, Date };

// The platform's number type codes; the dumper names them and the preference
// files remember them.
enum class NumberType : int {
  SInt8 = 1,
  SInt16 = 2,
  SInt32 = 3,
  SInt64 = 4,
  Float32 = 5,
  Float64 = 6,
  Char = 7,
  Short = 8,
  Int = 9,
  Long = 10,
  LongLong = 11,
  Float = 12,
  Double = 13,
  CFIndex = 14,
};

bool is_float_type(NumberType t);
// Storage size of a number type on this platform (long and CFIndex are 64-bit).
int number_type_size(NumberType t);

class Value;
using ValueRef = std::shared_ptr<Value>;
using ConstValueRef = std::shared_ptr<const Value>;

class Value : public std::enable_shared_from_this<Value> {
 public:
  virtual ~Value() = default;
  Type type() const { return type_; }
  // Retain count as CoreFoundation would report it: the number of owners.
  long retain_count() const { return weak_from_this().use_count(); }

 protected:
  explicit Value(Type t) : type_(t) {}

 private:
  Type type_;
};

class String final : public Value {
 public:
  explicit String(std::string s) : Value(Type::String), text_(std::move(s)) {}
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// A number holds a value of its own type, as if created from a C variable of
// that type: an integer is wrapped to the type's width (C conversion), a real
// given to an integer type is truncated toward zero and saturated, a real of a
// 32-bit float type is rounded to float.
class Number final : public Value {
 public:
  Number(NumberType t, int64_t v);
  Number(NumberType t, double v);
  // An SInt64 that may exceed INT64_MAX: property-list files can hold
  // unsigned 64-bit integers, and they must survive a round trip.
  explicit Number(uint64_t v);
  NumberType number_type() const { return type_; }
  bool is_float() const { return is_float_type(type_); }
  // True when the value is an unsigned integer above INT64_MAX; int_value()
  // then gives its two's complement bits.
  bool is_unsigned() const { return unsigned_; }
  // CFNumberGetValue: writes the value converted to `want` with C conversion
  // semantics into `out` (number_type_size(want) bytes) and returns false when
  // the conversion lost information. Reals go to integers truncated toward
  // zero and saturated at the type's limits (NaN gives 0).
  bool get_value(NumberType want, void* out) const;
  // The stored value; a real is truncated and saturated as by get_value.
  int64_t int_value() const;
  double real_value() const;

 private:
  NumberType type_;
  bool unsigned_ = false;
  int64_t int_ = 0;
  double real_ = 0;
};

class Boolean final : public Value {
 public:
  explicit Boolean(bool b) : Value(Type::Boolean), value_(b) {}
  bool value() const { return value_; }

 private:
  bool value_;
};

class Data final : public Value {
 public:
  explicit Data(std::vector<uint8_t> bytes) : Value(Type::Data), bytes_(std::move(bytes)) {}
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

// Seconds since 2001-01-01 00:00:00 UTC (CFAbsoluteTime).
class Date final : public Value {
 public:
  explicit Date(double absolute_time) : Value(Type::Date), time_(absolute_time) {}
  double absolute_time() const { return time_; }

 private:
  double time_;
};

class Array final : public Value {
 public:
  Array() : Value(Type::Array) {}
  size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  const ValueRef& at(size_t i) const { return items_.at(i); }
  void append(ValueRef v) { items_.push_back(std::move(v)); }
  void set(size_t i, ValueRef v) { items_.at(i) = std::move(v); }
  void remove(size_t i);
  void clear() { items_.clear(); }
  const std::vector<ValueRef>& items() const { return items_; }

 private:
  std::vector<ValueRef> items_;
};

// Keys keep the order in which they were first set (a dictionary read from a
// file keeps the file's order).
class Dictionary final : public Value {
 public:
  using Entry = std::pair<std::string, ValueRef>;
  Dictionary() : Value(Type::Dictionary) {}
  // Entries in order; a repeated key keeps its first position and its last
  // value (as successive set() calls would), in linear time.
  explicit Dictionary(std::vector<Entry> entries);
  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  // Null when the key is absent.
  ValueRef get(std::string_view key) const;
  bool contains(std::string_view key) const;
  // Replaces the value in place, or appends a new key at the end.
  void set(std::string_view key, ValueRef v);
  bool remove(std::string_view key);
  void clear() { entries_.clear(); }
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
};

template <class T>
constexpr Type type_of();
template <>
constexpr Type type_of<Dictionary>() {
  return Type::Dictionary;
}
template <>
constexpr Type type_of<Array>() {
  return Type::Array;
}
template <>
constexpr Type type_of<String>() {
  return Type::String;
}
template <>
constexpr Type type_of<Number>() {
  return Type::Number;
}
template <>
constexpr Type type_of<Boolean>() {
  return Type::Boolean;
}
template <>
constexpr Type type_of<Data>() {
  return Type::Data;
}
template <>
constexpr Type type_of<Date>() {
  return Type::Date;
}

// Typed views: null when the value is null or of another type.
template <class T>
const T* as(const Value* v) {
  return v && v->type() == type_of<T>() ? static_cast<const T*>(v) : nullptr;
}
template <class T>
T* as(const ValueRef& v) {
  return v && v->type() == type_of<T>() ? static_cast<T*>(v.get()) : nullptr;
}

// Constructors.
ValueRef make_string(std::string s);
ValueRef make_number(NumberType t, int64_t v);
ValueRef make_real(NumberType t, double v);
ValueRef make_int32(int32_t v);    // SInt32
ValueRef make_uint64(uint64_t v);  // SInt64, exact above INT64_MAX
ValueRef make_bool(bool b);
ValueRef make_data(std::vector<uint8_t> bytes);
ValueRef make_date(double absolute_time);
std::shared_ptr<Array> make_array();
std::shared_ptr<Dictionary> make_dictionary();
std::shared_ptr<Dictionary> make_dictionary(std::vector<Dictionary::Entry> entries);

// Numbers compare by value across types: 3 (SInt8) equals 3.0 (Float64),
// 3.5 equals no integer. A NaN equals a NaN, so equality stays reflexive.
bool same_number(const Number& a, const Number& b);

// CFEqual: deep structural equality; numbers compare by value across types,
// dictionaries regardless of key order.
bool equal(const Value* a, const Value* b);
inline bool equal(const ValueRef& a, const ValueRef& b) {
  return equal(a.get(), b.get());
}

// A copy that shares nothing mutable with the original.
ValueRef deep_copy(const Value* v);

}  // namespace cx::plist
