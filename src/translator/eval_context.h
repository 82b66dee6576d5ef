// The evaluation context: what an evaluation of the procedure language needs from its
// caller. The manager's calculator, the debugger and the reference kernel each supply one:
// the string pool for result texts, and the services of built-in functions that are bound
// to a database or a session (cursors, BLOBs, ROWCOUNT, ERRCODE, USERNAME, DBNAME,
// SYSEVENT, the PUTM buffers, RAISE_ERROR), which only the caller can provide.
#pragma once

#include <cstdint>
#include <cstdio>

#include "values/string_pool.h"
#include "values/value.h"

namespace tavrel {

struct EvalContext;

// Computes a database- or session-bound built-in (by number) for the evaluation. Returns 0
// with the result stored, or a diagnostic number. A context without this hook gives every
// such function its documented stand-alone result instead.
using BoundBuiltin = int (*)(EvalContext& ctx, int number, const Value* args, int argc,
                             Value* result);

struct EvalContext {
  StringPool* strings;   // result texts; strings->run_status is the run status
  BoundBuiltin bound;    // may be null
  void* user;            // the caller's own data for bound
  FILE* print_stream;    // where PRINT writes; null means standard output
  uint32_t rand_state;   // state of RAND / RANDOMIZE
};

}  // namespace tavrel
