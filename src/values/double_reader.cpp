// The program's own reader of decimal text into a double, used for NUMERIC to DOUBLE.
//
// Blanks anywhere are skipped. One leading sign ("-" or "+") may come before the digits, one
// point or comma separates the decimals, and after a digit an "e" or "E" starts an exponent
// (optional sign, at least one digit). At most 14 significant digits are accumulated; further
// integer digits only raise the power of ten and further decimals are ignored. The value is
// then scaled by the power of ten; scaling up fails when the value would pass
// 1.7976931348623158e307 before a multiplication by 10. Any other character fails.
#include "values/decimal.h"
#include "values/digits.h"

namespace tavrel {

namespace {

constexpr int SIGNIFICANT_DIGITS = 14;
constexpr double SCALE_LIMIT = 1.7976931348623158e307;
// Exponents are accumulated up to this bound; beyond it every result is 0 or a failure.
constexpr int EXPONENT_CAP = 100000;

// The powers of ten that a double holds exactly.
constexpr double EXACT_POWERS[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int MAX_EXACT_POWER = 22;

}  // namespace

int read_double_text(std::string_view text, double* out) {
  const size_t n = text.size();
  uint64_t mantissa = 0;
  int significant = 0;
  int power = 0;  // mantissa * 10^power is the value read so far
  bool negative = false;
  bool sign_seen = false;
  bool separator_seen = false;
  bool digit_seen = false;
  int exponent = 0;
  size_t i = 0;
  for (; i < n; ++i) {
    const char c = text[i];
    if (c == ' ') continue;
    if (is_digit(c)) {
      digit_seen = true;
      if (mantissa == 0 && c == '0') {  // a leading zero is not significant
        if (separator_seen) --power;
      } else if (significant < SIGNIFICANT_DIGITS) {
        mantissa = mantissa * 10 + static_cast<uint64_t>(c - '0');
        ++significant;
        if (separator_seen) --power;
      } else if (!separator_seen) {
        ++power;
      }
      continue;
    }
    if (c == '-' || c == '+') {
      if (sign_seen || digit_seen || separator_seen) return 1;
      sign_seen = true;
      negative = c == '-';
      continue;
    }
    if (c == '.' || c == ',') {
      if (separator_seen) return 1;
      separator_seen = true;
      continue;
    }
    if ((c == 'e' || c == 'E') && digit_seen) break;
    return 1;
  }
  if (!digit_seen) return 1;
  if (i < n) {  // the exponent
    bool exponent_negative = false;
    bool exponent_sign_seen = false;
    bool exponent_digit_seen = false;
    for (++i; i < n; ++i) {
      const char c = text[i];
      if (c == ' ') continue;
      if (is_digit(c)) {
        exponent_digit_seen = true;
        if (exponent < EXPONENT_CAP) exponent = exponent * 10 + (c - '0');
        continue;
      }
      if ((c == '-' || c == '+') && !exponent_sign_seen && !exponent_digit_seen) {
        exponent_sign_seen = true;
        exponent_negative = c == '-';
        continue;
      }
      return 1;
    }
    if (!exponent_digit_seen) return 1;
    if (exponent_negative) exponent = -exponent;
  }
  double v = static_cast<double>(mantissa);  // exact: below 10^14
  if (mantissa != 0) {
    power += exponent;
    if (power > 0) {
      // The value only grows, so the limit, which applies before every multiplication by 10,
      // is met or missed before the last one. Up to there it is scaled in exact steps of at
      // most 10^22, which rounds far less often than one power at a time.
      int up = power - 1;
      while (up > MAX_EXACT_POWER && v <= SCALE_LIMIT) {
        v *= EXACT_POWERS[MAX_EXACT_POWER];
        up -= MAX_EXACT_POWER;
      }
      if (up <= MAX_EXACT_POWER) v *= EXACT_POWERS[up];
      if (v > SCALE_LIMIT) return 1;
      v *= 10.0;
    } else if (power < 0) {
      int down = -power;
      while (down > MAX_EXACT_POWER && v != 0.0) {
        v /= EXACT_POWERS[MAX_EXACT_POWER];
        down -= MAX_EXACT_POWER;
      }
      if (down <= MAX_EXACT_POWER) v /= EXACT_POWERS[down];
    }
  }
  *out = negative ? -v : v;
  return 0;
}

}  // namespace tavrel
