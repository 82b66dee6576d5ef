// The lexer of the procedure language: turns a text read through a provider into tokens
// (tokens.h), recognising bilingual keywords, constants of every scalar type, labels and the
// names of the unit (variables, cursor columns, built-in functions, routines), and keeping
// the line and column of each token for diagnostics.
//
// The text is never held whole: it is read through a cache of ten 1024-byte pages. Everything
// the lexer raises is a diagnostic number: next_token gives TOK_ERROR and leaves the number in
// Lexer::error; the evaluator passes it to its one reporting routine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "translator/tokens.h"
#include "translator/unit_symbols.h"
#include "values/calendar.h"
#include "values/decimal.h"
#include "values/stack_mem.h"
#include "values/value.h"

namespace tavrel {

constexpr int SOURCE_PAGES = 10;
constexpr int SOURCE_PAGE_SIZE = 1024;
constexpr int SOURCE_PAGE_OLD = 10;  // a page of this age is the one reloaded
constexpr int TOKEN_TEXT_SIZE = 4000;
constexpr int STRING_MAX = TOKEN_TEXT_SIZE - 1;  // characters of a string constant
constexpr int WORD_MAX = 66;                     // characters of a word
constexpr int DATE_SCAN = 77;                    // characters of a line a DATE may take
constexpr int NUMBER_SCAN = 40;                  // characters of a line a number may take
constexpr int NUMBER_LONG_MAX = 50;              // digits and point of a long number

// Reads up to max bytes of the text from offset into buf and gives the count. A count below
// max (0 included) marks the end of the text.
struct SourceProvider {
  int (*read)(void* user, uint32_t offset, char* buf, int max);
  void* user;
};

// A text held in memory, read through memory_source.
struct MemoryText {
  const char* data;
  size_t size;
};
SourceProvider memory_source(MemoryText* text);

struct SourcePage {
  uint32_t start;  // offset of the first byte
  uint32_t end;    // offset after the last byte
  int age;
  bool used;
  char bytes[SOURCE_PAGE_SIZE];
};

// A place in the text: absolute offset, line (from 1) and the offset where that line starts.
struct LexPlace {
  uint32_t pos;
  int line;
  uint32_t line_start;
};

// What mark / return to mark restore: the current place and where the current and the
// previous token began.
struct LexMark {
  LexPlace current;
  LexPlace token;
  LexPlace previous;
};

struct Lexer {
  SourceProvider source;
  const UnitSymbols* unit;
  SourcePage pages[SOURCE_PAGES];
  int page;            // the page last read from, -1 before any
  uint32_t text_size;  // where the text ends, UINT32_MAX until a read came up short
  LexPlace current;    // the next character to read
  LexPlace token;      // where the current token began
  LexPlace previous;   // where the previous token began
  StackMemory* memory;
  int text_pool;
  StackMark text_mark;
  char* text;  // token text area: the name, or the string constant, zero-terminated
  int text_length;
  // Values of the last constants.
  int32_t int_value;  // SMALLINT and INTEGER
  float real_value;
  double double_value;
  Decimal numeric_value;
  int64_t bigint_value;
  DateRecord date_value;
  // The last name: function number (routines from BUILTIN_COUNT up) and result type; the
  // variable (or column) number and its type; the cursor variable of a column, else -1.
  int function;
  uint8_t function_type;
  int variable;
  uint8_t variable_type;
  int cursor;
  bool names_off;  // unknown names give TOK_UNKNOWN_NAME instead of diagnostic 15
  int error;       // diagnostic of the last TOK_ERROR, -1 when none
};

// Clears the page cache, loads the page at offset 0 and takes the token text area from
// stack-memory pool `pool` (mark the pool first: lexer_finish releases to that mark).
// Returns 0, or DIAG_NO_MEMORY.
int lexer_start(Lexer& lx, const SourceProvider& source, const UnitSymbols* unit,
                StackMemory& memory, int pool);
void lexer_finish(Lexer& lx);

int next_token(Lexer& lx);

LexMark lexer_mark(const Lexer& lx);
void lexer_return(Lexer& lx, const LexMark& mark);

// Switches name checking off (true) or on; gives back the previous setting.
bool lexer_names_off(Lexer& lx, bool off);

// Reads tokens from the current place, counting "[" up and "]" down, until the count is back
// to zero or the text ends; tells whether the next token is ":=". The place, the token
// text and the last values are as before; diagnostics met on the way are dropped.
bool lexer_assign_follows(Lexer& lx);
// The next token, read and given back: the lexer is left as it was (a diagnostic met gives
// TOK_ERROR and is dropped).
int lexer_peek_token(Lexer& lx);

inline std::string_view lexer_text(const Lexer& lx) {
  return std::string_view(lx.text, static_cast<size_t>(lx.text_length));
}
// Line and column (from 1) of a place.
inline int place_column(const LexPlace& p) { return static_cast<int>(p.pos - p.line_start) + 1; }

// The value of the constant token just read (SMALLINT, INTEGER, REAL, NUMERIC, DOUBLE, BIGINT
// or DATE constant); TYPE_NONE for any other token.
Value lexer_constant(const Lexer& lx, int token);

}  // namespace tavrel
