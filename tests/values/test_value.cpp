// Reading values as other types, the common numeric type, and negation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "values/value.h"

namespace tavrel {
namespace {

Value numeric(const char* text) { return make_numeric(decimal_from_text(text)); }

std::string numeric_text(const Value& v) {
  char out[DECIMAL_TEXT_CAPACITY];
  decimal_to_text(value_decimal(v), DECIMAL_TEXT_WIDTH, DECIMAL_SCALE, false, out);
  std::string s(out);
  s.erase(0, s.find_first_not_of(' '));
  return s;
}

TEST(ValueRecord, PayloadIsLittleEndianAtByteEight) {
  Value v = make_integer(0x01020304);
  const uint8_t* raw = reinterpret_cast<const uint8_t*>(&v);
  EXPECT_EQ(raw[0], TYPE_INTEGER);
  EXPECT_EQ(raw[8], 0x04);
  EXPECT_EQ(raw[11], 0x01);

  Value d = make_date(DateRecord{730120, 8639999});
  const uint8_t* draw = reinterpret_cast<const uint8_t*>(&d);
  uint32_t day;
  int32_t time;
  std::memcpy(&day, draw + 8, 4);
  std::memcpy(&time, draw + 12, 4);
  EXPECT_EQ(day, 730120u);
  EXPECT_EQ(time, 8639999);

  // Argument lists are arrays of records 24 bytes apart.
  Value args[2] = {make_smallint(1), make_smallint(2)};
  EXPECT_EQ(reinterpret_cast<uint8_t*>(&args[1]) - reinterpret_cast<uint8_t*>(&args[0]), 24);
}

TEST(ValueRecord, NumericTypesAreExactlyTheSix) {
  for (int t = 0; t < 256; t++) {
    bool expected = t == 2 || t == 3 || t == 4 || t == 5 || t == 6 || t == 16;
    EXPECT_EQ(is_numeric_type(static_cast<uint8_t>(t)), expected) << t;
  }
}

struct IntCase {
  const char* what;
  Value v;
  int16_t as_smallint;
  int32_t as_integer;
  int64_t as_bigint;
};

TEST(ReadAs, IntegerTargetsFollowTheConversionTable) {
  const int64_t MAX64 = std::numeric_limits<int64_t>::max();
  const int64_t MIN64 = std::numeric_limits<int64_t>::min();
  const IntCase cases[] = {
      {"smallint -5", make_smallint(-5), -5, -5, -5},
      {"integer 70000 keeps its low 16 bits", make_integer(70000), 4464, 70000, 70000},
      {"integer -70000", make_integer(-70000), -4464, -70000, -70000},
      {"double 1e10 clamps", make_double(1e10), 32767, 2147483647, 10000000000},
      {"double -1e10 clamps", make_double(-1e10), -32768, std::numeric_limits<int32_t>::min(),
       -10000000000},
      {"double truncates toward zero", make_double(-2.9), -2, -2, -2},
      {"real truncates toward zero", make_real(7.9f), 7, 7, 7},
      {"double -1e19 beyond 2^63", make_double(-1e19), -32768,
       std::numeric_limits<int32_t>::min(), MAX64},
      {"double 2^63 passes the test", make_double(9223372036854775808.0), 32767, 2147483647, MIN64},
      {"numeric 1e10 wraps", numeric("10000000000"), static_cast<int16_t>(10000000000 & 0xFFFF),
       static_cast<int32_t>(10000000000 & 0xFFFFFFFF), 10000000000},
      {"numeric -1e10 wraps", numeric("-10000000000"),
       static_cast<int16_t>(static_cast<uint64_t>(-10000000000) & 0xFFFF),
       static_cast<int32_t>(static_cast<uint64_t>(-10000000000) & 0xFFFFFFFF), -10000000000},
      {"numeric -7.99 truncates", numeric("-7.99"), -7, -7, -7},
      {"bigint 4294967296", make_bigint(4294967296), 32767, 2147483647, 4294967296},
      {"bigint 2147483648 looks only at the high half", make_bigint(2147483648), 0,
       std::numeric_limits<int32_t>::min(), 2147483648},
      {"bigint -1", make_bigint(-1), -1, -1, -1},
      {"bigint -4294967296 has a high half of all ones", make_bigint(-4294967296), 0, 0,
       -4294967296},
      {"bigint -8589934592 is replaced by the positive maximum", make_bigint(-8589934592), 32767,
       2147483647, -8589934592},
      {"bool is not a number", make_bool(true), 0, 0, 0},
      {"null", make_null(), 0, 0, 0},
  };
  for (const IntCase& c : cases) {
    EXPECT_EQ(read_as_smallint(c.v), c.as_smallint) << c.what;
    EXPECT_EQ(read_as_integer(c.v), c.as_integer) << c.what;
    EXPECT_EQ(read_as_bigint(c.v), c.as_bigint) << c.what;
  }
}

TEST(ReadAs, NumericBeyondTwoToTheSixtyFourWrapsItsLowBits) {
  // 2^64 + 5 truncated keeps 5 in its low bits; no clamping for decimal sources.
  Value v = numeric("18446744073709551621");
  double d = read_as_double(v);
  uint64_t expected = static_cast<uint64_t>(std::fmod(d, 18446744073709551616.0));
  EXPECT_EQ(read_as_integer(v), static_cast<int32_t>(expected));
  EXPECT_EQ(read_as_smallint(v), static_cast<int16_t>(expected));
  EXPECT_EQ(read_as_bigint(v), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(read_as_bigint(numeric("-99999999999999999999")), std::numeric_limits<int64_t>::max());
}

TEST(ReadAs, DoubleAndNumericTargets) {
  EXPECT_EQ(read_as_double(make_smallint(-3)), -3.0);
  EXPECT_EQ(read_as_double(make_real(0.5f)), 0.5);
  EXPECT_EQ(read_as_real(make_integer(7)), 7.0);
  EXPECT_EQ(read_as_double(make_bigint(1LL << 53)), 9007199254740992.0);
  EXPECT_DOUBLE_EQ(read_as_double(numeric("-1234.5678")), -1234.5678);
  EXPECT_EQ(read_as_double(make_char("12")), 0.0);

  EXPECT_EQ(numeric_text(make_numeric(read_as_numeric(make_integer(-2147483647 - 1)))),
            "-2147483648.0000000000");
  EXPECT_EQ(numeric_text(make_numeric(read_as_numeric(make_double(0.25)))), "0.2500000000");
  EXPECT_EQ(numeric_text(make_numeric(read_as_numeric(make_bigint(123456789)))),
            "123456789.0000000000");
  EXPECT_EQ(decimal_classify(read_as_numeric(make_date(DateRecord{5, 0}))), DEC_ZERO);
  Value n = numeric("42.5");
  EXPECT_EQ(std::memcmp(read_as_numeric(n).b, value_decimal(n).b, DECIMAL_BYTES), 0);
}

struct CommonCase {
  Value left, right;
  uint8_t type;
};

TEST(CommonType, RankingPutsBigintBetweenIntegerAndReal) {
  const CommonCase cases[] = {
      {make_smallint(1), make_smallint(2), TYPE_SMALLINT},
      {make_smallint(1), make_integer(2), TYPE_INTEGER},
      {make_integer(1), make_smallint(2), TYPE_INTEGER},
      {make_smallint(1), make_bigint(2), TYPE_BIGINT},
      {make_bigint(1), make_integer(2), TYPE_BIGINT},
      {make_bigint(1), make_bigint(2), TYPE_BIGINT},
      {make_bigint(1), make_real(2), TYPE_REAL},
      {make_real(1), make_bigint(2), TYPE_REAL},
      {make_double(1), make_bigint(2), TYPE_DOUBLE},
      {make_integer(1), numeric("2"), TYPE_NUMERIC},
      {numeric("2"), make_bigint(1), TYPE_NUMERIC},
      {make_real(1), make_double(2), TYPE_DOUBLE},
  };
  for (CommonCase c : cases) {
    uint8_t lt = c.left.type, rt = c.right.type;
    EXPECT_EQ(common_numeric_type(c.left, c.right), c.type) << int(lt) << "+" << int(rt);
    EXPECT_EQ(c.left.type, c.type);
    EXPECT_EQ(c.right.type, c.type);
  }
}

TEST(CommonType, OperandsAreConvertedByTheTable) {
  Value l = make_smallint(-2), r = make_bigint(5000000000);
  common_numeric_type(l, r);
  EXPECT_EQ(payload_get<int64_t>(l), -2);
  EXPECT_EQ(payload_get<int64_t>(r), 5000000000);

  l = make_bigint(3);
  r = make_real(0.5f);
  common_numeric_type(l, r);
  EXPECT_EQ(payload_get<float>(l), 3.0f);

  l = make_integer(-7);
  r = numeric("0.5");
  common_numeric_type(l, r);
  EXPECT_EQ(numeric_text(l), "-7.0000000000");
}

TEST(Negate, EachNumericTypeInItsOwnWidth) {
  Value v = make_smallint(-32768);
  negate_value(v);
  EXPECT_EQ(payload_get<int16_t>(v), -32768);  // wraps
  v = make_integer(5);
  negate_value(v);
  EXPECT_EQ(payload_get<int32_t>(v), -5);
  v = make_bigint(std::numeric_limits<int64_t>::min());
  negate_value(v);
  EXPECT_EQ(payload_get<int64_t>(v), std::numeric_limits<int64_t>::min());
  v = make_double(2.5);
  negate_value(v);
  EXPECT_EQ(payload_get<double>(v), -2.5);
  v = make_real(1.5f);
  negate_value(v);
  EXPECT_EQ(payload_get<float>(v), -1.5f);
  v = numeric("12.25");
  negate_value(v);
  EXPECT_EQ(numeric_text(v), "-12.2500000000");
  v = make_bool(true);
  negate_value(v);
  EXPECT_EQ(v.payload[0], 1);
}

}  // namespace
}  // namespace tavrel
