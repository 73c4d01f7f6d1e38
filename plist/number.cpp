#include <cmath>
#include <cstring>

#include "plist/value.h"

namespace cx::plist {

namespace {

// Storage sizes indexed by type code; code 0 is not a type.
constexpr int kTypeSizes[15] = {0, 1, 2, 4, 8, 4, 8, 1, 2, 4, 8, 8, 4, 8, 8};

bool known_type(NumberType t) {
  const int code = static_cast<int>(t);
  return code >= 1 && code <= 14;
}

// Integer width of a type; unknown codes keep the full 64 bits.
int int_bits(NumberType t) {
  const int size = number_type_size(t);
  return size == 0 ? 64 : size * 8;
}

int64_t wrap_to_width(int64_t v, int bits) {
  switch (bits) {
    case 8:
      return static_cast<int8_t>(v);
    case 16:
      return static_cast<int16_t>(v);
    case 32:
      return static_cast<int32_t>(v);
    default:
      return v;
  }
}

// Truncates toward zero and saturates at the limits of a signed type of
// `bits` bits; NaN gives 0. `exact` tells whether nothing was lost.
int64_t real_to_int(double r, int bits, bool& exact) {
  exact = false;
  if (std::isnan(r)) return 0;
  const double limit = std::ldexp(1.0, bits - 1);
  const int64_t max = bits == 64 ? INT64_MAX : (int64_t{1} << (bits - 1)) - 1;
  const double t = std::trunc(r);
  if (t < -limit) return -max - 1;
  if (t >= limit) return max;
  exact = t == r;
  return static_cast<int64_t>(t);
}

// Round-to-nearest to float without relying on an out-of-range conversion:
// values from the midpoint above FLT_MAX on become infinite.
float real_to_float(double r) {
  const double overflow = std::ldexp(1.0, 128) - std::ldexp(1.0, 103);
  if (r >= overflow) return HUGE_VALF;
  if (r <= -overflow) return -HUGE_VALF;
  return static_cast<float>(r);
}

bool same_real(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

// Whether the real r is exactly the integer whose bits are `bits`
// (unsigned when `is_unsigned`).
bool real_is_int(double r, int64_t bits, bool is_unsigned) {
  const double two63 = std::ldexp(1.0, 63);
  if (std::isnan(r) || r != std::trunc(r)) return false;
  if (is_unsigned) {
    return r >= two63 && r < 2 * two63 && static_cast<uint64_t>(r) == static_cast<uint64_t>(bits);
  }
  return r >= -two63 && r < two63 && static_cast<int64_t>(r) == bits;
}

template <class T>
void store(void* out, T v) {
  std::memcpy(out, &v, sizeof v);
}

void store_int(void* out, int64_t v, int bits) {
  switch (bits) {
    case 8:
      store(out, static_cast<int8_t>(v));
      break;
    case 16:
      store(out, static_cast<int16_t>(v));
      break;
    case 32:
      store(out, static_cast<int32_t>(v));
      break;
    default:
      store(out, v);
      break;
  }
}

}  // namespace

bool is_float_type(NumberType t) {
  return t == NumberType::Float32 || t == NumberType::Float64 || t == NumberType::Float ||
         t == NumberType::Double;
}

int number_type_size(NumberType t) {
  return known_type(t) ? kTypeSizes[static_cast<int>(t)] : 0;
}

Number::Number(NumberType t, int64_t v) : Value(Type::Number), type_(t) {
  if (!is_float())
    int_ = wrap_to_width(v, int_bits(t));
  else if (number_type_size(t) == 4)
    real_ = static_cast<float>(v);
  else
    real_ = static_cast<double>(v);
}

Number::Number(NumberType t, double v) : Value(Type::Number), type_(t) {
  bool exact = false;
  if (!is_float())
    int_ = real_to_int(v, int_bits(t), exact);
  else if (number_type_size(t) == 4)
    real_ = real_to_float(v);
  else
    real_ = v;
}

Number::Number(uint64_t v)
    : Value(Type::Number),
      type_(NumberType::SInt64),
      unsigned_(v > uint64_t{INT64_MAX}),
      int_(static_cast<int64_t>(v)) {}

int64_t Number::int_value() const {
  bool exact = false;
  return is_float() ? real_to_int(real_, 64, exact) : int_;
}

double Number::real_value() const {
  if (is_float()) return real_;
  return unsigned_ ? static_cast<double>(static_cast<uint64_t>(int_)) : static_cast<double>(int_);
}

bool Number::get_value(NumberType want, void* out) const {
  if (!known_type(want) || out == nullptr) return false;
  if (is_float_type(want)) {
    if (number_type_size(want) == 4) {
      float f = 0;
      if (is_float())
        f = real_to_float(real_);
      else if (unsigned_)
        f = static_cast<float>(static_cast<uint64_t>(int_));
      else
        f = static_cast<float>(int_);
      store(out, f);
      return is_float() ? same_real(f, real_) : real_is_int(f, int_, unsigned_);
    }
    const double d = real_value();
    store(out, d);
    return is_float() || real_is_int(d, int_, unsigned_);
  }
  const int bits = int_bits(want);
  bool exact = false;
  int64_t v = 0;
  if (is_float()) {
    v = real_to_int(real_, bits, exact);
  } else {
    v = wrap_to_width(int_, bits);
    exact = !unsigned_ && v == int_;
  }
  store_int(out, v, bits);
  return exact;
}

bool same_number(const Number& a, const Number& b) {
  if (a.is_float() && b.is_float()) return same_real(a.real_value(), b.real_value());
  if (!a.is_float() && !b.is_float())
    return a.is_unsigned() == b.is_unsigned() && a.int_value() == b.int_value();
  const Number& real = a.is_float() ? a : b;
  const Number& integer = a.is_float() ? b : a;
  return real_is_int(real.real_value(), integer.int_value(), integer.is_unsigned());
}

}  // namespace cx::plist
