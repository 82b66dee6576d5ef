// Lexer: keyword table, token streams of tricky texts, constants of every path, names of the
// unit, the page cache, look-ahead and the positions of diagnostics.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/keywords.h"
#include "translator/lexer.h"
#include "translator/tokens.h"

namespace tavrel {
namespace {

// A small unit: X INTEGER, S CHAR, B BYTE (indexable), LEN INTEGER (shadows the built-in),
// cursor C with columns ID INTEGER and DATA BYTE, and routine MYPROC returning DATE.
int find_variable(void*, std::string_view name, bool indexed, uint8_t* type) {
  struct Var {
    const char* name;
    uint8_t type;
  };
  static const Var VARS[] = {{"X", TYPE_INTEGER}, {"S", TYPE_CHAR}, {"B", TYPE_BYTE},
                             {"LEN", TYPE_INTEGER}, {"C", TYPE_CURSOR}};
  for (int i = 0; i < 5; i++) {
    if (name == VARS[i].name && (!indexed || VARS[i].type == TYPE_BYTE)) {
      *type = VARS[i].type;
      return i;
    }
  }
  return -1;
}

int find_column(void*, int cursor, std::string_view name, uint8_t* type) {
  if (cursor != 4) return -1;
  if (name == "ID") {
    *type = TYPE_INTEGER;
    return 0;
  }
  if (name == "DATA") {
    *type = TYPE_BYTE;
    return 1;
  }
  return -1;
}

int find_routine(void*, std::string_view name, uint8_t* type) {
  if (name != "MYPROC") return -1;
  *type = TYPE_DATE;
  return 2;
}

const UnitSymbols UNIT{nullptr, find_variable, find_column, find_routine};

class LexerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(stack_mem_setup(mem_), 0); }
  void TearDown() override { stack_mem_teardown(mem_); }

  void start(const std::string& text, const UnitSymbols* unit = nullptr) {
    text_ = text;
    mt_ = MemoryText{text_.data(), text_.size()};
    ASSERT_EQ(lexer_start(lx_, memory_source(&mt_), unit, mem_, STACK_TEXT_B), 0);
  }

  // Every token up to the end (or the first error), names checked off unless a unit is given.
  std::vector<int> tokens(const std::string& text, const UnitSymbols* unit = nullptr) {
    start(text, unit);
    if (unit == nullptr) lexer_names_off(lx_, true);
    std::vector<int> out;
    for (;;) {
      int t = next_token(lx_);
      out.push_back(t);
      if (t == TOK_END || t == TOK_ERROR || out.size() > 200) break;
    }
    return out;
  }

  // The single token of a text, which must then end.
  int one(const std::string& text, const UnitSymbols* unit = nullptr) {
    start(text, unit);
    int t = next_token(lx_);
    if (t != TOK_ERROR) {
      EXPECT_EQ(next_token(lx_), TOK_END) << text;
    }
    return t;
  }

  StackMemory mem_{};
  Lexer lx_;
  std::string text_;
  MemoryText mt_{};
};

std::string cp866(const char* utf8) { return utf8_to_cp866(utf8); }

TEST(KeywordTable, HasEveryRowSortedAndFindsEach) {
  int russian = 0;
  for (int i = 0; i < KEYWORD_COUNT; i++) {
    const Keyword& k = keyword_row(i);
    if (i > 0) {
      EXPECT_LT(std::strcmp(keyword_row(i - 1).text, k.text), 0) << k.text;
    }
    EXPECT_EQ(keyword_find(k.text), k.token) << k.text;
    if (static_cast<uint8_t>(k.text[0]) >= 0x80) russian++;
  }
  EXPECT_EQ(russian, KEYWORD_COUNT - KEYWORD_ENGLISH);
  EXPECT_EQ(keyword_find(""), 0);
  EXPECT_EQ(keyword_find("IFF"), 0);
  EXPECT_EQ(keyword_find("I"), 0);
}

TEST(KeywordTable, BothLanguagesGiveTheSameToken) {
  struct Pair {
    const char* english;
    const char* russian;
  };
  // One-letter words, and words whose translation is another word's prefix.
  const Pair pairs[] = {{"AND", "И"}, {"INTO", "В"}, {"IF", "ЕСЛИ"}, {"ELSEIF", "ИНАЧЕЕСЛИ"},
                        {"CHAR", "СТРОКА"}};
  for (const Pair& p : pairs) {
    int t = keyword_find(p.english);
    EXPECT_NE(t, 0) << p.english;
    EXPECT_EQ(keyword_find(cp866(p.russian)), t) << p.english;
  }
  EXPECT_EQ(keyword_find(":="), TOK_ASSIGN);
  EXPECT_EQ(keyword_find("BLOCK"), TOK_BLOCK);
}

