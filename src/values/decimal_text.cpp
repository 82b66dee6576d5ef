// Text forms of the decimal record: reading decimal text (which never rounds), writing a
// decimal into a fixed field of a given width and scale (which rounds half away from zero),
// and the conversions to and from double, which go through those text forms.
//
// The reader and the writer handle the digits themselves and allocate nothing; only the
// conversion from double prints with snprintf.
#include <cstdio>
#include <cstring>

#include "values/decimal.h"
#include "values/digits.h"

namespace tavrel {

namespace {

Decimal invalid_decimal() {
  Decimal d{};
  d.b[0] = DEC_INVALID;
  return d;
}

}  // namespace

Decimal decimal_from_text(std::string_view text) {
  const char* p = text.data();
  const char* end = p + text.size();
  while (p < end && *p == ' ') ++p;
  while (end > p && end[-1] == ' ') --end;
  bool negative = false;
  if (p < end && (*p == '-' || *p == '+')) {
    negative = *p == '-';
    ++p;
  }
  const auto* found = static_cast<const char*>(std::memchr(p, '.', static_cast<size_t>(end - p)));
  const char* point = found != nullptr ? found : end;
  const char* fraction = point < end ? point + 1 : end;
  if (point == p && fraction == end) return invalid_decimal();  // no digit at all

  // Digits are taken two at a time; any character that is not a digit (a second point
  // included) shows up as a value above 9 and makes the text invalid at the end.
  Decimal d{};
  unsigned bad = 0;
  unsigned any = 0;
  bool overflow = false;
  auto digit = [&bad](char c) {
    const auto v = static_cast<unsigned>(static_cast<uint8_t>(c - '0'));
    bad |= static_cast<unsigned>(v > 9);
    return v;
  };
  // Integer digits from the point leftwards: pairs into bytes 6, 7, ..., 15.
  const char* q = point;
  int byte = DECIMAL_UNITS;
  for (; q - p >= 2 && byte <= DECIMAL_TOP; q -= 2) {
    const unsigned units = digit(q[-1]);
    const unsigned tens = digit(q[-2]);
    d.b[byte++] = static_cast<uint8_t>(tens * 10 + units);
    any |= tens | units;
  }
  if (q > p && byte <= DECIMAL_TOP) {
    const unsigned units = digit(*--q);
    d.b[byte] = static_cast<uint8_t>(units);
    any |= units;
  }
  // Beyond the twentieth integer digit only zeros are allowed.
  while (q > p) overflow |= digit(*--q) != 0;
  // Fraction digits from the point rightwards: pairs into bytes 5, 4, ..., 1.
  const char* f = fraction;
  byte = DECIMAL_FRACTION_FIRST + 4;
  for (; end - f >= 2 && byte >= DECIMAL_FRACTION_FIRST; f += 2) {
    const unsigned tens = digit(f[0]);
    const unsigned units = digit(f[1]);
    d.b[byte--] = static_cast<uint8_t>(tens * 10 + units);
    any |= tens | units;
  }
  if (f < end && byte >= DECIMAL_FRACTION_FIRST) {
    const unsigned tens = digit(*f++);
    d.b[byte] = static_cast<uint8_t>(tens * 10);
    any |= tens;
  }
  // Beyond the tenth decimal only zeros are allowed: the reader never rounds.
  for (; f < end; ++f) overflow |= digit(*f) != 0;
  if (bad != 0) return invalid_decimal();
  if (overflow) {
    decimal_set_state(d, negative ? DEC_NEG_OVERFLOW : DEC_POS_OVERFLOW);
  } else if (any != 0) {
    d.b[0] = negative ? DEC_NEGATIVE : DEC_POSITIVE;
  }
  return d;
}

// The field has width + 2 characters: width - scale + 1 places before the point (the digits
// and the sign, which stands next to the first digit), the point, and scale decimals.
int decimal_to_text(const Decimal& d, int width, int scale, bool sign, char* out) {
  // The caps; a negative width or scale counts as 0, and a scale above the width is cut to it
  // (the caller's buffer holds width + 3 characters).
  int w = width < 0 ? 0 : (width > DECIMAL_TEXT_WIDTH ? DECIMAL_TEXT_WIDTH : width);
  int s = scale < 0 ? 0 : (scale > DECIMAL_SCALE ? DECIMAL_SCALE : scale);
  if (s > w) s = w;
  if (w - s > DECIMAL_INT_DIGITS) w = s + DECIMAL_INT_DIGITS;
  const int total = w + 2;
  const int before_point = w - s + 1;

  const int state = decimal_classify(d);
  const char sign_char =
      (state == DEC_NEGATIVE || state == DEC_NEG_OVERFLOW) ? '-' : (sign ? '+' : ' ');
  if (state >= DEC_NEG_OVERFLOW) {
    // Overflow: "9" in every digit place and in the point's place; invalid: "?" likewise.
    out[0] = sign_char;
    std::memset(out + 1, state == DEC_INVALID ? '?' : '9', static_cast<size_t>(total - 1));
    out[total] = 0;
    return total;
  }

  // digits[0] takes a carry out of the integer part; digits[1..20] are the integer digits,
  // digits[21..30] the decimals.
  char digits[1 + DECIMAL_INT_DIGITS + DECIMAL_SCALE];
  digits[0] = '0';
  for (int i = DECIMAL_TOP, at = 1; i >= 1; --i, at += 2) {
    std::memcpy(digits + at, DIGIT_PAIRS.c + 2 * d.b[i], 2);
  }
  constexpr int FRACTION = 1 + DECIMAL_INT_DIGITS;
  if (s < DECIMAL_SCALE && digits[FRACTION + s] >= '5') {
    int i = FRACTION + s - 1;
    while (digits[i] == '9') digits[i--] = '0';  // stops at digits[0] at the latest
    ++digits[i];
  }
  int first = 0;
  while (first < FRACTION && digits[first] == '0') ++first;
  const int count = FRACTION - first;
  const int sign_width = sign_char == ' ' ? 0 : 1;
  if (count + sign_width > before_point) {
    std::memset(out, '*', static_cast<size_t>(total));
    out[total] = 0;
    return total;
  }
  std::memset(out, ' ', static_cast<size_t>(before_point));
  char* lead = out + before_point - count;
  std::memcpy(lead, digits + first, static_cast<size_t>(count));
  if (count == 0 && before_point > sign_width) *--lead = '0';  // a blank before the point
  if (sign_width != 0) lead[-1] = sign_char;
  out[before_point] = '.';
  std::memcpy(out + before_point + 1, digits + FRACTION, static_cast<size_t>(s));
  out[total] = 0;
  return total;
}

Decimal decimal_from_double(double v) {
  // The widest "%.10f" text of a double: sign, 309 digits, point, 10 decimals.
  char text[336];
  const int n = std::snprintf(text, sizeof text, "%.10f", v);
  if (n < 0 || n >= static_cast<int>(sizeof text)) return invalid_decimal();
  return decimal_from_text(std::string_view(text, static_cast<size_t>(n)));
}

double decimal_to_double(const Decimal& d) {
  const int state = decimal_classify(d);
  if (state != DEC_ZERO && state != DEC_NEGATIVE && state != DEC_POSITIVE) return 0.0;
  char text[DECIMAL_TEXT_CAPACITY];
  const int n = decimal_to_text(d, DECIMAL_TEXT_WIDTH, DECIMAL_SCALE, true, text);
  double v = 0.0;
  if (read_double_text(std::string_view(text, static_cast<size_t>(n)), &v) != 0) return 0.0;
  return v;
}

}  // namespace tavrel
