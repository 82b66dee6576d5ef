// Reading the head of create / alter / drop procedure and trigger statements with the
// procedure language's lexer (names checking off: every unknown word is a name).
#include "kernel/proc_header.h"

#include <cstring>

#include "text/unicode.h"
#include "translator/diagnostics.h"
#include "translator/lexer.h"
#include "values/calendar.h"
#include "values/decimal.h"
#include "values/stack_mem.h"

namespace tavrel::kernel {

namespace {

constexpr int NOT_OURS = 1;
constexpr int BAD_HEAD = 2;
constexpr int NUMERIC_PRECISION_MAX = 29;  // what the client can print: precision + 1 <= 30
constexpr int NUMERIC_INTEGER_MAX = 19;    // precision - scale
constexpr int NUMERIC_DEFAULT_PRECISION = 15;
constexpr int NUMERIC_DEFAULT_SCALE = 2;
constexpr uint32_t CHAR_LENGTH_MAX = 65535;
constexpr uint32_t NCHAR_LENGTH_MAX = 32767;

// Declared type words and what they make; sized types take "(n)" (or "(p, s)" for NUMERIC).
struct TypeWord {
  int token;
  uint8_t type;
  uint16_t length;  // fixed length; 0 for sized types
  bool sized;
  bool size_required;
};

const TypeWord TYPE_WORDS[] = {
    {TOK_KW_SMALLINT, PARAM_INTEGER, 2, false, false},
    {TOK_KW_INT, PARAM_INTEGER, 4, false, false},
    {TOK_KW_INTEGER, PARAM_INTEGER, 4, false, false},
    {TOK_KW_BIGINT, PARAM_INTEGER, 8, false, false},
    {TOK_KW_REAL, PARAM_FLOAT, 4, false, false},
    {TOK_KW_DOUBLE, PARAM_FLOAT, 8, false, false},
    {TOK_KW_NUMERIC, PARAM_NUMERIC, DECIMAL_BYTES, true, false},
    {TOK_KW_BOOL, PARAM_LOGICAL, 1, false, false},
    {TOK_KW_DATE, PARAM_DATE, sizeof(DateRecord), false, false},
    {TOK_KW_CHAR, PARAM_CHAR, 0, true, false},
    {TOK_VARCHAR, PARAM_CHAR, 0, true, true},
    {TOK_KW_NCHAR, PARAM_NCHAR, 0, true, false},
    {TOK_NVARCHAR, PARAM_NCHAR, 0, true, true},
};

struct Reader {
  Lexer lx;
  int token;
  ProcHeader* out;
};

void advance(Reader& r) { r.token = next_token(r.lx); }

// The current token's word (keywords and names alike), upper-cased Latin.
bool word_is(const Reader& r, const char* word) {
  return r.token != TOK_STRING && lexer_text(r.lx) == word;
}

bool is_name(int token) { return token == TOK_UNKNOWN_NAME || token == TOK_FUNCTION; }

int fail(Reader& r, int diagnostic) {
  r.out->diagnostic = r.token == TOK_ERROR && r.lx.error >= 0 ? r.lx.error : diagnostic;
  r.out->line = r.lx.token.line;
  r.out->column = place_column(r.lx.token);
  return BAD_HEAD;
}

// A name: an identifier (upper-cased by the lexer) or a quoted name taken as it stands.
int read_name(Reader& r, std::string* name) {
  if (!is_name(r.token) && r.token != TOK_STRING) return fail(r, DIAG_BAD_IDENTIFIER);
  const std::string_view text = lexer_text(r.lx);
  if (text.empty() || text.size() > OBJECT_NAME_MAX) return fail(r, DIAG_BAD_IDENTIFIER);
  name->assign(text);
  advance(r);
  return 0;
}

bool integer_token(int token) { return token == TOK_SMALLINT || token == TOK_INTEGER || token == TOK_BIGINT; }
bool number_token(int token) {
  return integer_token(token) || token == TOK_REAL || token == TOK_DOUBLE || token == TOK_NUMERIC;
}

int64_t token_int64(const Lexer& lx, int token) { return token == TOK_BIGINT ? lx.bigint_value : lx.int_value; }

Decimal token_decimal(const Lexer& lx, int token) {
  switch (token) {
    case TOK_SMALLINT:
    case TOK_INTEGER: return decimal_from_int32(lx.int_value);
    case TOK_BIGINT: return decimal_from_int64(lx.bigint_value);
    case TOK_REAL: return decimal_from_double(static_cast<double>(lx.real_value));
    case TOK_DOUBLE: return decimal_from_double(lx.double_value);
    default: return lx.numeric_value;
  }
}

double token_double(const Lexer& lx, int token) {
  switch (token) {
    case TOK_SMALLINT:
    case TOK_INTEGER: return lx.int_value;
    case TOK_BIGINT: return static_cast<double>(lx.bigint_value);
    case TOK_REAL: return static_cast<double>(lx.real_value);
    case TOK_DOUBLE: return lx.double_value;
    default: return decimal_to_double(lx.numeric_value);
  }
}

template <typename T>
void put(std::vector<uint8_t>* out, T value) {
  uint8_t bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  out->assign(bytes, bytes + sizeof(T));
}

// A small positive integer constant (a length, a precision, a scale).
int read_size(Reader& r, uint32_t low, uint32_t high, uint32_t* value) {
  if (r.token != TOK_SMALLINT && r.token != TOK_INTEGER) return fail(r, DIAG_BAD_NUMBER);
  if (r.lx.int_value < 0 || static_cast<uint32_t>(r.lx.int_value) < low ||
      static_cast<uint32_t>(r.lx.int_value) > high) {
    return fail(r, DIAG_BAD_NUMBER);
  }
  *value = static_cast<uint32_t>(r.lx.int_value);
  advance(r);
  return 0;
}

int read_type(Reader& r, ProcParam* p) {
  const TypeWord* word = nullptr;
  for (const TypeWord& w : TYPE_WORDS) {
    if (w.token == r.token) word = &w;
  }
  if (word == nullptr) return fail(r, DIAG_BAD_TYPE);
  advance(r);
  p->type = word->type;
  p->length = word->length;
  p->precision = 0;
  p->scale = 0;
  if (!word->sized) return 0;
  if (word->type == PARAM_NUMERIC) {
    p->precision = NUMERIC_DEFAULT_PRECISION;
    p->scale = NUMERIC_DEFAULT_SCALE;
  } else {
    p->length = 1;
  }
  if (r.token != TOK_LPAREN) return word->size_required ? fail(r, DIAG_NEED_LPAREN) : 0;
  advance(r);
  uint32_t n = 0;
  if (word->type == PARAM_NUMERIC) {
    if (read_size(r, 1, NUMERIC_PRECISION_MAX, &n) != 0) return BAD_HEAD;
    p->precision = static_cast<uint8_t>(n);
    uint32_t s = 0;
    if (r.token == TOK_COMMA) {
      advance(r);
      if (read_size(r, 0, n < DECIMAL_SCALE ? n : DECIMAL_SCALE, &s) != 0) return BAD_HEAD;
    }
    if (n - s > NUMERIC_INTEGER_MAX) return fail(r, DIAG_BAD_NUMBER);
    p->scale = static_cast<uint8_t>(s);
  } else {
    const uint32_t high = word->type == PARAM_NCHAR ? NCHAR_LENGTH_MAX : CHAR_LENGTH_MAX;
    if (read_size(r, 1, high, &n) != 0) return BAD_HEAD;
    p->length = static_cast<uint16_t>(n);
  }
  if (r.token != TOK_RPAREN) return fail(r, DIAG_NEED_RPAREN);
  advance(r);
  return 0;
}

// A character default, blank-padded to the declared length (at most DEFAULT_VALUE_MAX bytes
// are kept). NCHAR defaults are UTF-16LE code units.
int char_default(Reader& r, ProcParam* p) {
  const std::string_view text = lexer_text(r.lx);
  if (p->type == PARAM_CHAR) {
    if (text.size() > p->length) return fail(r, DIAG_TYPE_MISMATCH);
    const size_t kept = p->length < DEFAULT_VALUE_MAX ? p->length : DEFAULT_VALUE_MAX;
    if (text.size() > kept) return fail(r, DIAG_TYPE_MISMATCH);
    p->default_value.assign(kept, ' ');
    std::memcpy(p->default_value.data(), text.data(), text.size());
    return 0;
  }
  const std::string utf8 = cp866_to_utf8(text);
  std::vector<uint16_t> units;
  std::string_view rest = utf8;
  while (!rest.empty()) {
    uint32_t cp = 0;
    const int used = utf8_decode(rest, &cp);
    if (used <= 0) return fail(r, DIAG_TYPE_MISMATCH);
    units.push_back(cp > 0xFFFF ? static_cast<uint16_t>('?') : static_cast<uint16_t>(cp));
    rest.remove_prefix(static_cast<size_t>(used));
  }
  const size_t kept = p->length < DEFAULT_VALUE_MAX / 2 ? p->length : DEFAULT_VALUE_MAX / 2;
  if (units.size() > kept) return fail(r, DIAG_TYPE_MISMATCH);
  units.resize(kept, static_cast<uint16_t>(' '));
  p->default_value.clear();
  for (uint16_t u : units) {
    p->default_value.push_back(static_cast<uint8_t>(u));
    p->default_value.push_back(static_cast<uint8_t>(u >> 8));
  }
  return 0;
}

// DEFAULT literal, converted to the parameter's stored form.
int read_default(Reader& r, ProcParam* p) {
  if (r.token == TOK_NULL) {
    p->default_null = true;
    advance(r);
    return 0;
  }
  p->default_null = false;
  bool negative = false;
  if (r.token == TOK_MINUS) {
    negative = true;
    advance(r);
    if (!number_token(r.token)) return fail(r, DIAG_BAD_NUMBER);
  }
  const Lexer& lx = r.lx;
  switch (p->type) {
    case PARAM_INTEGER: {
      if (!integer_token(r.token)) return fail(r, DIAG_TYPE_MISMATCH);
      const int64_t v = negative ? -token_int64(lx, r.token) : token_int64(lx, r.token);
      if (p->length == 2 && (v < INT16_MIN || v > INT16_MAX)) return fail(r, DIAG_BAD_NUMBER);
      if (p->length == 4 && (v < INT32_MIN || v > INT32_MAX)) return fail(r, DIAG_BAD_NUMBER);
      if (p->length == 2) put(&p->default_value, static_cast<int16_t>(v));
      if (p->length == 4) put(&p->default_value, static_cast<int32_t>(v));
      if (p->length == 8) put(&p->default_value, v);
      break;
    }
    case PARAM_FLOAT: {
      if (!number_token(r.token)) return fail(r, DIAG_TYPE_MISMATCH);
      const double v = negative ? -token_double(lx, r.token) : token_double(lx, r.token);
      if (p->length == 4) {
        put(&p->default_value, static_cast<float>(v));
      } else {
        put(&p->default_value, v);
      }
      break;
    }
    case PARAM_NUMERIC: {
      if (!number_token(r.token)) return fail(r, DIAG_TYPE_MISMATCH);
      Decimal d = token_decimal(lx, r.token);
      if (negative) d = decimal_negate(d);
      p->default_value.assign(d.b, d.b + DECIMAL_BYTES);
      break;
    }
    case PARAM_LOGICAL:
      if (negative || (r.token != TOK_TRUE && r.token != TOK_FALSE)) return fail(r, DIAG_TYPE_MISMATCH);
      p->default_value.assign(1, r.token == TOK_TRUE ? 1 : 0);
      break;
    case PARAM_DATE: {
      DateRecord d{};
      if (r.token == TOK_DATE) {
        d = lx.date_value;
      } else if (r.token != TOK_STRING || date_text_check(lexer_text(lx), &d) != 0) {
        return fail(r, r.token == TOK_STRING ? DIAG_BAD_DATE : DIAG_TYPE_MISMATCH);
      }
      p->default_value.resize(sizeof d);
      std::memcpy(p->default_value.data(), &d.day, 4);
      std::memcpy(p->default_value.data() + 4, &d.time, 4);
      break;
    }
    default:  // PARAM_CHAR, PARAM_NCHAR
      if (r.token != TOK_STRING) return fail(r, DIAG_TYPE_MISMATCH);
      if (char_default(r, p) != 0) return BAD_HEAD;
      break;
  }
  advance(r);
  return 0;
}

// [IN | OUT | INOUT] name type [DEFAULT literal]
int read_param(Reader& r, ProcParam* p) {
  p->mode = PARAM_IN;
  if (r.token == TOK_IN || r.token == TOK_OUT || r.token == TOK_INOUT) {
    p->mode = r.token == TOK_IN ? PARAM_IN : r.token == TOK_OUT ? PARAM_OUT : PARAM_INOUT;
    advance(r);
  }
  if (read_name(r, &p->name) != 0 || read_type(r, p) != 0) return BAD_HEAD;
  p->default_null = true;
  if (r.token != TOK_DEFAULT) return 0;
  advance(r);
  return read_default(r, p);
}

// The optional FOR DEBUG that ends both heads.
int read_for_debug(Reader& r) {
  if (r.token != TOK_FOR) return 0;
  advance(r);
  if (r.token != TOK_DEBUG) return fail(r, DIAG_SYNTAX);
  r.out->debug = true;
  return 0;
}

int read_procedure(Reader& r) {
  ProcHeader* out = r.out;
  if (r.token == TOK_LPAREN) {
    advance(r);
    if (r.token != TOK_RPAREN) {
      for (;;) {
        ProcParam p{};
        if (read_param(r, &p) != 0) return BAD_HEAD;
        for (const ProcParam& q : out->params) {
          if (q.name == p.name) return fail(r, DIAG_BAD_IDENTIFIER);
        }
        if (out->params.size() >= PARAMS_MAX) return fail(r, DIAG_SYNTAX);
        out->params.push_back(std::move(p));
        if (r.token != TOK_COMMA) break;
        advance(r);
      }
    }
    if (r.token != TOK_RPAREN) return fail(r, DIAG_NEED_RPAREN);
    advance(r);
  }
  // RESULT type may stand before or after FOR DEBUG; its type is the engine's to check.
  for (;;) {
    if (r.token == TOK_RESULT) {
      advance(r);
      ProcParam result{};
      if (read_type(r, &result) != 0) return BAD_HEAD;
    } else if (r.token == TOK_FOR) {
      if (read_for_debug(r) != 0) return BAD_HEAD;
      advance(r);
    } else {
      return 0;
    }
  }
}

// BEFORE | AFTER  event {OR event | , event}  ON table  FOR EACH ROW | STATEMENT
// EXECUTE [FOR DEBUG]
int read_trigger(Reader& r) {
  ProcHeader* out = r.out;
  if (word_is(r, "BEFORE")) {
    out->before = true;
  } else if (!word_is(r, "AFTER")) {
    return fail(r, DIAG_SYNTAX);
  }
  advance(r);
  for (;;) {
    uint8_t event = 0;
    if (word_is(r, "UPDATE")) event = EVENT_UPDATE;
    if (word_is(r, "INSERT")) event = EVENT_INSERT;
    if (word_is(r, "DELETE")) event = EVENT_DELETE;
    if (event == 0) return fail(r, DIAG_SYNTAX);
    out->events = static_cast<uint8_t>(out->events | event);
    advance(r);
    if (r.token != TOK_OR && r.token != TOK_COMMA) break;
    advance(r);
  }
  if (!word_is(r, "ON")) return fail(r, DIAG_SYNTAX);
  advance(r);
  if (read_name(r, &out->table) != 0) return BAD_HEAD;
  if (r.token != TOK_FOR) return fail(r, DIAG_SYNTAX);
  advance(r);
  if (!word_is(r, "EACH")) return fail(r, DIAG_SYNTAX);
  advance(r);
  if (word_is(r, "ROW")) {
    out->for_each_row = true;
  } else if (!word_is(r, "STATEMENT")) {
    return fail(r, DIAG_SYNTAX);
  }
  advance(r);
  if (r.token != TOK_EXECUTE) return fail(r, DIAG_SYNTAX);
  advance(r);
  return read_for_debug(r);
}

int read_statement(Reader& r) {
  ProcHeader* out = r.out;
  advance(r);
  if (r.token == TOK_CREATE) {
    out->verb = VERB_CREATE;
    advance(r);
    if (r.token == TOK_OR) {
      advance(r);
      if (r.token != TOK_REPLACE) return NOT_OURS;
      out->verb = VERB_CREATE_OR_REPLACE;
      advance(r);
    }
  } else if (r.token == TOK_ALTER) {
    out->verb = VERB_ALTER;
    advance(r);
  } else if (word_is(r, "DROP")) {
    out->verb = VERB_DROP;
    advance(r);
  } else {
    return NOT_OURS;
  }
  if (r.token == TOK_PROCEDURE) {
    out->object = OBJECT_PROCEDURE;
  } else if (word_is(r, "TRIGGER") && out->verb != VERB_ALTER) {
    out->object = OBJECT_TRIGGER;
  } else {
    return NOT_OURS;
  }
  advance(r);
  if (read_name(r, &out->name) != 0) return BAD_HEAD;
  if (out->verb == VERB_DROP) {
    if (r.token == TOK_SEMICOLON) advance(r);
    return r.token == TOK_END ? 0 : fail(r, DIAG_SYNTAX);
  }
  return out->object == OBJECT_PROCEDURE ? read_procedure(r) : read_trigger(r);
}

}  // namespace

bool looks_like_proc_statement(std::string_view text) {
  size_t i = 0;
  // Up to four words, enough for "create or replace procedure".
  std::string words[4];
  for (std::string& word : words) {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
    while (i < text.size() && text[i] != ' ' && text[i] != '\t' && text[i] != '\r' && text[i] != '\n' &&
           text[i] != '"' && text[i] != '(' && word.size() < 16) {
      const char c = text[i++];
      word += c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    }
  }
  if (words[0] != "CREATE" && words[0] != "ALTER" && words[0] != "DROP") return false;
  for (int k = 1; k < 4; ++k) {
    if (words[k] == "PROCEDURE" || words[k] == "TRIGGER" || words[k] == "\x8f\x90\x8e\x96") return true;
  }
  return false;
}

int parse_proc_header(std::string_view text, ProcHeader* out) {
  *out = ProcHeader{};
  out->diagnostic = -1;
  StackMemory memory{};
  if (stack_mem_setup(memory) != 0) return NOT_OURS;
  MemoryText source{text.data(), text.size()};
  Reader r{};
  r.out = out;
  int status = NOT_OURS;
  if (lexer_start(r.lx, memory_source(&source), nullptr, memory, STACK_TEXT_B) == 0) {
    lexer_names_off(r.lx, true);
    status = read_statement(r);
    lexer_finish(r.lx);
  }
  stack_mem_teardown(memory);
  return status;
}

}  // namespace tavrel::kernel