TEST_F(LexerTest, KeywordsFoldOnlyLatinLetters) {
  EXPECT_EQ(one("If"), TOK_IF);
  EXPECT_EQ(one(cp866("ЕСЛИ")), TOK_IF);
  // Russian keywords are recognised only in capitals: in small letters they are names.
  EXPECT_EQ(tokens(cp866("если")), (std::vector<int>{TOK_UNKNOWN_NAME, TOK_END}));
  EXPECT_EQ(tokens(cp866("Если")), (std::vector<int>{TOK_UNKNOWN_NAME, TOK_END}));
}

TEST_F(LexerTest, TokenStreams) {
  struct Case {
    const char* text;
    std::vector<int> tokens;
  };
  const int N = TOK_UNKNOWN_NAME;
  const Case cases[] = {
      {"a:=b", {N, TOK_ASSIGN, N, TOK_END}},
      {"a:", {TOK_LABEL, TOK_END}},
      {"a :", {N, TOK_COLON, TOK_END}},
      {"a: =", {TOK_LABEL, TOK_EQ, TOK_END}},
      {"a::=", {TOK_LABEL, TOK_ASSIGN, TOK_END}},
      {"1 // comment to the end", {TOK_SMALLINT, TOK_END}},
      {"1 // a\n2", {TOK_SMALLINT, TOK_SMALLINT, TOK_END}},
      {"4/2", {TOK_SMALLINT, TOK_SLASH, TOK_SMALLINT, TOK_END}},
      {"<= >= <> := < > = :", {TOK_LE, TOK_GE, TOK_NE, TOK_ASSIGN, TOK_LT, TOK_GT, TOK_EQ,
                               TOK_COLON, TOK_END}},
      {"$ & ( ) * + , - . / ; [ ] \\ ^ { } |",
       {TOK_DOLLAR, TOK_AMPERSAND, TOK_LPAREN, TOK_RPAREN, TOK_STAR, TOK_PLUS, TOK_COMMA,
        TOK_MINUS, TOK_POINT, TOK_SLASH, TOK_SEMICOLON, TOK_LBRACKET, TOK_RBRACKET,
        TOK_BACKSLASH, TOK_CARET, TOK_LBRACE, TOK_RBRACE, TOK_BAR, TOK_END}},
      // "&" and "|" do not end a word: a&b is one name.
      {"a&b a & b", {N, N, TOK_AMPERSAND, N, TOK_END}},
      {"x(1)", {N, TOK_LPAREN, TOK_SMALLINT, TOK_RPAREN, TOK_END}},
      {"1 2", {TOK_SMALLINT, TOK_SMALLINT, TOK_END}},
      {"NOT\tnull", {TOK_NOT, TOK_NULL, TOK_END}},
      {"", {TOK_END}},
      {"   \r\n\t", {TOK_END}},
      {"#", {TOK_ERROR}},
  };
  for (const Case& c : cases) EXPECT_EQ(tokens(c.text), c.tokens) << c.text;
}

TEST_F(LexerTest, LabelKeepsItsName) {
  start("Again: x");
  lexer_names_off(lx_, true);
  EXPECT_EQ(next_token(lx_), TOK_LABEL);
  EXPECT_EQ(lexer_text(lx_), "AGAIN");
  EXPECT_EQ(next_token(lx_), TOK_UNKNOWN_NAME);
}

TEST_F(LexerTest, LongWordsAreCutAfter66Characters) {
  std::string word(70, 'q');
  start(word);
  lexer_names_off(lx_, true);
  EXPECT_EQ(next_token(lx_), TOK_UNKNOWN_NAME);
  EXPECT_EQ(lexer_text(lx_), std::string(WORD_MAX, 'Q'));
  EXPECT_EQ(next_token(lx_), TOK_UNKNOWN_NAME);
  EXPECT_EQ(lexer_text(lx_), "QQQQ");
  EXPECT_EQ(place_column(lx_.token), WORD_MAX + 1);
  EXPECT_EQ(next_token(lx_), TOK_END);
}

