// The typed value of the procedure language: the Value record, its type codes, payload
// accessors, the reading of one type as another, the common numeric type of two operands,
// and negation. Text forms live in value_text.h.
//
// Layout: byte 0 type code, bytes 1..7 reserved, bytes 8..23 payload (little-endian).
// In argument lists values lie 24 bytes apart. A CHAR payload is a text pointer followed by
// its 16-bit text tag; with 8-byte pointers the tag sits at payload byte 8 (record byte 16).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "values/calendar.h"
#include "values/decimal.h"

namespace tavrel {

enum ValueType : uint8_t {
  TYPE_NONE = 0,  // no value yet, shown as "(NIL)"
  TYPE_NULL = 1,
  TYPE_SMALLINT = 2,
  TYPE_INTEGER = 3,
  TYPE_REAL = 4,
  TYPE_DOUBLE = 5,
  TYPE_NUMERIC = 6,
  TYPE_BOOL = 7,
  TYPE_CHAR = 8,
  TYPE_DATE = 9,
  TYPE_CURSOR = 10,
  TYPE_BYTE = 11,
  TYPE_NCHAR = 14,
  TYPE_WSTRING = 15,  // treated exactly as NCHAR
  TYPE_BIGINT = 16,
};

constexpr size_t VALUE_SIZE = 24;
constexpr size_t VALUE_PAYLOAD = 8;  // offset of the payload in the record

struct Value {
  uint8_t type;  // a ValueType; any byte may arrive from outside
  uint8_t reserved[7];
  alignas(8) uint8_t payload[16];
};
static_assert(sizeof(Value) == VALUE_SIZE, "values lie 24 bytes apart in argument lists");
static_assert(offsetof(Value, payload) == VALUE_PAYLOAD, "payload starts at byte 8");

// Codes 2, 3, 4, 5, 6 and 16.
bool is_numeric_type(uint8_t type);

// --- payload access (the payload is little-endian; both targets are) -----------------
template <typename T>
inline T payload_get(const Value& v, size_t offset = 0) {
  T out;
  std::memcpy(&out, v.payload + offset, sizeof(T));
  return out;
}
template <typename T>
inline void payload_put(Value& v, T x, size_t offset = 0) {
  std::memcpy(v.payload + offset, &x, sizeof(T));
}

constexpr size_t CHAR_TAG_OFFSET = sizeof(void*);  // tag follows the text pointer

inline const char* value_text(const Value& v) { return payload_get<const char*>(v); }
inline uint16_t value_tag(const Value& v) { return payload_get<uint16_t>(v, CHAR_TAG_OFFSET); }
inline const uint8_t* value_bytes(const Value& v) { return payload_get<const uint8_t*>(v); }
inline const uint16_t* value_wide(const Value& v) { return payload_get<const uint16_t*>(v); }
inline Decimal value_decimal(const Value& v) { return payload_get<Decimal>(v); }
inline DateRecord value_date(const Value& v) {
  return DateRecord{payload_get<uint32_t>(v), payload_get<int32_t>(v, 4)};
}

// --- making values -----------------------------------------------------------------
Value make_none();
Value make_null();
Value make_smallint(int16_t x);
Value make_integer(int32_t x);
Value make_bigint(int64_t x);
Value make_real(float x);
Value make_double(double x);
Value make_numeric(const Decimal& x);
Value make_bool(bool x);
// The text is not copied: it must outlive the value (pool text or a constant).
Value make_char(const char* text, uint16_t tag = 0);
Value make_date(DateRecord d);
// block: 16-bit byte count followed by the bytes.
Value make_byte(const uint8_t* block);
// Zero-terminated 16-bit characters; type may be TYPE_NCHAR or TYPE_WSTRING.
Value make_nchar(const uint16_t* text, uint8_t type = TYPE_NCHAR);

// Byte count and first byte of a BYTE value's block (0 and nullptr without a block).
uint16_t byte_count(const Value& v);
const uint8_t* byte_data(const Value& v);

// --- reading a value as another type (truncation toward zero; never fails) -----------
int16_t read_as_smallint(const Value& v);
int32_t read_as_integer(const Value& v);
int64_t read_as_bigint(const Value& v);
double read_as_double(const Value& v);
// Identical to read_as_double; the caller stores the result into a float.
double read_as_real(const Value& v);
Decimal read_as_numeric(const Value& v);

// Sets both operands to their common numeric type and converts their payloads to it;
// returns the type. Ranking: SMALLINT < INTEGER < BIGINT < REAL < DOUBLE < NUMERIC.
uint8_t common_numeric_type(Value& left, Value& right);

// Negates SMALLINT, INTEGER, REAL, DOUBLE, NUMERIC and BIGINT in their own type (integers
// wrap); other types are left alone.
void negate_value(Value& v);

}  // namespace tavrel
