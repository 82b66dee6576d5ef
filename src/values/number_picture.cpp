// Number pictures: TO_CHAR of a number with a picture such as "999,990.99".
//
// The picture language: "9" a digit, "0" a digit that also keeps the leading zeros from
// there on, "*" a digit whose unused leading positions show "*" (cheque protection),
// "," a group separator between integer digits, "." the decimal point, and one sign
// element, "S" (sign always) or "-" (minus only), first or last. The text is always as
// long as the picture. Values are rounded half away from zero to the picture's decimals;
// one that does not fit is "#" in every position. docs/language.md has the full rules.
//
// Every source is first brought to the same form (its significant decimal digits and the
// position of the point), so integers, doubles and decimals share one rounding and one
// layout.
#include "values/number_picture.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace tavrel {

namespace {

constexpr size_t MAX_PICTURE = NUMBER_PICTURE_CAPACITY - 1;
// Significant digits of any source (a decimal has 30) and a carry.
constexpr int MAX_SIGNIFICANT = 32;

// value = 0.d[0]d[1]...d[count-1] x 10^exponent, d[0] non-zero; count 0 is zero.
struct Digits {
  bool negative = false;
  bool overflow = false;  // not a finite number or not a valid record
  int count = 0;
  int exponent = 0;
  uint8_t d[MAX_SIGNIFICANT + 1] = {};

  void push(int digit) {
    if (count == 0 && digit == 0) {
      --exponent;  // a leading zero moves the point
      return;
    }
    d[count++] = static_cast<uint8_t>(digit);
  }
  // Digit of 10^power.
  int at(int power) const {
    int i = exponent - 1 - power;
    return i >= 0 && i < count ? d[i] : 0;
  }
};

enum class Sign : uint8_t { NONE, LEADING_S, LEADING_MINUS, TRAILING_S, TRAILING_MINUS };

struct Layout {
  Sign sign = Sign::NONE;
  size_t body_begin = 0, body_end = 0;  // the picture without its sign element
  int int_digits = 0;                   // digit positions before the point
  int frac_digits = 0;
  int first_zero = -1;  // integer digit position of the first "0", -1 when none
  bool star_fill = false;
};

int parse_picture(std::string_view picture, Layout* l) {
  if (picture.empty() || picture.size() > MAX_PICTURE) return NUMBER_PICTURE_BAD;
  size_t b = 0, e = picture.size();
  char first = picture[0], last = picture[e - 1];
  if (first == 'S' || first == 's') {
    l->sign = Sign::LEADING_S;
    ++b;
  } else if (first == '-') {
    l->sign = Sign::LEADING_MINUS;
    ++b;
  } else if (last == 'S' || last == 's') {
    l->sign = Sign::TRAILING_S;
    --e;
  } else if (last == '-') {
    l->sign = Sign::TRAILING_MINUS;
    --e;
  }
  bool point = false;
  bool after_digit = false;  // a separator must stand between two integer digits
  for (size_t i = b; i < e; ++i) {
    char c = picture[i];
    if (c == '9' || c == '0' || c == '*') {
      if (point) {
        if (c == '*') return NUMBER_PICTURE_BAD;
        ++l->frac_digits;
      } else {
        if (c == '0' && l->first_zero < 0) l->first_zero = l->int_digits;
        if (c == '*') l->star_fill = true;
        ++l->int_digits;
      }
      after_digit = true;
    } else if (c == ',') {
      if (point || !after_digit) return NUMBER_PICTURE_BAD;
      after_digit = false;
    } else if (c == '.') {
      if (point || (i > b && picture[i - 1] == ',')) return NUMBER_PICTURE_BAD;
      point = true;
    } else {
      return NUMBER_PICTURE_BAD;
    }
  }
  if (e > b && picture[e - 1] == ',') return NUMBER_PICTURE_BAD;
  if (l->int_digits + l->frac_digits == 0) return NUMBER_PICTURE_BAD;
  l->body_begin = b;
  l->body_end = e;
  return NUMBER_PICTURE_OK;
}

// Rounds half away from zero to the given number of decimals.
void round_digits(Digits* v, int decimals) {
  int keep = v->exponent + decimals;  // digits that stay
  if (v->count <= keep) return;
  if (keep < 0) {
    *v = Digits{};
    return;
  }
  bool up = v->d[keep] >= 5;
  v->count = keep;
  if (!up) {
    if (v->count == 0) *v = Digits{};
    return;
  }
  int i = v->count - 1;
  while (i >= 0 && v->d[i] == 9) v->d[i--] = 0;
  if (i >= 0) {
    ++v->d[i];
    return;
  }
  // Carry out of the first digit: the number gains a digit (every kept digit is 0 now).
  std::memmove(v->d + 1, v->d, static_cast<size_t>(v->count));
  v->d[0] = 1;
  ++v->count;
  ++v->exponent;
}

void fill_overflow(size_t width, char* out) {
  std::memset(out, '#', width);
  out[width] = '\0';
}

int format(Digits v, std::string_view picture, char* out) {
  out[0] = '\0';
  Layout l;
  if (parse_picture(picture, &l) != NUMBER_PICTURE_OK) return NUMBER_PICTURE_BAD;
  const size_t width = picture.size();
  if (v.overflow) {
    fill_overflow(width, out);
    return NUMBER_PICTURE_OK;
  }
  round_digits(&v, l.frac_digits);
  if (v.count == 0) v.negative = false;  // no "-0.00"
  if (v.count > 0 && v.exponent > l.int_digits) {
    fill_overflow(width, out);
    return NUMBER_PICTURE_OK;
  }

  const char fill = l.star_fill ? '*' : ' ';
  // Body: a digit is shown once the number's significant digits, a "0" of the picture or
  // the units position is reached; from there on everything is shown.
  size_t first_shown = l.body_end;
  int position = 0;   // integer digit positions passed
  int fraction = 0;   // fraction digit positions passed
  bool shown = false;
  bool point = false;
  for (size_t i = l.body_begin; i < l.body_end; ++i) {
    char c = picture[i];
    if (c == '.') {
      point = shown = true;
      out[i] = '.';
    } else if (c == ',') {
      out[i] = shown ? ',' : fill;
    } else if (point) {
      out[i] = static_cast<char>('0' + v.at(-1 - fraction++));
    } else {
      int power = l.int_digits - 1 - position;
      if (power < v.exponent && v.count > 0) shown = true;
      if (l.first_zero >= 0 && position >= l.first_zero) shown = true;
      if (power == 0) shown = true;
      out[i] = shown ? static_cast<char>('0' + v.at(power)) : fill;
      ++position;
    }
    if (shown && first_shown == l.body_end) first_shown = i;
  }

  switch (l.sign) {
    case Sign::LEADING_S:
    case Sign::LEADING_MINUS:
      out[0] = fill;
      // The sign floats to just before the first shown character.
      if (l.sign == Sign::LEADING_S || v.negative) out[first_shown - 1] = v.negative ? '-' : '+';
      break;
    case Sign::NONE:
      if (v.negative) {
        if (first_shown == 0) {
          fill_overflow(width, out);  // no room for the minus
          return NUMBER_PICTURE_OK;
        }
        out[first_shown - 1] = '-';
      }
      break;
    case Sign::TRAILING_S:
      out[width - 1] = v.negative ? '-' : '+';
      break;
    case Sign::TRAILING_MINUS:
      out[width - 1] = v.negative ? '-' : ' ';
      break;
  }
  out[width] = '\0';
  return NUMBER_PICTURE_OK;
}

}  // namespace

