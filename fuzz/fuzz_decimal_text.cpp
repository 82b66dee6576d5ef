// libFuzzer target for the decimal and BIGINT text routines and the decimal arithmetic.
//
// The input is read whole as decimal text, as double text and as BIGINT text; it is also split
// at its first newline (or in the middle) into two decimal operands for the arithmetic.
// Every invariant that fails stops the run with __builtin_trap().
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "values/bigint.h"
#include "values/decimal.h"

using namespace tavrel;

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

bool finite_state(int state) {
  return state == DEC_ZERO || state == DEC_NEGATIVE || state == DEC_POSITIVE;
}

// A record as the reader makes it: a state 0..5, and no digits unless the state is 1 or 2.
void check_record(const Decimal& d) {
  const int state = decimal_classify(d);
  check(state >= DEC_ZERO && state <= DEC_INVALID);
  check(d.b[0] <= DEC_INVALID);
  if (d.b[0] != DEC_NEGATIVE && d.b[0] != DEC_POSITIVE) {
    for (int i = 1; i < DECIMAL_BYTES; ++i) check(d.b[i] == 0);
  }
}

// The field length after the caps on width and scale.
int field_length(int width, int scale) {
  int w = width < 0 ? 0 : (width > 30 ? 30 : width);
  int s = scale < 0 ? 0 : (scale > 10 ? 10 : scale);
  if (s > w) s = w;
  if (w - s > 20) w = s + 20;
  return w + 2;
}

void check_text(const Decimal& d) {
  static constexpr int WIDTHS[] = {-1, 0, 1, 3, 5, 12, 22, 28, 30, 31};
  static constexpr int SCALES[] = {-1, 0, 1, 2, 5, 10, 11};
  for (int width : WIDTHS) {
    for (int scale : SCALES) {
      for (bool sign : {false, true}) {
        char out[DECIMAL_TEXT_CAPACITY + 4];
        std::memset(out, 'Z', sizeof out);
        const int n = decimal_to_text(d, width, scale, sign, out);
        check(n == field_length(width, scale));
        check(n + 1 <= DECIMAL_TEXT_CAPACITY);
        check(out[n] == 0 && std::strlen(out) == static_cast<size_t>(n));
        for (int i = 0; i < n; ++i) check(std::strchr(" +-.0123456789*?", out[i]) != nullptr);
        // A field of a finite number with a digit in it (not asterisks, and not the bare
        // sign and point of a tiny number in a field of no integer places) reads back as a
        // number: finite, or an overflow when rounding carried into a 21st digit.
        const int state = decimal_classify(d);
        if (finite_state(state) && out[0] != '*' && std::strpbrk(out, "0123456789") != nullptr) {
          const int back = decimal_classify(decimal_from_text(std::string_view(out, n)));
          check(finite_state(back) || (back == DEC_POS_OVERFLOW && out[0] == '1'));
        }
      }
    }
  }
}

void check_round_trip(const Decimal& d) {
  if (!finite_state(decimal_classify(d))) return;
  for (bool sign : {false, true}) {
    char first[DECIMAL_TEXT_CAPACITY];
    char second[DECIMAL_TEXT_CAPACITY];
    const int n = decimal_to_text(d, 30, 10, sign, first);
    const Decimal back = decimal_from_text(std::string_view(first, n));
    check(std::memcmp(back.b, d.b, DECIMAL_BYTES) == 0);
    const int m = decimal_to_text(back, 30, 10, sign, second);
    check(n == m && std::memcmp(first, second, n) == 0);
  }
  const double v = decimal_to_double(d);
  check(std::isfinite(v));
  check(std::fabs(v) < 1e20);
}

