// The lexer: source pages, separators and comments, line counting, words and keywords,
// string, DATE and number constants, and the resolution of names.
#include "translator/lexer.h"

#include <cstdio>
#include <cstring>

#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/keywords.h"
#include "values/bigint.h"

namespace tavrel {

static constexpr uint32_t TEXT_SIZE_UNKNOWN = 0xFFFFFFFFu;
static constexpr int END_OF_TEXT = -1;

// --- the text provider of a text in memory -------------------------------------------

static int memory_read(void* user, uint32_t offset, char* buf, int max) {
  const MemoryText* t = static_cast<const MemoryText*>(user);
  if (offset >= t->size) return 0;
  size_t n = t->size - offset;
  if (n > static_cast<size_t>(max)) n = static_cast<size_t>(max);
  std::memcpy(buf, t->data + offset, n);
  return static_cast<int>(n);
}

SourceProvider memory_source(MemoryText* text) { return SourceProvider{memory_read, text}; }

// --- source pages ----------------------------------------------------------------------

// Chooses the page to load: the ages of the used pages go up, and a page that has reached
// SOURCE_PAGE_OLD is taken; without one, a free page (and, should every page be in use and
// younger, the oldest).
static int choose_page(Lexer& lx) {
  int old = -1;
  int free_page = -1;
  int oldest = 0;
  for (int i = 0; i < SOURCE_PAGES; i++) {
    SourcePage& p = lx.pages[i];
    if (!p.used) {
      if (free_page < 0) free_page = i;
      continue;
    }
    p.age++;
    if (p.age >= SOURCE_PAGE_OLD && old < 0) old = i;
    if (p.age > lx.pages[oldest].age || !lx.pages[oldest].used) oldest = i;
  }
  if (old >= 0) return old;
  if (free_page >= 0) return free_page;
  return oldest;
}

static int char_at_slow(Lexer& lx, uint32_t pos) {
  if (pos >= lx.text_size) return END_OF_TEXT;
  for (int i = 0; i < SOURCE_PAGES; i++) {
    const SourcePage& p = lx.pages[i];
    if (p.used && pos >= p.start && pos < p.end) {
      lx.page = i;
      return static_cast<uint8_t>(p.bytes[pos - p.start]);
    }
  }
  int i = choose_page(lx);
  SourcePage& p = lx.pages[i];
  int n = lx.source.read != nullptr
              ? lx.source.read(lx.source.user, pos, p.bytes, SOURCE_PAGE_SIZE)
              : 0;
  if (n < 0) n = 0;
  if (n > SOURCE_PAGE_SIZE) n = SOURCE_PAGE_SIZE;
  if (n < SOURCE_PAGE_SIZE) lx.text_size = pos + static_cast<uint32_t>(n);
  if (n == 0) {
    p.used = false;
    return END_OF_TEXT;
  }
  p.start = pos;
  p.end = pos + static_cast<uint32_t>(n);
  p.age = 0;
  p.used = true;
  lx.page = i;
  return static_cast<uint8_t>(p.bytes[0]);
}

// The byte at an offset of the text, or END_OF_TEXT.
static inline int char_at(Lexer& lx, uint32_t pos) {
  if (lx.page >= 0) {
    const SourcePage& p = lx.pages[lx.page];
    if (pos >= p.start && pos < p.end) return static_cast<uint8_t>(p.bytes[pos - p.start]);
  }
  return char_at_slow(lx, pos);
}

static inline int peek(Lexer& lx, uint32_t ahead = 0) { return char_at(lx, lx.current.pos + ahead); }

// --- character classes -------------------------------------------------------------------

static bool is_digit(int c) { return c >= '0' && c <= '9'; }

static int hex_value(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The 26 characters that end a word.
static bool is_separator(int c) {
  switch (c) {
    case '+': case '-': case '*': case '/': case '^': case ' ': case '\t': case '\r':
    case '\n': case '(': case ')': case '\\': case '=': case '#': case '<': case '>':
    case '.': case ',': case ';': case '[': case ']': case '{': case '}': case '"':
    case '$': case ':':
      return true;
    default:
      return false;
  }
}

// Tokens of the characters that stand alone; 0 for any other.
static int single_char_token(int c) {
  switch (c) {
    case '$': return TOK_DOLLAR;
    case '&': return TOK_AMPERSAND;
    case '(': return TOK_LPAREN;
    case ')': return TOK_RPAREN;
    case '*': return TOK_STAR;
    case '+': return TOK_PLUS;
    case ',': return TOK_COMMA;
    case '-': return TOK_MINUS;
    case '.': return TOK_POINT;
    case '/': return TOK_SLASH;
    case ':': return TOK_COLON;
    case ';': return TOK_SEMICOLON;
    case '<': return TOK_LT;
    case '=': return TOK_EQ;
    case '>': return TOK_GT;
    case '[': return TOK_LBRACKET;
    case ']': return TOK_RBRACKET;
    case '\\': return TOK_BACKSLASH;
    case '^': return TOK_CARET;
    case '{': return TOK_LBRACE;
    case '}': return TOK_RBRACE;
    case '|': return TOK_BAR;
    default: return 0;
  }
}

static int fail(Lexer& lx, int diagnostic) {
  lx.error = diagnostic;
  return TOK_ERROR;
}

// --- moving through the text ---------------------------------------------------------------

// Steps over the character at the current place. A carriage return starts a new line; a
// line feed does too unless it directly follows a carriage return; either way the line
// start moves behind the character.
static void step(Lexer& lx, int c) {
  lx.current.pos++;
  if (c == '\r') {
    lx.current.line++;
    lx.current.line_start = lx.current.pos;
  } else if (c == '\n') {
    if (lx.current.pos < 2 || char_at(lx, lx.current.pos - 2) != '\r') lx.current.line++;
    lx.current.line_start = lx.current.pos;
  }
}

// Skips blanks, tabs, line ends and "//" comments (to the line end or the end of the text).
static void skip_space(Lexer& lx) {
  for (;;) {
    int c = peek(lx);
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      step(lx, c);
    } else if (c == '/' && peek(lx, 1) == '/') {
      lx.current.pos += 2;
      for (c = peek(lx); c != END_OF_TEXT && c != '\r' && c != '\n'; c = peek(lx)) {
        lx.current.pos++;
      }
    } else {
      return;
    }
  }
}

// The first character at or after `ahead` that is not a blank or a tab.
static int peek_past_blanks(Lexer& lx, uint32_t* ahead) {
  int c = peek(lx, *ahead);
  while (c == ' ' || c == '\t') c = peek(lx, ++*ahead);
  return c;
}

// Copies up to max characters of the current line from the current place (at most max, and
// never a line end) into buf; gives the count.
static int line_window(Lexer& lx, char* buf, int max) {
  int n = 0;
  while (n < max) {
    int c = peek(lx, static_cast<uint32_t>(n));
    if (c == END_OF_TEXT || c == '\r' || c == '\n') break;
    buf[n++] = static_cast<char>(c);
  }
  return n;
}

// --- string constants ------------------------------------------------------------------------

static bool put_text(Lexer& lx, int c) {
  if (lx.text_length >= STRING_MAX) return false;
  lx.text[lx.text_length++] = static_cast<char>(c);
  return true;
}

// "..." with escapes; adjacent constants separated only by blanks, line ends and comments
// form one constant. Line ends inside are counted but not stored.
static int read_string(Lexer& lx) {
  lx.text_length = 0;
  step(lx, '"');
  for (;;) {
    int c = peek(lx);
    if (c == END_OF_TEXT) return fail(lx, DIAG_UNTERMINATED_STRING);
    if (c == '"') {
      step(lx, c);
      skip_space(lx);
      if (peek(lx) != '"') break;
      step(lx, '"');
      continue;
    }
    if (c == '\r' || c == '\n') {
      step(lx, c);
      continue;
    }
    step(lx, c);
    if (c == '\\') {
      c = peek(lx);
      if (c == END_OF_TEXT) return fail(lx, DIAG_UNTERMINATED_STRING);
      step(lx, c);
      if (c == 'n') {
        c = '\n';
      } else if (c == 'r') {
        c = '\r';
      } else if (c == 't') {
        c = '\t';
      } else if (c == 'x') {
        // One or two hexadecimal digits give the code of one character.
        int code = hex_value(peek(lx));
        if (code < 0) return fail(lx, DIAG_BAD_HEX_CODE);
        step(lx, peek(lx));
        int low = hex_value(peek(lx));
        if (low >= 0) {
          code = code * 16 + low;
          step(lx, peek(lx));
        }
        c = code;
      }
    }
    if (!put_text(lx, c)) return fail(lx, DIAG_NO_MEMORY);
  }
  lx.text[lx.text_length] = '\0';
  return TOK_STRING;
}

// --- DATE constants -----------------------------------------------------------------------------

// Digits from buf[*i] as a number (saturating, so that an absurd field fails the date
// check); -1 when there is no digit.
static int read_field(const char* buf, int n, int* i) {
  if (*i >= n || !is_digit(buf[*i])) return -1;
  int v = 0;
  while (*i < n && is_digit(buf[*i])) {
    if (v < 100000000) v = v * 10 + (buf[*i] - '0');
    ++*i;
  }
  return v;
}

// A number, "." or "/", a number, the same separator and a number, then optionally ":" hour,
// ":" minute, ":" second and "." hundredths. Gives 1 with the token (TOK_DATE or TOK_ERROR)
// in *token when the text has that form, 0 when it is to be read as a number.
static int read_date(Lexer& lx, int* token) {
  char buf[DATE_SCAN];
  int n = line_window(lx, buf, DATE_SCAN);
  int i = 0;
  int a = read_field(buf, n, &i);
  if (a < 0 || i >= n || (buf[i] != '.' && buf[i] != '/')) return 0;
  char sep = buf[i++];
  int b = read_field(buf, n, &i);
  if (b < 0 || i >= n || buf[i] != sep) return 0;
  i++;
  int year = read_field(buf, n, &i);
  if (year < 0) return 0;
  int parts[4] = {0, 0, 0, 0};  // hour, minute, second, hundredths
  for (int k = 0; k < 4; k++) {
    char lead = k == 3 ? '.' : ':';
    if (i + 1 >= n || buf[i] != lead || !is_digit(buf[i + 1])) break;
    i++;
    parts[k] = read_field(buf, n, &i);
  }
  int day = sep == '/' ? b : a;
  int month = sep == '/' ? a : b;
  char text[128];
  int len = std::snprintf(text, sizeof text, "%02d.%02d.%04d:%02d:%02d:%02d.%02d", day, month,
                          year, parts[0], parts[1], parts[2], parts[3]);
  lx.current.pos += static_cast<uint32_t>(i);
  DateRecord d{};
  if (len <= 0 || date_text_check(std::string_view(text, static_cast<size_t>(len)), &d) != 0) {
    *token = fail(lx, DIAG_BAD_DATE);
    return 1;
  }
  lx.date_value = d;
  *token = TOK_DATE;
  return 1;
}

// --- numbers ---------------------------------------------------------------------------------

// A run of digits as a 32-bit integer, accepted only when the run is exactly what "%d" prints
// for it: no leading zero, no overflow.
static bool read_int32_exact(const char* s, int len, int32_t* out) {
  if (len == 0 || len > 10 || (s[0] == '0' && len > 1)) return false;
  int64_t v = 0;
  for (int k = 0; k < len; k++) v = v * 10 + (s[k] - '0');
  if (v > INT32_MAX) return false;
  *out = static_cast<int32_t>(v);
  return true;
}

static int digit_run(const char* buf, int n, int from) {
  int i = from;
  while (i < n && is_digit(buf[i])) i++;
  return i - from;
}

static double power_of_ten(int n) {
  double p = 1.0;
  while (n-- > 0) p *= 10.0;
  return p;
}

// The number rules. Short forms first: a plain 32-bit integer part (SMALLINT, INTEGER, or a
// BIGINT / INTEGER by suffix), "12." (REAL), and integer part, point and fraction that both
// print back unchanged (NUMERIC, or DOUBLE / REAL by suffix). Anything else takes the long
// paths: digits without a point as a 64-bit BIGINT, else up to 50 digits and one point as a
// NUMERIC ("n") or DOUBLE. So 1.05 (leading zero in the fraction) is DOUBLE and 007 BIGINT.
static int read_number(Lexer& lx) {
  char buf[NUMBER_SCAN];
  int n = line_window(lx, buf, NUMBER_SCAN);
  int ilen = digit_run(buf, n, 0);
  bool point = ilen < n && buf[ilen] == '.';
  int32_t whole = 0;
  if (read_int32_exact(buf, ilen, &whole)) {
    if (!point) {
      int suffix = ilen < n ? buf[ilen] : 0;
      int token;
      if (suffix == 'b' || suffix == 'B') {
        lx.bigint_value = whole;
        token = TOK_BIGINT;
        ilen++;
      } else if (suffix == 'i' || suffix == 'I') {
        token = TOK_INTEGER;
        ilen++;
      } else {
        token = whole <= INT16_MAX ? TOK_SMALLINT : TOK_INTEGER;
      }
      lx.int_value = whole;
      lx.current.pos += static_cast<uint32_t>(ilen);
      return token;
    }
    int flen = digit_run(buf, n, ilen + 1);
    if (flen == 0) {
      lx.real_value = static_cast<float>(whole);
      lx.current.pos += static_cast<uint32_t>(ilen + 1);
      return TOK_REAL;
    }
    int32_t fraction = 0;
    if (read_int32_exact(buf + ilen + 1, flen, &fraction)) {
      int used = ilen + 1 + flen;
      double value = whole + fraction / power_of_ten(flen);
      int suffix = used < n ? buf[used] : 0;
      int token;
      if (suffix == 'd' || suffix == 'D') {
        lx.double_value = value;
        token = TOK_DOUBLE;
        used++;
      } else if (suffix == 'r' || suffix == 'R') {
        lx.real_value = static_cast<float>(value);
        token = TOK_REAL;
        used++;
      } else {
        if (suffix == 'n' || suffix == 'N') used++;
        lx.numeric_value = decimal_from_text(std::string_view(buf, static_cast<size_t>(ilen + 1 + flen)));
        token = TOK_NUMERIC;
      }
      lx.current.pos += static_cast<uint32_t>(used);
      return token;
    }
  } else if (!point) {
    int64_t big = 0;
    if (bigint_from_text(std::string_view(buf, static_cast<size_t>(ilen)), &big) == BIGINT_OK) {
      lx.bigint_value = big;
      // Digits beyond the window belong to the same constant.
      uint32_t used = static_cast<uint32_t>(ilen);
      while (is_digit(peek(lx, used))) used++;
      lx.current.pos += used;
      return TOK_BIGINT;
    }
  }
  // The long path: digits and at most one point.
  int used = 0;
  bool seen_point = false;
  while (used < n && used < NUMBER_LONG_MAX) {
    char c = buf[used];
    if (c == '.' && !seen_point) {
      seen_point = true;
    } else if (!is_digit(c)) {
      break;
    }
    used++;
  }
  std::string_view digits(buf, static_cast<size_t>(used));
  int suffix = used < n ? buf[used] : 0;
  if (suffix == 'n' || suffix == 'N') {
    lx.numeric_value = decimal_from_text(digits);
    lx.current.pos += static_cast<uint32_t>(used + 1);
    return TOK_NUMERIC;
  }
  double value = 0;
  if (read_double_text(digits, &value) != 0) return fail(lx, DIAG_BAD_NUMBER);
  lx.double_value = value;
  if (suffix == 'd' || suffix == 'D') used++;
  lx.current.pos += static_cast<uint32_t>(used);
  return TOK_DOUBLE;
}

// --- names ---------------------------------------------------------------------------------------

// The name of a cursor column after the ".": a word, or a string constant of at most 66
// characters. Leaves it in the token text.
static bool read_column_name(Lexer& lx) {
  lx.text_length = 0;
  int c = peek(lx);
  if (c == '"') {
    step(lx, c);
    for (c = peek(lx); c != '"'; c = peek(lx)) {
      if (c == END_OF_TEXT || c == '\r' || c == '\n' || lx.text_length >= WORD_MAX) return false;
      lx.text[lx.text_length++] = static_cast<char>(c);
      step(lx, c);
    }
    step(lx, c);
  } else {
    while (lx.text_length < WORD_MAX && c != END_OF_TEXT && !is_separator(c)) {
      lx.text[lx.text_length++] = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
      lx.current.pos++;
      c = peek(lx);
    }
  }
  lx.text[lx.text_length] = '\0';
  return lx.text_length > 0;
}

// Resolves the word in the token text, the current place being just behind it.
static int resolve_name(Lexer& lx) {
  std::string_view name = lexer_text(lx);
  // A name directly followed by ":" (not ":=") is a label; the ":" belongs to it.
  if (peek(lx) == ':' && peek(lx, 1) != '=') {
    lx.current.pos++;
    return TOK_LABEL;
  }

  const UnitSymbols* unit = lx.unit;
  uint32_t ahead = 0;
  int next = peek_past_blanks(lx, &ahead);
  uint8_t type = TYPE_NONE;
  int var = -1;
  if (unit != nullptr && unit->find_variable != nullptr) {
    if (next == '[') {
      var = unit->find_variable(unit->user, name, true, &type);
      if (var >= 0) {
        lx.variable = var;
        lx.variable_type = type;
        lx.cursor = -1;
        return TOK_INDEXED;
      }
    }
    var = unit->find_variable(unit->user, name, false, &type);
  }
  int builtin = builtin_find(name);
  if (var >= 0) {
    if (next == '(' && builtin >= 0) {
      lx.function = builtin;
      lx.function_type = builtin_result_type(builtin);
      return TOK_FUNCTION;
    }
    lx.variable = var;
    lx.variable_type = type;
    lx.cursor = -1;
    if (type == TYPE_CURSOR && next == '.') {
      lx.current.pos += ahead + 1;  // past the "."
      ahead = 0;
      peek_past_blanks(lx, &ahead);
      lx.current.pos += ahead;
      uint8_t column_type = TYPE_NONE;
      int column = -1;
      if (read_column_name(lx) && unit->find_column != nullptr) {
        column = unit->find_column(unit->user, var, lexer_text(lx), &column_type);
      }
      if (column < 0) return fail(lx, DIAG_BAD_FIELD);
      lx.cursor = var;
      lx.variable = column;
      lx.variable_type = column_type;
      ahead = 0;
      if (column_type == TYPE_BYTE && peek_past_blanks(lx, &ahead) == '[') return TOK_INDEXED;
    }
    return TOK_VARIABLE;
  }
  if (builtin >= 0) {
    lx.function = builtin;
    lx.function_type = builtin_result_type(builtin);
    return TOK_FUNCTION;
  }
  if (unit != nullptr && unit->find_routine != nullptr) {
    int routine = unit->find_routine(unit->user, name, &type);
    if (routine >= 0) {
      lx.function = BUILTIN_COUNT + routine;
      lx.function_type = type;
      return TOK_FUNCTION;
    }
  }
  if (lx.names_off) return TOK_UNKNOWN_NAME;
  return fail(lx, DIAG_BAD_IDENTIFIER);
}

// --- the next token ----------------------------------------------------------------------------

int next_token(Lexer& lx) {
  lx.previous = lx.token;
  lx.error = -1;
  skip_space(lx);
  lx.token = lx.current;

  int c = peek(lx);
  int word = 0;
  if (c != '"' && c != END_OF_TEXT) {
    int c2 = peek(lx, 1);
    if ((c == ':' && c2 == '=') || (c == '<' && (c2 == '=' || c2 == '>')) ||
        (c == '>' && c2 == '=')) {
      lx.current.pos += 2;
      return c == ':' ? TOK_ASSIGN : c2 == '>' ? TOK_NE : c == '<' ? TOK_LE : TOK_GE;
    }
    // A word: up to WORD_MAX characters up to a separator, Latin letters upper-cased.
    for (int w = c; word < WORD_MAX && w != END_OF_TEXT && !is_separator(w);
         w = peek(lx, static_cast<uint32_t>(word))) {
      lx.text[word++] = static_cast<char>(w >= 'a' && w <= 'z' ? w - 32 : w);
    }
    lx.text[word] = '\0';
    lx.text_length = word;
    // No keyword begins with a digit: a number is not looked up.
    if (word > 0 && !is_digit(c)) {
      int keyword = keyword_find(lexer_text(lx));
      if (keyword != 0) {
        lx.current.pos += static_cast<uint32_t>(word);
        return keyword;
      }
    }
  }
  if (c == END_OF_TEXT) return TOK_END;
  if (c == '"') return read_string(lx);
  if (is_digit(c)) {
    int token = 0;
    if (read_date(lx, &token)) return token;
    return read_number(lx);
  }
  int single = single_char_token(c);
  if (single != 0) {
    lx.current.pos++;
    return single;
  }
  if (word == 0) {
    lx.current.pos++;
    return fail(lx, DIAG_SYNTAX);
  }
  lx.current.pos += static_cast<uint32_t>(word);
  return resolve_name(lx);
}

// --- the rest of the interface ----------------------------------------------------------------

int lexer_start(Lexer& lx, const SourceProvider& source, const UnitSymbols* unit,
                StackMemory& memory, int pool) {
  lx.source = source;
  lx.unit = unit;
  for (SourcePage& p : lx.pages) {
    p.used = false;
    p.age = 0;
    p.start = p.end = 0;
  }
  lx.page = -1;
  lx.text_size = TEXT_SIZE_UNKNOWN;
  lx.current = LexPlace{0, 1, 0};
  lx.token = lx.previous = lx.current;
  lx.int_value = 0;
  lx.real_value = 0;
  lx.double_value = 0;
  lx.numeric_value = decimal_zero();
  lx.bigint_value = 0;
  lx.date_value = DateRecord{0, 0};
  lx.function = lx.variable = lx.cursor = -1;
  lx.function_type = lx.variable_type = TYPE_NONE;
  lx.names_off = false;
  lx.error = -1;
  lx.memory = &memory;
  lx.text_pool = pool;
  lx.text_mark = stack_mark(memory, pool);
  lx.text = static_cast<char*>(get_stack_mem(memory, pool, TOKEN_TEXT_SIZE));
  lx.text_length = 0;
  if (lx.text == nullptr) return DIAG_NO_MEMORY;
  lx.text[0] = '\0';
  char_at(lx, 0);  // the page at offset 0
  return 0;
}

void lexer_finish(Lexer& lx) {
  if (lx.text != nullptr && lx.memory != nullptr) stack_release(*lx.memory, lx.text_pool, lx.text_mark);
  lx.text = nullptr;
}

LexMark lexer_mark(const Lexer& lx) { return LexMark{lx.current, lx.token, lx.previous}; }

void lexer_return(Lexer& lx, const LexMark& mark) {
  lx.current = mark.current;
  lx.token = mark.token;
  lx.previous = mark.previous;
}

bool lexer_names_off(Lexer& lx, bool off) {
  bool was = lx.names_off;
  lx.names_off = off;
  return was;
}

// What a look-ahead must leave as it found it: the place and what the current token left
// behind (its name, numbers and types).
struct LookAhead {
  LexMark mark;
  char text[WORD_MAX + 1];
  int text_length;
  int function, variable, cursor;
  uint8_t function_type, variable_type;
};

static void look_ahead_save(const Lexer& lx, LookAhead* s) {
  s->mark = lexer_mark(lx);
  s->text_length = lx.text_length <= WORD_MAX ? lx.text_length : WORD_MAX;
  std::memcpy(s->text, lx.text, static_cast<size_t>(s->text_length));
  s->function = lx.function;
  s->variable = lx.variable;
  s->cursor = lx.cursor;
  s->function_type = lx.function_type;
  s->variable_type = lx.variable_type;
}

static void look_ahead_restore(Lexer& lx, const LookAhead& s) {
  lexer_return(lx, s.mark);
  std::memcpy(lx.text, s.text, static_cast<size_t>(s.text_length));
  lx.text[s.text_length] = '\0';
  lx.text_length = s.text_length;
  lx.function = s.function;
  lx.variable = s.variable;
  lx.cursor = s.cursor;
  lx.function_type = s.function_type;
  lx.variable_type = s.variable_type;
  lx.error = -1;
}

int lexer_peek_token(Lexer& lx) {
  LookAhead saved;
  look_ahead_save(lx, &saved);
  int token = next_token(lx);
  look_ahead_restore(lx, saved);
  return token;
}

bool lexer_assign_follows(Lexer& lx) {
  LookAhead saved;
  look_ahead_save(lx, &saved);
  int depth = 0;
  int token;
  do {
    token = next_token(lx);
    if (token == TOK_LBRACKET) depth++;
    if (token == TOK_RBRACKET) depth--;
  } while (depth > 0 && token != TOK_END && token != TOK_ERROR);
  bool follows = token != TOK_END && token != TOK_ERROR && next_token(lx) == TOK_ASSIGN;
  look_ahead_restore(lx, saved);
  return follows;
}

Value lexer_constant(const Lexer& lx, int token) {
  switch (token) {
    case TOK_SMALLINT: return make_smallint(static_cast<int16_t>(lx.int_value));
    case TOK_INTEGER: return make_integer(lx.int_value);
    case TOK_REAL: return make_real(lx.real_value);
    case TOK_DOUBLE: return make_double(lx.double_value);
    case TOK_NUMERIC: return make_numeric(lx.numeric_value);
    case TOK_BIGINT: return make_bigint(lx.bigint_value);
    case TOK_DATE: return make_date(lx.date_value);
    default: return make_none();
  }
}

}  // namespace tavrel
