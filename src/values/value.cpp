// Making typed values, reading one type as another, the common numeric type of two
// operands, and negation. The conversion rules keep their asymmetries on purpose: only
// floating sources are clamped, NUMERIC sources wrap, and a BIGINT too large for a smaller
// type becomes that type's positive maximum whatever its sign.
#include "values/value.h"

#include <cmath>
#include <limits>

namespace tavrel {

bool is_numeric_type(uint8_t type) {
  switch (type) {
    case TYPE_SMALLINT:
    case TYPE_INTEGER:
    case TYPE_REAL:
    case TYPE_DOUBLE:
    case TYPE_NUMERIC:
    case TYPE_BIGINT:
      return true;
    default:
      return false;
  }
}

static Value blank_value(uint8_t type) {
  Value v;
  std::memset(&v, 0, sizeof v);
  v.type = type;
  return v;
}

Value make_none() { return blank_value(TYPE_NONE); }
Value make_null() { return blank_value(TYPE_NULL); }

Value make_smallint(int16_t x) {
  Value v = blank_value(TYPE_SMALLINT);
  payload_put(v, x);
  return v;
}

Value make_integer(int32_t x) {
  Value v = blank_value(TYPE_INTEGER);
  payload_put(v, x);
  return v;
}

Value make_bigint(int64_t x) {
  Value v = blank_value(TYPE_BIGINT);
  payload_put(v, x);
  return v;
}

Value make_real(float x) {
  Value v = blank_value(TYPE_REAL);
  payload_put(v, x);
  return v;
}

Value make_double(double x) {
  Value v = blank_value(TYPE_DOUBLE);
  payload_put(v, x);
  return v;
}

Value make_numeric(const Decimal& x) {
  Value v = blank_value(TYPE_NUMERIC);
  payload_put(v, x);
  return v;
}

Value make_bool(bool x) {
  Value v = blank_value(TYPE_BOOL);
  v.payload[0] = x ? 1 : 0;
  return v;
}

Value make_char(const char* text, uint16_t tag) {
  Value v = blank_value(TYPE_CHAR);
  payload_put(v, text);
  payload_put(v, tag, CHAR_TAG_OFFSET);
  return v;
}

Value make_date(DateRecord d) {
  Value v = blank_value(TYPE_DATE);
  payload_put(v, d.day);
  payload_put(v, d.time, 4);
  return v;
}

Value make_byte(const uint8_t* block) {
  Value v = blank_value(TYPE_BYTE);
  payload_put(v, block);
  return v;
}

Value make_nchar(const uint16_t* text, uint8_t type) {
  Value v = blank_value(type);
  payload_put(v, text);
  return v;
}

uint16_t byte_count(const Value& v) {
  const uint8_t* block = value_bytes(v);
  if (block == nullptr) return 0;
  uint16_t n;
  std::memcpy(&n, block, sizeof n);
  return n;
}

const uint8_t* byte_data(const Value& v) {
  const uint8_t* block = value_bytes(v);
  return block == nullptr ? nullptr : block + sizeof(uint16_t);
}

// A finite double truncated toward zero and reduced modulo 2^64: the low bits that a
// wrapping conversion keeps. Infinities and NaN give 0.
static uint64_t wrap_double(double x) {
  if (!std::isfinite(x)) return 0;
  constexpr double TWO_63 = 9223372036854775808.0;
  constexpr double TWO_64 = 18446744073709551616.0;
  double t = std::trunc(x);
  if (std::fabs(t) < TWO_63) return static_cast<uint64_t>(static_cast<int64_t>(t));
  // Beyond 2^63 a double is a multiple of 2^11 or more, so the reduction below is exact.
  t = std::fmod(t, TWO_64);
  if (t < 0) t += TWO_64;
  return t >= TWO_64 ? 0 : static_cast<uint64_t>(t);
}

// The BIGINT reading of a double: magnitudes up to 2^63 truncate, others give the
// maximum. 2^63 itself passes the test and converts to the minimum, as the processor's
// conversion does for an out-of-range result.
static int64_t double_to_bigint(double x) {
  constexpr double TWO_63 = 9223372036854775808.0;
  if (!(std::fabs(x) <= TWO_63)) return std::numeric_limits<int64_t>::max();
  if (std::fabs(x) == TWO_63) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(x);
}

// True when the high 32 bits are all zeros or all ones.
static bool bigint_high_half_plain(int64_t x) {
  uint32_t high = static_cast<uint32_t>(static_cast<uint64_t>(x) >> 32);
  return high == 0 || high == 0xFFFFFFFFu;
}

static double float_source(const Value& v) {
  return v.type == TYPE_REAL ? static_cast<double>(payload_get<float>(v)) : payload_get<double>(v);
}

int16_t read_as_smallint(const Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT:
      return payload_get<int16_t>(v);
    case TYPE_INTEGER:
      return static_cast<int16_t>(payload_get<int32_t>(v));
    case TYPE_REAL:
    case TYPE_DOUBLE: {
      double x = float_source(v);
      if (std::isnan(x)) return 0;
      if (x > 32767.0) return 32767;
      if (x < -32768.0) return -32768;
      return static_cast<int16_t>(x);
    }
    case TYPE_NUMERIC:
      return static_cast<int16_t>(wrap_double(decimal_to_double(value_decimal(v))));
    case TYPE_BIGINT: {
      int64_t x = payload_get<int64_t>(v);
      return bigint_high_half_plain(x) ? static_cast<int16_t>(x) : int16_t{32767};
    }
    default:
      return 0;
  }
}