void check_arithmetic(const Decimal& a, const Decimal& b) {
  const int sa = decimal_classify(a);
  const int sb = decimal_classify(b);
  const Decimal sum = decimal_add(a, b);
  const Decimal product = decimal_mul(a, b);
  check_record(sum);
  check_record(product);
  check_record(decimal_sub(a, b));
  // Commutative, for the records the reader makes.
  const Decimal sum2 = decimal_add(b, a);
  const Decimal product2 = decimal_mul(b, a);
  check(std::memcmp(sum.b, sum2.b, DECIMAL_BYTES) == 0);
  check(std::memcmp(product.b, product2.b, DECIMAL_BYTES) == 0);
  // Comparison is antisymmetric, 5 only with an invalid operand.
  const int ab = decimal_compare(a, b);
  const int ba = decimal_compare(b, a);
  if (sa == DEC_INVALID || sb == DEC_INVALID) {
    check(ab == 5 && ba == 5);
  } else {
    check(ab >= -1 && ab <= 1 && ab == -ba);
  }
  if (sa == DEC_NEGATIVE || sa == DEC_POSITIVE) {
    check(decimal_classify(decimal_sub(a, a)) == DEC_ZERO);
    check(decimal_compare(a, a) == 0);
  }
  // Undoing an addition that did not overflow.
  if (finite_state(sa) && finite_state(sb) && finite_state(decimal_classify(sum))) {
    check(decimal_compare(decimal_sub(sum, b), a) == 0);
  }
  // Division: zero divisor reported; a finite quotient q of magnitudes satisfies
  // q * |b| <= |a| <= (q + 10^-10) * |b| (the products are truncated as well).
  Decimal q;
  const int status = decimal_div(a, b, &q);
  check_record(q);
  check(status == (sb == DEC_ZERO && sa != DEC_INVALID ? DEC_DIV_BY_ZERO : DEC_DIV_OK));
  if (status == DEC_DIV_BY_ZERO) check(decimal_classify(q) == DEC_ZERO);
  if (finite_state(sa) && finite_state(sb) && sb != DEC_ZERO && finite_state(decimal_classify(q))) {
    const Decimal abs_a = sa == DEC_NEGATIVE ? decimal_negate(a) : a;
    const Decimal abs_b = sb == DEC_NEGATIVE ? decimal_negate(b) : b;
    const Decimal abs_q = decimal_classify(q) == DEC_NEGATIVE ? decimal_negate(q) : q;
    check(decimal_compare(decimal_mul(abs_q, abs_b), abs_a) <= 0);
    const Decimal next = decimal_add(abs_q, decimal_from_text("0.0000000001"));
    const Decimal above = decimal_mul(next, abs_b);
    if (decimal_classify(above) != DEC_POS_OVERFLOW) check(decimal_compare(above, abs_a) >= 0);
  }
}

void check_bigint(std::string_view text) {
  int64_t v = 0;
  const int status = bigint_from_text(text, &v);
  check(status == BIGINT_OK || status == BIGINT_SYNTAX || status == BIGINT_OVERFLOW);
  check(v == bigint_from_text_unchecked(text));
  if (status == BIGINT_OK) {
    char out[BIGINT_TEXT_CAPACITY];
    const int n = bigint_to_text(v, out);
    check(n > 0 && n < BIGINT_TEXT_CAPACITY && std::strlen(out) == static_cast<size_t>(n));
    int64_t back = 0;
    check(bigint_from_text(std::string_view(out, n), &back) == BIGINT_OK);
    check(back == v);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  const Decimal d = decimal_from_text(text);
  check_record(d);
  check_text(d);
  check_round_trip(d);

  double v = 0.0;
  if (read_double_text(text, &v) == 0) {
    check(std::isfinite(v));
    check_record(decimal_from_double(v));
  }

  check_bigint(text);

  const size_t newline = text.find('\n');
  const size_t split = newline != std::string_view::npos ? newline : size / 2;
  const Decimal a = decimal_from_text(text.substr(0, split));
  const Decimal b = decimal_from_text(text.substr(split < size ? split + 1 : size));
  check_arithmetic(a, b);
  return 0;
}
