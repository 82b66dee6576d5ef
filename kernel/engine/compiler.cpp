// The compiler of procedure and trigger texts (see compiler.h and docs/language.md).
//
// The text is read once with the translator's lexer, names checking off between statements
// (so that SQL words and new names arrive as names) and on inside expressions. Each statement
// becomes one or more entries of the unit's flat code; blocks (IF, WHILE, CASE) are kept on a
// stack while open and their jumps patched when they close. A diagnostic abandons the
// statement: reading goes on after the next ";" so that one translation finds every error.
#include "kernel/engine/compiler.h"

#include <sqlite3.h>

#include <cstring>
#include <string>
#include <unordered_map>

#include "kernel/engine/code_forms.h"
#include "kernel/engine/embedded_sql.h"
#include "protocol/codes.h"
#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/eval_context.h"
#include "translator/eval_ops.h"
#include "translator/lexer.h"
#include "translator/tokens.h"
#include "translator/tree_parser.h"

namespace tavrel::kernel {

namespace {

constexpr int FAIL = 1;

// The line of an instruction that is no statement of its own (see Statement).
constexpr int NO_LINE = -1;

// The variable number the word IS gets from the unit's symbols while an expression is read.
constexpr int IS_WORD = 0x3FFFFFFF;

// Diagnostic numbers raised here (their texts are the translator's table).
enum CompileDiagnostic : int {
  D_SYNTAX = 1,
  D_TYPE = 2,
  D_NEED_LPAREN = 11,
  D_NEED_RPAREN = 8,
  D_BAD_IDENTIFIER = 15,
  D_NEED_LOGICAL = 20,
  D_IF_OPEN = 23,
  D_TOO_LONG = 24,
  D_SEMICOLON = 25,
  D_GOTO_LABEL = 26,
  D_NO_IF = 27,
  D_NO_WHILE = 28,
  D_DECLARE_PLACE = 29,
  D_CODE_PLACE = 30,
  D_EXCEPTIONS_PLACE = 31,
  D_END_PLACE = 32,
  D_DECL_OUTSIDE = 33,
  D_CONTEXT = 34,
  D_GOTO_NAME = 35,
  D_NO_LOOP = 36,
  D_NO_THEN = 37,
  D_LABEL_TWICE = 38,
  D_LABEL_ELSEWHERE = 39,
  D_NO_EXPRESSION = 40,
  D_ELSE_TWICE = 41,
  D_ELSEIF_AFTER_ELSE = 42,
  D_BAD_VAR_NAME = 43,
  D_BAD_TYPE = 44,
  D_DEFAULTS = 45,
  D_NEED_NUMERIC = 46,
  D_CURSOR_DEFAULT = 48,
  D_BAD_EXCEPTION_NAME = 50,
  D_EXCEPTION_TWICE = 51,
  D_NO_FOR = 52,
  D_EXCEPTION_TYPE = 53,
  D_WHEN_OUTSIDE = 54,
  D_EXCEPTION_UNDEFINED = 55,
  D_HANDLER_TWICE = 56,
  D_OTHERS = 57,
  D_RESIGNAL = 58,
  D_NO_HEAD = 61,
  D_PROC_NAME = 62,
  D_TYPEOF = 63,
  D_INTO_TARGET = 65,
  D_NEED_CURSOR = 66,
  D_FETCH_ORIENTATION = 67,
  D_NEED_CHAR_CONSTANT = 68,
  D_INTO_CONTEXT = 69,
  D_CURSOR_QUERY = 70,
  D_NO_CASE = 71,
  D_WHEN_CONSTANT = 72,
  D_WHEN_TYPE = 73,
  D_WHEN_AFTER_OTHERS = 74,
  D_WHEN_TWICE = 75,
  D_CASE_EMPTY = 76,
  D_RETURN_TYPE = 77,
  D_TOO_MANY = 78,
  D_WHILE_OPEN = 79,
  D_CASE_OPEN = 80,
  D_QUERY = 83,
  D_IGNORE = 84,
  D_TRANSACTIONS = 85,
};

enum class Section { HEAD, DECLARE, CODE, EXCEPTIONS, DONE };
enum class BlockKind { IF, WHILE, CASE };

struct Block {
  BlockKind kind;
  int jump_false = -1;    // IF: the JUMP_FALSE of the branch being read
  std::vector<int> ends;  // jumps to the end of the block
  bool had_else = false;
  int body_start = 0;     // WHILE: the first instruction of the body
  Expr condition;         // WHILE: tested again at the bottom of every turn
  int condition_line = 0;
  int case_stmt = -1;     // CASE
  bool others = false;
  bool in_branch = false;
  uint8_t case_type = TYPE_NONE;
};

struct Label {
  int target;
  int region;  // 0: the code section, n: handler n - 1
};

struct PendingGoto {
  std::string name;
  int stmt;
  int region;
  int line;
  int column;
};

struct TypeWord {
  int token;
  uint8_t type;
  bool sized;
};

constexpr TypeWord TYPE_WORDS[] = {
    {TOK_KW_SMALLINT, TYPE_SMALLINT, false}, {TOK_KW_INT, TYPE_INTEGER, false},
    {TOK_KW_INTEGER, TYPE_INTEGER, false},   {TOK_KW_BIGINT, TYPE_BIGINT, false},
    {TOK_KW_REAL, TYPE_REAL, false},         {TOK_KW_DOUBLE, TYPE_DOUBLE, false},
    {TOK_KW_NUMERIC, TYPE_NUMERIC, true},    {TOK_KW_BOOL, TYPE_BOOL, false},
    {TOK_KW_DATE, TYPE_DATE, false},         {TOK_KW_CHAR, TYPE_CHAR, true},
    {TOK_VARCHAR, TYPE_CHAR, true},          {TOK_KW_NCHAR, TYPE_NCHAR, true},
    {TOK_NVARCHAR, TYPE_NCHAR, true},        {TOK_KW_BYTE, TYPE_BYTE, true},
    {TOK_VARBYTE, TYPE_BYTE, true},          {TOK_BLOB, TYPE_BYTE, false},
};

bool is_wide(uint8_t t) { return t == TYPE_NCHAR || t == TYPE_WSTRING; }

// Whether a value of static type `source` may be stored in a variable of type `target`
// (TYPE_NONE: known only at run time).
bool assignable(uint8_t target, uint8_t source) {
  if (source == TYPE_NONE || source == TYPE_NULL) return true;
  if (is_numeric_type(target)) return is_numeric_type(source);
  if (is_wide(target)) return is_wide(source) || source == TYPE_CHAR;
  return target == source;
}

std::string upper(std::string_view s) {
  std::string u(s);
  for (char& c : u) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  return u;
}

struct Compiler {
  sqlite3* db;
  std::string_view text;
  Unit& u;
  std::vector<Diagnostic>& diags;
  bool head_only = false;

  StackMemory memory{};
  MemoryText source{};
  Lexer lx{};
  UnitSymbols symbols{};
  ExprTree tree{};
  int tok = TOK_END;
  bool stopped = false;
  Section section = Section::HEAD;
  std::vector<Block> blocks;
  std::unordered_map<std::string, Label> labels;
  std::vector<PendingGoto> gotos;
  int region = 0;
  int next_exception_code = 1;
  int transactions = 0;
  bool handler_open = false;
  bool others_handled = false;
  std::vector<int16_t> handled_codes;
  std::unordered_map<std::string, int> var_index;

