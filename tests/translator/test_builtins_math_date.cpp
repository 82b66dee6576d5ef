// Mathematical, date and conversion built-ins: results at their edges, domain errors,
// division by zero, the random generator's reproducibility, calendar arithmetic and the
// readers and writers of numbers, dates and raw bytes.
#include <cmath>

#include "builtin_fixture.h"

namespace tavrel {
namespace {

using Math = BuiltinTest;
using Dates = BuiltinTest;
using Conversions = BuiltinTest;

struct MathCase {
  const char* name;
  std::vector<Value> args;
  double expected;
};

TEST_F(Math, DoubleResults) {
  const double pi = std::acos(-1.0);
  const MathCase cases[] = {
      {"CEIL", {d(1.2)}, 2},           {"CEIL", {d(-1.2)}, -1},
      {"FLOOR", {d(-1.2)}, -2},        {"FLOOR", {i(7)}, 7},
      {"ROUND", {d(2.675), i(2)}, 2.68},     // the double lies just below 2.675
      {"ROUND", {d(0.285), i(2)}, 0.29},     {"ROUND", {d(-2.5), i(0)}, -3},
      {"ROUND", {d(1250), i(-2)}, 1300},
      {"ROUND", {d(49), i(-2)}, 0},          {"ROUND", {d(50), i(-2)}, 100},
      {"ROUND", {d(0.3), i(-5)}, 0},         {"ROUND", {d(9.995), i(2)}, 10},
      {"ROUND", {d(1e300), i(2)}, 1e300},    {"ROUND", {d(1.5e-300), i(300)}, 2e-300},
      {"TRUNC", {d(2.679), i(2)}, 2.67},     {"TRUNC", {d(-2.679), i(2)}, -2.67},
      {"TRUNC", {d(0.3), i(1)}, 0.3},        {"TRUNC", {d(1999), i(-3)}, 1000},
      {"ROUND", {make_numeric(decimal_from_text("12.345")), i(2)}, 12.35},
      {"ABS", {i(-4)}, 4},             {"ABS", {make_bigint(-5)}, 5},
      {"SQRT", {d(16)}, 4},            {"EXP", {i(0)}, 1},
      {"LN", {d(std::exp(2.0))}, 2},   {"LOG", {i(2), i(8)}, 3},
      {"LOG", {i(10), d(0.001)}, -3},  {"SIN", {i(90), b(true)}, 1},
      {"COS", {i(180), b(true)}, -1},
      {"SIN", {d(pi / 2), b(false)}, 1}, {"TAN", {i(45), b(true)}, 1},
      {"ATAN2", {i(1), i(1)}, pi / 4}, {"ATAN", {i(1)}, pi / 4},
      {"ASIN", {i(1)}, pi / 2},        {"ACOS", {i(-1)}, pi},
      {"COSH", {i(0)}, 1},             {"SINH", {i(0)}, 0},
      {"TANH", {d(100)}, 1},           {"MOD", {i(7), i(3)}, 1},
      {"MOD", {i(-7), i(3)}, -1},      {"MOD", {i(7), i(-3)}, 1},
      {"MOD", {d(7.5), i(2)}, 1.5},    {"MOD", {make_bigint(INT64_MIN), i(-1)}, 0},
      {"MAX", {i(1)}, 1},              {"MAX", {i(1), d(5.5), i(3)}, 5.5},
      {"MAX", {i(-1), make_smallint(-7)}, -1},
  };
  for (const MathCase& c : cases) {
    std::vector<Value> args = c.args;
    CallResult r = run(c.name, args);
    SCOPED_TRACE(std::string(c.name) + " case " + std::to_string(&c - cases));
    EXPECT_EQ(r.status, 0);
    ASSERT_EQ(r.value.type, TYPE_DOUBLE);
    EXPECT_NEAR(payload_get<double>(r.value), c.expected, 1e-12 * std::fabs(c.expected) + 1e-12);
  }
}

TEST_F(Math, SignIsAnInteger) {
  struct Row {
    Value arg;
    int32_t expected;
  };
  const Row rows[] = {{d(-0.5), -1}, {i(0), 0}, {make_bigint(9), 1},
                      {make_numeric(decimal_from_text("-0.0000000001")), -1},
                      {make_numeric(decimal_zero()), 0}};
  for (const Row& r : rows) {
    CallResult c = run("SIGN", {r.arg});
    ASSERT_EQ(c.value.type, TYPE_INTEGER);
    EXPECT_EQ(payload_get<int32_t>(c.value), r.expected);
  }
}

TEST_F(Math, DomainErrorsAndDivisionByZero) {
  struct Row {
    const char* name;
    std::vector<Value> args;
    int status;
  };
  const Row rows[] = {
      {"SQRT", {i(-1)}, BUILTIN_BAD_PARAMETER},    {"LN", {i(0)}, BUILTIN_BAD_PARAMETER},
      {"LN", {d(-2)}, BUILTIN_BAD_PARAMETER},      {"LOG", {i(1), i(5)}, BUILTIN_BAD_PARAMETER},
      {"LOG", {i(10), i(0)}, BUILTIN_BAD_PARAMETER}, {"ACOS", {i(2)}, BUILTIN_BAD_PARAMETER},
      {"EXP", {i(1000)}, BUILTIN_BAD_PARAMETER},   {"COSH", {i(1000)}, BUILTIN_BAD_PARAMETER},
      {"MOD", {i(5), i(0)}, BUILTIN_DIV_BY_ZERO},  {"MOD", {d(5), d(0)}, BUILTIN_DIV_BY_ZERO},
      {"MOD", {make_numeric(decimal_from_int32(5)), make_numeric(decimal_zero())},
       BUILTIN_DIV_BY_ZERO},
  };
  for (const Row& r : rows) {
    std::vector<Value> args = r.args;
    CallResult c = run(r.name, args);
    EXPECT_EQ(c.status, r.status) << r.name;
    if (r.status == BUILTIN_DIV_BY_ZERO) {
      // The evaluation goes on with zero.
      ASSERT_EQ(c.value.type, TYPE_DOUBLE);
      EXPECT_EQ(payload_get<double>(c.value), 0.0);
    }
  }
}

TEST_F(Math, RandomSequenceRepeatsForTheSameSeed) {
  auto draw = [&](int count) {
    std::vector<int32_t> out;
    for (int k = 0; k < count; k++) {
      CallResult r = run("RAND", {});
      EXPECT_EQ(r.value.type, TYPE_INTEGER);
      int32_t x = payload_get<int32_t>(r.value);
      EXPECT_GE(x, 0);
      EXPECT_LE(x, 32767);
      out.push_back(x);
    }
    return out;
  };
  CallResult seed = run("RANDOMIZE", {i(42)});
  EXPECT_EQ(payload_get<int32_t>(seed.value), 42);
  std::vector<int32_t> first = draw(20);
  run("RANDOMIZE", {i(42)});
  EXPECT_EQ(draw(20), first);
  run("RANDOMIZE", {i(43)});
  EXPECT_NE(draw(20), first);
  // Without a seed the clock picks one, which is given back and replays the same way.
  CallResult clock_seed = run("RANDOMIZE", {});
  std::vector<int32_t> from_clock = draw(5);
  run("RANDOMIZE", {clock_seed.value});
  EXPECT_EQ(draw(5), from_clock);
}

TEST_F(Dates, PartsOfADate) {
  const std::pair<const char*, double> parts[] = {{"DAY", 15},    {"MONTH", 3},   {"YEAR", 2024},
                                                  {"HOUR", 13},   {"MINUTE", 45}, {"SECOND", 30},
                                                  {"TICKS", 25}};
  for (auto [name, expected] : parts) {
    CallResult r = run(name, {date("15.03.2024:13:45:30.25")});
    ASSERT_EQ(r.value.type, TYPE_DOUBLE) << name;
    EXPECT_EQ(payload_get<double>(r.value), expected) << name;
  }
}

// DATE results compared as their full text.
std::string date_text(const CallResult& r) {
  if (r.status != 0) return "<status " + std::to_string(r.status) + ">";
  if (r.value.type != TYPE_DATE) return "<type " + std::to_string(r.value.type) + ">";
  char buf[DATE_TEXT_CAPACITY];
  date_to_text(value_date(r.value), true, buf);
  return buf;
}

struct DateCase {
  const char* name;
  std::vector<Value> args;
  const char* expected;
};

TEST_F(Dates, Results) {
  const DateCase cases[] = {
      {"MAKE_DATE", {i(29), i(2), i(2024)}, "29.02.2024:00:00:00.00"},
      {"MAKE_DATE", {i(31), i(12), i(9999), i(23), i(59), i(59), i(99)}, "31.12.9999:23:59:59.99"},
      {"MAKE_DATE", {i(1), i(2), i(2003), i(4), i(5), i(6), i(7), chr("unexamined")},
       "01.02.2003:04:05:06.07"},
      {"MAKE_DATE", {i(29), i(2), i(1900)}, "<status 18>"},
      {"MAKE_DATE", {i(1), i(1), i(2000), i(24)}, "<status 18>"},
      {"MAKE_DATE", {i(1), i(1), i(70000)}, "<status 18>"},
      {"LAST_DAY", {date("15.02.2024:10:00:00.00")}, "29.02.2024:10:00:00.00"},
      {"LAST_DAY", {date("15.02.2023")}, "28.02.2023:00:00:00.00"},
      {"LAST_DAY", {date("31.12.2023")}, "31.12.2023:00:00:00.00"},
      // 15.03.2024 is a Friday.
      {"NEXT_DAY", {date("15.03.2024:08:00:00.00"), chr("monday")}, "18.03.2024:08:00:00.00"},
      {"NEXT_DAY", {date("15.03.2024"), chr(" FRI ")}, "22.03.2024:00:00:00.00"},
      {"NEXT_DAY", {date("15.03.2024"), chr("Суббота")}, "16.03.2024:00:00:00.00"},
      {"NEXT_DAY", {date("15.03.2024"), chr("ЧТ")}, "21.03.2024:00:00:00.00"},
      {"NEXT_DAY", {date("15.03.2024"), chr("someday")}, "<status 12>"},
      {"NEXT_DAY", {date("31.12.9999"), chr("mon")}, "<status 18>"},
      {"ADD_MONTHS", {date("31.01.2024:12:00:00.00"), i(1)}, "29.02.2024:12:00:00.00"},
      {"ADD_MONTHS", {date("31.01.2023"), i(1)}, "28.02.2023:00:00:00.00"},
      {"ADD_MONTHS", {date("15.03.2024"), i(-3)}, "15.12.2023:00:00:00.00"},
      {"ADD_MONTHS", {date("15.03.2024"), i(-27)}, "15.12.2021:00:00:00.00"},
      {"ADD_MONTHS", {date("29.02.2024"), i(12)}, "28.02.2025:00:00:00.00"},
      {"ADD_MONTHS", {date("15.12.9999"), i(1)}, "<status 18>"},
      {"ADD_MONTHS", {date("15.01.0001"), i(-1)}, "<status 18>"},
      {"ADD_MONTHS", {date("15.01.2001"), make_bigint(INT64_MIN)}, "<status 18>"},
      {"TO_DATE", {chr(" 01.02.2003 ")}, "01.02.2003:00:00:00.00"},
      {"TO_DATE", {chr("01.02.2003:04:05")}, "01.02.2003:04:05:00.00"},
      {"ATOD", {chr("31.02.2003")}, "<status 18>"},
      {"ATOD", {chr("yesterday")}, "<status 18>"},
      {"TO_DATE", {chr("2003-02-01"), chr("YYYY-MM-DD")}, "01.02.2003:00:00:00.00"},
      {"TO_DATE", {chr("2003-02-30"), chr("YYYY-MM-DD")}, "<status 18>"},
      {"DATE_TRUNC", {date("15.03.2024:13:45:30.25"), chr("mm")}, "01.03.2024:00:00:00.00"},
      {"DATE_TRUNC", {date("15.03.2024:13:45:30.25")}, "15.03.2024:00:00:00.00"},
      {"DATE_ROUND", {date("15.03.2024:13:45:30.25")}, "16.03.2024:00:00:00.00"},
      {"DATE_ROUND", {date("15.03.2024:13:45:30.25"), chr("HH")}, "15.03.2024:14:00:00.00"},
      {"DATE_ROUND", {date("15.03.2024"), chr("XX")}, "<status 12>"},
      {"DATE_ROUND", {date("15.03.2024"), i(1)}, "<status 12>"},
      {"DATE_TRUNC", {chr("15.03.2024")}, "<status 12>"},
  };
  for (const DateCase& c : cases) {
    std::vector<Value> args = c.args;
    EXPECT_EQ(date_text(run(c.name, args)), c.expected) << c.name << " case " << (&c - cases);
  }
  EXPECT_EQ(run("DATE_ROUND", {null()}).value.type, TYPE_NULL);
}

TEST_F(Dates, DateSplit) {
  Value v = date("01.02.2003:04:05:06.07");
  struct Row {
    const char* part;
    int32_t expected;
  };
  const Row rows[] = {{"YYYY", 2003}, {"mm", 2}, {"DD", 1},  {"HH24", 4}, {"MI", 5},
                      {"SS", 6},      {"FF", 7}, {"DDD", 32}, {"D", 6}};  // a Saturday
  for (const Row& r : rows) {
    CallResult c = run("DATESPLIT", {v, chr(r.part)});
    ASSERT_EQ(c.value.type, TYPE_INTEGER) << r.part;
    EXPECT_EQ(payload_get<int32_t>(c.value), r.expected) << r.part;
  }
  EXPECT_EQ(payload_get<int32_t>(run("DATESPLIT", {v}).value), 20030201);
  EXPECT_EQ(payload_get<int32_t>(run("DATESPLIT", {v, chr("J")}).value),
            static_cast<int32_t>(value_date(v).day));
  EXPECT_EQ(run("DATESPLIT", {v, chr("WEEK")}).status, BUILTIN_BAD_PARAMETER);
}

// DATE values as spans of days and hundredths.
TEST_F(Dates, MultiplyAndDivideSpans) {
  auto span = [](uint32_t days, int32_t hundredths) {
    return make_date(DateRecord{days, hundredths});
  };
  struct Row {
    std::vector<Value> args;
    uint32_t days;
    int32_t time;
    int status;
  };
  const int32_t half_day = HUNDREDTHS_PER_DAY / 2;
  const Row rows[] = {
      {{span(1, half_day), i(2)}, 3, 0, 0},
      {{span(3, 0), d(0.5)}, 1, half_day, 0},
      {{span(0, 3), make_numeric(decimal_from_text("0.5"))}, 0, 1, 0},  // cut to hundredths
      {{span(5, 7), i(0)}, 0, 0, 0},
      {{span(1, 0), i(-1)}, 0, 0, BUILTIN_BAD_PARAMETER},
      {{span(4000000000u, 0), i(2)}, 0, 0, BUILTIN_BAD_PARAMETER},
  };
  for (const Row& r : rows) {
    std::vector<Value> args = r.args;
    CallResult c = run("MULTIME", args);
    EXPECT_EQ(c.status, r.status) << (&r - rows);
    if (r.status != 0) continue;
    ASSERT_EQ(c.value.type, TYPE_DATE);
    EXPECT_EQ(value_date(c.value).day, r.days) << (&r - rows);
    EXPECT_EQ(value_date(c.value).time, r.time) << (&r - rows);
  }
  CallResult q = run("DIVTIME", {span(3, 0), span(0, half_day)});
  EXPECT_EQ(payload_get<int32_t>(q.value), 6);
  q = run("DIVTIME", {span(3, 1), span(1, 0)});
  EXPECT_EQ(payload_get<int32_t>(q.value), 3);
  q = run("DIVTIME", {span(3, 0), span(0, 0)});
  EXPECT_EQ(q.status, BUILTIN_DIV_BY_ZERO);
  EXPECT_EQ(q.value.type, TYPE_INTEGER);
  EXPECT_EQ(run("DIVTIME", {span(3, 0), i(2)}).status, BUILTIN_BAD_PARAMETER);
  EXPECT_EQ(run("DIVTIME", {span(4000000000u, 0), span(0, 1)}).status, BUILTIN_BAD_PARAMETER);
}

TEST_F(Dates, SysdateIsARealDate) {
  CallResult r = run("SYSDATE", {});
  ASSERT_EQ(r.status, 0);
  ASSERT_EQ(r.value.type, TYPE_DATE);
  BrokenDate b = date_to_broken(value_date(r.value));
  DateRecord again{};
  EXPECT_EQ(broken_to_date(b, &again), 0);
  EXPECT_EQ(again.day, value_date(r.value).day);
}

TEST_F(Dates, DateToText) {
  Value v = date("01.02.2003:04:05:06.07");
  EXPECT_EQ(text("DTOA", {v}), "01.02.2003:04:05:06.07");
  EXPECT_EQ(text("DTOA", {v, b(false)}), "01.02.2003");
  EXPECT_EQ(text("DTOA", {v, b(true)}), "01.02.2003:04:05:06.07");
  EXPECT_EQ(text("DTOA", {v, chr("YYYY/MM/DD")}), "2003/02/01");
}

TEST_F(Conversions, NumbersFromAnything) {
  struct Row {
    const char* name;
    Value arg;
    uint8_t type;
    int64_t expected;
  };
  const Row rows[] = {
      {"TOSMALLINT", chr("123"), TYPE_SMALLINT, 123},
      {"TOSMALLINT", d(1e10), TYPE_SMALLINT, 32767},  // floating sources are clamped
      {"TOSMALLINT", i(65537), TYPE_SMALLINT, 1},     // integers keep their low bits
      {"TOINTEGER", chr(" 12.7 "), TYPE_INTEGER, 12},
      {"TOINTEGER", chr("-8"), TYPE_INTEGER, -8},
      {"TOINTEGER", b(true), TYPE_INTEGER, 1},
      {"TOINTEGER", nch(u"77"), TYPE_INTEGER, 77},
      {"TOBIGINT", chr("9223372036854775807"), TYPE_BIGINT, INT64_MAX},
      {"TOBIGINT", d(-1e19), TYPE_BIGINT, INT64_MAX},
      {"TOBIGINT", make_smallint(-3), TYPE_BIGINT, -3},
  };
  for (const Row& r : rows) {
    CallResult c = run(r.name, {r.arg});
    SCOPED_TRACE(std::string(r.name) + " " + std::to_string(&r - rows));
    EXPECT_EQ(c.status, 0);
    ASSERT_EQ(c.value.type, r.type);
    int64_t got = r.type == TYPE_SMALLINT  ? payload_get<int16_t>(c.value)
                  : r.type == TYPE_INTEGER ? payload_get<int32_t>(c.value)
                                           : payload_get<int64_t>(c.value);
    EXPECT_EQ(got, r.expected);
  }
  CallResult real = run("TOREAL", {chr("0.5")});
  ASSERT_EQ(real.value.type, TYPE_REAL);
  EXPECT_EQ(payload_get<float>(real.value), 0.5f);

  // TONUMERIC reads a text exactly and gives NUMERIC at run time.
  CallResult num = run("TONUMERIC", {chr("12.345678901234")});
  EXPECT_EQ(num.value.type, TYPE_NUMERIC);
  EXPECT_EQ(decimal_classify(value_decimal(num.value)), DEC_POS_OVERFLOW);  // 12 decimals
  num = run("TONUMERIC", {chr(" -12.50 ")});
  ASSERT_EQ(num.value.type, TYPE_NUMERIC);
  EXPECT_EQ(decimal_compare(value_decimal(num.value), decimal_from_text("-12.5")), 0);
  num = run("TONUMERIC", {i(7)});
  EXPECT_EQ(decimal_compare(value_decimal(num.value), decimal_from_int32(7)), 0);

  for (const char* name : {"TOINTEGER", "TONUMERIC", "TOSMALLINT"}) {
    EXPECT_EQ(run(name, {chr("12a")}).status, BUILTIN_BAD_PARAMETER) << name;
    EXPECT_EQ(run(name, {date("01.01.2000")}).status, BUILTIN_BAD_PARAMETER) << name;
    EXPECT_EQ(run(name, {null()}).value.type, TYPE_NULL) << name;
  }
}

TEST_F(Conversions, ToText) {
  struct Row {
    const char* name;
    std::vector<Value> args;
    std::string expected;
  };
  const Row rows[] = {
      {"ITOA", {i(-5)}, "-5"},
      {"ITOA", {i(255), i(16)}, "ff"},
      {"ITOA", {i(-255), i(2)}, "-11111111"},
      {"ITOA", {make_bigint(INT64_MIN)}, "-9223372036854775808"},
      {"ITOA", {d(12.9)}, "12"},
      {"ITOA", {chr("42")}, "42"},
      {"ITOA", {i(1), i(1)}, "<status 12>"},
      {"ITOA", {i(1), i(37)}, "<status 12>"},
      {"FTOA", {d(1.5)}, "1.5"},
      {"FTOA", {d(2), i(3)}, "2.000"},
      {"FTOA", {d(2), i(31)}, "<status 12>"},
      {"NTOA", {d(12.5)}, "12.5"},
      {"NTOA", {i(-7)}, "-7"},
      {"NTOA", {d(12.5), i(10), i(2)}, "12.50"},
      {"TOCHAR", {i(5)}, "5"},
      {"TOCHAR", {null()}, "NULL"},
      {"TO_CHAR", {date("01.02.2003:04:05:06.07"), b(false)}, "01.02.2003"},
      {"MAKESTR", {chr("a?b\\?c"), i(5)}, "a5b?c"},
      {"MAKESTR", {chr("a?b?"), i(5)}, "<NULL>"},
      {"BTOA", {bytes({0x0a, 0x1f, 0x00})}, "0a1f00"},
      {"BTOA", {bytes({0x0a, 0x1f, 0x00}), b(true)}, "a 1f 0 "},
      {"RAWTOHEX", {chr("AB\n")}, "41420A"},
      {"RAWTOHEX", {chr("Я")}, "9F"},
      {"RAWTOHEX", {nch(u"Я\u4e2d")}, "042F4E2D"},
      {"RAWTOHEX", {i(12)}, "3132"},
  };
  for (const Row& r : rows) {
    std::vector<Value> args = r.args;
    EXPECT_EQ(text(r.name, args), r.expected) << r.name << " " << (&r - rows);
  }
}

TEST_F(Conversions, HexToRawAndBack) {
  struct Row {
    const char* hex;
    std::vector<uint8_t> expected;
  };
  const Row rows[] = {{"0a1F", {0x0a, 0x1f}}, {"abc", {0x0a, 0xbc}}, {"", {}}, {"00", {0}}};
  for (const Row& r : rows) {
    CallResult c = run("HEXTORAW", {chr(r.hex)});
    ASSERT_EQ(c.value.type, TYPE_BYTE) << r.hex;
    std::vector<uint8_t> got(byte_data(c.value), byte_data(c.value) + byte_count(c.value));
    EXPECT_EQ(got, r.expected) << r.hex;
  }
  EXPECT_EQ(run("HEXTORAW", {chr("0x12")}).status, BUILTIN_BAD_PARAMETER);
  EXPECT_EQ(run("HEXTORAW", {chr("12 34")}).status, BUILTIN_BAD_PARAMETER);
  // Raw bytes back to hex go through CHR, since RAWTOHEX takes no BYTE value.
  CallResult raw = run("HEXTORAW", {chr("414243")});
  CallResult back = run("CHR", {raw.value});
  EXPECT_EQ(text("RAWTOHEX", {back.value}), "414243");
}

TEST_F(Conversions, EncodeStringChecksTheEncoding) {
  const std::string secret = "pass";
  const std::string key = "k1";
  std::vector<uint8_t> coded;
  for (size_t k = 0; k < secret.size(); k++)
    coded.push_back(static_cast<uint8_t>(secret[k] ^ key[k % key.size()]));
  std::vector<uint8_t> plain(secret.begin(), secret.end());
  struct Row {
    std::vector<Value> args;
    bool expected;
  };
  const Row rows[] = {
      {{bytes(coded), chr(secret), chr(key)}, true},
      {{bytes(coded), chr("pasS"), chr(key)}, false},
      {{bytes(coded), chr(secret), chr("k2")}, false},
      {{bytes(coded), chr(secret)}, false},
      {{bytes(plain), chr(secret)}, true},
      {{bytes(plain), chr(secret), chr("")}, true},
      {{bytes(plain), chr("pas")}, false},
  };
  for (const Row& r : rows) {
    std::vector<Value> args = r.args;
    CallResult c = run("ENCODE_STRING", args);
    ASSERT_EQ(c.value.type, TYPE_BOOL);
    EXPECT_EQ(c.value.payload[0] != 0, r.expected) << (&r - rows);
  }
}

}  // namespace
}  // namespace tavrel
