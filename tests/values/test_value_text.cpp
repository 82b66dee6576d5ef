// Text forms of values (TOCHAR / TO_CHAR) and the "?" template formatter.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "values/value_text.h"

namespace tavrel {
namespace {

struct TextFixture : ::testing::Test {
  StackMemory mem{};
  StringPool* pool = new StringPool;
  void SetUp() override {
    ASSERT_EQ(stack_mem_setup(mem), 0);
    string_pool_init(*pool, &mem, STACK_TEXT_A);
  }
  void TearDown() override {
    stack_mem_teardown(mem);
    delete pool;
  }
  std::string to_text(std::vector<Value> args) {
    Value r = value_to_text(*pool, args.data(), static_cast<int>(args.size()));
    if (r.type != TYPE_CHAR || value_text(r) == nullptr) return "<type " + std::to_string(r.type) + ">";
    return value_text(r);
  }
  std::string format(std::vector<Value> args) {
    Value r = value_format(*pool, args.data(), static_cast<int>(args.size()));
    if (r.type == TYPE_NULL) return "<NULL>";
    return value_text(r);
  }
};

using ToText = TextFixture;
using Format = TextFixture;

Value numeric(const char* text) { return make_numeric(decimal_from_text(text)); }

TEST_F(ToText, ScalarTypes) {
  EXPECT_EQ(to_text({make_null()}), "NULL");
  EXPECT_EQ(to_text({make_smallint(-32768)}), "-32768");
  EXPECT_EQ(to_text({make_integer(2147483647)}), "2147483647");
  EXPECT_EQ(to_text({make_bigint(INT64_MIN)}), "-9223372036854775808");
  EXPECT_EQ(to_text({make_bigint(0)}), "0");
  EXPECT_EQ(to_text({make_double(1e10)}), "1e+10");
  EXPECT_EQ(to_text({make_real(0.1f)}), "0.1");
  EXPECT_EQ(to_text({make_double(-123456.7)}), "-123457");  // %g keeps six digits
  EXPECT_EQ(to_text({make_bool(true)}), "TRUE");
  EXPECT_EQ(to_text({make_bool(false)}), "FALSE");
  EXPECT_EQ(to_text({make_char("\xE2\xA5\xAA\xE1\xE2")}), "\xE2\xA5\xAA\xE1\xE2");  // "текст"
  EXPECT_EQ(to_text({make_char("")}), "");
}

TEST_F(ToText, NullIsAConstantNotPoolText) {
  Value a = make_null();
  value_to_text(*pool, &a, 1);
  EXPECT_EQ(pool->count, 0);
}

TEST_F(ToText, CharKeepsItsTag) {
  Value a = make_char("x", 7);
  Value r = value_to_text(*pool, &a, 1);
  EXPECT_EQ(value_tag(r), 7);
  EXPECT_NE(value_text(r), value_text(a));  // a copy
}

TEST_F(ToText, NumericWidthAndScale) {
  // Default width 30, scale 10.
  EXPECT_EQ(to_text({numeric("-12.5")}), std::string(16, ' ') + "-12.5000000000");
  EXPECT_EQ(to_text({numeric("12.5"), make_smallint(10), make_smallint(2)}), "     12.50");
  EXPECT_EQ(to_text({numeric("0.125"), make_smallint(8), make_smallint(2)}), "    0.13");
  EXPECT_EQ(to_text({numeric("123456"), make_smallint(6), make_smallint(2)}), "******");
}

TEST_F(ToText, NumberWithAPicture) {
  std::string plain = to_text({make_integer(1234)});
  std::string pictured = to_text({make_integer(1234), make_char("9999.99")});
  EXPECT_NE(pictured, plain);
  EXPECT_NE(pictured.find("1234.00"), std::string::npos);
}

TEST_F(ToText, Dates) {
  Value d = make_date(DateRecord{730120, 13 * 360000 + 5 * 6000 + 7 * 100 + 9});
  EXPECT_EQ(to_text({d}), "01.01.2000:13:05:07.09");
  EXPECT_EQ(to_text({d, make_bool(false)}), "01.01.2000");
  EXPECT_EQ(to_text({d, make_bool(true)}), "01.01.2000:13:05:07.09");
  EXPECT_EQ(to_text({d, make_char("YYYY-MM-DD")}), "2000-01-01");
  EXPECT_EQ(to_text({make_date(DateRecord{0, 0})}), "00.00.0000:00:00:00.00");
}

TEST_F(ToText, Bytes) {
  static const uint8_t block[] = {3, 0, 0x0A, 0x1F, 0x00};
  EXPECT_EQ(to_text({make_byte(block)}), "0a1f00");
  EXPECT_EQ(to_text({make_byte(block), make_bool(true)}), "a 1f 0 ");
  EXPECT_EQ(to_text({make_byte(block), make_bool(false)}), "0a1f00");
}

TEST_F(ToText, WideTextGoesThroughTheCodePage) {
  static const uint16_t wide[] = {0x041F, 0x0440, 0x0438, 'x', 0x4E2D, 0};
  // "При" in CP866, then x, then a character CP866 lacks.
  EXPECT_EQ(to_text({make_nchar(wide)}), "\x8F\xE0\xA8" "x?");
  EXPECT_EQ(to_text({make_nchar(wide, TYPE_WSTRING)}), "\x8F\xE0\xA8" "x?");
}

TEST_F(ToText, TypesWithoutTextGiveNothing) {
  EXPECT_EQ(to_text({make_none()}), "<type 0>");
  Value cursor = make_none();
  cursor.type = TYPE_CURSOR;
  EXPECT_EQ(to_text({cursor}), "<type 0>");
}

TEST_F(Format, PlaceholdersTakeTheValuesInOrder) {
  EXPECT_EQ(format({make_char("a?b\\?c"), make_integer(5)}), "a5b?c");
  EXPECT_EQ(format({make_char("a?b\\?c")}), "<NULL>");
  EXPECT_EQ(format({make_char("no placeholders")}), "no placeholders");
  EXPECT_EQ(format({make_char("?|?|?|?"), make_null(), make_double(2.5), make_bigint(-7),
                    make_smallint(3)}),
            "NULL|2.5|-7|3");
  EXPECT_EQ(format({make_char("back\\slash")}), "back\\slash");
}

TEST_F(Format, NumericIsTrimmed) {
  EXPECT_EQ(format({make_char("[?]"), numeric("-3.25")}), "[-3.2500000000]");
}

TEST_F(Format, DatesBytesAndWideText) {
  static const uint8_t block[] = {2, 0, 0xFF, 0x01};
  static const uint16_t wide[] = {0x0416, 0};
  EXPECT_EQ(format({make_char("?;?;?"), make_date(DateRecord{1, 100}), make_byte(block),
                    make_nchar(wide)}),
            "01.01.0001:00:00:01.00;ff01;\x86");  // CP866 "Ж"
}

TEST_F(Format, CharNeedsTheCurrentTag) {
  EXPECT_EQ(format({make_char("<?>"), make_char("same", 0)}), "<same>");
  EXPECT_EQ(format({make_char("<?>"), make_char("other", 3)}), "<>");
}

TEST_F(Format, StopsAtTheWorkAreaLimit) {
  std::string big(3998, 'x');
  std::string r = format({make_char("?????"), make_char(big.c_str()), make_char("ab"),
                          make_char("c"), make_integer(1), make_integer(2)});
  EXPECT_EQ(r.size(), 4000u);
  EXPECT_EQ(r.substr(3998), "ab");
}

}  // namespace
}  // namespace tavrel