int32_t read_as_integer(const Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT:
      return payload_get<int16_t>(v);
    case TYPE_INTEGER:
      return payload_get<int32_t>(v);
    case TYPE_REAL:
    case TYPE_DOUBLE: {
      double x = float_source(v);
      if (std::isnan(x)) return 0;
      if (x > 2147483647.0) return 2147483647;
      if (x < -2147483648.0) return std::numeric_limits<int32_t>::min();
      return static_cast<int32_t>(x);
    }
    case TYPE_NUMERIC:
      return static_cast<int32_t>(wrap_double(decimal_to_double(value_decimal(v))));
    case TYPE_BIGINT: {
      int64_t x = payload_get<int64_t>(v);
      return bigint_high_half_plain(x) ? static_cast<int32_t>(x) : 2147483647;
    }
    default:
      return 0;
  }
}

int64_t read_as_bigint(const Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT:
      return payload_get<int16_t>(v);
    case TYPE_INTEGER:
      return payload_get<int32_t>(v);
    case TYPE_REAL:
    case TYPE_DOUBLE:
      return double_to_bigint(float_source(v));
    case TYPE_NUMERIC:
      return double_to_bigint(decimal_to_double(value_decimal(v)));
    case TYPE_BIGINT:
      return payload_get<int64_t>(v);
    default:
      return 0;
  }
}

double read_as_double(const Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT:
      return payload_get<int16_t>(v);
    case TYPE_INTEGER:
      return payload_get<int32_t>(v);
    case TYPE_REAL:
    case TYPE_DOUBLE:
      return float_source(v);
    case TYPE_NUMERIC:
      return decimal_to_double(value_decimal(v));
    case TYPE_BIGINT:
      return static_cast<double>(payload_get<int64_t>(v));
    default:
      return 0.0;
  }
}

double read_as_real(const Value& v) { return read_as_double(v); }

Decimal read_as_numeric(const Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT:
      return decimal_from_int32(payload_get<int16_t>(v));
    case TYPE_INTEGER:
      return decimal_from_int32(payload_get<int32_t>(v));
    case TYPE_REAL:
    case TYPE_DOUBLE:
      return decimal_from_double(float_source(v));
    case TYPE_NUMERIC:
      return value_decimal(v);
    case TYPE_BIGINT:
      return decimal_from_double(static_cast<double>(payload_get<int64_t>(v)));
    default:
      return decimal_zero();
  }
}

// Rewrites v as the given numeric type, reading its payload by the table above.
static void convert_in_place(Value& v, uint8_t type) {
  if (v.type == type) return;
  switch (type) {
    case TYPE_SMALLINT: v = make_smallint(read_as_smallint(v)); break;
    case TYPE_INTEGER: v = make_integer(read_as_integer(v)); break;
    case TYPE_REAL: v = make_real(static_cast<float>(read_as_real(v))); break;
    case TYPE_DOUBLE: v = make_double(read_as_double(v)); break;
    case TYPE_NUMERIC: v = make_numeric(read_as_numeric(v)); break;
    case TYPE_BIGINT: v = make_bigint(read_as_bigint(v)); break;
    default: break;
  }
}

uint8_t common_numeric_type(Value& left, Value& right) {
  uint8_t l = left.type;
  uint8_t r = right.type;
  uint8_t result;
  if (r == TYPE_BIGINT) {
    result = l < TYPE_REAL ? uint8_t{TYPE_BIGINT} : l;
  } else if (l != TYPE_BIGINT) {
    result = l > r ? l : r;
  } else {
    result = r >= TYPE_REAL ? r : uint8_t{TYPE_BIGINT};
  }
  convert_in_place(left, result);
  convert_in_place(right, result);
  return result;
}

void negate_value(Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT:
      payload_put(v, static_cast<int16_t>(-static_cast<uint16_t>(payload_get<uint16_t>(v))));
      break;
    case TYPE_INTEGER:
      payload_put(v, static_cast<int32_t>(0u - payload_get<uint32_t>(v)));
      break;
    case TYPE_BIGINT:
      payload_put(v, static_cast<int64_t>(0ull - payload_get<uint64_t>(v)));
      break;
    case TYPE_REAL:
      payload_put(v, -payload_get<float>(v));
      break;
    case TYPE_DOUBLE:
      payload_put(v, -payload_get<double>(v));
      break;
    case TYPE_NUMERIC:
      payload_put(v, decimal_negate(value_decimal(v)));
      break;
    default:
      break;
  }
}

}  // namespace tavrel
