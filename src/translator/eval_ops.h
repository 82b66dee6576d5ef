// The operators of the client-side evaluator: which operand types each one takes and what
// type it gives (used alone while a text is only checked), and the computation on values.
// The parser (evaluator.cpp) decides precedence; everything about types and NULL is here.
#pragma once

#include <cstdint>

#include "values/string_pool.h"
#include "values/value.h"

namespace tavrel {

enum Operator : int {
  OP_ADD,     // "+": numbers; also joins two texts, two wide texts or two byte strings
  OP_SUB,     // "-"
  OP_MUL,     // "*"
  OP_DIV,     // "/": in the common type, so integers divide with truncation
  OP_IDIV,    // backslash: quotient truncated toward zero, in the common type
  OP_POW,     // "^"
  OP_BITAND,  // "&": bitwise on integers, logical (both sides computed) on BOOL
  OP_BITOR,   // "|"
  OP_EQ,
  OP_NE,
  OP_LT,
  OP_GT,
  OP_LE,
  OP_GE,
  OP_AND,
  OP_OR,
  OP_NEGATE,  // unary "-"
  OP_PLUS,    // unary "+"
  OP_NOT,
  OP_WIDE,    // "$": CHAR to NCHAR
};

constexpr int BYTE_FORM_MAX = 4000;  // most bytes the brace form builds

// Whether values of this type code can be operands at all (NULL, numbers, BOOL, CHAR, DATE,
// BYTE, NCHAR and the wide string).
bool is_operand_type(uint8_t type);

// The common numeric type of two numeric type codes (as common_numeric_type decides it).
uint8_t common_type_of(uint8_t left, uint8_t right);

// Result type of a binary operator, or a diagnostic: 49 for a cursor operand, 44 for a type
// no class takes, 10 for NULL (except with "=" and "<>"), 2 for a mismatch. 0 when accepted.
int binary_type(int op, uint8_t left, uint8_t right, uint8_t* result);
int unary_type(int op, uint8_t operand, uint8_t* result);

// Computes an accepted operation. false only when a result text could not be had. A division
// by zero gives zero of the result type and sets *division_by_zero.
bool binary_compute(int op, const Value& left, const Value& right, StringPool& pool, Value* out,
                    bool* division_by_zero);
bool unary_compute(int op, const Value& operand, StringPool& pool, Value* out);

// Appends an element of the brace form to the byte string *acc (a BYTE value, possibly with
// no block yet): a number gives its low byte, a CHAR its characters, a BYTE its bytes.
// false when the result would pass BYTE_FORM_MAX bytes or no memory is left.
bool bytes_append(StringPool& pool, Value* acc, const Value& element);

// A value of the type with an empty payload; texts point at a constant empty text, so that a
// value built only for its type can be handled like any other.
Value typed_placeholder(uint8_t type);

// The storage a text, wide text or byte string value points at, and its size in bytes
// (terminator or count included); nullptr and 0 for every other value.
const void* value_storage(const Value& v, size_t* size);
// Gives the value a pool copy (at the pool's current level) of size bytes of storage laid
// out as value_storage gives them. false without memory.
bool value_store_copy(StringPool& pool, Value* v, const void* storage, size_t size);

}  // namespace tavrel
