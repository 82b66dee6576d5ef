// The evaluation context: what an evaluation of the procedure language needs from its
// caller. The manager's calculator, the debugger and the reference kernel each supply one:
// the string pool for result texts, and the services of built-in functions that are bound
// to a database or a session (cursors, BLOBs, ROWCOUNT, ERRCODE, USERNAME, DBNAME,
// SYSEVENT, the PUTM buffers, RAISE_ERROR), which only the caller can provide.
#pragma once

#include <cstdint>
#include <cstdio>

#include "translator/unit_symbols.h"
#include "values/string_pool.h"
#include "values/value.h"

namespace tavrel {

struct EvalContext;
struct TranslateFrame;

// Computes a database- or session-bound built-in (by number) for the evaluation. Returns 0
// with the result stored, or a diagnostic number. A context without this hook gives every
// such function its documented stand-alone result instead.
using BoundBuiltin = int (*)(EvalContext& ctx, int number, const Value* args, int argc,
                             Value* result);

// Reads a variable of the unit (or column `column` of cursor variable `variable`, column
// -1 otherwise), element *index when the variable is indexed (index null otherwise). Returns 0
// with *out set, or a diagnostic number. Texts of the value must outlive the evaluation
// (pool text of ctx.strings, or the caller's own storage).
using VariableReader = int (*)(EvalContext& ctx, int variable, int column, const Value* index,
                               Value* out);
// Assigns a variable (same addressing); used only by evaluations that may assign.
using VariableWriter = int (*)(EvalContext& ctx, int variable, int column, const Value* index,
                               const Value& value);
// Calls routine `routine` (0 up) of the unit. Returns 0 with *result set, or a diagnostic.
using RoutineCaller = int (*)(EvalContext& ctx, int routine, const Value* args, int argc,
                              Value* result);
// Receives the first diagnostic of an evaluation with its line and column (from 1).
using DiagnosticReporter = void (*)(void* user, int number, int line, int column);

struct EvalContext {
  StringPool* strings;   // result texts; strings->run_status is the run status
  BoundBuiltin bound;    // may be null
  void* user;            // the caller's own data for bound
  FILE* print_stream;    // where PRINT writes; null means standard output
  uint32_t rand_state;   // state of RAND / RANDOMIZE

  // What the evaluator needs from its caller; every one may stay null.
  const UnitSymbols* unit = nullptr;        // names the lexer resolves
  VariableReader read_variable = nullptr;   // without it a variable reads as NULL
  VariableWriter assign_variable = nullptr;
  RoutineCaller call_routine = nullptr;     // without it a routine call is diagnostic 15
  DiagnosticReporter reporter = nullptr;
  void* reporter_user = nullptr;
  TranslateFrame* frame = nullptr;          // innermost open evaluation (owned by it)
};

}  // namespace tavrel
