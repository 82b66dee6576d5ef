// Number pictures: TO_CHAR of integers, doubles and decimals with a picture.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "values/number_picture.h"

namespace tavrel {
namespace {

std::string pic_int(int64_t v, const char* picture) {
  char out[NUMBER_PICTURE_CAPACITY];
  EXPECT_EQ(number_picture_int64(v, picture, out), NUMBER_PICTURE_OK) << picture;
  return out;
}

std::string pic_double(double v, const char* picture) {
  char out[NUMBER_PICTURE_CAPACITY];
  EXPECT_EQ(number_picture_double(v, picture, out), NUMBER_PICTURE_OK) << picture;
  return out;
}

// A decimal record laid out by hand from "[-]digits[.digits]": the integer part right-
// aligned into the bytes from the units up, the fraction from its first byte down.
Decimal decimal_of(const char* text) {
  Decimal d{};
  bool negative = *text == '-';
  if (negative) ++text;
  const char* point = std::strchr(text, '.');
  size_t int_len = point ? static_cast<size_t>(point - text) : std::strlen(text);
  bool zero = true;
  for (size_t i = 0; i < int_len; ++i) {
    int power = static_cast<int>(int_len - 1 - i);
    int digit = text[i] - '0';
    uint8_t& pair = d.b[DECIMAL_UNITS + power / 2];
    pair = static_cast<uint8_t>(pair + digit * (power % 2 ? 10 : 1));
    zero = zero && digit == 0;
  }
  if (point) {
    for (int i = 0; point[1 + i] != '\0'; ++i) {
      int digit = point[1 + i] - '0';
      uint8_t& pair = d.b[DECIMAL_UNITS - 1 - i / 2];
      pair = static_cast<uint8_t>(pair + digit * (i % 2 ? 1 : 10));
      zero = zero && digit == 0;
    }
  }
  d.b[0] = zero ? DEC_ZERO : negative ? DEC_NEGATIVE : DEC_POSITIVE;
  return d;
}

std::string pic_decimal(const Decimal& v, const char* picture) {
  char out[NUMBER_PICTURE_CAPACITY];
  EXPECT_EQ(number_picture_decimal(v, picture, out), NUMBER_PICTURE_OK) << picture;
  return out;
}

TEST(NumberPicture, Integers) {
  struct Case {
    int64_t v;
    const char* picture;
    const char* expect;
  };
  const Case cases[] = {
      {0, "9", "0"},
      {0, "999", "  0"},
      {5, "999", "  5"},
      {-5, "999", " -5"},
      {123, "999", "123"},
      {-123, "999", "###"},  // no room for the minus
      {1234, "999", "###"},
      {1234567, "9,999,999", "1,234,567"},
      {1234, "9,999,999", "    1,234"},
      {-1234, "9,999,999", "   -1,234"},
      {5, "0999", "0005"},
      {42, "S0999", "+0042"},
      {-42, "999-", " 42-"},
      {5, "9909", "  05"},
      {1234, "999,990.99", "  1,234.00"},
      {0, "999,990.99", "      0.00"},
      {7, "9.", "7."},
      {5, "S999", "  +5"},
      {-5, "S999", "  -5"},
      {-123, "s999", "-123"},
      {0, "S9", "+0"},
      {5, "999S", "  5+"},
      {-5, "999S", "  5-"},
      {5, "999-", "  5 "},
      {-5, "999-", "  5-"},
      {5, "-999", "   5"},
      {-5, "-999", "  -5"},
      {12, "***9", "**12"},
      {-12, "***9", "*-12"},
      {1234, "**,**9.99", "*1,234.00"},
      {12, "**,**9", "****12"},
      {0, ".99", ".00"},
      {5, ".99", "###"},
      {std::numeric_limits<int64_t>::max(), "9999999999999999999", "9223372036854775807"},
      {std::numeric_limits<int64_t>::min(), "S9999999999999999999", "-9223372036854775808"},
      {std::numeric_limits<int64_t>::min(), "9999999999999999999", "###################"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(pic_int(c.v, c.picture), c.expect) << c.v << " " << c.picture;
  }
}

TEST(NumberPicture, DoublesRoundHalfAwayFromZero) {
  struct Case {
    double v;
    const char* picture;
    const char* expect;
  };
  const Case cases[] = {
      {2.675, "9.99", "2.68"},     // its shortest decimal form is what rounds
      {-2.675, "99.99", "-2.68"},
      {0.125, "9.99", "0.13"},
      {-0.125, "99.99", "-0.13"},
      {0.5, "999,990.99", "      0.50"},
      {0.5, "9", "1"},
      {-0.5, "99", "-1"},
      {2.5, "9", "3"},
      {1.25, "9.9", "1.3"},
      {0.005, "9.99", "0.01"},
      {0.004, "9.99", "0.00"},
      {-0.004, "99.99", " 0.00"},  // no minus on a zero
      {-0.0, "9.9", "0.0"},
      {9.995, "9.99", "####"},
      {9.995, "99.99", "10.00"},
      {99.5, "99", "##"},
      {1234.5, "999,990.99", "  1,234.50"},
      {123456789012.345, "999,999,999,999.99", "123,456,789,012.35"},
      {1e-300, "9.99", "0.00"},
      {1e300, "999", "###"},
      {1e20, "999,999,999,999,999,999,999", "100,000,000,000,000,000,000"},
      {std::nan(""), "999", "###"},
      {std::numeric_limits<double>::infinity(), "9.9", "###"},
      {-std::numeric_limits<double>::infinity(), "S9", "##"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(pic_double(c.v, c.picture), c.expect) << c.v << " " << c.picture;
  }
}

TEST(NumberPicture, Decimals) {
  struct Case {
    const char* v;
    const char* picture;
    const char* expect;
  };
  const Case cases[] = {
      {"12345.678", "99,999.99", "12,345.68"},
      {"-0.005", "99.99", "-0.01"},
      {"-0.004", "99.99", " 0.00"},
      {"0.0000000001", "9.9999999999", "0.0000000001"},
      {"99999999999999999999.9999999999", "99999999999999999999.9999999999",
       "99999999999999999999.9999999999"},
      {"99999999999999999999.9999999999", "99999999999999999999.999999999",
       "##############################"},
      {"10203040506070809001.0203040506", "S99999999999999999999.99", "+10203040506070809001.02"},
      {"7", "9", "7"},
      {"100", "99", "##"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(pic_decimal(decimal_of(c.v), c.picture), c.expect) << c.v << " " << c.picture;
  }

  // A zero record is zero whatever its digit bytes hold.
  Decimal zero = decimal_of("12.5");
  zero.b[0] = DEC_ZERO;
  EXPECT_EQ(pic_decimal(zero, "999.99"), "  0.00");
  // Overflow states and malformed records do not fit any picture.
  const uint8_t unfit[] = {DEC_NEG_OVERFLOW, DEC_POS_OVERFLOW, DEC_INVALID, 200};
  for (uint8_t state : unfit) {
    Decimal d = decimal_of("1");
    d.b[0] = state;
    EXPECT_EQ(pic_decimal(d, "9.99"), "####") << int{state};
  }
  Decimal bad = decimal_of("1");
  bad.b[DECIMAL_UNITS + 1] = 100;
  EXPECT_EQ(pic_decimal(bad, "9.99"), "####");
}

TEST(NumberPicture, MalformedPictures) {
  const std::string too_long(NUMBER_PICTURE_CAPACITY, '9');
  const char* pictures[] = {"",    "abc",   "9.9.9", ",999", "999,", "9,.9", "9.9,9", "9,,9",
                            "S",   "S9S",   "--9",   "9-9",  "9.9*", "99 9", "$999", ".",
                            "S.",  too_long.c_str()};
  for (const char* picture : pictures) {
    char out[NUMBER_PICTURE_CAPACITY] = "x";
    EXPECT_EQ(number_picture_int64(1, picture, out), NUMBER_PICTURE_BAD) << picture;
    EXPECT_STREQ(out, "") << picture;
    EXPECT_EQ(number_picture_double(1.0, picture, out), NUMBER_PICTURE_BAD) << picture;
    EXPECT_EQ(number_picture_decimal(decimal_of("1"), picture, out), NUMBER_PICTURE_BAD) << picture;
  }
  // The longest picture that fits the result still works.
  const std::string longest(NUMBER_PICTURE_CAPACITY - 1, '9');
  EXPECT_EQ(pic_int(42, longest.c_str()).size(), longest.size());
}

// The three sources agree with one another, and every text is as long as its picture.
TEST(NumberPicture, SourcesAgree) {
  const char* pictures[] = {"S999,999,990.99", "999999999990", "-0,000,000.9", "**,***,**9.999"};
  for (int64_t v = -9999999; v <= 9999999; v += 77777) {
    const std::string text = std::to_string(v);
    for (const char* picture : pictures) {
      std::string a = pic_int(v, picture);
      EXPECT_EQ(a.size(), std::strlen(picture)) << picture;
      EXPECT_EQ(pic_double(static_cast<double>(v), picture), a) << v << " " << picture;
      EXPECT_EQ(pic_decimal(decimal_of(text.c_str()), picture), a) << v << " " << picture;
    }
  }
}

}  // namespace
}  // namespace tavrel
