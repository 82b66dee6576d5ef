// The decimal record of NUMERIC values: classification, states, conversions to and from
// integers, and the arithmetic (negate, add, subtract, multiply, divide, compare).
//
// Everything here works on the record in place and allocates nothing. The record's fifteen
// base-100 digits are handled in three ways, each chosen for speed:
//   - classification, addition, subtraction and comparison load the record as two 64-bit
//     words (bytes 0..7 with the state byte masked off, bytes 8..15) and work on all digits of
//     a word at once (SWAR); in the words the highest digit is the highest byte, so comparing
//     the words as integers compares the magnitudes;
//   - multiplication regroups the digits into limbs of 10^8 and multiplies the limbs;
//   - division is exact long division in base 100 (Knuth's algorithm D).
// Text conversions live in decimal_text.cpp, the reader of double text in double_reader.cpp.
#include "values/decimal.h"

#include <bit>
#include <cstring>
#include <utility>

namespace tavrel {

// The word loads below put byte k of the record at bits 8k of the word.
static_assert(std::endian::native == std::endian::little, "decimal.cpp assumes little-endian");

namespace {

constexpr uint64_t BYTE_LOW_BITS = 0x0101010101010101ULL;
constexpr uint64_t BYTE_HIGH_BITS = 0x8080808080808080ULL;
constexpr uint64_t BYTE_SEVEN_BITS = 0x7F7F7F7F7F7F7F7FULL;
// 256 - 100 in every byte: biased digits carry out of their byte exactly at 100.
constexpr uint64_t DIGIT_BIAS = 0x9C9C9C9C9C9C9C9CULL;
// 128 - 100 in every byte: a byte of 100..127 reaches the high bit when it is added.
constexpr uint64_t DIGIT_LIMIT = 0x1C1C1C1C1C1C1C1CULL;

// The fifteen digits of a record as two words; the state byte (byte 0 of lo) is zero.
struct Magnitude {
  uint64_t lo;
  uint64_t hi;
};

inline Magnitude load(const Decimal& d) {
  Magnitude m;
  std::memcpy(&m.lo, d.b, 8);
  std::memcpy(&m.hi, d.b + 8, 8);
  m.lo &= ~uint64_t{0xFF};
  return m;
}

inline Decimal store(const Magnitude& m, uint8_t state) {
  Decimal d;
  const uint64_t lo = (m.lo & ~uint64_t{0xFF}) | state;
  std::memcpy(d.b, &lo, 8);
  std::memcpy(d.b + 8, &m.hi, 8);
  return d;
}

inline bool is_zero(const Magnitude& m) { return (m.lo | m.hi) == 0; }

// -1, 0 or 1 as |a| is below, equal to or above |b|.
inline int compare_magnitudes(const Magnitude& a, const Magnitude& b) {
  if (a.hi != b.hi) return a.hi < b.hi ? -1 : 1;
  if (a.lo != b.lo) return a.lo < b.lo ? -1 : 1;
  return 0;
}

// Sum of two base-100 words. Every digit is biased by 156 first, so that a digit sum of 100 or
// more carries into the next byte as ordinary binary addition does; the digits that did not
// carry then lose the bias again. Returns the carry out of the top byte.
inline uint64_t add_word(uint64_t a, uint64_t b, uint64_t carry_in, uint64_t* sum) {
  const uint64_t x = a + DIGIT_BIAS;  // no byte passes 99 + 156 = 255
  const uint64_t t1 = x + b;
  const uint64_t t = t1 + carry_in;
  const uint64_t carry_out = static_cast<uint64_t>(t1 < x) | static_cast<uint64_t>(t < t1);
  // Bit 8k of x ^ b ^ t is the carry into byte k, that is, out of byte k - 1.
  const uint64_t carried = (((x ^ b ^ t) >> 8) & BYTE_LOW_BITS) | (carry_out << 56);
  *sum = t - ((~carried & BYTE_LOW_BITS) * 156);  // bytes left at 156..255: no borrows
  return carry_out;
}

// Difference of two base-100 words; a byte that borrowed gains 100 (binary borrowing gave it
// 256, so it loses 156). Returns the borrow out of the top byte.
inline uint64_t sub_word(uint64_t a, uint64_t b, uint64_t borrow_in, uint64_t* diff) {
  const uint64_t t1 = a - b;
  const uint64_t t = t1 - borrow_in;
  const uint64_t borrow_out = static_cast<uint64_t>(a < b) | static_cast<uint64_t>(t1 < borrow_in);
  // Bit 8k of a ^ b ^ t is the borrow into byte k, that is, out of byte k - 1.
  const uint64_t borrowed = (((a ^ b ^ t) >> 8) & BYTE_LOW_BITS) | (borrow_out << 56);
  *diff = t - ((borrowed & BYTE_LOW_BITS) * 156);
  return borrow_out;
}

inline Decimal state_only(int state) {
  Decimal d{};
  d.b[0] = static_cast<uint8_t>(state);
  return d;
}

inline bool negative_state(int state) { return state == DEC_NEGATIVE || state == DEC_NEG_OVERFLOW; }

inline Decimal overflow_of(bool negative) {
  return state_only(negative ? DEC_NEG_OVERFLOW : DEC_POS_OVERFLOW);
}

constexpr uint64_t LIMB = 100000000;

// Eight base-100 digits (a word, lowest digit in the lowest byte) as two limbs of 10^8:
// first pairs of digits into 16-bit lanes, then pairs of those into 32-bit lanes.
inline void word_to_limbs(uint64_t w, uint64_t* low, uint64_t* high) {
  constexpr uint64_t EVEN_BYTES = 0x00FF00FF00FF00FFULL;
  constexpr uint64_t EVEN_HALVES = 0x0000FFFF0000FFFFULL;
  const uint64_t pairs = (w & EVEN_BYTES) + ((w >> 8) & EVEN_BYTES) * 100;                // < 10^4
  const uint64_t quads = (pairs & EVEN_HALVES) + ((pairs >> 16) & EVEN_HALVES) * 10000;  // < 10^8
  *low = quads & 0xFFFFFFFF;
  *high = quads >> 32;
}

// A limb below 10^8 as four base-100 digits in the low 32 bits, lowest digit first.
inline uint64_t limb_to_digits(uint64_t limb) {
  const uint64_t high = limb / 10000;
  // The two halves below 10^4 in 32-bit lanes; x / 100 is (x * 5243) >> 19 for x < 43699 and
  // the products stay inside their lanes.
  const uint64_t halves = (limb - high * 10000) | (high << 32);
  const uint64_t tens = ((halves * 5243) >> 19) & 0x0000007F0000007FULL;
  const uint64_t digits = (halves - tens * 100) | (tens << 8);
  return (digits & 0xFFFF) | ((digits >> 16) & 0xFFFF0000);
}

// Base-100 digits of an unsigned magnitude into bytes 6 upward. The 64-bit range has at
// most 20 digits, so it always fits the ten integer bytes.
inline void put_integer(Decimal& d, uint64_t magnitude) {
  for (int i = DECIMAL_UNITS; i <= DECIMAL_TOP && magnitude != 0; ++i) {
    d.b[i] = static_cast<uint8_t>(magnitude % 100);
    magnitude /= 100;
  }
}

}  // namespace

int decimal_classify(const Decimal& d) {
  const Magnitude m = load(d);
  // A byte of 100 or more has its high bit set either before or after adding 28 to its low
  // seven bits (which cannot carry into the next byte).
  const uint64_t bad = (((m.lo & BYTE_SEVEN_BITS) + DIGIT_LIMIT) | m.lo |
                        ((m.hi & BYTE_SEVEN_BITS) + DIGIT_LIMIT) | m.hi) &
                       BYTE_HIGH_BITS;
  if (bad != 0) return DEC_INVALID;
  const bool digits = !is_zero(m);
  switch (d.b[0]) {
    case DEC_ZERO:
      return digits ? DEC_INVALID : DEC_ZERO;
    case DEC_NEGATIVE:
    case DEC_POSITIVE:
      return digits ? int{d.b[0]} : int{DEC_ZERO};
    case DEC_NEG_OVERFLOW:
    case DEC_POS_OVERFLOW:
      return d.b[0];
    default:
      return DEC_INVALID;
  }
}

void decimal_set_state(Decimal& d, int state) {
  if (state != DEC_NEGATIVE && state != DEC_POSITIVE) std::memset(d.b, 0, sizeof d.b);
  d.b[0] = static_cast<uint8_t>(state);
}

Decimal decimal_zero() { return Decimal{}; }

Decimal decimal_from_int32(int32_t v) { return decimal_from_int64(v); }

Decimal decimal_from_int64(int64_t v) {
  Decimal d{};
  if (v == 0) return d;
  // The unsigned magnitude covers the minimum as well: 0 - v wraps to 2^63 exactly.
  const uint64_t magnitude = v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  put_integer(d, magnitude);
  d.b[0] = v < 0 ? DEC_NEGATIVE : DEC_POSITIVE;
  return d;
}

int decimal_to_int32(const Decimal& d, bool round, int32_t* out) {
  const int state = decimal_classify(d);
  if (state == DEC_ZERO) {
    *out = 0;
    return 0;
  }
  if (state != DEC_NEGATIVE && state != DEC_POSITIVE) return 1;
  int64_t acc = 0;
  for (int i = DECIMAL_TOP; i >= DECIMAL_UNITS; --i) {
    acc = acc * 100 + d.b[i];
    if (acc > INT32_MAX) return 1;
  }
  if (round && d.b[5] >= 50) {
    if (acc == INT32_MAX) return 1;
    ++acc;
  }
  *out = static_cast<int32_t>(state == DEC_NEGATIVE ? -acc : acc);
  return 0;
}

int decimal_to_int64(const Decimal& d, bool round, int64_t* out) {
  // The accumulated value may not pass 9223372036854775707 / 100 before a step.
  constexpr int64_t STEP_LIMIT = 92233720368547757;
  const int state = decimal_classify(d);
  if (state == DEC_ZERO) {
    *out = 0;
    return 0;
  }
  if (state != DEC_NEGATIVE && state != DEC_POSITIVE) return 1;
  int64_t acc = 0;
  for (int i = DECIMAL_TOP; i >= DECIMAL_UNITS; --i) {
    if (acc > STEP_LIMIT) return 1;
    acc = acc * 100 + d.b[i];  // at most 9223372036854775799: cannot wrap
  }
  if (round && d.b[5] >= 50) {
    if (acc == INT64_MAX) return 1;
    ++acc;
  }
  *out = state == DEC_NEGATIVE ? -acc : acc;
  return 0;
}

Decimal decimal_negate(const Decimal& d) {
  static constexpr uint8_t SWAPPED[6] = {0, DEC_POSITIVE, DEC_NEGATIVE, DEC_POS_OVERFLOW,
                                         DEC_NEG_OVERFLOW, 5};
  Decimal r = d;
  if (r.b[0] < 6) r.b[0] = SWAPPED[r.b[0]];
  return r;
}

Decimal decimal_add(const Decimal& a, const Decimal& b) {
  const int sa = decimal_classify(a);
  const int sb = decimal_classify(b);
  const bool a_finite = sa == DEC_NEGATIVE || sa == DEC_POSITIVE;
  const bool b_finite = sb == DEC_NEGATIVE || sb == DEC_POSITIVE;
  if (!a_finite || !b_finite) {
    if ((sa == DEC_NEG_OVERFLOW && sb == DEC_POS_OVERFLOW) ||
        (sa == DEC_POS_OVERFLOW && sb == DEC_NEG_OVERFLOW) || sa == DEC_INVALID ||
        sb == DEC_INVALID) {
      return state_only(DEC_INVALID);
    }
    return (sa == DEC_ZERO || sb == DEC_NEG_OVERFLOW || sb == DEC_POS_OVERFLOW) ? b : a;
  }
  const Magnitude ma = load(a);
  const Magnitude mb = load(b);
  Magnitude r;
  if (sa == sb) {
    const uint64_t carry = add_word(ma.lo, mb.lo, 0, &r.lo);
    if (add_word(ma.hi, mb.hi, carry, &r.hi) != 0) return overflow_of(sa == DEC_NEGATIVE);
    return store(r, static_cast<uint8_t>(sa));
  }
  const int order = compare_magnitudes(ma, mb);
  if (order == 0) return Decimal{};
  const Magnitude& big = order > 0 ? ma : mb;
  const Magnitude& small = order > 0 ? mb : ma;
  const uint64_t borrow = sub_word(big.lo, small.lo, 0, &r.lo);
  sub_word(big.hi, small.hi, borrow, &r.hi);  // the larger minus the smaller: no final borrow
  return store(r, static_cast<uint8_t>(order > 0 ? sa : sb));
}

Decimal decimal_sub(const Decimal& a, const Decimal& b) { return decimal_add(a, decimal_negate(b)); }

Decimal decimal_mul(const Decimal& a, const Decimal& b) {
  const int sa = decimal_classify(a);
  const int sb = decimal_classify(b);
  if (sa == DEC_INVALID || sb == DEC_INVALID) return state_only(DEC_INVALID);
  if (sa == DEC_ZERO || sb == DEC_ZERO) return Decimal{};
  const bool negative = negative_state(sa) != negative_state(sb);
  if (sa >= DEC_NEG_OVERFLOW || sb >= DEC_NEG_OVERFLOW) return overflow_of(negative);

  // Both magnitudes count units of 10^-10, so the exact product P counts units of 10^-20 and
  // the result is P / 10^10 truncated. In limbs of 10^8 (x0 the lowest: bytes 1..4, then
  // 5..8, 9..12, 13..15) the result is P's base-100 digits 5..19, which lie in limbs 1..4 of P
  // (digit 4, the lowest of limb 1, is dropped); anything above limb 4 is an integer part of
  // more than 20 digits. Every column below is at most four products under 10^16 plus a carry.
  uint64_t wa_lo, wa_hi, wb_lo, wb_hi;
  std::memcpy(&wa_lo, a.b + 1, 8);
  std::memcpy(&wa_hi, a.b + 8, 8);
  std::memcpy(&wb_lo, b.b + 1, 8);
  std::memcpy(&wb_hi, b.b + 8, 8);
  wa_hi >>= 8;  // bytes 9..15
  wb_hi >>= 8;
  // Let y be the operand whose high limbs are zero when one is (a magnitude below 10^6):
  // the product then needs half the columns.
  if (wa_hi == 0 && wb_hi != 0) {
    std::swap(wa_lo, wb_lo);
    std::swap(wa_hi, wb_hi);
  }
  uint64_t x0, x1, x2 = 0, x3 = 0, y0, y1;
  word_to_limbs(wa_lo, &x0, &x1);
  if (wa_hi != 0) word_to_limbs(wa_hi, &x2, &x3);
  word_to_limbs(wb_lo, &y0, &y1);

  uint64_t p1, p2, p3, p4;
  if ((wa_hi | wb_hi) == 0) {
    // Both below 10^6: the product is below 10^12 and its top limb is empty.
    uint64_t c = x0 * y0 / LIMB + x0 * y1 + x1 * y0;
    p1 = c % LIMB;
    c = c / LIMB + x1 * y1;
    p2 = c % LIMB;
    p3 = c / LIMB;
    p4 = 0;
  } else if (wb_hi == 0) {
    uint64_t c = x0 * y0 / LIMB + x0 * y1 + x1 * y0;
    p1 = c % LIMB;
    c = c / LIMB + x1 * y1 + x2 * y0;
    p2 = c % LIMB;
    c = c / LIMB + x2 * y1 + x3 * y0;
    p3 = c % LIMB;
    c = c / LIMB + x3 * y1;
    if (c >= LIMB) return overflow_of(negative);
    p4 = c;
  } else {
    uint64_t y2, y3;
    word_to_limbs(wb_hi, &y2, &y3);
    uint64_t c = x0 * y0 / LIMB + x0 * y1 + x1 * y0;
    p1 = c % LIMB;
    c = c / LIMB + x0 * y2 + x1 * y1 + x2 * y0;
    p2 = c % LIMB;
    c = c / LIMB + x0 * y3 + x1 * y2 + x2 * y1 + x3 * y0;
    p3 = c % LIMB;
    c = c / LIMB + x1 * y3 + x2 * y2 + x3 * y1;
    if (c >= LIMB || x2 * y3 + x3 * y2 + x3 * y3 != 0) return overflow_of(negative);
    p4 = c;
  }

  // Limbs 1..4 give sixteen digits, P's digits 4..19; laid out as a record, the dropped digit
  // 4 falls on the state byte.
  Magnitude r;
  r.lo = limb_to_digits(p1) | (limb_to_digits(p2) << 32);
  r.hi = limb_to_digits(p3) | (limb_to_digits(p4) << 32);
  if (is_zero(Magnitude{r.lo & ~uint64_t{0xFF}, r.hi})) return Decimal{};  // all below 10^-10
  return store(r, negative ? DEC_NEGATIVE : DEC_POSITIVE);
}

int decimal_compare(const Decimal& a, const Decimal& b) {
  // Order of the states on the number line; finite numbers of one sign then go by magnitude.
  static constexpr int RANK[5] = {0, -1, 1, -2, 2};
  const int sa = decimal_classify(a);
  const int sb = decimal_classify(b);
  if (sa == DEC_INVALID || sb == DEC_INVALID) return 5;
  if (sa != sb) return RANK[sa] < RANK[sb] ? -1 : 1;
  if (sa != DEC_NEGATIVE && sa != DEC_POSITIVE) return 0;
  const int order = compare_magnitudes(load(a), load(b));
  return sa == DEC_NEGATIVE ? -order : order;
}

int decimal_div(const Decimal& a, const Decimal& b, Decimal* out) {
  const int sa = decimal_classify(a);
  const int sb = decimal_classify(b);
  if (sa == DEC_INVALID || sb == DEC_INVALID) {
    *out = state_only(DEC_INVALID);
    return DEC_DIV_OK;
  }
  if (sb == DEC_ZERO) {
    *out = Decimal{};
    return DEC_DIV_BY_ZERO;
  }
  if (sa == DEC_ZERO) {
    *out = Decimal{};
    return DEC_DIV_OK;
  }
  const bool negative = negative_state(sa) != negative_state(sb);
  if (sa >= DEC_NEG_OVERFLOW || sb >= DEC_NEG_OVERFLOW) {
    *out = overflow_of(negative);
    return DEC_DIV_OK;
  }

  // Both magnitudes count units of 10^-10; the quotient in the same units is
  // (|a| * 10^10) / |b| truncated. Digits are little-endian base 100: the dividend is a's
  // fifteen digits shifted up by five (20 digits), the divisor b's fifteen digits.
  int u[21] = {};
  int v[15];
  for (int i = 0; i < 15; ++i) {
    u[5 + i] = a.b[1 + i];
    v[i] = b.b[1 + i];
  }
  int m = 20;
  while (u[m - 1] == 0) --m;
  int n = 15;
  while (v[n - 1] == 0) --n;
  int q[20] = {};
  if (m >= n) {
    if (n == 1) {
      int rest = 0;
      for (int i = m - 1; i >= 0; --i) {
        const int cur = rest * 100 + u[i];
        q[i] = cur / v[0];
        rest = cur % v[0];
      }
    } else {
      // Knuth, TAOCP vol. 2, 4.3.1, algorithm D. Normalize so that the top divisor digit is
      // at least 50; then each estimated quotient digit is at most two too large.
      const int scale = 100 / (v[n - 1] + 1);
      int carry = 0;
      for (int i = 0; i < n; ++i) {
        const int t = v[i] * scale + carry;
        v[i] = t % 100;
        carry = t / 100;
      }
      carry = 0;
      for (int i = 0; i < m; ++i) {
        const int t = u[i] * scale + carry;
        u[i] = t % 100;
        carry = t / 100;
      }
      u[m] = carry;
      for (int j = m - n; j >= 0; --j) {
        const int top = u[j + n] * 100 + u[j + n - 1];
        int qhat = top / v[n - 1];
        int rhat = top % v[n - 1];
        while (qhat >= 100 || qhat * v[n - 2] > rhat * 100 + u[j + n - 2]) {
          --qhat;
          rhat += v[n - 1];
          if (rhat >= 100) break;
        }
        // u[j .. j+n] -= qhat * v
        int mul_carry = 0;
        int borrow = 0;
        for (int i = 0; i < n; ++i) {
          const int prod = qhat * v[i] + mul_carry;
          mul_carry = prod / 100;
          int t = u[i + j] - prod % 100 - borrow;
          borrow = t < 0;
          u[i + j] = t + 100 * borrow;
        }
        int t = u[j + n] - mul_carry - borrow;
        borrow = t < 0;
        u[j + n] = t + 100 * borrow;
        if (borrow) {  // qhat was one too large: add the divisor back
          --qhat;
          carry = 0;
          for (int i = 0; i < n; ++i) {
            const int s = u[i + j] + v[i] + carry;
            u[i + j] = s % 100;
            carry = s / 100;
          }
          u[j + n] = (u[j + n] + carry) % 100;
        }
        q[j] = qhat;
      }
    }
  }
  // The record holds fifteen digits: anything above them is an integer part of more than 20.
  for (int i = 15; i < 20; ++i) {
    if (q[i] != 0) {
      *out = overflow_of(negative);
      return DEC_DIV_OK;
    }
  }
  Decimal r{};
  bool digits = false;
  for (int i = 0; i < 15; ++i) {
    r.b[1 + i] = static_cast<uint8_t>(q[i]);
    digits |= q[i] != 0;
  }
  if (digits) r.b[0] = negative ? DEC_NEGATIVE : DEC_POSITIVE;
  *out = r;
  return DEC_DIV_OK;
}

void decimal_hundredths_to_days(const Decimal& d, int64_t* days, int32_t* hundredths) {
  constexpr uint64_t HUNDREDTHS_PER_DAY = 8640000;
  constexpr uint64_t TEN_DIGITS = 10000000000ULL;
  *days = 0;
  *hundredths = 0;
  const int state = decimal_classify(d);
  if (state != DEC_NEGATIVE && state != DEC_POSITIVE) return;
  // The integer part (the fraction is dropped) can pass 64 bits, so it is divided in two
  // halves of ten digits: high = bytes 11..15, low = bytes 6..10.
  uint64_t high = 0;
  uint64_t low = 0;
  for (int i = DECIMAL_TOP; i >= 11; --i) high = high * 100 + d.b[i];
  for (int i = 10; i >= DECIMAL_UNITS; --i) low = low * 100 + d.b[i];
  const uint64_t high_days = high / HUNDREDTHS_PER_DAY;
  const uint64_t rest = (high % HUNDREDTHS_PER_DAY) * TEN_DIGITS + low;  // below 8.7e16
  const auto whole = static_cast<int64_t>(high_days * TEN_DIGITS + rest / HUNDREDTHS_PER_DAY);
  const auto part = static_cast<int32_t>(rest % HUNDREDTHS_PER_DAY);
  *days = state == DEC_NEGATIVE ? -whole : whole;
  *hundredths = state == DEC_NEGATIVE ? -part : part;
}

}  // namespace tavrel
