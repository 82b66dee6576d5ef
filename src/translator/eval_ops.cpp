// Operand types and computation of the evaluator's operators.
//
// Integers (SMALLINT, INTEGER, BIGINT) wrap in their own width; REAL is computed in float,
// DOUBLE in double, NUMERIC with the decimal arithmetic. A division by zero gives zero of the
// result type and is flagged, so that the evaluation can warn and go on.
#include "translator/eval_ops.h"

#include <cmath>
#include <cstring>

#include "text/unicode.h"
#include "translator/diagnostics.h"

namespace tavrel {

// --- types ---------------------------------------------------------------------------------

bool is_operand_type(uint8_t type) {
  switch (type) {
    case TYPE_NULL:
    case TYPE_BOOL:
    case TYPE_CHAR:
    case TYPE_DATE:
    case TYPE_BYTE:
    case TYPE_NCHAR:
    case TYPE_WSTRING:
      return true;
    default:
      return is_numeric_type(type);
  }
}

static bool is_wide(uint8_t t) { return t == TYPE_NCHAR || t == TYPE_WSTRING; }
static bool is_integer(uint8_t t) {
  return t == TYPE_SMALLINT || t == TYPE_INTEGER || t == TYPE_BIGINT;
}

uint8_t common_type_of(uint8_t left, uint8_t right) {
  if (right == TYPE_BIGINT) return left < TYPE_REAL ? uint8_t{TYPE_BIGINT} : left;
  if (left != TYPE_BIGINT) return left > right ? left : right;
  return right >= TYPE_REAL ? right : uint8_t{TYPE_BIGINT};
}

// Whether two operand types can be compared.
static bool comparable(uint8_t a, uint8_t b) {
  if (is_numeric_type(a)) return is_numeric_type(b);
  if (is_wide(a)) return is_wide(b);
  return a == b;
}

static int operand_check(uint8_t t) {
  if (t == TYPE_CURSOR) return DIAG_BAD_FIELD;
  if (!is_operand_type(t)) return DIAG_BAD_TYPE;
  return 0;
}

int binary_type(int op, uint8_t left, uint8_t right, uint8_t* result) {
  if (int d = operand_check(left); d != 0) return d;
  if (int d = operand_check(right); d != 0) return d;
  if (left == TYPE_NULL || right == TYPE_NULL) {
    if (op != OP_EQ && op != OP_NE) return DIAG_NULL_OPERATION;
    *result = TYPE_BOOL;
    return 0;
  }
  switch (op) {
    case OP_ADD:
      if (left == TYPE_CHAR && right == TYPE_CHAR) {
        *result = TYPE_CHAR;
        return 0;
      }
      if (is_wide(left) && is_wide(right)) {
        *result = TYPE_NCHAR;
        return 0;
      }
      if (left == TYPE_BYTE && right == TYPE_BYTE) {
        *result = TYPE_BYTE;
        return 0;
      }
      [[fallthrough]];
    case OP_SUB:
    case OP_MUL:
    case OP_DIV:
    case OP_IDIV:
    case OP_POW:
      if (!is_numeric_type(left) || !is_numeric_type(right)) return DIAG_TYPE_MISMATCH;
      *result = common_type_of(left, right);
      return 0;
    case OP_BITAND:
    case OP_BITOR:
      if (left == TYPE_BOOL && right == TYPE_BOOL) {
        *result = TYPE_BOOL;
        return 0;
      }
      if (!is_integer(left) || !is_integer(right)) return DIAG_TYPE_MISMATCH;
      *result = common_type_of(left, right);
      return 0;
    case OP_AND:
    case OP_OR:
      if (left != TYPE_BOOL || right != TYPE_BOOL) return DIAG_TYPE_MISMATCH;
      *result = TYPE_BOOL;
      return 0;
    default:  // comparisons
      if (!comparable(left, right)) return DIAG_TYPE_MISMATCH;
      *result = TYPE_BOOL;
      return 0;
  }
}

int unary_type(int op, uint8_t operand, uint8_t* result) {
  if (int d = operand_check(operand); d != 0) return d;
  if (operand == TYPE_NULL) return DIAG_NULL_OPERATION;
  bool ok = op == OP_NOT ? operand == TYPE_BOOL
            : op == OP_WIDE ? operand == TYPE_CHAR
                            : is_numeric_type(operand);
  if (!ok) return DIAG_TYPE_MISMATCH;
  *result = op == OP_WIDE ? uint8_t{TYPE_NCHAR} : operand;
  return 0;
}

// --- texts -----------------------------------------------------------------------------------

static const char EMPTY_TEXT[1] = "";
static const uint16_t EMPTY_WIDE[1] = {0};
static const uint8_t EMPTY_BYTES[2] = {0, 0};

Value typed_placeholder(uint8_t type) {
  Value v = make_none();
  v.type = type;
  if (type == TYPE_CHAR) payload_put(v, static_cast<const char*>(EMPTY_TEXT));
  if (is_wide(type)) payload_put(v, static_cast<const uint16_t*>(EMPTY_WIDE));
  if (type == TYPE_BYTE) payload_put(v, static_cast<const uint8_t*>(EMPTY_BYTES));
  return v;
}

static const char* text_of(const Value& v) {
  const char* t = value_text(v);
  return t != nullptr ? t : EMPTY_TEXT;
}

// n characters of pool text, or nullptr. A full pool hands out its scratch area, which other
// operands may be using too: that counts as no memory.
static char* take_text(StringPool& pool, size_t n) {
  char* t = pool_alloc_text(pool, n);
  return t == pool.scratch ? nullptr : t;
}

// Wide texts may lie at odd addresses of the pool: read them a unit at a time.
static uint16_t wide_at(const uint16_t* w, size_t i) {
  uint16_t u;
  std::memcpy(&u, reinterpret_cast<const char*>(w) + 2 * i, sizeof u);
  return u;
}

static size_t wide_length(const uint16_t* w) {
  size_t n = 0;
  if (w == nullptr) return 0;
  while (wide_at(w, n) != 0) n++;
  return n;
}

// Room for units 16-bit characters and their terminator, at an even address.
static uint16_t* alloc_wide(StringPool& pool, size_t units) {
  char* raw = take_text(pool, 2 * units + 2);
  if (raw == nullptr) return nullptr;
  raw += reinterpret_cast<uintptr_t>(raw) & 1;
  uint16_t zero = 0;
  std::memcpy(raw + 2 * units, &zero, sizeof zero);
  return reinterpret_cast<uint16_t*>(raw);
}

// A byte block: 16-bit count and the bytes.
static uint8_t* alloc_bytes(StringPool& pool, size_t count) {
  if (count > BYTE_FORM_MAX) return nullptr;
  char* raw = take_text(pool, count + 1);
  if (raw == nullptr) return nullptr;
  uint16_t n = static_cast<uint16_t>(count);
  std::memcpy(raw, &n, sizeof n);
  return reinterpret_cast<uint8_t*>(raw);
}

const void* value_storage(const Value& v, size_t* size) {
  *size = 0;
  if (v.type == TYPE_CHAR) {
    const char* t = value_text(v);
    if (t != nullptr) *size = std::strlen(t) + 1;
    return t;
  }
  if (is_wide(v.type)) {
    const uint16_t* w = value_wide(v);
    if (w != nullptr) *size = 2 * (wide_length(w) + 1);
    return w;
  }
  if (v.type == TYPE_BYTE) {
    const uint8_t* b = value_bytes(v);
    if (b != nullptr) *size = 2 + byte_count(v);
    return b;
  }
  return nullptr;
}

bool value_store_copy(StringPool& pool, Value* v, const void* storage, size_t size) {
  if (storage == nullptr || size == 0) return true;
  if (v->type == TYPE_CHAR) {
    char* t = take_text(pool, size - 1);
    if (t == nullptr) return false;
    std::memcpy(t, storage, size);
    payload_put(*v, static_cast<const char*>(t));
  } else if (is_wide(v->type)) {
    uint16_t* w = alloc_wide(pool, size / 2 - 1);
    if (w == nullptr) return false;
    std::memcpy(w, storage, size);
    payload_put(*v, static_cast<const uint16_t*>(w));
  } else if (v->type == TYPE_BYTE) {
    char* b = take_text(pool, size - 1);
    if (b == nullptr) return false;
    std::memcpy(b, storage, size);
    payload_put(*v, reinterpret_cast<const uint8_t*>(b));
  }
  return true;
}

static bool join_texts(StringPool& pool, const Value& a, const Value& b, Value* out) {
  const char* ta = text_of(a);
  const char* tb = text_of(b);
  size_t na = std::strlen(ta), nb = std::strlen(tb);
  char* t = take_text(pool, na + nb);
  if (t == nullptr) return false;
  std::memcpy(t, ta, na);
  std::memcpy(t + na, tb, nb + 1);
  *out = make_char(t);
  return true;
}

static bool join_wide(StringPool& pool, const Value& a, const Value& b, Value* out) {
  const uint16_t* wa = value_wide(a);
  const uint16_t* wb = value_wide(b);
  size_t na = wide_length(wa), nb = wide_length(wb);
  uint16_t* w = alloc_wide(pool, na + nb);
  if (w == nullptr) return false;
  if (na > 0) std::memcpy(w, wa, 2 * na);
  if (nb > 0) std::memcpy(reinterpret_cast<char*>(w) + 2 * na, wb, 2 * nb);
  *out = make_nchar(w);
  return true;
}

static bool join_bytes(StringPool& pool, const uint8_t* a, size_t na, const uint8_t* b,
                       size_t nb, Value* out) {
  uint8_t* block = alloc_bytes(pool, na + nb);
  if (block == nullptr) return false;
  if (na > 0) std::memcpy(block + 2, a, na);
  if (nb > 0) std::memcpy(block + 2 + na, b, nb);
  *out = make_byte(block);
  return true;
}

bool bytes_append(StringPool& pool, Value* acc, const Value& element) {
  uint8_t one;
  const uint8_t* add = &one;
  size_t n = 1;
  if (element.type == TYPE_CHAR) {
    add = reinterpret_cast<const uint8_t*>(text_of(element));
    n = std::strlen(text_of(element));
  } else if (element.type == TYPE_BYTE) {
    add = byte_data(element);
    n = byte_count(element);
  } else {
    one = static_cast<uint8_t>(read_as_integer(element) & 0xFF);
  }
  size_t have = byte_count(*acc);
  if (have + n > BYTE_FORM_MAX) return false;
  const uint8_t* old = value_bytes(*acc);
  if (!join_bytes(pool, byte_data(*acc), have, add, n, acc)) return false;
  if (old != nullptr) pool_free_text(pool, reinterpret_cast<const char*>(old));
  return true;
}

// --- numbers -----------------------------------------------------------------------------------

// Integer operations wrap: computed in 64 unsigned bits and cut to the width of T.
template <typename T>
static T wrap(uint64_t x) {
  return static_cast<T>(x);
}

template <typename T>
static T int_power(T base, int64_t exponent, bool* division_by_zero) {
  if (exponent < 0) {
    if (base == 0) {
      *division_by_zero = true;
      return 0;
    }
    if (base == 1) return 1;
    if (base == -1) return (exponent & 1) != 0 ? T(-1) : T(1);
    return 0;
  }
  uint64_t result = 1;
  uint64_t b = static_cast<uint64_t>(static_cast<int64_t>(base));
  while (exponent > 0) {
    if ((exponent & 1) != 0) result *= b;
    b *= b;
    exponent >>= 1;
  }
  return wrap<T>(result);
}

template <typename T>
static T int_arith(int op, T a, T b, bool* division_by_zero) {
  uint64_t ua = static_cast<uint64_t>(static_cast<int64_t>(a));
  uint64_t ub = static_cast<uint64_t>(static_cast<int64_t>(b));
  switch (op) {
    case OP_ADD: return wrap<T>(ua + ub);
    case OP_SUB: return wrap<T>(ua - ub);
    case OP_MUL: return wrap<T>(ua * ub);
    case OP_BITAND: return wrap<T>(ua & ub);
    case OP_BITOR: return wrap<T>(ua | ub);
    case OP_POW: return int_power<T>(a, static_cast<int64_t>(b), division_by_zero);
    default:  // OP_DIV, OP_IDIV
      if (b == 0) {
        *division_by_zero = true;
        return 0;
      }
      if (b == -1) return wrap<T>(0 - ua);  // the minimum divided by -1 wraps
      return static_cast<T>(a / b);
  }
}

template <typename F>
static F float_arith(int op, F a, F b, bool* division_by_zero) {
  switch (op) {
    case OP_ADD: return a + b;
    case OP_SUB: return a - b;
    case OP_MUL: return a * b;
    case OP_POW:
      if (a == 0 && b < 0) {
        *division_by_zero = true;
        return 0;
      }
      return static_cast<F>(std::pow(static_cast<double>(a), static_cast<double>(b)));
    default:  // OP_DIV, OP_IDIV
      if (b == 0) {
        *division_by_zero = true;
        return 0;
      }
      return op == OP_IDIV ? std::trunc(a / b) : a / b;
  }
}

// The decimal without its fraction (toward zero).
static Decimal decimal_truncate(const Decimal& d) {
  int state = decimal_classify(d);
  if (state != DEC_NEGATIVE && state != DEC_POSITIVE) return d;
  Decimal t = d;
  bool any = false;
  for (int i = DECIMAL_FRACTION_FIRST; i < DECIMAL_UNITS; i++) t.b[i] = 0;
  for (int i = DECIMAL_UNITS; i <= DECIMAL_TOP; i++) any = any || t.b[i] != 0;
  if (!any) decimal_set_state(t, DEC_ZERO);
  return t;
}

static Decimal decimal_power(const Decimal& a, const Decimal& b, bool* division_by_zero) {
  double e = decimal_to_double(b);
  if (e >= 0 && e <= 64 && e == std::floor(e)) {
    Decimal r = decimal_from_int32(1);
    for (int i = 0; i < static_cast<int>(e); i++) r = decimal_mul(r, a);
    return r;
  }
  double base = decimal_to_double(a);
  if (base == 0 && e < 0) {
    *division_by_zero = true;
    return decimal_zero();
  }
  return decimal_from_double(std::pow(base, e));
}

static Decimal decimal_arith(int op, const Decimal& a, const Decimal& b, bool* division_by_zero) {
  switch (op) {
    case OP_ADD: return decimal_add(a, b);
    case OP_SUB: return decimal_sub(a, b);
    case OP_MUL: return decimal_mul(a, b);
    case OP_POW: return decimal_power(a, b, division_by_zero);
    default: {  // OP_DIV, OP_IDIV
      Decimal q;
      if (decimal_div(a, b, &q) == DEC_DIV_BY_ZERO) {
        *division_by_zero = true;
        return decimal_zero();
      }
      return op == OP_IDIV ? decimal_truncate(q) : q;
    }
  }
}

static Value numeric_arith(int op, const Value& left, const Value& right, bool* division_by_zero) {
  Value a = left, b = right;
  switch (common_numeric_type(a, b)) {
    case TYPE_SMALLINT:
      return make_smallint(int_arith<int16_t>(op, payload_get<int16_t>(a), payload_get<int16_t>(b),
                                              division_by_zero));
    case TYPE_INTEGER:
      return make_integer(int_arith<int32_t>(op, payload_get<int32_t>(a), payload_get<int32_t>(b),
                                             division_by_zero));
    case TYPE_BIGINT:
      return make_bigint(int_arith<int64_t>(op, payload_get<int64_t>(a), payload_get<int64_t>(b),
                                            division_by_zero));
    case TYPE_REAL:
      return make_real(
          float_arith<float>(op, payload_get<float>(a), payload_get<float>(b), division_by_zero));
    case TYPE_DOUBLE:
      return make_double(float_arith<double>(op, payload_get<double>(a), payload_get<double>(b),
                                             division_by_zero));
    default:
      return make_numeric(
          decimal_arith(op, value_decimal(a), value_decimal(b), division_by_zero));
  }
}

// --- comparisons ---------------------------------------------------------------------------------

constexpr int UNORDERED = 2;  // NaN, or an invalid decimal

template <typename T>
static int order(T a, T b) {
  if (a < b) return -1;
  if (b < a) return 1;
  if (a == b) return 0;
  return UNORDERED;
}

static int compare_numbers(const Value& left, const Value& right) {
  Value a = left, b = right;
  switch (common_numeric_type(a, b)) {
    case TYPE_SMALLINT: return order(payload_get<int16_t>(a), payload_get<int16_t>(b));
    case TYPE_INTEGER: return order(payload_get<int32_t>(a), payload_get<int32_t>(b));
    case TYPE_BIGINT: return order(payload_get<int64_t>(a), payload_get<int64_t>(b));
    case TYPE_REAL: return order(payload_get<float>(a), payload_get<float>(b));
    case TYPE_DOUBLE: return order(payload_get<double>(a), payload_get<double>(b));
    default: {
      int c = decimal_compare(value_decimal(a), value_decimal(b));
      return c >= -1 && c <= 1 ? c : UNORDERED;
    }
  }
}

static int compare_values(const Value& a, const Value& b) {
  if (is_numeric_type(a.type)) return compare_numbers(a, b);
  switch (a.type) {
    case TYPE_CHAR: {
      int c = std::strcmp(text_of(a), text_of(b));
      return c < 0 ? -1 : c > 0 ? 1 : 0;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      const uint16_t* wa = value_wide(a);
      const uint16_t* wb = value_wide(b);
      for (size_t i = 0;; i++) {
        uint16_t ua = wa != nullptr ? wide_at(wa, i) : 0;
        uint16_t ub = wb != nullptr ? wide_at(wb, i) : 0;
        if (ua != ub) return ua < ub ? -1 : 1;
        if (ua == 0) return 0;
      }
    }
    case TYPE_DATE: {
      DateRecord da = value_date(a), db = value_date(b);
      if (da.day != db.day) return da.day < db.day ? -1 : 1;
      return order(da.time, db.time);
    }
    case TYPE_BOOL: return order(a.payload[0] != 0, b.payload[0] != 0);
    default: {  // TYPE_BYTE
      size_t na = byte_count(a), nb = byte_count(b);
      size_t n = na < nb ? na : nb;
      int c = n > 0 ? std::memcmp(byte_data(a), byte_data(b), n) : 0;
      if (c != 0) return c < 0 ? -1 : 1;
      return order(na, nb);
    }
  }
}

static bool comparison_holds(int op, int c) {
  if (c == UNORDERED) return op == OP_NE;
  switch (op) {
    case OP_EQ: return c == 0;
    case OP_NE: return c != 0;
    case OP_LT: return c < 0;
    case OP_GT: return c > 0;
    case OP_LE: return c <= 0;
    default: return c >= 0;  // OP_GE
  }
}

// --- computation ------------------------------------------------------------------------------

bool binary_compute(int op, const Value& left, const Value& right, StringPool& pool, Value* out,
                    bool* division_by_zero) {
  if (left.type == TYPE_NULL || right.type == TYPE_NULL) {
    // Only "=" and "<>" reach here: NULL equals NULL and nothing else.
    bool both = left.type == right.type;
    *out = make_bool(op == OP_EQ ? both : !both);
    return true;
  }
  switch (op) {
    case OP_EQ:
    case OP_NE:
    case OP_LT:
    case OP_GT:
    case OP_LE:
    case OP_GE:
      *out = make_bool(comparison_holds(op, compare_values(left, right)));
      return true;
    case OP_AND:
      *out = make_bool(left.payload[0] != 0 && right.payload[0] != 0);
      return true;
    case OP_OR:
      *out = make_bool(left.payload[0] != 0 || right.payload[0] != 0);
      return true;
    default:
      break;
  }
  if (left.type == TYPE_BOOL) {  // "&" and "|" on BOOL
    bool a = left.payload[0] != 0, b = right.payload[0] != 0;
    *out = make_bool(op == OP_BITAND ? a && b : a || b);
    return true;
  }
  if (left.type == TYPE_CHAR) return join_texts(pool, left, right, out);
  if (is_wide(left.type)) return join_wide(pool, left, right, out);
  if (left.type == TYPE_BYTE) {
    return join_bytes(pool, byte_data(left), byte_count(left), byte_data(right),
                      byte_count(right), out);
  }
  *out = numeric_arith(op, left, right, division_by_zero);
  return true;
}

bool unary_compute(int op, const Value& operand, StringPool& pool, Value* out) {
  switch (op) {
    case OP_NOT:
      *out = make_bool(operand.payload[0] == 0);
      return true;
    case OP_WIDE: {
      const char* t = text_of(operand);
      size_t n = std::strlen(t);
      uint16_t* w = alloc_wide(pool, n);
      if (w == nullptr) return false;
      for (size_t i = 0; i < n; i++) {
        uint16_t u = CP866_TO_UNICODE[static_cast<uint8_t>(t[i])];
        std::memcpy(reinterpret_cast<char*>(w) + 2 * i, &u, sizeof u);
      }
      *out = make_nchar(w);
      return true;
    }
    case OP_NEGATE:
      *out = operand;
      negate_value(*out);
      return true;
    default:  // OP_PLUS
      *out = operand;
      return true;
  }
}

}  // namespace tavrel
