// The executor: runs a compiled unit on a session, statement by statement, with its frame of
// variables, and gives back how it ended. Also the session's evaluation hooks (variables,
// routines, bound built-ins, PRINT) that the translator's general evaluation calls.
#pragma once

#include <cstdint>

#include "kernel/engine/session.h"

struct sqlite3_value;

namespace tavrel::kernel {

// Where a unit's results go when it ends.
struct CallLink {
  Frame* caller = nullptr;         // the calling unit's frame (nullptr at the top)
  const int* out_vars = nullptr;   // caller variable for each parameter, or -1 (CALL)
  ExecOutcome* outcome = nullptr;  // OUT / INOUT parameters and the result in wire form (top)
  Value* result = nullptr;         // the RESULT value, texts copied into the session's pool
  // Trigger actions: the rows of NEW and OLD.
  sqlite3_value** new_row = nullptr;
  int new_count = 0;
  sqlite3_value** old_row = nullptr;
  int old_count = 0;
};

// Runs the unit with the arguments given for its parameters in order (argc may be below the
// parameter count: the rest take their defaults). Returns 0 when it ended normally, else the
// exception that left it (or RAISE_INTERRUPT).
int32_t call_unit(EngineSession& es, const Unit& unit, const Value* args, int argc, CallLink& link);

// The session's hook for built-ins bound to the session or database (bound.cpp).
int bound_builtin(EvalContext& ctx, int number, const Value* args, int argc, Value* result);

// Stores v into variable var of a frame, converted to its declared type (texts into the
// frame's storage): 0, or the exception the conversion raises. The debugger assigns a parked
// frame's variables through it.
int32_t frame_assign(Frame& f, int var, const Value& v);

// The state of the cursor a CURSOR value names in the running frame; nullptr when none.
CursorState* frame_cursor(Frame& f, const Value& cursor);

// Sets up the session's evaluation context (string pool, hooks); 0 or non-zero without memory.
int session_eval_setup(EngineSession& es);

// Fires the statement triggers of a table for an event (EVENT_* bits) before or after a DML
// statement. Returns 0, or 1 with the refusing text in *error.
int fire_statement_triggers(EngineSession& es, const std::string& table_upper, uint8_t event, bool before,
                            std::string* error);

// Runs a trigger's action for one row. Returns 0, or 1 with the refusing text in *error.
int fire_trigger(EngineSession& es, int32_t trigger_id, sqlite3_value** new_row, int new_count,
                 sqlite3_value** old_row, int old_count, std::string* error);

// Fires statement triggers by id, in order, until one refuses. 0, or 1 with the text in *error.
int fire_triggers(EngineSession& es, const std::vector<int32_t>& ids, std::string* error);

// The statement triggers of an embedded DML statement's table for its event, as the session
// resolved them while the registry has not changed (SqlStatement::slot keys them). nullptr
// with *error set when the trigger table cannot be read.
const ResolvedStatementTriggers* statement_triggers_of(EngineSession& es, const SqlStatement& s, uint8_t event,
                                                       std::string* error);

}  // namespace tavrel::kernel