  Compiler(sqlite3* d, std::string_view t, Unit& unit, std::vector<Diagnostic>& out)
      : db(d), text(t), u(unit), diags(out) {}

  // --- diagnostics -------------------------------------------------------------------------

  void report(int number, int line, int column, std::string argument = {}) {
    if (stopped) return;
    if (static_cast<int>(diags.size()) >= DIAGNOSTICS_MAX - 1) {
      diags.push_back(Diagnostic{D_TOO_MANY, line, column, {}});
      stopped = true;
      return;
    }
    diags.push_back(Diagnostic{number, line, column, std::move(argument)});
  }
  // At the current token.
  int fail(int number, std::string argument = {}) {
    if (tok == TOK_ERROR && lx.error >= 0) number = lx.error;
    report(number, lx.token.line, place_column(lx.token), std::move(argument));
    return FAIL;
  }
  int line0() const { return lx.token.line - 1; }

  // --- tokens ----------------------------------------------------------------------------------

  void advance() { tok = next_token(lx); }

  bool word_is(const char* w) const {
    return (tok == TOK_UNKNOWN_NAME || tok == TOK_FUNCTION || tok == TOK_VARIABLE) && lexer_text(lx) == w;
  }

  // The word of the raw text at the current token, upper-cased Latin.
  std::string raw_word() const {
    size_t i = lx.token.pos;
    size_t j = i;
    while (j < text.size()) {
      const unsigned char c = static_cast<unsigned char>(text[j]);
      if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c >= 0x80 || (j > i && c >= '0' && c <= '9'))) break;
      ++j;
    }
    return upper(text.substr(i, j - i));
  }

  // Moves the reader to an offset at or after the current token, counting lines as the lexer
  // does, and reads the token there.
  void jump_to(uint32_t offset) {
    LexPlace p = lx.token;
    for (uint32_t i = p.pos; i < offset && i < text.size(); ++i) {
      const char c = text[i];
      if (c == '\r' || (c == '\n' && !(i > 0 && text[i - 1] == '\r'))) {
        p.line++;
        p.line_start = i + 1;
      } else if (c == '\n') {
        p.line_start = i + 1;
      }
    }
    p.pos = offset;
    lx.current = p;
    advance();
  }

  // After a failed statement: on to the token after the next ";" (or the end of the text).
  void recover() {
    for (int guard = 0; guard < 1000000; ++guard) {
      if (tok == TOK_SEMICOLON) {
        advance();
        return;
      }
      if (tok == TOK_END) return;
      if (tok == TOK_ERROR && lx.current.pos == lx.token.pos) lx.current.pos++;
      advance();
    }
  }

  int expect_semicolon() {
    if (tok != TOK_SEMICOLON) return fail(D_SEMICOLON);
    advance();
    return 0;
  }

  // --- names -------------------------------------------------------------------------------

  static int find_variable(void* user, std::string_view name, bool indexed, uint8_t* type) {
    Compiler& c = *static_cast<Compiler*>(user);
    auto it = c.var_index.find(std::string(name));
    if (it == c.var_index.end()) {
      if (!indexed && name == "IS") {
        *type = TYPE_NULL;
        return IS_WORD;
      }
      return -1;
    }
    const VarInfo& v = c.u.vars[static_cast<size_t>(it->second)];
    if (indexed) {
      if (v.spec.type != TYPE_BYTE) return -1;
      *type = TYPE_SMALLINT;
      return it->second;
    }
    *type = v.spec.type;
    return it->second;
  }

  static int find_column(void* user, int cursor, std::string_view name, uint8_t* type) {
    Compiler& c = *static_cast<Compiler*>(user);
    if (cursor < 0 || static_cast<size_t>(cursor) >= c.u.cursors.size()) return -1;
    const CursorColumns& cols = c.u.cursors[static_cast<size_t>(cursor)];
    for (size_t i = 0; i < cols.names.size(); ++i) {
      if (cols.names[i] == name) {
        *type = cols.types[i];
        return static_cast<int>(i);
      }
    }
    return -1;
  }

  static int find_routine(void* user, std::string_view name, uint8_t* type) {
    Compiler& c = *static_cast<Compiler*>(user);
    for (size_t i = 0; i < c.u.routines.size(); ++i) {
      if (c.u.routines[i] == name) {
        *type = c.u.routine_types[i];
        return static_cast<int>(i);
      }
    }
    bool has_result = false;
    uint8_t result = TYPE_NONE;
    if (c.u.kind == UnitKind::PROCEDURE && name == c.u.name) {
      has_result = c.u.has_result;
      result = c.u.result.type;
    } else if (!c.stored_signature(name, &has_result, &result)) {
      return -1;
    }
    if (!has_result) return -1;
    c.u.routines.emplace_back(name);
    c.u.routine_types.push_back(result);
    *type = result;
    return static_cast<int>(c.u.routines.size() - 1);
  }

