// The compiler of procedure and trigger texts: reads a whole create / alter statement (head,
// declarations, code, handlers) with the translator's lexer and expression parser and makes
// the unit's compiled form (program.h), or the list of every diagnostic it finds.
#pragma once

#include <string_view>
#include <vector>

#include "kernel/engine/engine.h"
#include "kernel/engine/program.h"

struct sqlite3;

namespace tavrel::kernel {

// Compiles the text (CP866). db gives the columns of a trigger's table and of the queries
// cursors are opened for, checks embedded SQL, and finds the result types of the procedures
// that expressions call. Returns 0, or 1 with the diagnostics in *out (in the order of the
// text, at most DIAGNOSTICS_MAX, the last then 78).
int compile_unit(sqlite3* db, std::string_view cp866, Unit* unit, std::vector<Diagnostic>* out);

// Reads only the head (and RESULT) of a stored text: whether the procedure has a result and
// its type. Returns 0, or 1 when the head cannot be read.
int read_unit_signature(std::string_view cp866, bool* has_result, uint8_t* result_type);

// The type of a query or table column from its declared type (TYPE_NONE when it has none).
uint8_t type_of_declared(const char* decltype_text);

}  // namespace tavrel::kernel
