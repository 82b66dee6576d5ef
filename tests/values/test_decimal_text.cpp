// Text forms of the decimal record: the reader, the field writer, the double conversions and
// the program's own reader of double text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "values/decimal.h"

namespace tavrel {
namespace {

std::string text_of(const Decimal& d, int width, int scale, bool sign) {
  char buf[DECIMAL_TEXT_CAPACITY + 8];
  std::memset(buf, '#', sizeof buf);
  const int n = decimal_to_text(d, width, scale, sign, buf);
  EXPECT_EQ(static_cast<size_t>(n), std::strlen(buf));
  EXPECT_LE(n + 1, DECIMAL_TEXT_CAPACITY);
  return std::string(buf, static_cast<size_t>(n));
}

std::string blanks(size_t n) { return std::string(n, ' '); }

// ---------------------------------------------------------------------------------------------
// Reading text

TEST(DecimalFromText, ByteLayout) {
  const Decimal d = decimal_from_text("12345678901234567890.1234567890");
  const uint8_t expected[16] = {DEC_POSITIVE, 90, 78, 56, 34, 12, 90, 78, 56, 34,
                                12,           90, 78, 56, 34, 12};
  EXPECT_EQ(std::memcmp(d.b, expected, 16), 0);
  const Decimal e = decimal_from_text("-7.05");
  const uint8_t expected_e[16] = {DEC_NEGATIVE, 0, 0, 0, 0, 5, 7};
  EXPECT_EQ(std::memcmp(e.b, expected_e, 16), 0);
}

struct FromTextCase {
  const char* text;
  int state;
  const char* shown;  // width 30, scale 10, sign flag off; nullptr: not checked
};

TEST(DecimalFromText, Table) {
  const FromTextCase cases[] = {
      {"1.5", DEC_POSITIVE, "                    1.5000000000"},
      {"  1.5  ", DEC_POSITIVE, "                    1.5000000000"},
      {"+1.5", DEC_POSITIVE, "                    1.5000000000"},
      {"-1.5", DEC_NEGATIVE, "                   -1.5000000000"},
      {"1.", DEC_POSITIVE, "                    1.0000000000"},
      {".5", DEC_POSITIVE, "                    0.5000000000"},
      {"-.5", DEC_NEGATIVE, "                   -0.5000000000"},
      {"0.123456789000", DEC_POSITIVE, "                    0.1234567890"},
      {"000000000000000000000000001", DEC_POSITIVE, "                    1.0000000000"},
      {"99999999999999999999", DEC_POSITIVE, " 99999999999999999999.0000000000"},
      {"0", DEC_ZERO, "                    0.0000000000"},
      {"-0", DEC_ZERO, nullptr},
      {"-0.00000000000000", DEC_ZERO, nullptr},
      {"000.000", DEC_ZERO, nullptr},
      // More precision than the record holds is an overflow; the reader never rounds.
      {"0.123456789012", DEC_POS_OVERFLOW, nullptr},
      {"0.00000000001", DEC_POS_OVERFLOW, nullptr},
      {"-0.00000000001", DEC_NEG_OVERFLOW, nullptr},
      {"100000000000000000000", DEC_POS_OVERFLOW, nullptr},
      {"-100000000000000000000", DEC_NEG_OVERFLOW, nullptr},
      // Bad text.
      {"", DEC_INVALID, nullptr},
      {"   ", DEC_INVALID, nullptr},
      {".", DEC_INVALID, nullptr},
      {"-", DEC_INVALID, nullptr},
      {"+.", DEC_INVALID, nullptr},
      {"1.2.3", DEC_INVALID, nullptr},
      {"1 2", DEC_INVALID, nullptr},
      {"- 1", DEC_INVALID, nullptr},
      {"--1", DEC_INVALID, nullptr},
      {"1e5", DEC_INVALID, nullptr},
      {"1,5", DEC_INVALID, nullptr},
      {"\t1", DEC_INVALID, nullptr},
      {"12a", DEC_INVALID, nullptr},
      {"0.00000000001x", DEC_INVALID, nullptr},
  };
  for (const auto& c : cases) {
    const Decimal d = decimal_from_text(c.text);
    EXPECT_EQ(decimal_classify(d), c.state) << '"' << c.text << '"';
    EXPECT_EQ(d.b[0], c.state) << '"' << c.text << '"';
    if (c.state != DEC_NEGATIVE && c.state != DEC_POSITIVE) {
      for (int i = 1; i < DECIMAL_BYTES; ++i) EXPECT_EQ(d.b[i], 0) << '"' << c.text << '"';
    }
    if (c.shown != nullptr) {
      EXPECT_EQ(text_of(d, 30, 10, false), c.shown) << c.text;
    }
  }
}

TEST(DecimalFromText, StopsAtTheViewsEnd) {
  EXPECT_EQ(text_of(decimal_from_text(std::string_view("12.5junk", 4)), 6, 1, false), "    12.5");
}

// ---------------------------------------------------------------------------------------------
// Writing text

TEST(DecimalToText, OverflowIsNinesInEveryPlaceIncludingThePoint) {
  const Decimal over = decimal_add(decimal_from_text("99999999999999999999"), decimal_from_int32(1));
  ASSERT_EQ(over.b[0], DEC_POS_OVERFLOW);
  // The field is width + 2 = 32 characters: the sign place (blank), 20 integer places, the
  // point's place and 10 decimals, all nines.
  EXPECT_EQ(text_of(over, 30, 10, false), " " + std::string(31, '9'));
  EXPECT_EQ(text_of(over, 30, 10, true), "+" + std::string(31, '9'));
  EXPECT_EQ(text_of(decimal_negate(over), 30, 10, false), "-" + std::string(31, '9'));
  EXPECT_EQ(text_of(over, 10, 2, false), " " + std::string(11, '9'));
  EXPECT_EQ(text_of(over, 0, 0, false), " 9");
}

TEST(DecimalToText, InvalidIsQuestionMarks) {
  Decimal bad{};
  bad.b[0] = 9;
  EXPECT_EQ(text_of(bad, 30, 10, false), " " + std::string(31, '?'));
  EXPECT_EQ(text_of(bad, 4, 1, true), "+?????");
  EXPECT_EQ(text_of(decimal_from_text("x"), 4, 1, false), " ?????");
}

struct ToTextCase {
  const char* number;
  int width;
  int scale;
  bool sign;
  const char* expected;
};

TEST(DecimalToText, Table) {
  const ToTextCase cases[] = {
      {"1.5", 30, 10, false, "                    1.5000000000"},
      {"1.5", 30, 10, true, "                   +1.5000000000"},
      {"-12345678901234567890.1234567890", 30, 10, false, "-12345678901234567890.1234567890"},
      {"12345678901234567890.1234567890", 30, 10, false, " 12345678901234567890.1234567890"},
      {"12345678901234567890.1234567890", 30, 10, true, "+12345678901234567890.1234567890"},
      {"0", 5, 2, false, "   0.00"},
      {"0", 5, 2, true, "  +0.00"},
      {"0.5", 5, 2, false, "   0.50"},
      {"-0.5", 5, 2, false, "  -0.50"},
      {"0.5", 5, 2, true, "  +0.50"},
      {"-0.001", 5, 2, false, "  -0.00"},  // the sign of the number stays
      {"0.005", 5, 2, false, "   0.01"},
      {"0.0049999999", 5, 2, false, "   0.00"},
      {"1.25", 5, 1, false, "    1.3"},  // half away from zero
      {"-1.25", 5, 1, false, "   -1.3"},
      {"1.2499999999", 5, 1, false, "    1.2"},
      // Carries through nines, into the blank before the digits.
      {"9.995", 30, 2, false, "                   10.00"},
      {"9.995", 5, 2, false, "  10.00"},
      {"9.995", 3, 2, false, "10.00"},
      {"-9.995", 4, 2, false, "-10.00"},
      {"9.994", 3, 2, false, " 9.99"},
      {"0.9999999999", 10, 9, false, " 1.000000000"},
      // Values that do not fit: asterisks.
      {"-9.995", 3, 2, false, "*****"},
      {"9.995", 3, 2, true, "*****"},
      {"99.5", 3, 2, false, "99.50"},
      {"100", 3, 2, false, "*****"},
      {"99.995", 3, 2, false, "*****"},
      {"-5", 1, 1, false, "***"},
      {"123.4", 5, 2, false, " 123.40"},
      {"-123.4", 5, 2, false, "-123.40"},
      {"1234", 5, 2, false, "1234.00"},  // a positive number may use the sign's place
      {"1234", 5, 2, true, "*******"},
      {"-1234", 5, 2, false, "*******"},
      {"12345", 5, 2, false, "*******"},
      {"123456", 5, 0, false, "123456."},
      {"1234567", 5, 0, false, "*******"},
      // Scale 0 keeps the point's place.
      {"123", 5, 0, false, "   123."},
      {"0.5", 5, 0, false, "     1."},
      {"0.4", 5, 0, false, "     0."},
      // No integer place but the sign's: the zero before the point goes when a sign is there.
      {"0.5", 2, 2, false, "0.50"},
      {"-0.5", 2, 2, false, "-.50"},
      {"0.5", 2, 2, true, "+.50"},
      {"0", 0, 0, false, "0."},
      {"-0.4", 0, 0, false, "-."},
      {"-0.5", 0, 0, false, "**"},
      // The largest value rounded to fewer decimals needs a 21st digit.
      {"99999999999999999999.9999999999", 30, 9, false, "100000000000000000000.000000000"},
      {"99999999999999999999.9999999999", 30, 9, true, "*******************************"},
      {"-99999999999999999999.9999999999", 30, 10, false, "-99999999999999999999.9999999999"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(text_of(decimal_from_text(c.number), c.width, c.scale, c.sign), c.expected)
        << c.number << " w" << c.width << " s" << c.scale << (c.sign ? " +" : "");
  }
}

TEST(DecimalToText, WidthAndScaleAreCapped) {
  const Decimal d = decimal_from_text("-1.5");
  // Width at most 30, scale at most 10, integer width at most 20.
  EXPECT_EQ(text_of(d, 40, 12, false), text_of(d, 30, 10, false));
  EXPECT_EQ(text_of(d, 25, 2, false), text_of(d, 22, 2, false));
  EXPECT_EQ(text_of(d, 25, 2, false).size(), 24u);
  EXPECT_EQ(text_of(d, 28, 10, false), blanks(17) + "-1.5000000000");
  // A scale above the width is cut to it; negative values count as 0.
  EXPECT_EQ(text_of(decimal_from_text("0.25"), 3, 7, false), "0.250");
  EXPECT_EQ(text_of(decimal_from_text("7"), -4, -1, false), "7.");
}

TEST(DecimalToText, LengthIsAlwaysWidthPlusTwo) {
  const char* numbers[] = {"0", "1", "-1", "0.5", "-99999999999999999999.9999999999",
                           "12345.678", "100000000000000000000", "x"};
  for (const char* number : numbers) {
    const Decimal d = decimal_from_text(number);
    for (int w = 0; w <= 30; ++w) {
      for (int s = 0; s <= 10 && s <= w; ++s) {
        if (w - s > 20) continue;
        EXPECT_EQ(text_of(d, w, s, s & 1).size(), static_cast<size_t>(w + 2))
            << number << " w" << w << " s" << s;
      }
    }
  }
}

TEST(DecimalToText, RoundTripAtFullWidth) {
  const char* numbers[] = {"0.0000000001", "-0.0000000001", "1", "-99999999999999999999.9999999999",
                           "31415926535897932384.6264338327", "100", "-0.5"};
  for (const char* number : numbers) {
    const Decimal d = decimal_from_text(number);
    for (bool sign : {false, true}) {
      const Decimal back = decimal_from_text(text_of(d, 30, 10, sign));
      EXPECT_EQ(std::memcmp(d.b, back.b, 16), 0) << number;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Doubles

TEST(DecimalFromDouble, PrintsTenDecimalsAndReadsThem) {
  EXPECT_EQ(text_of(decimal_from_double(0.1), 11, 10, false), " 0.1000000000");
  EXPECT_EQ(text_of(decimal_from_double(-2.25), 11, 10, false), "-2.2500000000");
  EXPECT_EQ(text_of(decimal_from_double(2.0 / 3.0), 11, 10, false), " 0.6666666667");  // printf rounds
  EXPECT_EQ(text_of(decimal_from_double(1e19), 30, 0, false), " 10000000000000000000.");
  EXPECT_EQ(decimal_from_double(0.0).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_from_double(-0.0).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_from_double(1e-11).b[0], DEC_ZERO);
  EXPECT_EQ(decimal_from_double(1e20).b[0], DEC_POS_OVERFLOW);
  EXPECT_EQ(decimal_from_double(-1e300).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_from_double(-std::numeric_limits<double>::max()).b[0], DEC_NEG_OVERFLOW);
  EXPECT_EQ(decimal_from_double(std::numeric_limits<double>::quiet_NaN()).b[0], DEC_INVALID);
  EXPECT_EQ(decimal_from_double(std::numeric_limits<double>::infinity()).b[0], DEC_INVALID);
}

TEST(DecimalToDouble, GoesThroughTheTextForm) {
  EXPECT_EQ(decimal_to_double(decimal_from_text("1.5")), 1.5);
  EXPECT_EQ(decimal_to_double(decimal_from_text("-0.1")), -0.1);
  EXPECT_EQ(decimal_to_double(decimal_from_text("0.123456789")), 0.123456789);
  EXPECT_EQ(decimal_to_double(decimal_from_int32(INT32_MIN)), -2147483648.0);
  EXPECT_EQ(decimal_to_double(decimal_zero()), 0.0);
  // At most 14 significant digits are read.
  EXPECT_EQ(decimal_to_double(decimal_from_text("12345678901234567890")), 1.2345678901234e19);
  EXPECT_EQ(decimal_to_double(decimal_from_text("1234567890.1234567891")), 1234567890.1234);
  EXPECT_EQ(decimal_to_double(decimal_from_text("100000000000000000000")), 0.0);  // overflow
  EXPECT_EQ(decimal_to_double(decimal_from_text("bad")), 0.0);
}

struct ReadDoubleCase {
  const char* text;
  int status;  // 0 success, 1 failure
  double value;
};

TEST(ReadDoubleText, Table) {
  const ReadDoubleCase cases[] = {
      {"1.5", 0, 1.5},
      {"  -  1 . 5  ", 0, -1.5},  // blanks anywhere are skipped
      {"1,5", 0, 1.5},
      {"+2", 0, 2.0},
      {"-.25", 0, -0.25},
      {"7.", 0, 7.0},
      {"0", 0, 0.0},
      {"000.000", 0, 0.0},
      {"1e3", 0, 1000.0},
      {"1E-3", 0, 0.001},
      {"1e+3", 0, 1000.0},
      {"2.5e 2", 0, 250.0},
      {"0.000123", 0, 0.000123},
      {"123456789012345678", 0, 1.2345678901234e17},  // digits past the 14th raise the power
      {"0.123456789012345678", 0, 0.12345678901234},  // decimals past it are ignored
      {"00012345678901234.9", 0, 12345678901234.0},
      {"                  +1.5000000000", 0, 1.5},
      {"1e22", 0, 1e22},
      {"1e23", 0, 1e23},
      {"-2.5e-300", 0, -2.5e-300},
      {"1e308", 0, 1e308},
      {"1.7e308", 0, 1.7e308},
      {"1.7976931348623158e307", 0, 1.7976931348623e307},
      {"1e-400", 0, 0.0},
      {"0e999999999999", 0, 0.0},
      {"1e309", 1, 0},
      {"1.8e308", 1, 0},
      {"1e99999999999999", 1, 0},
      {"", 1, 0},
      {"   ", 1, 0},
      {".", 1, 0},
      {"-", 1, 0},
      {"e3", 1, 0},
      {".e3", 1, 0},
      {"1e", 1, 0},
      {"1e-", 1, 0},
      {"1e3.5", 1, 0},
      {"1e3e4", 1, 0},
      {"1e--3", 1, 0},
      {"1.2.3", 1, 0},
      {"1,2.3", 1, 0},
      {"--1", 1, 0},
      {"1-", 1, 0},
      {".-1", 1, 0},
      {"abc", 1, 0},
      {"1\t", 1, 0},
      {"0x10", 1, 0},
  };
  for (const auto& c : cases) {
    double v = -999.0;
    EXPECT_EQ(read_double_text(c.text, &v) != 0, c.status != 0) << '"' << c.text << '"';
    const double size = std::fabs(c.value);
    if (c.status != 0) {
      EXPECT_EQ(v, -999.0) << '"' << c.text << '"';  // a failure leaves the result alone
    } else if (size == 0.0 || (size >= 1e-22 && size <= 1e22)) {
      EXPECT_EQ(v, c.value) << '"' << c.text << '"';
    } else {
      // Scaling to the far exponents rounds a few times on the way.
      EXPECT_NEAR(v, c.value, std::fabs(c.value) * 1e-15) << '"' << c.text << '"';
    }
  }
}

TEST(ReadDoubleText, NegativeZeroKeepsItsSign) {
  double v = 1.0;
  ASSERT_EQ(read_double_text("-0", &v), 0);
  EXPECT_EQ(v, 0.0);
  EXPECT_TRUE(std::signbit(v));
}

}  // namespace
}  // namespace tavrel