  // The head of a stored procedure of that name.
  bool stored_signature(std::string_view name, bool* has_result, uint8_t* result) {
    if (db == nullptr) return false;
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, "select \"$$$BODY\" from \"$$$PROC\" where \"$$$NAME\" = ? and \"$$$KIND\" = 0;", -1,
                           &st, nullptr) != SQLITE_OK) {
      return false;
    }
    const std::string utf8 = cp866_to_utf8(name);
    sqlite3_bind_text(st, 1, utf8.c_str(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT);
    bool found = false;
    if (sqlite3_step(st) == SQLITE_ROW) {
      const char* body = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
      found = body != nullptr && read_unit_signature(utf8_to_cp866(body), has_result, result) == 0;
    }
    sqlite3_finalize(st);
    return found;
  }

  int add_variable(const std::string& name, const TypeSpec& spec, int mode) {
    const int n = static_cast<int>(u.vars.size());
    VarInfo v;
    v.name = name;
    v.spec = spec;
    v.mode = mode;
    u.vars.push_back(std::move(v));
    u.cursors.emplace_back();
    var_index[name] = n;
    if (spec.type == TYPE_CHAR || spec.type == TYPE_NCHAR || spec.type == TYPE_BYTE) u.text_vars = true;
    if (spec.type == TYPE_CURSOR) u.cursor_vars = true;
    return n;
  }

  // A new name: an identifier not yet declared (names checking is off), or a quoted one.
  int read_new_name(std::string* name, int diagnostic) {
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING) return fail(diagnostic);
    const std::string_view t = lexer_text(lx);
    if (t.empty() || t.size() > WORD_MAX) return fail(diagnostic);
    *name = std::string(t);
    if (var_index.count(*name) != 0) return fail(diagnostic);
    advance();
    return 0;
  }

  // --- expressions ---------------------------------------------------------------------------

  int expression(Expr* out) {
    if (tok == TOK_UNKNOWN_NAME) return fail(D_BAD_IDENTIFIER);
    if (tok == TOK_ERROR) return fail(D_SYNTAX);
    if (tok == TOK_SEMICOLON || tok == TOK_THEN || tok == TOK_LOOP || tok == TOK_END) {
      return fail(D_NO_EXPRESSION);
    }
    ParseSettings settings{MAX_NESTING, MAX_CALL_ARGS, false, false};
    settings.is_word = IS_WORD;
    const bool was = lexer_names_off(lx, false);
    ExprNode* node = nullptr;
    ParseFailure failure{};
    const int rc = parse_expression(lx, settings, &tree, &tok, &node, &failure);
    lexer_names_off(lx, was);
    if (rc != 0) {
      report(failure.diagnostic >= 0 ? failure.diagnostic : D_SYNTAX, failure.at.line, failure.at.column);
      return FAIL;
    }
    *out = make_expr(node, u.fast, u.routine_types.data(), static_cast<int>(u.routine_types.size()));
    return 0;
  }

  int logical(Expr* out) {
    const int line = lx.token.line;
    const int column = place_column(lx.token);
    if (expression(out) != 0) return FAIL;
    if (out->type != TYPE_BOOL && out->type != TYPE_NONE) {
      report(D_NEED_LOGICAL, line, column);
      return FAIL;
    }
    return 0;
  }

  // --- types ---------------------------------------------------------------------------------

  int small_number(int low, int high, int* value) {
    if (tok != TOK_SMALLINT && tok != TOK_INTEGER) return fail(D_BAD_TYPE);
    if (lx.int_value < low || lx.int_value > high) return fail(D_BAD_TYPE);
    *value = lx.int_value;
    advance();
    return 0;
  }

  int read_type(TypeSpec* spec) {
    const TypeWord* word = nullptr;
    for (const TypeWord& w : TYPE_WORDS) {
      if (w.token == tok) word = &w;
    }
    if (tok == TOK_TYPEOF) {
      advance();
      if (tok != TOK_VARIABLE || lx.cursor >= 0 || lx.variable == IS_WORD) return fail(D_TYPEOF);
      *spec = u.vars[static_cast<size_t>(lx.variable)].spec;
      if (spec->type == TYPE_CURSOR) return fail(D_TYPEOF);
      advance();
      return 0;
    }
    if (word == nullptr) return fail(D_BAD_TYPE);
    *spec = TypeSpec{};
    spec->type = word->type;
    advance();
    if (word->type == TYPE_NUMERIC) {
      spec->precision = 15;
      spec->scale = 2;
    }
    if (!word->sized || tok != TOK_LPAREN) return 0;
    advance();
    int n = 0;
    if (small_number(1, 65535, &n) != 0) return FAIL;
    if (word->type == TYPE_NUMERIC) {
      if (n > 29) return fail(D_BAD_TYPE);
      spec->precision = static_cast<uint8_t>(n);
      spec->scale = 0;
      if (tok == TOK_COMMA) {
        advance();
        int s = 0;
        if (small_number(0, n < 10 ? n : 10, &s) != 0) return FAIL;
        spec->scale = static_cast<uint8_t>(s);
      }
    } else {
      spec->length = static_cast<uint16_t>(n);
    }
    if (tok != TOK_RPAREN) return fail(D_NEED_RPAREN);
    advance();
    return 0;
  }

  // --- the head ------------------------------------------------------------------------------

  int read_param() {
    int mode = MODE_IN;
    if (tok == TOK_IN || tok == TOK_OUT || tok == TOK_INOUT) {
      mode = tok == TOK_IN ? MODE_IN : tok == TOK_OUT ? MODE_OUT : MODE_INOUT;
      advance();
    }
    std::string name;
    if (read_new_name(&name, D_BAD_VAR_NAME) != 0) return FAIL;
    TypeSpec spec;
    if (read_type(&spec) != 0) return FAIL;
    const int n = add_variable(name, spec, mode);
    u.param_count++;
    if (tok != TOK_DEFAULT) return 0;
    advance();
    const int line = lx.token.line;
    const int column = place_column(lx.token);
    Expr e;
    if (expression(&e) != 0) return FAIL;
    if (!assignable(spec.type, e.type)) {
      report(D_TYPE, line, column);
      return FAIL;
    }
    u.vars[static_cast<size_t>(n)].init = e;
    u.vars[static_cast<size_t>(n)].has_init = true;
    u.has_defaults = true;
    return 0;
  }

  int read_procedure_head() {
    if (tok == TOK_LPAREN) {
      advance();
      if (tok != TOK_RPAREN) {
        for (;;) {
          if (read_param() != 0) return FAIL;
          if (tok != TOK_COMMA) break;
          advance();
        }
      }
      if (tok != TOK_RPAREN) return fail(D_NEED_RPAREN);
      advance();
    }
    for (;;) {
      if (tok == TOK_RESULT) {
        advance();
        if (read_type(&u.result) != 0) return FAIL;
        u.has_result = true;
      } else if (tok == TOK_FOR) {
        advance();
        if (tok != TOK_DEBUG) return fail(D_SYNTAX);
        u.debug = true;
        advance();
      } else {
        return 0;
      }
    }
  }

  // The columns of the trigger's table become those of NEW and OLD.
  void trigger_rows() {
    TypeSpec cursor;
    cursor.type = TYPE_CURSOR;
    u.new_var = add_variable("NEW", cursor, MODE_LOCAL);
    u.old_var = add_variable("OLD", cursor, MODE_LOCAL);
    if (db == nullptr) return;
    sqlite3_stmt* st = nullptr;
    const std::string sql = "select name, type from pragma_table_info(?);";
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr) != SQLITE_OK) return;
    sqlite3_bind_text(st, 1, u.table.c_str(), -1, SQLITE_TRANSIENT);
    CursorColumns cols;
    while (sqlite3_step(st) == SQLITE_ROW) {
      const char* name = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
      const char* type = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
      cols.names.push_back(upper(utf8_to_cp866(name != nullptr ? name : "")));
      cols.types.push_back(type_of_declared(type));
    }
    sqlite3_finalize(st);
    u.cursors[static_cast<size_t>(u.new_var)] = cols;
    u.cursors[static_cast<size_t>(u.old_var)] = cols;
  }

  // BEFORE | AFTER event {OR event} ON table FOR EACH ROW | STATEMENT EXECUTE [FOR DEBUG]
  int read_trigger_head() {
    if (!word_is("BEFORE") && !word_is("AFTER")) return fail(D_SYNTAX);
    advance();
    for (;;) {
      if (!word_is("INSERT") && !word_is("UPDATE") && !word_is("DELETE")) return fail(D_SYNTAX);
      advance();
      if (tok != TOK_OR && tok != TOK_COMMA) break;
      advance();
    }
    if (!word_is("ON")) return fail(D_SYNTAX);
    advance();
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING) return fail(D_SYNTAX);
    u.table = cp866_to_utf8(lexer_text(lx));
    advance();
    if (tok != TOK_FOR) return fail(D_SYNTAX);
    advance();
    if (!word_is("EACH")) return fail(D_SYNTAX);
    advance();
    if (!word_is("ROW") && !word_is("STATEMENT")) return fail(D_SYNTAX);
    advance();
    if (tok != TOK_EXECUTE) return fail(D_SYNTAX);
    advance();
    if (tok == TOK_FOR) {
      advance();
      if (tok != TOK_DEBUG) return fail(D_SYNTAX);
      u.debug = true;
      advance();
    }
    trigger_rows();
    return 0;
  }

  int read_head() {
    if (tok == TOK_CREATE) {
      advance();
      if (tok == TOK_OR) {
        advance();
        if (tok != TOK_REPLACE) return fail(D_NO_HEAD);
        advance();
      }
    } else if (tok == TOK_ALTER) {
      advance();
    } else {
      return fail(D_NO_HEAD);
    }
    if (tok == TOK_PROCEDURE) {
      u.kind = UnitKind::PROCEDURE;
    } else if (word_is("TRIGGER")) {
      u.kind = UnitKind::TRIGGER;
    } else {
      return fail(D_NO_HEAD);
    }
    advance();
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING) return fail(D_PROC_NAME);
    u.name = std::string(lexer_text(lx));
    if (u.name.empty() || u.name.size() > WORD_MAX) return fail(D_PROC_NAME);
    advance();
    return u.kind == UnitKind::PROCEDURE ? read_procedure_head() : read_trigger_head();
  }

  // --- declarations -------------------------------------------------------------------------

  // VAR name {, name} type [DEFAULT expr {, expr}] ;
  int declare_variables() {
    advance();
    std::vector<std::string> names;
    for (;;) {
      std::string name;
      if (read_new_name(&name, D_BAD_VAR_NAME) != 0) return FAIL;
      for (const std::string& n : names) {
        if (n == name) return fail(D_BAD_VAR_NAME);
      }
      names.push_back(name);
      if (tok != TOK_COMMA) break;
      advance();
    }
    TypeSpec spec;
    if (read_type(&spec) != 0) return FAIL;
    const int first = static_cast<int>(u.vars.size());
    for (const std::string& n : names) add_variable(n, spec, MODE_LOCAL);
    if (tok == TOK_DEFAULT) {
      advance();
      size_t k = 0;
      for (;;) {
        if (k == names.size()) return fail(D_DEFAULTS);
        const int line = lx.token.line;
        const int column = place_column(lx.token);
        Expr e;
        if (expression(&e) != 0) return FAIL;
        if (!assignable(spec.type, e.type)) {
          report(D_TYPE, line, column);
          return FAIL;
        }
        VarInfo& v = u.vars[static_cast<size_t>(first) + k];
        v.init = e;
        v.has_init = true;
        u.has_defaults = true;
        ++k;
        if (tok != TOK_COMMA) break;
        advance();
      }
    }
    return expect_semicolon();
  }

  // CURSOR name {, name} ;
  int declare_cursors() {
    advance();
    TypeSpec spec;
    spec.type = TYPE_CURSOR;
    for (;;) {
      std::string name;
      if (read_new_name(&name, D_BAD_VAR_NAME) != 0) return FAIL;
      add_variable(name, spec, MODE_LOCAL);
      if (tok != TOK_COMMA) break;
      advance();
    }
    if (tok == TOK_DEFAULT) return fail(D_CURSOR_DEFAULT);
    return expect_semicolon();
  }

  // The code of an exception name: declared, or a system one. false when unknown.
  bool exception_code(std::string_view name, int16_t* code) const {
    for (const ExceptionInfo& e : u.exceptions) {
      if (e.name == name) {
        *code = e.code;
        return true;
      }
    }
    for (const ExceptionName& e : EXCEPTION_NAMES) {
      if (name == e.name) {
        *code = e.code;
        return true;
      }
    }
    return false;
  }

  // EXCEPTION name [FOR integer] ;
  int declare_exception() {
    advance();
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING) return fail(D_BAD_EXCEPTION_NAME);
    const std::string name(lexer_text(lx));
    int16_t existing = 0;
    if (exception_code(name, &existing)) return fail(D_EXCEPTION_TWICE);
    advance();
    int16_t code = 0;
    if (tok == TOK_FOR) {
      advance();
      bool negative = false;
      if (tok == TOK_MINUS) {
        negative = true;
        advance();
      }
      if (tok != TOK_SMALLINT && tok != TOK_INTEGER) return fail(D_EXCEPTION_TYPE);
      const int v = negative ? -lx.int_value : lx.int_value;
      if (v == 0 || v < INT16_MIN || v > INT16_MAX) return fail(D_EXCEPTION_TYPE);
      code = static_cast<int16_t>(v);
      advance();
    } else {
      code = static_cast<int16_t>(next_exception_code++);
    }
    u.exceptions.push_back(ExceptionInfo{name, code});
    return expect_semicolon();
  }

  int declaration() {
    switch (tok) {
      case TOK_VAR: return declare_variables();
      case TOK_CURSOR: return declare_cursors();
      case TOK_EXCEPTION: return declare_exception();
      default: return fail(D_CONTEXT);
    }
  }

  // --- statements -----------------------------------------------------------------------------

  int emit(StmtKind kind, int line) {
    Statement s;
    s.kind = kind;
    s.line = line;
    u.code.push_back(std::move(s));
    return static_cast<int>(u.code.size() - 1);
  }
  int pc() const { return static_cast<int>(u.code.size()); }
  Statement& at(int i) { return u.code[static_cast<size_t>(i)]; }
  // The lists of statement i, made when it first needs them.
  StatementLists& lists(int i) {
    std::unique_ptr<StatementLists>& l = at(i).lists;
    if (l == nullptr) l = std::make_unique<StatementLists>();
    return *l;
  }

  int assignment(int line) {
    const int var = lx.variable;
    const bool column = lx.cursor >= 0;
    const int name_line = lx.token.line;
    const int name_column = place_column(lx.token);
    if (column) return fail(47);
    advance();  // the ":="
    advance();
    const int line1 = lx.token.line;
    const int column1 = place_column(lx.token);
    Expr e;
    if (expression(&e) != 0) return FAIL;
    const VarInfo& v = u.vars[static_cast<size_t>(var)];
    if (v.spec.type == TYPE_CURSOR) {
      report(47, name_line, name_column);
      return FAIL;
    }
    if (!assignable(v.spec.type, e.type)) {
      report(D_TYPE, line1, column1);
      return FAIL;
    }
    StmtKind kind = StmtKind::ASSIGN;
    // A plain variable or cursor column is copied, which keeps a NULL (no arithmetic reads
    // it): by COPY, or by the integer copy form between variables of one integer type.
    const bool copy = e.node->kind == NodeKind::VARIABLE;
    const bool int_copy = copy && e.node->column < 0 && is_int_type(v.spec.type) && e.type == v.spec.type;
    if (copy && !int_copy) {
      const int s = emit(StmtKind::COPY, line);
      at(s).variable = var;
      at(s).expr = e;
      at(s).form.a = e.node->number;
      at(s).form.b = e.node->column;
      return expect_semicolon();
    }
    if (e.fast != nullptr) {
      if (is_int_type(v.spec.type) && is_int_type(e.type)) kind = StmtKind::ASSIGN_INT;
      if (is_float_type(v.spec.type) && (is_int_type(e.type) || is_float_type(e.type))) {
        kind = StmtKind::ASSIGN_FLOAT;
      }
      if (v.spec.type == TYPE_BOOL && e.type == TYPE_BOOL) kind = StmtKind::ASSIGN_BOOL;
    }
    const int s = emit(kind, line);
    at(s).variable = var;
    at(s).expr = e;
    return expect_semicolon();
  }

  int if_statement(int line) {
    advance();
    Expr cond;
    Block b;
    b.kind = BlockKind::IF;
    int rc = logical(&cond);
    if (rc == 0 && tok != TOK_THEN) rc = fail(D_NO_THEN);
    // The block opens even when its head is wrong, so that its ENDIF finds it.
    b.jump_false = emit(StmtKind::JUMP_FALSE, line);
    at(b.jump_false).expr = cond;
    blocks.push_back(b);
    if (rc != 0) {
      recover_to_block_start(TOK_THEN);
      return 0;
    }
    advance();
    return 0;
  }

  // After a wrong block head: on past the THEN or LOOP that ends it, or the next ";".
  void recover_to_block_start(int end_token) {
    for (int guard = 0; guard < 1000000; ++guard) {
      if (tok == end_token) {
        advance();
        return;
      }
      if (tok == TOK_SEMICOLON) {
        advance();
        return;
      }
      if (tok == TOK_END) return;
      if (tok == TOK_ERROR && lx.current.pos == lx.token.pos) lx.current.pos++;
      advance();
    }
  }

  int elseif_statement(int line) {
    if (blocks.empty() || blocks.back().kind != BlockKind::IF) return fail(D_NO_IF);
    Block& b = blocks.back();
    if (b.had_else) return fail(D_ELSEIF_AFTER_ELSE);
    b.ends.push_back(emit(StmtKind::JUMP, NO_LINE));
    at(b.jump_false).target = pc();
    advance();
    Expr cond;
    int rc = logical(&cond);
    if (rc == 0 && tok != TOK_THEN) rc = fail(D_NO_THEN);
    b.jump_false = emit(StmtKind::JUMP_FALSE, line);
    at(b.jump_false).expr = cond;
    if (rc != 0) {
      recover_to_block_start(TOK_THEN);
      return 0;
    }
    advance();
    return 0;
  }

  int else_statement() {
    if (blocks.empty() || blocks.back().kind != BlockKind::IF) return fail(D_NO_IF);
    Block& b = blocks.back();
    if (b.had_else) return fail(D_ELSE_TWICE);
    b.ends.push_back(emit(StmtKind::JUMP, NO_LINE));
    at(b.jump_false).target = pc();
    b.jump_false = -1;
    b.had_else = true;
    advance();
    return 0;
  }

  int endif_statement() {
    if (blocks.empty() || blocks.back().kind != BlockKind::IF) return fail(D_NO_IF);
    Block& b = blocks.back();
    if (b.jump_false >= 0) at(b.jump_false).target = pc();
    for (int j : b.ends) at(j).target = pc();
    blocks.pop_back();
    advance();
    return expect_semicolon();
  }

  // A loop is tested once on entry and then at the bottom of every turn, so that a turn costs
  // its body and one conditional jump back; both tests are stop points of the WHILE's line.
  int while_statement(int line) {
    advance();
    Block b;
    b.kind = BlockKind::WHILE;
    Expr cond;
    int rc = logical(&cond);
    if (rc == 0 && tok != TOK_LOOP) rc = fail(D_NO_LOOP);
    b.jump_false = emit(StmtKind::JUMP_FALSE, line);
    at(b.jump_false).expr = cond;
    b.condition = cond;
    b.condition_line = line;
    b.body_start = pc();
    blocks.push_back(b);
    if (rc != 0) {
      recover_to_block_start(TOK_LOOP);
      return 0;
    }
    advance();
    return 0;
  }

  int endloop_statement() {
    if (blocks.empty() || blocks.back().kind != BlockKind::WHILE) return fail(D_NO_WHILE);
    Block& b = blocks.back();
    const int j = emit(StmtKind::LOOP_TRUE, b.condition_line);
    at(j).expr = b.condition;
    at(j).target = b.body_start;
    at(b.jump_false).target = pc();
    blocks.pop_back();
    advance();
    return expect_semicolon();
  }

  int case_statement(int line) {
    advance();
    Expr e;
    const int rc = expression(&e);
    Block b;
    b.kind = BlockKind::CASE;
    b.case_stmt = emit(StmtKind::CASE, line);
    b.case_type = e.type;
    at(b.case_stmt).expr = e;
    blocks.push_back(b);
    if (rc != 0) {
      // The branches still find their CASE; the statement itself will not run.
      recover_to_block_start(TOK_WHEN);
      return 0;
    }
    return 0;
  }

  // One constant of a WHEN list, checked against the CASE expression's type.
  int case_constant(Block& b, Value* out) {
    bool negative = false;
    if (tok == TOK_MINUS) {
      negative = true;
      advance();
    }
    Value v = make_none();
    switch (tok) {
      case TOK_SMALLINT:
      case TOK_INTEGER:
      case TOK_REAL:
      case TOK_NUMERIC:
      case TOK_DOUBLE:
      case TOK_BIGINT:
      case TOK_DATE:
        v = lexer_constant(lx, tok);
        break;
      case TOK_STRING: {
        const std::string_view t = lexer_text(lx);
        char* copy = static_cast<char*>(arena_alloc(tree.arena, t.size() + 1));
        if (copy == nullptr) return fail(0);
        std::memcpy(copy, t.data(), t.size());
        copy[t.size()] = '\0';
        v = make_char(copy);
        break;
      }
      case TOK_TRUE:
      case TOK_FALSE:
        v = make_bool(tok == TOK_TRUE);
        break;
      default:
        return fail(D_WHEN_CONSTANT);
    }
    if (negative) {
      if (!is_numeric_type(v.type)) return fail(D_WHEN_CONSTANT);
      negate_value(v);
    }
    const uint8_t t = b.case_type;
    if (t == TYPE_CHAR && v.type != TYPE_CHAR) return fail(D_NEED_CHAR_CONSTANT);
    const bool fits = t == TYPE_NONE || (is_numeric_type(t) && is_numeric_type(v.type)) || t == v.type ||
                      (is_wide(t) && v.type == TYPE_CHAR);
    if (!fits) return fail(D_WHEN_TYPE);
    *out = v;
    advance();
    return 0;
  }

  static bool same_constant(const Value& a, const Value& b) {
    if (is_numeric_type(a.type) && is_numeric_type(b.type)) {
      if (a.type == TYPE_NUMERIC || b.type == TYPE_NUMERIC) {
        return decimal_compare(read_as_numeric(a), read_as_numeric(b)) == 0;
      }
      return read_as_double(a) == read_as_double(b);
    }
    if (a.type != b.type) return false;
    switch (a.type) {
      case TYPE_CHAR: return std::strcmp(value_text(a), value_text(b)) == 0;
      case TYPE_BOOL: return (a.payload[0] != 0) == (b.payload[0] != 0);
      case TYPE_DATE: return value_date(a).day == value_date(b).day && value_date(a).time == value_date(b).time;
      default: return false;
    }
  }

  // WHEN constant {, constant} THEN | WHEN OTHERS THEN, inside a CASE.
  int case_branch() {
    Block& b = blocks.back();
    if (b.others) return fail(D_WHEN_AFTER_OTHERS);
    if (b.in_branch) b.ends.push_back(emit(StmtKind::JUMP, NO_LINE));
    b.in_branch = true;
    advance();
    Statement& cs = at(b.case_stmt);
    if (tok == TOK_OTHERS) {
      b.others = true;
      cs.target = pc();
      advance();
    } else {
      for (;;) {
        Value v;
        if (case_constant(b, &v) != 0) return FAIL;
        for (const CaseBranch& c : lists(b.case_stmt).cases) {
          if (same_constant(c.constant, v)) return fail(D_WHEN_TWICE);
        }
        lists(b.case_stmt).cases.push_back(CaseBranch{v, pc()});
        if (tok != TOK_COMMA) break;
        advance();
      }
    }
    if (tok != TOK_THEN) return fail(D_NO_THEN);
    advance();
    return 0;
  }

  int endcase_statement() {
    if (blocks.empty() || blocks.back().kind != BlockKind::CASE) return fail(D_NO_CASE);
    Block& b = blocks.back();
    Statement& cs = at(b.case_stmt);
    const bool empty = (cs.lists == nullptr || cs.lists->cases.empty()) && !b.others;
    if (!b.others) cs.target = pc();
    for (int j : b.ends) at(j).target = pc();
    blocks.pop_back();
    if (empty) return fail(D_CASE_EMPTY);
    advance();
    return expect_semicolon();
  }

  int goto_statement(int line) {
    advance();
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_VARIABLE) return fail(D_GOTO_NAME);
    const int s = emit(StmtKind::JUMP, line);
    gotos.push_back(PendingGoto{std::string(lexer_text(lx)), s, region, lx.token.line, place_column(lx.token)});
    advance();
    return expect_semicolon();
  }

  // CALL name ( [expr {, expr}] )
  int call_statement(int line) {
    advance();
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING && tok != TOK_VARIABLE) {
      return fail(D_PROC_NAME);
    }
    std::string name(lexer_text(lx));
    if (tok == TOK_VARIABLE && lx.variable != IS_WORD) name = u.vars[static_cast<size_t>(lx.variable)].name;
    advance();
    if (tok != TOK_LPAREN) return fail(D_NEED_LPAREN);
    advance();
    std::vector<Expr> args;
    std::vector<int> vars;
    if (tok != TOK_RPAREN) {
      for (;;) {
        Expr e;
        if (expression(&e) != 0) return FAIL;
        const bool plain = e.node->kind == NodeKind::VARIABLE && e.node->column < 0;
        vars.push_back(plain ? e.node->number : -1);
        args.push_back(e);
        if (tok != TOK_COMMA) break;
        advance();
      }
    }
    if (tok != TOK_RPAREN) return fail(D_NEED_RPAREN);
    advance();
    const int s = emit(StmtKind::CALL, line);
    lists(s).name = name;
    lists(s).args = std::move(args);
    lists(s).vars = std::move(vars);
    return expect_semicolon();
  }

  int return_statement(int line) {
    advance();
    const int s = emit(StmtKind::RETURN, line);
    if (tok != TOK_SEMICOLON) {
      const int l = lx.token.line;
      const int c = place_column(lx.token);
      Expr e;
      if (expression(&e) != 0) return FAIL;
      if (!u.has_result || !assignable(u.result.type, e.type)) {
        report(D_RETURN_TYPE, l, c);
        return FAIL;
      }
      at(s).expr = e;
    }
    return expect_semicolon();
  }

  int signal_statement(int line) {
    advance();
    if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING && tok != TOK_VARIABLE) {
      return fail(D_EXCEPTION_UNDEFINED);
    }
    int16_t code = 0;
    if (!exception_code(lexer_text(lx), &code)) return fail(D_EXCEPTION_UNDEFINED);
    const int s = emit(StmtKind::SIGNAL, line);
    at(s).code = code;
    advance();
    return expect_semicolon();
  }

  // The cursor variable named by the current token.
  int cursor_variable(int* var) {
    if (tok != TOK_VARIABLE || lx.cursor >= 0 || lx.variable == IS_WORD ||
        u.vars[static_cast<size_t>(lx.variable)].spec.type != TYPE_CURSOR) {
      return fail(D_NEED_CURSOR);
    }
    *var = lx.variable;
    advance();
    return 0;
  }

  // Prepares an embedded statement against the database to check it; for a cursor's query,
  // its columns join the cursor's and the map from them to the query is kept.
  int check_sql(SqlStatement& s, int line, int column, int cursor) {
    if (db == nullptr) return 0;
    sqlite3_stmt* st = nullptr;
    const int rc = sqlite3_prepare_v2(db, s.utf8.c_str(), static_cast<int>(s.utf8.size()), &st, nullptr);
    if (rc != SQLITE_OK || st == nullptr) {
      report(D_QUERY, line, column, std::to_string(rc == SQLITE_OK ? SQLITE_ERROR : rc));
      return FAIL;
    }
    const int n = sqlite3_column_count(st);
    int status = 0;
    if (!s.into.empty() && static_cast<int>(s.into.size()) > n) {
      report(D_INTO_TARGET, line, column);
      status = FAIL;
    }
    if (cursor >= 0) {
      CursorColumns& cols = u.cursors[static_cast<size_t>(cursor)];
      std::vector<int> query_of(static_cast<size_t>(n), -1);
      for (int k = 0; k < n; ++k) {
        const char* name = sqlite3_column_name(st, k);
        const std::string cp = upper(utf8_to_cp866(name != nullptr ? name : ""));
        const uint8_t type = type_of_declared(sqlite3_column_decltype(st, k));
        size_t found = cols.names.size();
        for (size_t c = 0; c < cols.names.size(); ++c) {
          if (cols.names[c] == cp) found = c;
        }
        if (found == cols.names.size()) {
          cols.names.push_back(cp);
          cols.types.push_back(type);
        } else if (cols.types[found] != type) {
          cols.types[found] = TYPE_NONE;  // opened for queries that differ: known at run time
        }
        query_of[static_cast<size_t>(k)] = static_cast<int>(found);
      }
      s.column_map.assign(cols.names.size(), -1);
      for (int k = 0; k < n; ++k) s.column_map[static_cast<size_t>(query_of[static_cast<size_t>(k)])] = k;
    }
    sqlite3_finalize(st);
    return status;
  }

  // An embedded statement from the current token to its ";". cursor >= 0 for OPEN's query.
  int sql_statement(int line, int cursor, int* index) {
    const int l = lx.token.line;
    const int c = place_column(lx.token);
    const std::string first = raw_word();
    SqlScan scan;
    scan_embedded_sql(text, lx.token.pos, symbols, IS_WORD, &scan);
    if (scan.diagnostic >= 0) {
      jump_to(scan.diagnostic_at);
      fail(scan.diagnostic);
      jump_to(scan.end);
      return 0;
    }
    if (cursor >= 0 && sql_kind_of(first) != SqlKind::SELECT && first != "WITH" && first != "VALUES") {
      fail(D_CURSOR_QUERY);
      jump_to(scan.end);
      return 0;
    }
    if (cursor >= 0 && scan.has_into) {
      fail(D_INTO_CONTEXT);
      jump_to(scan.end);
      return 0;
    }
    auto s = std::make_unique<SqlStatement>();
    s->utf8 = cp866_to_utf8(scan.cp866);
    s->bindings = std::move(scan.bindings);
    s->into = std::move(scan.into);
    s->kind = sql_kind_of(first);
    if (s->kind != SqlKind::SELECT) {
      SqlKind k = SqlKind::OTHER;
      s->table = dml_table(s->utf8, &k);
      s->kind = k == SqlKind::OTHER && s->kind == SqlKind::SELECT ? SqlKind::SELECT : k;
    }
    const bool terminated = scan.end > 0 && scan.end <= text.size() && text[scan.end - 1] == ';';
    check_sql(*s, l, c, cursor);
    *index = static_cast<int>(u.sql.size());
    u.sql.push_back(std::move(s));
    (void)line;
    jump_to(scan.end);
    if (!terminated) return fail(D_SEMICOLON);
    return 0;
  }

  int embedded_sql(int line) {
    int index = -1;
    if (sql_statement(line, -1, &index) != 0 || index < 0) return FAIL;
    const int s = emit(StmtKind::SQL, line);
    at(s).sql = index;
    return 0;
  }

  // OPEN cursor FOR select ...
  int open_statement(int line) {
    advance();
    int var = -1;
    if (cursor_variable(&var) != 0) return FAIL;
    if (tok != TOK_FOR) return fail(D_NO_FOR);
    advance();
    int index = -1;
    if (sql_statement(line, var, &index) != 0 || index < 0) return FAIL;
    const int s = emit(StmtKind::OPEN, line);
    at(s).variable = var;
    at(s).sql = index;
    return 0;
  }

  int close_statement(int line) {
    advance();
    int var = -1;
    if (cursor_variable(&var) != 0) return FAIL;
    const int s = emit(StmtKind::CLOSE, line);
    at(s).variable = var;
    return expect_semicolon();
  }

  // FETCH [NEXT | PREVIOUS | FIRST | LAST | ABSOLUTE expr | RELATIVE expr] cursor [INTO v {, v}]
  int fetch_statement(int line) {
    advance();
    FetchOrientation o = FetchOrientation::NEXT;
    Expr e;
    switch (tok) {
      case TOK_NEXT: o = FetchOrientation::NEXT; advance(); break;
      case TOK_PREVIOUS: o = FetchOrientation::PRIOR; advance(); break;
      case TOK_FIRST: o = FetchOrientation::FIRST; advance(); break;
      case TOK_LAST: o = FetchOrientation::LAST; advance(); break;
      case TOK_ABSOLUTE:
      case TOK_RELATIVE: {
        o = tok == TOK_ABSOLUTE ? FetchOrientation::ABSOLUTE : FetchOrientation::RELATIVE;
        advance();
        const int l = lx.token.line;
        const int c = place_column(lx.token);
        if (expression(&e) != 0) return FAIL;
        if (!is_numeric_type(e.type) && e.type != TYPE_NONE) {
          report(D_NEED_NUMERIC, l, c);
          return FAIL;
        }
        break;
      }
      case TOK_VARIABLE: break;
      default: return fail(D_FETCH_ORIENTATION);
    }
    int var = -1;
    if (cursor_variable(&var) != 0) return FAIL;
    std::vector<int> into;
    if (tok == TOK_INTO) {
      advance();
      for (;;) {
        if (tok != TOK_VARIABLE || lx.cursor >= 0 || lx.variable == IS_WORD ||
            u.vars[static_cast<size_t>(lx.variable)].spec.type == TYPE_CURSOR) {
          return fail(D_INTO_TARGET);
        }
        into.push_back(lx.variable);
        advance();
        if (tok != TOK_COMMA) break;
        advance();
      }
    }
    const int s = emit(StmtKind::FETCH, line);
    at(s).variable = var;
    at(s).orientation = o;
    at(s).expr = e;
    if (!into.empty()) lists(s).vars = std::move(into);
    return expect_semicolon();
  }

  int expr_statement(StmtKind kind, int line, bool numeric) {
    advance();
    const int l = lx.token.line;
    const int c = place_column(lx.token);
    Expr e;
    if (expression(&e) != 0) return FAIL;
    if (numeric && !is_numeric_type(e.type) && e.type != TYPE_NONE) {
      report(D_NEED_NUMERIC, l, c);
      return FAIL;
    }
    if (kind == StmtKind::EXECUTE && e.type != TYPE_CHAR && e.type != TYPE_NONE && !is_wide(e.type)) {
      report(21, l, c);
      return FAIL;
    }
    const int s = emit(kind, line);
    at(s).expr = e;
    return expect_semicolon();
  }

  // COMMIT [WORK | TRANSACTION], ROLLBACK [...], BEGIN TRANSACTION
  int transaction_statement(StmtKind kind, int line) {
    advance();
    if (kind == StmtKind::BEGIN_TRANSACTION) {
      if (tok != TOK_TRANSACTION) return fail(D_SYNTAX);
      transactions++;
      advance();
    } else if (tok == TOK_WORK) {
      advance();
    } else if (tok == TOK_TRANSACTION) {
      transactions--;
      advance();
    }
    emit(kind, line);
    return expect_semicolon();
  }

  // A new handler: WHEN name {, name} THEN | WHEN OTHERS THEN.
  int handler_head(int line) {
    if (handler_open) emit(StmtKind::END_UNIT, line);
    close_blocks();
    handler_open = true;
    region = static_cast<int>(u.handlers.size()) + 1;
    Handler h;
    h.entry = pc();
    advance();
    for (;;) {
      if (tok == TOK_OTHERS) {
        if (others_handled) return fail(D_HANDLER_TWICE);
        if (!h.codes.empty()) return fail(D_OTHERS);
        h.others = true;
        others_handled = true;
        advance();
        break;
      }
      if (tok != TOK_UNKNOWN_NAME && tok != TOK_FUNCTION && tok != TOK_STRING && tok != TOK_VARIABLE) {
        return fail(D_BAD_EXCEPTION_NAME);
      }
      int16_t code = 0;
      if (!exception_code(lexer_text(lx), &code)) return fail(D_EXCEPTION_UNDEFINED);
      for (int16_t c : handled_codes) {
        if (c == code) return fail(D_HANDLER_TWICE);
      }
      handled_codes.push_back(code);
      h.codes.push_back(code);
      advance();
      if (tok != TOK_COMMA) break;
      advance();
    }
    u.handlers.push_back(h);
    if (tok != TOK_THEN) return fail(D_NO_THEN);
    advance();
    return 0;
  }

  int statement() {
    const int line = line0();
    if (tok == TOK_LABEL) {
      const std::string name(lexer_text(lx));
      if (labels.count(name) != 0) {
        fail(D_LABEL_TWICE);
      } else {
        labels[name] = Label{pc(), region};
      }
      advance();
      return 0;
    }
    switch (tok) {
      case TOK_IF: return if_statement(line);
      case TOK_ELSEIF: return elseif_statement(line);
      case TOK_ELSE: return else_statement();
      case TOK_ENDIF: return endif_statement();
      case TOK_WHILE: return while_statement(line);
      case TOK_ENDLOOP: return endloop_statement();
      case TOK_CASE: return case_statement(line);
      case TOK_ENDCASE: return endcase_statement();
      case TOK_WHEN:
        if (!blocks.empty() && blocks.back().kind == BlockKind::CASE) return case_branch();
        if (section == Section::EXCEPTIONS) return handler_head(line);
        return fail(D_WHEN_OUTSIDE);
      case TOK_GOTO: return goto_statement(line);
      case TOK_CALL: return call_statement(line);
      case TOK_RETURN: return return_statement(line);
      case TOK_SIGNAL: return signal_statement(line);
      case TOK_RESIGNAL:
      case TOK_IGNORE: {
        const bool resignal = tok == TOK_RESIGNAL;
        if (section != Section::EXCEPTIONS || !handler_open) return fail(resignal ? D_RESIGNAL : D_IGNORE);
        emit(resignal ? StmtKind::RESIGNAL : StmtKind::IGNORE, line);
        advance();
        return expect_semicolon();
      }
      case TOK_OPEN: return open_statement(line);
      case TOK_CLOSE: return close_statement(line);
      case TOK_FETCH: return fetch_statement(line);
      case TOK_EXECUTE: return expr_statement(StmtKind::EXECUTE, line, false);
      case TOK_SLEEP: return expr_statement(StmtKind::SLEEP, line, true);
      case TOK_COMMIT: return transaction_statement(StmtKind::COMMIT, line);
      case TOK_ROLLBACK: return transaction_statement(StmtKind::ROLLBACK, line);
      case TOK_BEGIN: return transaction_statement(StmtKind::BEGIN_TRANSACTION, line);
      case TOK_VAR:
      case TOK_CURSOR:
      case TOK_EXCEPTION: return fail(D_DECL_OUTSIDE);
      case TOK_SEMICOLON: advance(); return 0;  // an empty statement
      default: break;
    }
    if (section == Section::EXCEPTIONS && !handler_open) return fail(D_WHEN_OUTSIDE);
    if ((tok == TOK_UNKNOWN_NAME || tok == TOK_FUNCTION || tok == TOK_REPLACE || tok == TOK_CREATE) &&
        is_sql_word(raw_word())) {
      return embedded_sql(line);
    }
    if (tok == TOK_VARIABLE && lx.variable != IS_WORD && lexer_peek_token(lx) == TOK_ASSIGN) return assignment(line);
    if (tok == TOK_INDEXED) return fail(13);
    // An expression computed for its effect, such as PRINT("...").
    Expr e;
    if (expression(&e) != 0) return FAIL;
    const int s = emit(StmtKind::EVAL, line);
    at(s).expr = e;
    return expect_semicolon();
  }

  // --- sections -----------------------------------------------------------------------------

  // Blocks still open where a section ends: one diagnostic per kind, with the count.
  void close_blocks() {
    int ifs = 0, whiles = 0, cases = 0;
    for (const Block& b : blocks) {
      if (b.kind == BlockKind::IF) ifs++;
      if (b.kind == BlockKind::WHILE) whiles++;
      if (b.kind == BlockKind::CASE) cases++;
    }
    if (ifs > 0) fail(D_IF_OPEN, std::to_string(ifs));
    if (whiles > 0) fail(D_WHILE_OPEN, std::to_string(whiles));
    if (cases > 0) fail(D_CASE_OPEN, std::to_string(cases));
    // Jumps of the open blocks go to where the section ends.
    for (Block& b : blocks) {
      if (b.jump_false >= 0 && at(b.jump_false).target < 0) at(b.jump_false).target = pc();
      for (int j : b.ends) at(j).target = pc();
      if (b.case_stmt >= 0 && at(b.case_stmt).target < 0) at(b.case_stmt).target = pc();
    }
    blocks.clear();
  }

  void resolve_gotos() {
    for (const PendingGoto& g : gotos) {
      auto it = labels.find(g.name);
      if (it == labels.end()) {
        report(D_GOTO_LABEL, g.line, g.column, g.name);
      } else if (it->second.region != g.region) {
        report(D_LABEL_ELSEWHERE, g.line, g.column, g.name);
      } else {
        at(g.stmt).target = it->second.target;
      }
    }
  }

  int run() {
    if (stack_mem_setup(memory) != 0) {
      report(0, 1, 1);
      return FAIL;
    }
    arena_init(tree.arena);
    source = MemoryText{text.data(), text.size()};
    symbols = UnitSymbols{this, &Compiler::find_variable, &Compiler::find_column, &Compiler::find_routine};
    if (lexer_start(lx, memory_source(&source), &symbols, memory, STACK_TEXT_B) != 0) {
      report(0, 1, 1);
      stack_mem_teardown(memory);
      return FAIL;
    }
    lexer_names_off(lx, true);
    advance();
    if (read_head() != 0) {
      // Without a head nothing else can be read for sure: on to DECLARE or CODE.
      while (tok != TOK_END && tok != TOK_DECLARE && tok != TOK_CODE) {
        if (tok == TOK_ERROR && lx.current.pos == lx.token.pos) lx.current.pos++;
        advance();
      }
    }
    if (!head_only) body();
    lexer_finish(lx);
    stack_mem_teardown(memory);
    arena_release(u.arena);
    u.arena = tree.arena;
    tree.arena = TreeArena{};
    return diags.empty() ? 0 : FAIL;
  }

  void body() {
    bool ended = false;
    while (tok != TOK_END && !stopped) {
      const int t = tok;
      if (t == TOK_DECLARE) {
        if (section != Section::HEAD) fail(D_DECLARE_PLACE);
        else section = Section::DECLARE;
        advance();
        continue;
      }
      if (t == TOK_CODE) {
        if (section != Section::HEAD && section != Section::DECLARE) fail(D_CODE_PLACE);
        else section = Section::CODE;
        advance();
        continue;
      }
      if (t == TOK_EXCEPTIONS) {
        if (section != Section::CODE) {
          fail(D_EXCEPTIONS_PLACE);
        } else {
          close_blocks();
          emit(StmtKind::END_UNIT, line0());
          section = Section::EXCEPTIONS;
        }
        advance();
        continue;
      }
      if (t == TOK_KW_END) {
        if (section != Section::CODE && section != Section::EXCEPTIONS) {
          fail(D_END_PLACE);
          advance();
          continue;
        }
        close_blocks();
        emit(StmtKind::END_UNIT, line0());
        if (transactions != 0) fail(D_TRANSACTIONS);
        section = Section::DONE;
        ended = true;
        advance();
        if (tok == TOK_SEMICOLON) advance();
        if (tok != TOK_END) fail(D_SYNTAX);
        break;
      }
      int rc = 0;
      if (section == Section::DECLARE) {
        rc = declaration();
      } else if (section == Section::CODE || section == Section::EXCEPTIONS) {
        rc = statement();
      } else {
        rc = fail(D_CONTEXT);
      }
      if (rc != 0) recover();
    }
    if (!ended && !stopped) {
      close_blocks();
      fail(D_END_PLACE);
    }
    resolve_gotos();
    if (u.code.empty() || u.code.back().kind != StmtKind::END_UNIT) emit(StmtKind::END_UNIT, line0());
    if (diags.empty()) {
      for (Statement& st : u.code) choose_int_form(u, st);
      link_code(u);
    }
  }
};

}  // namespace

