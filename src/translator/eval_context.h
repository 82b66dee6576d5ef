// The evaluation context: what an evaluation of the procedure language needs from its
// caller. The manager's calculator, the debugger and the reference kernel each supply one:
// the string pool for result texts, and the services of built-in functions that are bound
// to a database or a session (cursors, BLOBs, ROWCOUNT, ERRCODE, USERNAME, DBNAME,
// SYSEVENT, the PUTM buffers, RAISE_ERROR), which only the caller can provide; where PRINT
// writes; and the limits of its evaluations. A context belongs to one thread at a time:
// evaluations in different contexts share no mutable state and may run at once.
#pragma once

#include <cstdint>
#include <string_view>

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
// Receives what PRINT writes (the whole message, no new line added).
using PrintSink = void (*)(void* user, std::string_view text);
// Receives a message of the value library about its stores (a full string table, memory
// that could not be had), ending with a new line.
using NoticeSink = void (*)(void* user, std::string_view text);

// Default limits, sized for a calculator and a breakpoint condition.
constexpr int MAX_NESTING = 100;   // nested operands (parentheses, unary operators, calls)
constexpr int MAX_CALL_ARGS = 32;  // arguments of one call (also the most a setting allows)
constexpr int MAX_FRAMES = 16;     // evaluations open at once in one context

// The limits of evaluations in one context; each starts at its default.
struct EvalLimits {
  int max_frames = MAX_FRAMES;
  int max_nesting = MAX_NESTING;
  int max_call_args = MAX_CALL_ARGS;
};

struct EvalContext {
  StringPool* strings;   // result texts; strings->run_status is the run status
  BoundBuiltin bound;    // may be null
  void* user;            // the caller's own data for bound
  PrintSink print;       // where PRINT writes; without one its text goes nowhere
  void* print_user;
  uint32_t rand_state;   // state of RAND / RANDOMIZE
  EvalLimits limits = {};

  // What the evaluator needs from its caller; every one may stay null.
  const UnitSymbols* unit = nullptr;        // names the lexer resolves
  VariableReader read_variable = nullptr;   // without it a variable reads as NULL
  VariableWriter assign_variable = nullptr;
  RoutineCaller call_routine = nullptr;     // without it a routine call is diagnostic 15
  DiagnosticReporter reporter = nullptr;
  void* reporter_user = nullptr;
  NoticeSink notice = nullptr;              // without it notices go to the error stream
  void* notice_user = nullptr;
  TranslateFrame* frame = nullptr;          // innermost open evaluation (owned by it)
};

}  // namespace tavrel
