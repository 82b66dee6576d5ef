// The decimal record: classification, states, integer conversions and the arithmetic.
// Operands are written as decimal text and results compared as text of width 30, scale 10
// (the reader and the writer have their own tests in test_decimal_text.cpp).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "values/decimal.h"

namespace tavrel {
namespace {

Decimal D(const char* text) { return decimal_from_text(text); }

// Trimmed text of width 30, scale 10, no sign flag.
std::string T(const Decimal& d) {
  char buf[DECIMAL_TEXT_CAPACITY];
  const int n = decimal_to_text(d, 30, 10, false, buf);
  std::string s(buf, static_cast<size_t>(n));
  const size_t first = s.find_first_not_of(' ');
  return first == std::string::npos ? std::string() : s.substr(first);
}

Decimal raw(uint8_t state, int byte = 0, uint8_t value = 0) {
  Decimal d{};
  d.b[0] = state;
  if (byte != 0) d.b[byte] = value;
  return d;
}

Decimal pos_overflow() { return raw(DEC_POS_OVERFLOW); }
Decimal neg_overflow() { return raw(DEC_NEG_OVERFLOW); }
Decimal invalid() { return raw(DEC_INVALID); }

constexpr const char* TWENTY_NINES = "99999999999999999999";
constexpr const char* LARGEST = "99999999999999999999.9999999999";

// ---------------------------------------------------------------------------------------------
// Classification and states

struct ClassifyCase {
  uint8_t state;
  int byte;
  uint8_t value;
  int expected;
};

TEST(DecimalClassify, Table) {
  const ClassifyCase cases[] = {
      {0, 0, 0, DEC_ZERO},           {0, 6, 1, DEC_INVALID},         // zero state with a digit
      {1, 6, 1, DEC_NEGATIVE},       {2, 1, 1, DEC_POSITIVE},        {2, 15, 99, DEC_POSITIVE},
      {1, 0, 0, DEC_ZERO},           {2, 0, 0, DEC_ZERO},            // signed, but no digits
      {3, 0, 0, DEC_NEG_OVERFLOW},   {4, 0, 0, DEC_POS_OVERFLOW},    {4, 9, 5, DEC_POS_OVERFLOW},
      {5, 0, 0, DEC_INVALID},        {6, 0, 0, DEC_INVALID},         {255, 6, 1, DEC_INVALID},
      {2, 7, 100, DEC_INVALID},      {2, 15, 255, DEC_INVALID},      {2, 1, 128, DEC_INVALID},
      {2, 8, 127, DEC_INVALID},      {4, 3, 100, DEC_INVALID},       {0, 5, 200, DEC_INVALID},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(decimal_classify(raw(c.state, c.byte, c.value)), c.expected)
        << "state " << int{c.state} << " byte " << c.byte << " = " << int{c.value};
  }
}

TEST(DecimalClassify, EveryDigitByteIsChecked) {
  for (int byte = 1; byte <= DECIMAL_TOP; ++byte) {
    for (int value : {99, 100, 127, 128, 227, 228, 255}) {
      Decimal d = D("12345678901234567890.1234567890");
      d.b[byte] = static_cast<uint8_t>(value);
      EXPECT_EQ(decimal_classify(d), value < 100 ? DEC_POSITIVE : DEC_INVALID)
          << "byte " << byte << " = " << value;
    }
  }
}

TEST(DecimalState, ZeroAndOverflowClearDigitsSignsKeepThem) {
  for (int state : {DEC_ZERO, DEC_NEG_OVERFLOW, DEC_POS_OVERFLOW, DEC_INVALID}) {
    Decimal d = D("-123.45");
    decimal_set_state(d, state);
    EXPECT_EQ(d.b[0], state);
    for (int i = 1; i < DECIMAL_BYTES; ++i) EXPECT_EQ(d.b[i], 0) << "state " << state;
  }
  Decimal d = D("-123.45");
  decimal_set_state(d, DEC_POSITIVE);
  EXPECT_EQ(T(d), "123.4500000000");
  decimal_set_state(d, DEC_NEGATIVE);
  EXPECT_EQ(T(d), "-123.4500000000");
  const Decimal z = decimal_zero();
  for (int i = 0; i < DECIMAL_BYTES; ++i) EXPECT_EQ(z.b[i], 0);
}

// ---------------------------------------------------------------------------------------------
// From and to integers

// The text writer reads the digit pairs, so a misplaced pair shows in the text.
TEST(DecimalFromInt, Int32AndInt64) {
  EXPECT_EQ(decimal_from_int32(0).b[0], DEC_ZERO);
  EXPECT_EQ(T(decimal_from_int32(-1)), "-1.0000000000");
  EXPECT_EQ(T(decimal_from_int32(100)), "100.0000000000");
  EXPECT_EQ(T(decimal_from_int32(INT32_MAX)), "2147483647.0000000000");
  EXPECT_EQ(T(decimal_from_int32(INT32_MIN)), "-2147483648.0000000000");
  EXPECT_EQ(T(decimal_from_int64(INT64_MAX)), "9223372036854775807.0000000000");
  EXPECT_EQ(T(decimal_from_int64(INT64_MIN)), "-9223372036854775808.0000000000");
  EXPECT_EQ(T(decimal_from_int64(-1000000000000LL)), "-1000000000000.0000000000");
}

struct ToIntCase {
  const char* text;
  bool round;
  int status;  // 0 success, 1 failure
  int64_t value;
};

TEST(DecimalToInt, Int32) {
  const ToIntCase cases[] = {
      {"0", false, 0, 0},
      {"0.9", false, 0, 0},
      {"0.9", true, 0, 1},
      {"1.49", true, 0, 1},
      {"1.50", true, 0, 2},
      {"1.4999999999", true, 0, 1},
      {"-1.5", true, 0, -2},
      {"-1.5", false, 0, -1},
      {"2147483647", false, 0, 2147483647},
      {"2147483647.9", false, 0, 2147483647},
      {"2147483647.5", true, 1, 0},  // rounding passes the range
      {"2147483646.5", true, 0, 2147483647},
      {"2147483648", false, 1, 0},
      {"-2147483647", false, 0, -2147483647},
      {"-2147483648", false, 1, 0},  // the magnitude is tested before the sign is applied
      {"99999999999999999999", false, 1, 0},
      {"100000000000", false, 1, 0},
  };
  for (const auto& c : cases) {
    int32_t v = 12345;
    EXPECT_EQ(decimal_to_int32(D(c.text), c.round, &v) != 0, c.status != 0) << c.text;
    if (c.status == 0) {
      EXPECT_EQ(v, c.value) << c.text;
    }
  }
}

TEST(DecimalToInt, Int64) {
  const ToIntCase cases[] = {
      {"0", true, 0, 0},
      {"12345678901234567.5", true, 0, 12345678901234568},
      {"-12345678901234567.5", false, 0, -12345678901234567},
      // Before each step the value may be at most 92233720368547757.
      {"9223372036854775799", false, 0, 9223372036854775799},
      {"9223372036854775799.49", true, 0, 9223372036854775799},
      {"9223372036854775799.5", true, 0, 9223372036854775800},
      {"-9223372036854775799", false, 0, -9223372036854775799},
      {"9223372036854775800", false, 1, 0},
      {"9223372036854775807", false, 1, 0},
      {"-9223372036854775808", false, 1, 0},
      {"10000000000000000000", false, 1, 0},
      {"922337203685477580", false, 0, 922337203685477580},
      {"999999999999999999.99", true, 0, 1000000000000000000},
      {TWENTY_NINES, false, 1, 0},
  };
  for (const auto& c : cases) {
    int64_t v = 12345;
    EXPECT_EQ(decimal_to_int64(D(c.text), c.round, &v) != 0, c.status != 0) << c.text;
    if (c.status == 0) {
      EXPECT_EQ(v, c.value) << c.text;
    }
  }
}

TEST(DecimalToInt, OnlyFiniteNumbersConvert) {
  int32_t v32 = 7;
  int64_t v64 = 7;
  for (const Decimal& d : {pos_overflow(), neg_overflow(), invalid(), raw(9)}) {
    EXPECT_NE(decimal_to_int32(d, false, &v32), 0);
    EXPECT_NE(decimal_to_int64(d, true, &v64), 0);
  }
  // A signed record without digits is zero.
  EXPECT_EQ(decimal_to_int32(raw(DEC_NEGATIVE), true, &v32), 0);
  EXPECT_EQ(v32, 0);
  EXPECT_EQ(decimal_to_int64(raw(DEC_POSITIVE), true, &v64), 0);
  EXPECT_EQ(v64, 0);
}

// ---------------------------------------------------------------------------------------------
// Negate, add, subtract

TEST(DecimalNegate, SwapsSignsAndOverflowsKeepsDigits) {
  EXPECT_EQ(T(decimal_negate(D("1.5"))), "-1.5000000000");
  EXPECT_EQ(T(decimal_negate(D("-1.5"))), "1.5000000000");
  EXPECT_EQ(decimal_negate(pos_overflow()).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_negate(neg_overflow()).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_negate(decimal_zero()).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_negate(invalid()).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_negate(raw(200, 6, 1)).b[0], 200);
  const Decimal d = D("12345678901234567890.1234567890");
  const Decimal n = decimal_negate(d);
  EXPECT_EQ(std::memcmp(d.b + 1, n.b + 1, 15), 0);
}

struct BinaryCase {
  const char* a;
  const char* b;
  const char* expected;  // trimmed text at width 30, scale 10
};

TEST(DecimalAdd, FiniteTable) {
  const BinaryCase cases[] = {
      {"1.25", "2.75", "4.0000000000"},
      {"1.5", "-1.5", "0.0000000000"},
      {"-1.5", "1.5", "0.0000000000"},
      {"100", "-0.0000000001", "99.9999999999"},
      {"-100", "0.0000000001", "-99.9999999999"},
      {"0.0000000001", "-100", "-99.9999999999"},
      {"9999", "1", "10000.0000000000"},  // carry from byte 7 into byte 8
      {"0.0000000001", "0.9999999999", "1.0000000000"},
      {"10000", "-1", "9999.0000000000"},  // borrow from byte 8 into byte 7
      {"-10000", "1", "-9999.0000000000"},
      {"99999999999999999999", "-99999999999999999999.9999999999", "-0.9999999999"},
      {"12345678901234567890.1234567890", "-0.0000000001", "12345678901234567890.1234567889"},
      {"55555555555555555555.5555555555", "44444444444444444444.4444444444", LARGEST},
      {"-55555555555555555555.5555555555", "-44444444444444444444.4444444444",
       "-99999999999999999999.9999999999"},
      {"0", "-3", "-3.0000000000"},
      {"-3", "0", "-3.0000000000"},
      {"0", "0", "0.0000000000"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(T(decimal_add(D(c.a), D(c.b))), c.expected) << c.a << " + " << c.b;
    EXPECT_EQ(T(decimal_add(D(c.b), D(c.a))), c.expected) << c.b << " + " << c.a;
  }
}

TEST(DecimalAdd, EqualMagnitudesOfOppositeSignsGiveStateZero) {
  EXPECT_EQ(decimal_sub(D("1.5"), D("1.5")).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_add(D("-7.25"), D("7.25")).b[0], DEC_ZERO);
}

TEST(DecimalAdd, CarryOutOfTheTopIsOverflow) {
  const Decimal r = decimal_add(D(TWENTY_NINES), D("1"));
  EXPECT_EQ(r.b[0], DEC_POS_OVERFLOW);
  for (int i = 1; i < DECIMAL_BYTES; ++i) EXPECT_EQ(r.b[i], 0);
  EXPECT_EQ(decimal_add(D("-99999999999999999999"), D("-1")).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_add(D(LARGEST), D("0.0000000001")).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_sub(D("-99999999999999999999"), D("1")).b[0], DEC_NEG_OVERFLOW);
}

TEST(DecimalAdd, OverflowAndInvalidOperands) {
  const Decimal five = D("5");
  EXPECT_EQ(decimal_add(pos_overflow(), five).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_add(five, neg_overflow()).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_add(decimal_zero(), pos_overflow()).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_add(neg_overflow(), decimal_zero()).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_add(pos_overflow(), pos_overflow()).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_add(pos_overflow(), neg_overflow()).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_add(neg_overflow(), pos_overflow()).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_add(invalid(), five).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_add(five, raw(0, 3, 1)).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_add(decimal_zero(), invalid()).b[0], DEC_INVALID);
  // Subtraction negates the right operand first.
  EXPECT_EQ(decimal_sub(pos_overflow(), pos_overflow()).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_sub(pos_overflow(), neg_overflow()).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_sub(decimal_zero(), pos_overflow()).b[0], DEC_NEG_OVERFLOW);
}

TEST(DecimalAdd, NonFiniteOperandsAreCopiedAsTheyStand) {
  // A zero left operand yields the right one, otherwise the left one.
  const Decimal signed_zero = raw(DEC_NEGATIVE);
  const Decimal r = decimal_add(D("3"), signed_zero);
  EXPECT_EQ(T(r), "3.0000000000");
  const Decimal s = decimal_add(decimal_zero(), signed_zero);
  EXPECT_EQ(std::memcmp(s.b, signed_zero.b, 16), 0);
}

// Subtraction is addition of the negated right operand: only the order of the operands and
// the signs are its own.
TEST(DecimalSub, Table) {
  const BinaryCase cases[] = {
      {"0", "5", "-5.0000000000"},
      {"5", "7.5", "-2.5000000000"},
      {"-5", "-7.5", "2.5000000000"},
      {"-5", "7.5", "-12.5000000000"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(T(decimal_sub(D(c.a), D(c.b))), c.expected) << c.a << " - " << c.b;
  }
}

// ---------------------------------------------------------------------------------------------
// Multiply

TEST(DecimalMul, FiniteTable) {
  const BinaryCase cases[] = {
      {"1.5", "2", "3.0000000000"},
      {"-1.5", "2", "-3.0000000000"},
      {"-1.5", "-2", "3.0000000000"},
      {"1.0000000001", "1.0000000001", "1.0000000002"},  // 1.00000000020000000001 truncated
      {"0.9999999999", "0.9999999999", "0.9999999998"},
      {"-0.3333333333", "3", "-0.9999999999"},
      {"2", "0.3333333333", "0.6666666666"},
      {"0.5", "0.0000000003", "0.0000000001"},  // 0.00000000015 truncated, not rounded
      {"12345678901234567890", "0.0000000001", "1234567890.1234567890"},
      {"9999999999.9999999999", "10000000000", TWENTY_NINES},
      {"12345.6789", "98765.4321", "1219326311.1263526900"},
      {"4294967296", "4294967296", "18446744073709551616.0000000000"},
      {"-99999999999999999999.9999999999", "1", "-99999999999999999999.9999999999"},
      {"1", "0.0000000001", "0.0000000001"},
  };
  for (const auto& c : cases) {
    std::string expected = c.expected;
    if (expected.find('.') == std::string::npos) expected += ".0000000000";
    EXPECT_EQ(T(decimal_mul(D(c.a), D(c.b))), expected) << c.a << " * " << c.b;
    EXPECT_EQ(T(decimal_mul(D(c.b), D(c.a))), expected) << c.b << " * " << c.a;
  }
}

TEST(DecimalMul, OverflowAndSpecialOperands) {
  EXPECT_EQ(decimal_mul(D("0.00001"), D("-0.000001")).b[0], DEC_ZERO);  // below the 10th decimal
  EXPECT_EQ(decimal_mul(D("10000000000"), D("10000000000")).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_mul(D("-10000000000"), D("10000000000")).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_mul(D(LARGEST), D("1.0000000001")).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_mul(D(LARGEST), D(LARGEST)).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_mul(pos_overflow(), D("-2")).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_mul(neg_overflow(), D("-2")).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_mul(neg_overflow(), pos_overflow()).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_mul(pos_overflow(), decimal_zero()).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_mul(raw(DEC_NEGATIVE), pos_overflow()).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_mul(invalid(), decimal_zero()).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_mul(D("2"), raw(7)).b[0], DEC_INVALID);
}

// ---------------------------------------------------------------------------------------------
// Compare

struct CompareCase {
  Decimal a;
  Decimal b;
  int expected;
};

TEST(DecimalCompare, Table) {
  const CompareCase cases[] = {
      {D("-1"), D("1"), -1},
      {D("1"), D("-1"), 1},
      {D("2"), D("1"), 1},
      {D("-2"), D("-1"), -1},
      {D("1.0000000001"), D("1"), 1},
      {D("-1.0000000001"), D("-1"), -1},
      {D("12345.5"), D("12345.5"), 0},
      {D("10000"), D("9999.9999999999"), 1},  // the difference is in different words
      {D("0"), D("0"), 0},
      {raw(DEC_NEGATIVE), decimal_zero(), 0},
      {D("0.0000000001"), decimal_zero(), 1},
      {decimal_zero(), D("-0.0000000001"), 1},
      {pos_overflow(), D("5"), 1},
      {D("5"), pos_overflow(), -1},
      {pos_overflow(), pos_overflow(), 0},
      {neg_overflow(), neg_overflow(), 0},
      {pos_overflow(), neg_overflow(), 1},
      {neg_overflow(), D("-99999999999999999999"), -1},
      {decimal_zero(), neg_overflow(), 1},
      {pos_overflow(), D(LARGEST), 1},
      {invalid(), D("1"), 5},
      {D("1"), invalid(), 5},
      {invalid(), invalid(), 5},
      {pos_overflow(), raw(2, 4, 100), 5},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    EXPECT_EQ(decimal_compare(cases[i].a, cases[i].b), cases[i].expected) << "case " << i;
  }
}

// ---------------------------------------------------------------------------------------------
// Divide

// The state of a / b, which must not be a division by zero.
int div_state(const Decimal& a, const Decimal& b) {
  Decimal q;
  EXPECT_EQ(decimal_div(a, b, &q), DEC_DIV_OK);
  return q.b[0];
}

struct DivCase {
  const char* a;
  const char* b;
  const char* expected;
};

TEST(DecimalDiv, FiniteTable) {
  const DivCase cases[] = {
      {"1", "3", "0.3333333333"},
      {"2", "3", "0.6666666666"},  // truncated
      {"-1", "3", "-0.3333333333"},
      {"-1", "-3", "0.3333333333"},
      {"10", "4", "2.5000000000"},
      {"1", "7", "0.1428571428"},
      {"22", "7", "3.1428571428"},
      {"0.0000000002", "2", "0.0000000001"},
      {"0.0000000001", "0.0000000001", "1.0000000000"},
      {"123456789.123456789", "0.000000001", "123456789123456789.0000000000"},
      {"12345678901234567890", "12345678901234567890", "1.0000000000"},
      {LARGEST, "1", LARGEST},
      {LARGEST, "99999999999999999999.9999999999", "1.0000000000"},
      {"1219326311.12635269", "98765.4321", "12345.6789000000"},
      {"99999999999999999999", "3", "33333333333333333333.0000000000"},
      {"1", "99999999999.9999999999", "0.0000000000"},  // below the tenth decimal
      {"-5", "0.5", "-10.0000000000"},
      {"1", "0.0000000001", "10000000000.0000000000"},
  };
  for (const auto& c : cases) {
    Decimal q;
    EXPECT_EQ(decimal_div(D(c.a), D(c.b), &q), DEC_DIV_OK) << c.a << " / " << c.b;
    EXPECT_EQ(T(q), c.expected) << c.a << " / " << c.b;
  }
}

TEST(DecimalDiv, ByZeroGivesZeroAndTheStatus) {
  for (const Decimal& a : {D("1"), D("-7.5"), decimal_zero(), pos_overflow(), neg_overflow()}) {
    for (const Decimal& zero : {decimal_zero(), raw(DEC_NEGATIVE), D("-0")}) {
      Decimal q = D("123");
      EXPECT_EQ(decimal_div(a, zero, &q), DEC_DIV_BY_ZERO);
      EXPECT_EQ(q.b[0], DEC_ZERO);
      for (int i = 1; i < DECIMAL_BYTES; ++i) EXPECT_EQ(q.b[i], 0);
    }
  }
}

TEST(DecimalDiv, SpecialOperandsAndQuotientsPastTwentyIntegerDigits) {
  EXPECT_EQ(div_state(invalid(), decimal_zero()), DEC_INVALID);
  EXPECT_EQ(div_state(D("1"), invalid()), DEC_INVALID);
  EXPECT_EQ(div_state(decimal_zero(), D("5")), DEC_ZERO);
  EXPECT_EQ(div_state(decimal_zero(), pos_overflow()), DEC_ZERO);
  EXPECT_EQ(div_state(pos_overflow(), D("2")), DEC_POS_OVERFLOW);
  EXPECT_EQ(div_state(pos_overflow(), D("-2")), DEC_NEG_OVERFLOW);
  EXPECT_EQ(div_state(D("2"), neg_overflow()), DEC_NEG_OVERFLOW);
  EXPECT_EQ(div_state(D("-2"), neg_overflow()), DEC_POS_OVERFLOW);
  EXPECT_EQ(div_state(D(TWENTY_NINES), D("0.1")), DEC_POS_OVERFLOW);
  EXPECT_EQ(div_state(D("50000000000000000000"), D("0.5")), DEC_POS_OVERFLOW);
  EXPECT_EQ(div_state(D("-99999999999999999999"), D("0.5")), DEC_NEG_OVERFLOW);
  EXPECT_EQ(div_state(D("10000000000"), D("0.0000000001")), DEC_POS_OVERFLOW);
  Decimal q;
  EXPECT_EQ(decimal_div(D("9999999999.9999999999"), D("0.0000000001"), &q), DEC_DIV_OK);
  EXPECT_EQ(T(q), TWENTY_NINES + std::string(".0000000000"));
}

TEST(DecimalDiv, MultiplyingBackDoesNotPassTheDividend) {
  // q = a / b truncated: q * b <= a < (q + 0.0000000001) * b for positive operands.
  const char* numbers[] = {"1",           "3",          "7",       "0.0000000007", "123.456",
                           "99999.99999", "31415926.53", "2.718281828", "65536",  "4999999999.5",
                           "50",          "0.5000000001"};
  const Decimal step = D("0.0000000001");
  for (const char* a : numbers) {
    for (const char* b : numbers) {
      Decimal q;
      ASSERT_EQ(decimal_div(D(a), D(b), &q), DEC_DIV_OK);
      if (decimal_classify(q) == DEC_POS_OVERFLOW) continue;
      const Decimal low = decimal_mul(q, D(b));
      const Decimal high = decimal_mul(decimal_add(q, step), D(b));
      EXPECT_LE(decimal_compare(low, D(a)), 0) << a << " / " << b << " = " << T(q);
      if (decimal_classify(high) != DEC_POS_OVERFLOW) {
        EXPECT_GE(decimal_compare(high, D(a)), 0) << a << " / " << b << " = " << T(q);
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Hundredths to days

TEST(DecimalHundredthsToDays, Table) {
  struct Case {
    Decimal d;
    int64_t days;
    int32_t rest;
  };
  const Case cases[] = {
      {D("8640000"), 1, 0},
      {D("8640001.99"), 1, 1},  // the fraction is dropped
      {D("-8640001"), -1, -1},
      {D("8639999"), 0, 8639999},
      {D("123456789012"), 14288, 8469012},
      {D(TWENTY_NINES), 11574074074074, 639999},
      {D("-99999999999999999999.9999999999"), -11574074074074, -639999},
      {decimal_zero(), 0, 0},
      {pos_overflow(), 0, 0},
      {invalid(), 0, 0},
  };
  for (const auto& c : cases) {
    int64_t days = -7;
    int32_t rest = -7;
    decimal_hundredths_to_days(c.d, &days, &rest);
    EXPECT_EQ(days, c.days) << T(c.d);
    EXPECT_EQ(rest, c.rest) << T(c.d);
  }
}

}  // namespace
}  // namespace tavrel
