// The 16-byte decimal record that carries NUMERIC values, and its arithmetic.
//
// Sign and magnitude, the magnitude in base-100 digits (each byte 0..99):
//   byte 0      state (DecimalState)
//   bytes 1..5  fraction, byte 5 holds tenths and hundredths, byte 1 the 9th and 10th decimals
//   bytes 6..15 integer part, byte 6 holds units and tens, byte 15 the two highest digits
// So a decimal has 20 integer digits and exactly 10 decimals. Overflow and invalid results
// are states of the record, never errors: arithmetic does not fail.
#pragma once

#include <cstdint>
#include <string_view>

namespace tavrel {

enum DecimalState : uint8_t {
  DEC_ZERO = 0,
  DEC_NEGATIVE = 1,
  DEC_POSITIVE = 2,
  DEC_NEG_OVERFLOW = 3,
  DEC_POS_OVERFLOW = 4,
  DEC_INVALID = 5,  // only ever the result of classification or a failed read
};

constexpr int DECIMAL_BYTES = 16;
constexpr int DECIMAL_FRACTION_FIRST = 1;  // lowest fraction byte
constexpr int DECIMAL_UNITS = 6;           // byte of units and tens
constexpr int DECIMAL_TOP = 15;            // byte of the two highest digits
constexpr int DECIMAL_SCALE = 10;          // decimals held
constexpr int DECIMAL_INT_DIGITS = 20;     // integer digits held
constexpr int DECIMAL_TEXT_WIDTH = 30;     // default width of text forms

struct Decimal {
  uint8_t b[DECIMAL_BYTES];
};

// Effective state: DEC_ZERO..DEC_POS_OVERFLOW, or DEC_INVALID for a malformed record.
int decimal_classify(const Decimal& d);
// States 0, 3 and 4 (and 5, invalid) clear all digits first; 1 and 2 keep them.
void decimal_set_state(Decimal& d, int state);
Decimal decimal_zero();

Decimal decimal_from_int32(int32_t v);
Decimal decimal_from_int64(int64_t v);
// Printed with "%.10f" and read back as text.
Decimal decimal_from_double(double v);
// Never rounds: more precision than the record holds is an overflow. Bad text is invalid.
Decimal decimal_from_text(std::string_view text);

// 0 on success, non-zero when the value does not fit or is not a finite number.
int decimal_to_int32(const Decimal& d, bool round, int32_t* out);
int decimal_to_int64(const Decimal& d, bool round, int64_t* out);
// Effective states 0, 1 and 2 only; anything else gives 0.0.
double decimal_to_double(const Decimal& d);

// Writes width + 2 characters and a terminating zero into out (capacity at least
// width + 3 after the caps: width <= 30, scale <= 10, width - scale <= 20).
// Returns the number of characters written.
int decimal_to_text(const Decimal& d, int width, int scale, bool sign, char* out);
// Most characters decimal_to_text can write, terminator included.
constexpr int DECIMAL_TEXT_CAPACITY = DECIMAL_TEXT_WIDTH + 3;

Decimal decimal_negate(const Decimal& d);
Decimal decimal_add(const Decimal& a, const Decimal& b);
Decimal decimal_sub(const Decimal& a, const Decimal& b);
Decimal decimal_mul(const Decimal& a, const Decimal& b);
// -1, 0 or 1; 5 when either operand is invalid.
int decimal_compare(const Decimal& a, const Decimal& b);

// Division, truncated to 10 decimals. Returns DEC_DIV_OK, or DEC_DIV_BY_ZERO with a zero
// result (the evaluator then reports division by zero and goes on with zero).
enum DecimalDivStatus { DEC_DIV_OK = 0, DEC_DIV_BY_ZERO = 1 };
int decimal_div(const Decimal& a, const Decimal& b, Decimal* out);

// The program's own reader of decimal text into a double (see docs/language.md):
// returns 0 on success and stores the value, non-zero on any malformed text or overflow.
int read_double_text(std::string_view text, double* out);

// A NUMERIC count of hundredths split into whole days and the rest, sign applied to both.
void decimal_hundredths_to_days(const Decimal& d, int64_t* days, int32_t* hundredths);

}  // namespace tavrel
