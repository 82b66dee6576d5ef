// BIGINT text: reading with and without the range test, and writing.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "values/bigint.h"

namespace tavrel {
namespace {

struct FromTextCase {
  const char* text;
  int status;
  int64_t value;  // checked when the status is BIGINT_OK
};

TEST(BigintFromText, Table) {
  const FromTextCase cases[] = {
      {"0", BIGINT_OK, 0},
      {"123", BIGINT_OK, 123},
      {"-123", BIGINT_OK, -123},
      {" \t  42", BIGINT_OK, 42},
      {"42 ", BIGINT_OK, 42},
      {"42 and more", BIGINT_OK, 42},  // only the character after the digits is looked at
      {"-0", BIGINT_OK, 0},
      {"9223372036854775807", BIGINT_OK, INT64_MAX},
      {"-9223372036854775807", BIGINT_OK, -INT64_MAX},
      {"0000000000000000001", BIGINT_OK, 1},  // 19 digits
      {"12a", BIGINT_SYNTAX, 0},
      {"42\t", BIGINT_SYNTAX, 0},
      {"", BIGINT_SYNTAX, 0},
      {"   ", BIGINT_SYNTAX, 0},
      {"-", BIGINT_SYNTAX, 0},
      {"+5", BIGINT_SYNTAX, 0},
      {"- 5", BIGINT_SYNTAX, 0},
      {"--5", BIGINT_SYNTAX, 0},
      {"x1", BIGINT_SYNTAX, 0},
      {"1.5", BIGINT_SYNTAX, 0},
      // The sign is not part of the comparison: the minimum's own text is an overflow.
      {"-9223372036854775808", BIGINT_OVERFLOW, 0},
      {"9223372036854775808", BIGINT_OVERFLOW, 0},
      {"9999999999999999999", BIGINT_OVERFLOW, 0},
      {"10000000000000000000", BIGINT_OVERFLOW, 0},
      {"00000000000000000001", BIGINT_OVERFLOW, 0},  // 20 digits, leading zeros counted
      {"-99999999999999999999999", BIGINT_OVERFLOW, 0},
  };
  for (const auto& c : cases) {
    int64_t v = 777;
    EXPECT_EQ(bigint_from_text(c.text, &v), c.status) << '"' << c.text << '"';
    if (c.status == BIGINT_OK) {
      EXPECT_EQ(v, c.value) << '"' << c.text << '"';
    }
  }
}

TEST(BigintFromText, FailureStillGivesTheAccumulatedValue) {
  int64_t v = 0;
  EXPECT_EQ(bigint_from_text("12a", &v), BIGINT_SYNTAX);
  EXPECT_EQ(v, 12);
  EXPECT_EQ(bigint_from_text("-9223372036854775808", &v), BIGINT_OVERFLOW);
  EXPECT_EQ(v, INT64_MIN);
}

TEST(BigintFromText, UncheckedAccumulatesWithoutTests) {
  EXPECT_EQ(bigint_from_text_unchecked("-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(bigint_from_text_unchecked("9223372036854775808"), INT64_MIN);  // wraps
  EXPECT_EQ(bigint_from_text_unchecked("18446744073709551617"), 1);
  EXPECT_EQ(bigint_from_text_unchecked("12a"), 12);
  EXPECT_EQ(bigint_from_text_unchecked("\t -7x"), -7);
  EXPECT_EQ(bigint_from_text_unchecked(""), 0);
  EXPECT_EQ(bigint_from_text_unchecked("+5"), 0);
}

TEST(BigintToText, Table) {
  const struct {
    int64_t value;
    const char* text;
  } cases[] = {
      {0, "0"},
      {7, "7"},
      {10, "10"},
      {99, "99"},
      {100, "100"},
      {-1, "-1"},
      {-10, "-10"},
      {1000000007, "1000000007"},
      {INT64_MAX, "9223372036854775807"},
      {-INT64_MAX, "-9223372036854775807"},
      {INT64_MIN, "-9223372036854775808"},
  };
  for (const auto& c : cases) {
    char buf[BIGINT_TEXT_CAPACITY];
    const int n = bigint_to_text(c.value, buf);
    EXPECT_STREQ(buf, c.text);
    EXPECT_EQ(static_cast<size_t>(n), std::strlen(c.text));
  }
}

TEST(BigintText, RoundTrip) {
  for (int i = 0; i < 19; ++i) {
    int64_t v = 1;
    for (int k = 0; k < i; ++k) v *= 10;
    for (int64_t x : {v - 1, v, v + 1, -v + 1, -v, -v - 1, v * 3 + 7}) {
      char buf[BIGINT_TEXT_CAPACITY];
      bigint_to_text(x, buf);
      int64_t back = 0;
      EXPECT_EQ(bigint_from_text(buf, &back), BIGINT_OK) << buf;
      EXPECT_EQ(back, x);
    }
  }
}

}  // namespace
}  // namespace tavrel