TEST_F(LexerTest, LineEndsCountOnceEach) {
  // CR LF is one line end; a lone LF and a lone CR are one each; the same inside strings.
  start("1\r\n2\n3\r4 \"a\r\nb\n\rc\" 5");
  const int lines[] = {1, 2, 3, 4, 4, 7};
  const int columns[] = {1, 1, 1, 1, 3, 4};
  for (int i = 0; i < 6; i++) {
    int t = next_token(lx_);
    ASSERT_NE(t, TOK_ERROR);
    EXPECT_EQ(lx_.token.line, lines[i]) << i;
    EXPECT_EQ(place_column(lx_.token), columns[i]) << i;
  }
  EXPECT_EQ(next_token(lx_), TOK_END);
  EXPECT_EQ(lx_.previous.line, 7);
}

TEST_F(LexerTest, StringConstants) {
  struct Case {
    const char* text;
    std::string value;
  };
  const Case cases[] = {
      {"\"ab\" \"cd\"", "abcd"},
      {"\"ab\" // between\n \"cd\"", "abcd"},
      {"\"ab\"\r\n\"cd\"\"ef\"", "abcdef"},
      {"\"\\x4a\\x4A1\"", "JJ1"},
      {"\"a\\\"b\\\\c\"", "a\"b\\c"},
      {"\"\\n\\r\\t\\q\"", "\n\r\tq"},
      {"\"line\nbreak\"", "linebreak"},
      {"\"\"", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(one(c.text), TOK_STRING) << c.text;
    EXPECT_EQ(std::string(lexer_text(lx_)), c.value) << c.text;
  }
}

TEST_F(LexerTest, StringDiagnostics) {
  struct Case {
    std::string text;
    int diagnostic;
  };
  const Case cases[] = {
      {"\"abc", DIAG_UNTERMINATED_STRING},
      {"\"abc\\", DIAG_UNTERMINATED_STRING},
      {"\"ab\" \"cd", DIAG_UNTERMINATED_STRING},
      {"\"\\xg\"", DIAG_BAD_HEX_CODE},
      {"\"" + std::string(STRING_MAX + 1, 'a') + "\"", DIAG_NO_MEMORY},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(one(c.text), TOK_ERROR) << c.text;
    EXPECT_EQ(lx_.error, c.diagnostic) << c.text;
  }
  std::string longest = "\"" + std::string(STRING_MAX, 'a') + "\"";
  EXPECT_EQ(one(longest), TOK_STRING);
  EXPECT_EQ(lexer_text(lx_).size(), static_cast<size_t>(STRING_MAX));
}

TEST_F(LexerTest, DateConstants) {
  struct Case {
    const char* text;
    int day, month, year, hour, minute, second, hundredths;
  };
  const Case cases[] = {
      {"12/31/2010", 31, 12, 2010, 0, 0, 0, 0},
      {"31.12.2010", 31, 12, 2010, 0, 0, 0, 0},
      {"31.12.2010:23:59:59.99", 31, 12, 2010, 23, 59, 59, 99},
      {"1.2.2003:4", 1, 2, 2003, 4, 0, 0, 0},
      {"29.2.2000", 29, 2, 2000, 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(one(c.text), TOK_DATE) << c.text;
    BrokenDate b = date_to_broken(lx_.date_value);
    EXPECT_EQ((std::vector<int>{b.day, b.month, b.year, b.hour, b.minute, b.second, b.hundredths}),
              (std::vector<int>{c.day, c.month, c.year, c.hour, c.minute, c.second, c.hundredths}))
        << c.text;
  }
  for (const char* bad : {"31/12/2010", "29.2.2001", "12.31.2010", "1.1.2000:24", "0.1.2000"}) {
    EXPECT_EQ(one(bad), TOK_ERROR) << bad;
    EXPECT_EQ(lx_.error, DIAG_BAD_DATE) << bad;
  }
  // Not of the date form: read as numbers.
  EXPECT_EQ(tokens("1.5.x"), (std::vector<int>{TOK_NUMERIC, TOK_POINT, TOK_UNKNOWN_NAME, TOK_END}));
  EXPECT_EQ(tokens("10/2"), (std::vector<int>{TOK_SMALLINT, TOK_SLASH, TOK_SMALLINT, TOK_END}));
  EXPECT_EQ(tokens("1.1.2000:x"), (std::vector<int>{TOK_DATE, TOK_COLON, TOK_UNKNOWN_NAME, TOK_END}));
}

TEST_F(LexerTest, NumberPaths) {
  struct Case {
    const char* text;
    int token;
    double value;  // compared as a double, NUMERIC through its text
  };
  const Case cases[] = {
      {"1.5", TOK_NUMERIC, 1.5},
      {"1.5d", TOK_DOUBLE, 1.5},
      {"1.5R", TOK_REAL, 1.5},
      {"12.", TOK_REAL, 12},
      {"7", TOK_SMALLINT, 7},
      {"32767", TOK_SMALLINT, 32767},
      {"32768", TOK_INTEGER, 32768},
      {"7i", TOK_INTEGER, 7},
      {"7b", TOK_BIGINT, 7},
      {"2147483647", TOK_INTEGER, 2147483647.0},
      {"2147483648", TOK_BIGINT, 2147483648.0},
      {"007", TOK_BIGINT, 7},
      {"1.05", TOK_DOUBLE, 1.05},
      {"1.05n", TOK_NUMERIC, 1.05},
      {"0.5", TOK_NUMERIC, 0.5},
      {"1.2345678901", TOK_DOUBLE, 1.2345678901},
      {"10000000000000000000", TOK_DOUBLE, 1e19},
      {"10000000000000000000n", TOK_NUMERIC, 1e19},
      {"9223372036854775807", TOK_BIGINT, 9223372036854775807.0},
      {"12345678901.5", TOK_DOUBLE, 12345678901.5},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(one(c.text), c.token) << c.text;
    Value v = lexer_constant(lx_, c.token);
    double got = c.token == TOK_NUMERIC ? decimal_to_double(value_decimal(v)) : read_as_double(v);
    EXPECT_DOUBLE_EQ(got, c.value) << c.text;
  }
  // A suffix belongs to the number; other letters start the next token.
  EXPECT_EQ(tokens("7x"), (std::vector<int>{TOK_SMALLINT, TOK_UNKNOWN_NAME, TOK_END}));
  EXPECT_EQ(tokens("12.d"), (std::vector<int>{TOK_REAL, TOK_UNKNOWN_NAME, TOK_END}));
  EXPECT_EQ(tokens("007b"), (std::vector<int>{TOK_BIGINT, TOK_UNKNOWN_NAME, TOK_END}));
}

TEST_F(LexerTest, NamesOfTheUnit) {
  struct Case {
    const char* text;
    int token;
    int variable;  // variable (or column) number, function number for TOK_FUNCTION
    int cursor;
  };
  const int len = builtin_find("LEN");
  ASSERT_GE(len, 0);
  const Case cases[] = {
      {"x", TOK_VARIABLE, 0, -1},
      {"B[1]", TOK_INDEXED, 2, -1},
      {"B [1]", TOK_INDEXED, 2, -1},
      {"len", TOK_VARIABLE, 3, -1},           // a variable shadows the built-in...
      {"len(s)", TOK_FUNCTION, len, -1},      // ...unless a "(" follows
      {"trim(s)", TOK_FUNCTION, builtin_find("TRIM"), -1},
      {"myproc()", TOK_FUNCTION, BUILTIN_COUNT + 2, -1},
      {"c.id", TOK_VARIABLE, 0, 4},
      {"c . \"DATA\"", TOK_VARIABLE, 1, 4},
      {"c.data[0]", TOK_INDEXED, 1, 4},
  };
  for (const Case& c : cases) {
    start(c.text, &UNIT);
    ASSERT_EQ(next_token(lx_), c.token) << c.text;
    EXPECT_EQ(c.token == TOK_FUNCTION ? lx_.function : lx_.variable, c.variable) << c.text;
    if (c.token != TOK_FUNCTION) {
      EXPECT_EQ(lx_.cursor, c.cursor) << c.text;
    }
  }
  start("myproc", &UNIT);
  next_token(lx_);
  EXPECT_EQ(lx_.function_type, TYPE_DATE);

  start("c.nope", &UNIT);
  EXPECT_EQ(next_token(lx_), TOK_ERROR);
  EXPECT_EQ(lx_.error, DIAG_BAD_FIELD);
  start("nothing", &UNIT);
  EXPECT_EQ(next_token(lx_), TOK_ERROR);
  EXPECT_EQ(lx_.error, DIAG_BAD_IDENTIFIER);
  EXPECT_FALSE(lexer_names_off(lx_, true));
  EXPECT_TRUE(lexer_names_off(lx_, true));
  start("nothing", &UNIT);
  lexer_names_off(lx_, true);
  EXPECT_EQ(next_token(lx_), TOK_UNKNOWN_NAME);
}

TEST_F(LexerTest, DiagnosticsCarryTheirPlace) {
  // The place of a diagnostic is where the lexer stands when it raises it.
  struct Case {
    const char* text;
    int diagnostic, line, column;
  };
  const Case cases[] = {
      {"\n\n  #", DIAG_SYNTAX, 3, 4},
      {"1 +\r\n  \"abc", DIAG_UNTERMINATED_STRING, 2, 7},
      {"1\n 31/12/2010", DIAG_BAD_DATE, 2, 12},
      {"  zz", DIAG_BAD_IDENTIFIER, 1, 5},
  };
  for (const Case& c : cases) {
    start(c.text);
    int t;
    do {
      t = next_token(lx_);
    } while (t != TOK_ERROR && t != TOK_END);
    ASSERT_EQ(t, TOK_ERROR) << c.text;
    EXPECT_EQ(lx_.error, c.diagnostic) << c.text;
    EXPECT_EQ(lx_.current.line, c.line) << c.text;
    EXPECT_EQ(place_column(lx_.current), c.column) << c.text;
  }
}

TEST_F(LexerTest, MarkAndLookAhead) {
  start("B[1 + B[2]] := 5; B[1] = 5; x := 1; x = 1", &UNIT);
  EXPECT_EQ(next_token(lx_), TOK_INDEXED);
  EXPECT_TRUE(lexer_assign_follows(lx_));
  EXPECT_EQ(lx_.variable, 2);  // what the token left is kept
  LexMark m = lexer_mark(lx_);
  int n = 0;
  while (next_token(lx_) != TOK_SEMICOLON) n++;
  EXPECT_EQ(n, 10);
  EXPECT_EQ(next_token(lx_), TOK_INDEXED);
  EXPECT_FALSE(lexer_assign_follows(lx_));
  lexer_return(lx_, m);
  EXPECT_EQ(next_token(lx_), TOK_LBRACKET);
  EXPECT_EQ(place_column(lx_.token), 2);
  while (next_token(lx_) != TOK_VARIABLE) {
  }
  EXPECT_EQ(lexer_peek_token(lx_), TOK_ASSIGN);
  EXPECT_EQ(next_token(lx_), TOK_ASSIGN);
}

// A provider over a text that counts its reads.
struct CountingText {
  std::string text;
  int reads;
};

int counting_read(void* user, uint32_t offset, char* buf, int max) {
  CountingText* t = static_cast<CountingText*>(user);
  t->reads++;
  if (offset >= t->text.size()) return 0;
  size_t n = std::min(t->text.size() - offset, static_cast<size_t>(max));
  std::memcpy(buf, t->text.data() + offset, n);
  return static_cast<int>(n);
}

TEST_F(LexerTest, PageCacheReadsLongTextsOnce) {
  // 2000 lines of "12345 +" then "1": about 16 pages.
  CountingText src{"", 0};
  for (int i = 0; i < 2000; i++) src.text += "12345 +\n";
  src.text += "1";
  ASSERT_EQ(lexer_start(lx_, SourceProvider{counting_read, &src}, nullptr, mem_, STACK_TEXT_B), 0);
  LexMark start_mark = lexer_mark(lx_);
  int count = 0, t;
  while ((t = next_token(lx_)) == TOK_PLUS || t == TOK_SMALLINT) count++;
  EXPECT_EQ(t, TOK_END);
  EXPECT_EQ(count, 4001);
  EXPECT_EQ(lx_.current.line, 2001);
  int pages = static_cast<int>(src.text.size() + SOURCE_PAGE_SIZE - 1) / SOURCE_PAGE_SIZE;
  EXPECT_LE(src.reads, pages + 2);  // each page once, and the read that finds the end

  // Back to the start: the first pages were reloaded, and the tokens are the same.
  lexer_return(lx_, start_mark);
  EXPECT_EQ(next_token(lx_), TOK_SMALLINT);
  EXPECT_EQ(lx_.int_value, 12345);
  EXPECT_EQ(next_token(lx_), TOK_PLUS);
  EXPECT_EQ(lx_.token.line, 1);
}

TEST_F(LexerTest, TokenSpanningPagesIsWhole) {
  CountingText src{std::string(SOURCE_PAGE_SIZE - 3, ' ') + "\"abcdef\" 123456", 0};
  ASSERT_EQ(lexer_start(lx_, SourceProvider{counting_read, &src}, nullptr, mem_, STACK_TEXT_B), 0);
  EXPECT_EQ(next_token(lx_), TOK_STRING);
  EXPECT_EQ(lexer_text(lx_), "abcdef");
  EXPECT_EQ(next_token(lx_), TOK_INTEGER);
  EXPECT_EQ(lx_.int_value, 123456);
  EXPECT_EQ(next_token(lx_), TOK_END);
}

}  // namespace
}  // namespace tavrel
