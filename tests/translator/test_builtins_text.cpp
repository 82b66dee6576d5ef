// String and national-string built-ins: results at their edges, CP866 and Unicode case
// mapping, NULL propagation, run-time parameter errors, and results too long for a text.
#include "builtin_fixture.h"

namespace tavrel {
namespace {

using Text = BuiltinTest;
using NationalText = BuiltinTest;
using TextLimits = BuiltinTest;

struct TextCase {
  const char* name;
  std::vector<Value> args;
  std::string expected;  // UTF-8, or a marker: <NULL>, <status N>
};

TEST_F(Text, Results) {
  const TextCase cases[] = {
      {"TRIM", {chr("  a b  ")}, "a b"},
      {"TRIM", {chr("xxabxyx"), chr("xy")}, "ab"},
      {"TRIM", {chr("    ")}, ""},
      {"LTRIM", {chr("  ab  ")}, "ab  "},
      {"RTRIM", {chr("  ab  ")}, "  ab"},
      {"RTRIM", {chr("ab00"), i(0)}, "ab"},  // the set is the text form of the argument
      {"SUBSTR", {chr("abcdef"), i(2), i(3)}, "bcd"},
      {"SUBSTR", {chr("abcdef"), i(0), i(2)}, "ab"},
      {"SUBSTR", {chr("abcdef"), i(-2), i(5)}, "ef"},
      {"SUBSTR", {chr("abcdef"), i(6), i(9)}, "f"},
      {"SUBSTR", {chr("abcdef"), i(7), i(1)}, ""},
      {"SUBSTR", {chr("abcdef"), i(-7), i(1)}, ""},
      {"SUBSTR", {chr("abcdef"), d(2.9), i(0)}, ""},
      {"SUBSTR", {chr("abcdef"), i(1), i(-1)}, "<status 12>"},
      {"RIGHT_SUBSTR", {chr("abcdef"), i(2)}, "ef"},
      {"RIGHT_SUBSTR", {chr("ab"), i(5)}, "ab"},
      {"RIGHT_SUBSTR", {chr("ab"), null()}, "<NULL>"},
      {"LPAD", {chr("ab"), i(5), chr("xy")}, "xyxab"},
      {"LPAD", {chr("abcdef"), i(3)}, "abc"},
      {"LPAD", {chr("ab"), i(4)}, "  ab"},
      {"LPAD", {chr("ab"), i(4), chr("")}, "ab"},
      {"LPAD", {chr("ab"), i(-1)}, "<status 12>"},
      {"LPAD", {chr("ab"), chr("4")}, "<status 12>"},
      {"RPAD", {chr("ab"), i(5), chr("xy")}, "abxyx"},
      {"REPEAT_STRING", {chr("ab"), i(3)}, "ababab"},
      {"REPEAT_STRING", {chr("ab"), i(0)}, ""},
      {"UPPER", {chr("привет, ёжик! abc")}, "ПРИВЕТ, ЁЖИК! ABC"},
      {"LOWER", {chr("ПРИВЕТ ЁЖ ABC")}, "привет ёж abc"},
      {"TOUPPER", {chr("щи")}, "ЩИ"},
      {"TOLOWER", {chr("ЩИ")}, "щи"},
      {"INITCAP", {chr("иван ПЕТРОВ-сидоров o'neil 2nd")}, "Иван Петров-Сидоров O'Neil 2nd"},
      {"UPPER", {i(-12)}, "-12"},
      {"UPPER", {null()}, "<NULL>"},
      {"INSERT", {chr("abcdef"), i(3), i(2), chr("XYZ")}, "abXYZef"},
      {"INSERT", {chr("abcdef"), i(3), i(99), chr("X")}, "abX"},
      {"INSERT", {chr("abc"), i(4), i(0), chr("d")}, "abcd"},
      {"INSERT", {chr("abc"), i(0), i(1), chr("d")}, "abc"},
      {"INSERT", {chr("abc"), i(2), i(1)}, "ac"},
      {"INSERT", {chr("abc"), i(2), i(-1), chr("d")}, "<status 12>"},
      {"REPLACE", {chr("a.b.c"), chr("."), chr("--")}, "a--b--c"},
      {"REPLACE", {chr("a.b.c"), chr(".")}, "abc"},
      {"REPLACE", {chr("aaa"), chr("aa"), chr("b")}, "ba"},
      {"REPLACE", {chr("abc"), chr("")}, "abc"},
      {"REPLACE", {chr("abc"), chr("b"), null()}, "<NULL>"},
      {"TRANSLATE", {chr("abcabc"), chr("abb"), chr("x")}, "xcxc"},
      {"TRANSLATE", {chr("абв"), chr("аб"), chr("АБ")}, "АБв"},
      {"SOUNDEX", {chr("Robert")}, "R163"},
      {"SOUNDEX", {chr("Rupert")}, "R163"},
      {"SOUNDEX", {chr("Ashcraft")}, "A261"},
      {"SOUNDEX", {chr("Tymczak")}, "T522"},
      {"SOUNDEX", {chr("Pfister")}, "P236"},
      {"SOUNDEX", {chr("  lee")}, "L000"},
      {"SOUNDEX", {chr("Иванов")}, ""},
      {"DUPCHAR", {chr("it's 'x'"), chr("'")}, "it''s ''x''"},
      {"DUPCHAR", {chr("abc"), chr("")}, "abc"},
      {"CHR", {bytes({0x41, 0x42, 0x00, 0x43})}, "AB"},
      {"CHR", {bytes({0xA0, 0xA1})}, "аб"},
  };
  for (const TextCase& c : cases) {
    std::vector<Value> args = c.args;
    std::string got = text(c.name, args);
    EXPECT_EQ(got, c.expected) << c.name << " case " << (&c - cases);
  }
}

struct NumberCase {
  const char* name;
  std::vector<Value> args;
  uint8_t type;
  int32_t expected;
};

TEST_F(Text, NumberResults) {
  const NumberCase cases[] = {
      {"STRPOS", {chr("abcabc"), chr("bc")}, TYPE_SMALLINT, 2},
      {"STRPOS", {chr("abcabc"), chr("bc"), b(true)}, TYPE_SMALLINT, 5},
      {"STRPOS", {chr("abcabc"), chr("bc"), b(false)}, TYPE_SMALLINT, 2},
      {"STRPOS", {chr("abc"), chr("x")}, TYPE_SMALLINT, 0},
      {"STRPOS", {chr("abc"), chr("")}, TYPE_SMALLINT, 0},
      {"STRPOS", {chr("ab"), chr("abc")}, TYPE_SMALLINT, 0},
      {"INSTR", {chr("abcabcabc"), chr("bc")}, TYPE_INTEGER, 2},
      {"INSTR", {chr("abcabcabc"), chr("bc"), i(3)}, TYPE_INTEGER, 5},
      {"INSTR", {chr("abcabcabc"), chr("bc"), i(1), i(3)}, TYPE_INTEGER, 8},
      {"INSTR", {chr("abcabcabc"), chr("bc"), i(1), i(4)}, TYPE_INTEGER, 0},
      {"INSTR", {chr("abcabcabc"), chr("bc"), i(-1)}, TYPE_INTEGER, 8},
      {"INSTR", {chr("abcabcabc"), chr("bc"), i(-1), i(3)}, TYPE_INTEGER, 2},
      {"INSTR", {chr("abcabcabc"), chr("bc"), i(-1), i(4)}, TYPE_INTEGER, 0},
      {"INSTR", {chr("abcabcabc"), chr("ab"), i(-9)}, TYPE_INTEGER, 1},
      {"INSTR", {chr("aaaa"), chr("aa"), i(1), i(2)}, TYPE_INTEGER, 2},  // overlapping
      {"INSTR", {chr("abc"), chr("b"), i(0)}, TYPE_INTEGER, 0},
      {"INSTR", {chr("abc"), chr("b"), i(99)}, TYPE_INTEGER, 0},
      {"LEN", {chr("ab  ")}, TYPE_SMALLINT, 4},
      {"LEN", {chr("ab  "), b(true)}, TYPE_SMALLINT, 2},
      {"LEN", {chr("")}, TYPE_SMALLINT, 0},
      {"LENGTH", {chr("абв")}, TYPE_INTEGER, 3},
      {"LENGTH", {i(12345)}, TYPE_INTEGER, 5},
      {"LENGTH", {nch(u"ab\u4e2d")}, TYPE_INTEGER, 3},
      {"CHAR_LENGTH", {b(false)}, TYPE_INTEGER, 5},
      {"OCTET_LENGTH", {chr("абв")}, TYPE_INTEGER, 3},
      {"OCTET_LENGTH", {nch(u"абв")}, TYPE_INTEGER, 6},
      {"DIFFERENCE", {chr("Robert"), chr("Rupert")}, TYPE_INTEGER, 4},
      {"DIFFERENCE", {chr("Smith"), chr("Smythe")}, TYPE_INTEGER, 4},
      {"DIFFERENCE", {chr("Robert"), chr("Ashcraft")}, TYPE_INTEGER, 1},  // R163, A261
      {"DIFFERENCE", {chr("Robert"), chr("")}, TYPE_INTEGER, 0},
      {"ASC", {chr("Аб"), null()}, TYPE_SMALLINT, 0x80},
      {"ASC", {chr("Аб"), bytes({2})}, TYPE_SMALLINT, 0xA1},
      {"ASC", {chr("Аб"), bytes({0})}, TYPE_SMALLINT, 0x80},
      {"ASC", {nch(u"Аб"), null()}, TYPE_SMALLINT, 0x0410},
      {"ASC", {chr(""), null()}, TYPE_NULL, 0},
      {"ASC", {chr("ab"), bytes({3})}, TYPE_NULL, 0},
  };
  for (const NumberCase& c : cases) {
    std::vector<Value> args = c.args;
    CallResult r = run(c.name, args);
    SCOPED_TRACE(std::string(c.name) + " case " + std::to_string(&c - cases));
    EXPECT_EQ(r.status, 0);
    ASSERT_EQ(r.value.type, c.type);
    if (c.type == TYPE_SMALLINT) {
      EXPECT_EQ(payload_get<int16_t>(r.value), c.expected);
    } else if (c.type == TYPE_INTEGER) {
      EXPECT_EQ(payload_get<int32_t>(r.value), c.expected);
    }
  }
}

TEST_F(Text, InstrNeedsAPositiveOccurrence) {
  EXPECT_EQ(run("INSTR", {chr("abc"), chr("b"), i(1), i(0)}).status, BUILTIN_BAD_PARAMETER);
  EXPECT_EQ(run("INSTR", {chr("abc")}).status, BUILTIN_BAD_PARAMETER);
  EXPECT_EQ(run("INSTR", {chr("abc"), null()}).value.type, TYPE_NULL);
}

struct WideCase {
  const char* name;
  std::vector<Value> args;
  std::u16string expected;
};

TEST_F(NationalText, Results) {
  const WideCase cases[] = {
      {"NUPPER", {nch(u"привет, ёж abc")}, u"ПРИВЕТ, ЁЖ ABC"},
      {"NLOWER", {nch(u"ПРИВЕТ ABC")}, u"привет abc"},
      {"NTOUPPER", {nch(u"\u4e2d\u00e9x")}, u"\u4e2d\u00e9X"},  // no CP866 form: kept
      {"NTOLOWER", {nch(u"ЎЇ\u0406")}, u"ўї\u0406"},
      {"NINITCAP", {nch(u"иван петров")}, u"Иван Петров"},
      {"NTRIM", {chr("  ab ")}, u"ab"},  // a CHAR in, a national text out
      {"NTRIM", {chr("xabx"), chr("x")}, u"ab"},
      {"NLTRIM", {nch(u"  \u4e2d ")}, u"\u4e2d "},
      {"NRTRIM", {nch(u"  \u4e2d ")}, u"  \u4e2d"},
      {"NSUBSTR", {nch(u"абвгд"), i(2), i(2)}, u"бв"},
      {"NSUBSTR", {nch(u"абвгд"), i(-1), i(9)}, u"д"},
      {"NRIGHT_SUBSTR", {nch(u"абвгд"), i(3)}, u"вгд"},
      {"NLPAD", {nch(u"\u4e2d"), i(3), nch(u"\u00b7")}, u"\u00b7\u00b7\u4e2d"},
      {"NRPAD", {nch(u"аб"), i(4)}, u"аб  "},
      {"NREPEAT_STRING", {nch(u"\u4e2d"), i(3)}, u"\u4e2d\u4e2d\u4e2d"},
      {"NINSERT", {nch(u"абв"), i(2), i(1), nch(u"\u4e2d")}, u"а\u4e2dв"},
      {"NREPLACE", {nch(u"а\u4e2dа"), nch(u"а"), nch(u"бб")}, u"бб\u4e2dбб"},
      {"NTRANSLATE", {nch(u"абв"), nch(u"ав"), nch(u"\u4e2d")}, u"\u4e2dб"},
      {"TONCHAR", {chr("Ёж-1")}, u"Ёж-1"},
      {"TONCHAR", {i(42)}, u"42"},
      {"TONCHAR", {nch(u"\u4e2d")}, u"\u4e2d"},
  };
  for (const WideCase& c : cases) {
    std::vector<Value> args = c.args;
    EXPECT_EQ(wide(c.name, args), c.expected) << c.name << " case " << (&c - cases);
  }
  CallResult r = run("NSTRPOS", {nch(u"\u4e2dа\u4e2dа"), nch(u"\u4e2dа"), b(true)});
  EXPECT_EQ(payload_get<int16_t>(r.value), 3);
  r = run("NLEN", {nch(u"\u4e2dаб")});
  EXPECT_EQ(r.value.type, TYPE_SMALLINT);
  EXPECT_EQ(payload_get<int16_t>(r.value), 3);
  EXPECT_EQ(run("TONCHAR", {null()}).value.type, TYPE_NULL);
}

// Results in CHAR functions of national arguments go through CP866.
TEST_F(NationalText, NationalArgumentsOfSingleByteFunctions) {
  EXPECT_EQ(text("UPPER", {nch(u"ёж\u4e2d")}), "ЁЖ?");
  EXPECT_EQ(text("LOWER", {nch(u"ЁЖ")}), "ёж");
}

// National results are aligned for 16-bit access whatever the pool held before.
TEST_F(NationalText, ResultsAreAlignedAfterOddTexts) {
  for (int k = 0; k < 8; k++) {
    std::string odd(static_cast<size_t>(k), 'x');
    ASSERT_EQ(run("TRIM", {chr(odd)}).status, 0);
    CallResult r = run("NUPPER", {nch(u"ab")});
    ASSERT_EQ(r.value.type, TYPE_NCHAR);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(value_wide(r.value)) % 2, 0u) << k;
    EXPECT_EQ(wide_of(r.value), u"AB");
  }
}

TEST_F(TextLimits, TooLongResultsSetTheNoMemoryStatus) {
  CallResult r = run("LPAD", {chr("a"), i(4089)});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(pool->run_status, 0);
  ASSERT_NE(value_text(r.value), nullptr);
  EXPECT_EQ(std::strlen(value_text(r.value)), 4089u);

  struct Row {
    const char* name;
    std::vector<Value> args;
  };
  const Row rows[] = {
      {"LPAD", {chr("a"), i(4090)}},
      {"RPAD", {chr("a"), make_bigint(INT64_MAX)}},
      {"REPEAT_STRING", {chr("abc"), i(2000)}},
      {"REPEAT_STRING", {chr("abc"), i(2147483647)}},
      {"NREPEAT_STRING", {nch(u"ab"), i(1100)}},
      {"NLPAD", {nch(u"a"), i(3000)}},
  };
  for (const Row& row : rows) {
    pool->run_status = 0;
    std::vector<Value> args = row.args;
    r = run(row.name, args);
    EXPECT_EQ(r.status, 0) << row.name;
    EXPECT_EQ(pool->run_status, RUN_NO_MEMORY) << row.name;
    EXPECT_EQ(value_text(r.value), nullptr) << row.name;
  }
  pool->run_status = 0;
  EXPECT_EQ(text("REPEAT_STRING", {chr(""), i(2147483647)}), "");
}

// Conversions made for an argument are given back: only the result stays in the pool.
TEST_F(TextLimits, ArgumentConversionsLeaveOnlyTheResult) {
  int before = pool->count;
  EXPECT_EQ(text("UPPER", {d(1.5)}), "1.5");
  EXPECT_EQ(wide("NLPAD", {i(7), i(3), chr("0")}), u"007");
  EXPECT_EQ(pool->count, before + 2);
}

}  // namespace
}  // namespace tavrel
