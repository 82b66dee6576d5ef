// Embedded SQL in procedure texts: a statement that begins with SELECT, INSERT, UPDATE, DELETE
// (or WITH, REPLACE, CREATE, DROP ...) runs on SQLite. The scanner here reads its text up to
// the ";" that ends it, turns the unit's variables into "?" parameters (never spliced into the
// text), takes out the INTO list of a select, and finds the table a DML statement changes.
//
// Names: an unqualified, unquoted name that is a variable of the unit is that variable; a
// quoted name ("SAL") or a qualified one (EMP.SAL) is always SQLite's. C.NAME where C is a
// cursor variable of the unit is that cursor's column. Texts in single quotes are left alone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/engine/program.h"
#include "translator/unit_symbols.h"

namespace tavrel::kernel {

struct SqlScan {
  std::string cp866;  // the statement for SQLite (still CP866), "?" for each binding
  std::vector<SqlBinding> bindings;
  std::vector<int> into;
  bool has_into = false;
  uint32_t end = 0;     // offset after the ";" that ends the statement (or the text's end)
  int diagnostic = -1;  // 65 (INTO target), 49 (cursor column), 47 (a cursor as a value), 24
  uint32_t diagnostic_at = 0;
};

// The most characters of one embedded statement.
constexpr size_t SQL_TEXT_MAX = 16000;

// Scans the statement that starts at offset start of text. ignore_variable is a variable
// number that is never bound (the word IS of the expression parser), -1 when none.
void scan_embedded_sql(std::string_view text, uint32_t start, const UnitSymbols& symbols,
                       int ignore_variable, SqlScan* out);

// The kind of a statement by its first word (upper-cased Latin).
SqlKind sql_kind_of(std::string_view first_word);
// Whether a statement's first word makes it embedded SQL.
bool is_sql_word(std::string_view first_word);

// The table that an INSERT, UPDATE or DELETE statement (UTF-8) changes, upper-cased Latin and
// unquoted; empty when it is none of them or the name cannot be read. *kind gets its kind.
std::string dml_table(std::string_view sql, SqlKind* kind);

}  // namespace tavrel::kernel