int number_picture_int64(int64_t v, std::string_view picture, char* out) {
  Digits d;
  d.negative = v < 0;
  uint64_t m = v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  char text[20];
  int n = 0;
  do {
    text[n++] = static_cast<char>('0' + m % 10);
    m /= 10;
  } while (m != 0);
  d.exponent = n;
  while (n > 0) d.push(text[--n] - '0');
  return format(d, picture, out);
}

int number_picture_double(double v, std::string_view picture, char* out) {
  // The double is taken as the shortest decimal that reads back as it, so 2.675 is
  // 2.675 (and rounds to 2.68) although the nearest double lies a little below.
  Digits d;
  if (!std::isfinite(v)) {
    d.overflow = true;
    return format(d, picture, out);
  }
  d.negative = std::signbit(v);
  char text[64];
  std::to_chars_result r = std::to_chars(text, text + sizeof text, std::fabs(v),
                                         std::chars_format::scientific);
  // "d.ddde+xx": the mantissa's digits, then the power of ten of the first one.
  const char* p = text;
  const char* e = text;
  while (e < r.ptr && *e != 'e') ++e;
  int power = 0;
  std::from_chars(*(e + 1) == '+' ? e + 2 : e + 1, r.ptr, power);
  d.exponent = power + 1;
  for (; p < e; ++p)
    if (*p != '.') d.push(*p - '0');
  if (d.count == 0) d.exponent = 0;
  return format(d, picture, out);
}

int number_picture_decimal(const Decimal& v, std::string_view picture, char* out) {
  Digits d;
  uint8_t state = v.b[0];
  if (state == DEC_NEG_OVERFLOW || state == DEC_POS_OVERFLOW || state > DEC_POS_OVERFLOW) {
    d.overflow = true;
  } else if (state != DEC_ZERO) {
    d.negative = state == DEC_NEGATIVE;
    d.exponent = 2 * (DECIMAL_TOP - DECIMAL_UNITS + 1);
    // Integer bytes from the highest down, then the fraction from its first byte down;
    // each byte holds two digits.
    for (int i = DECIMAL_TOP; i >= DECIMAL_FRACTION_FIRST; --i) {
      int pair = v.b[i];
      if (pair > 99) {
        d.overflow = true;
        break;
      }
      d.push(pair / 10);
      d.push(pair % 10);
    }
    if (d.count == 0 && !d.overflow) d = Digits{};
  }
  return format(d, picture, out);
}

}  // namespace tavrel