uint8_t type_of_declared(const char* decl) {
  if (decl == nullptr || *decl == '\0') return TYPE_NONE;
  const std::string t = upper(decl);
  auto has = [&](const char* w) { return t.find(w) != std::string::npos; };
  if (has("BIGINT")) return TYPE_BIGINT;
  if (has("SMALLINT")) return TYPE_SMALLINT;
  if (has("INT")) return TYPE_INTEGER;
  if (has("NCHAR") || has("NVARCHAR")) return TYPE_NCHAR;
  if (has("CHAR") || has("TEXT") || has("CLOB")) return TYPE_CHAR;
  if (has("NUMERIC") || has("DECIMAL")) return TYPE_NUMERIC;
  if (has("REAL") || has("FLOA") || has("DOUB")) return TYPE_DOUBLE;
  if (has("DATE") || has("TIME")) return TYPE_DATE;
  if (has("BOOL")) return TYPE_BOOL;
  if (has("BLOB") || has("BYTE")) return TYPE_BYTE;
  return TYPE_NONE;
}

int compile_unit(sqlite3* db, std::string_view cp866, Unit* unit, std::vector<Diagnostic>* out) {
  out->clear();
  Compiler c(db, cp866, *unit, *out);
  return c.run();
}

int read_unit_signature(std::string_view cp866, bool* has_result, uint8_t* result_type) {
  Unit unit;
  std::vector<Diagnostic> diags;
  Compiler c(nullptr, cp866, unit, diags);
  c.head_only = true;
  c.run();
  if (!diags.empty()) return 1;
  *has_result = unit.has_result;
  *result_type = unit.result.type;
  return 0;
}

}  // namespace tavrel::kernel
