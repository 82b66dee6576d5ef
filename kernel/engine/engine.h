// The procedure engine's entry points: what the rest of the kernel calls to translate a stored
// unit, to run a procedure for a client's `execute`, to fire a trigger's action from inside an
// SQLite statement, and to interrupt what a session runs.
//
// The engine keeps one EngineSession per kernel session: the session's SQLite connection (used
// only by the thread that holds it), its embedded statements prepared once, its open cursors,
// its executions (each a record with an id, procedure, line, state flags, quanta and caller),
// and the flag through which KILL interrupts them. Compiled units are shared by all sessions
// (kernel/engine/registry.h); a unit is compiled when it is stored, kept, and compiled again on
// the first call after the kernel starts.
//
// Texts inside the engine are CP866, as the lexer and the value library read them; the
// database holds UTF-8 and the conversions happen at the engine's edges.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_value;

namespace tavrel::kernel {

struct EngineSession;

// --- translation ------------------------------------------------------------------------------

// A translation diagnostic: its number in the translator's table, where it was found (line
// and column from 1), and the text that fills the message's %d or %s (empty when none).
struct Diagnostic {
  int number;
  int line;
  int column;
  std::string argument;  // CP866
};

// At most this many diagnostics are reported for one text; the last one is then 78
// ("слишком много ошибок!").
constexpr int DIAGNOSTICS_MAX = 20;

// Translates the whole text of a create or alter statement (CP866, head included) against the
// database (a trigger reads its table's columns). Returns 0 when it translates, else 1 with
// the diagnostics in *out, in the order of the text. Nothing is stored.
int engine_check_unit(sqlite3* db, std::string_view cp866, std::vector<Diagnostic>* out);

// The stored unit `proc_id` changed (altered or dropped): its compiled form is given up and
// built again on its next call.
void engine_forget_unit(int32_t proc_id);

// --- sessions -----------------------------------------------------------------------------------

// The engine's state of a kernel session over its connection. user and database are what
// USERNAME and DBNAME give. The trigger function is registered on the connection by the
// kernel's trigger module (kernel/triggers.h), which hands its calls to engine_fire_trigger.
EngineSession* engine_session_open(sqlite3* db, std::string_view user, std::string_view database);
// Ends the session's executions and cursors and frees its state; called by the connection's
// holder before the connection closes.
void engine_session_close(EngineSession* es);

// Interrupts what the session runs (KILL): the running execution and every execution it
// called end with the session's "interrupted" code, a SLEEP wakes, the SQL being stepped is
// interrupted. Safe from any thread while the session exists.
void engine_interrupt(EngineSession* es);

// --- executing a procedure for a client -------------------------------------------------------

// One argument of `execute "P"(...)` as the statement writes it: NULL, TRUE/FALSE, a number
// (its text, sign included), 'text' or N'text' (the quotes removed, '' read as one quote). A
// quoted text is read as the parameter's type: a date for DATE, a number for the numeric
// types, the text itself for CHAR and NCHAR.
enum class LiteralKind : uint8_t { NULL_VALUE, BOOL, NUMBER, TEXT, NTEXT };

struct CallLiteral {
  LiteralKind kind;
  std::string text;   // CP866; NUMBER, TEXT and NTEXT
  bool truth;         // BOOL
  uint32_t position;  // offset of the literal in the statement (for the error position)
};

struct CallRequest {
  std::string procedure;  // CP866, as written between the double quotes
  std::vector<CallLiteral> args;
  uint32_t name_position;  // offset of the name in the statement
};

// A named value in its wire form (values/value_wire.h).
struct NamedValue {
  std::string name;  // CP866
  std::vector<uint8_t> wire;
};

// What an execution gives back to its client.
struct ExecOutcome {
  std::vector<std::string> messages;  // what PRINT wrote, in order (CP866)
  std::vector<NamedValue> outputs;    // OUT and INOUT parameters, in declaration order
  bool has_result = false;            // the procedure declares RESULT
  std::vector<uint8_t> result;        // its value in wire form
  int16_t exception = 0;              // the exception that left the procedure, 0 when none
  std::string exception_name;         // its name as the debugger writes it ("DIVZERO", "CUSTOM (5)")
};

// Kernel codes of a call that cannot start; the position goes to the high 16 bits of the
// system code. A call that starts and ends in an exception is no error: see ExecOutcome.
constexpr uint32_t KERNEL_CALL_UNKNOWN_PROCEDURE = 2001;
constexpr uint32_t KERNEL_CALL_ARGUMENT_COUNT = 2002;
constexpr uint32_t KERNEL_CALL_BAD_ARGUMENT = 2003;

// Runs the procedure on the session's connection (the calling thread holds it) and fills
// *out. Returns 0, a 2000-2999 code with *position (the offset in the statement of the
// argument or name at fault), or another kernel code (interrupted, busy, no memory).
uint32_t engine_execute(EngineSession* es, const CallRequest& call, ExecOutcome* out,
                        uint32_t* position);

// --- triggers ------------------------------------------------------------------------------------

// The SQL function that installed triggers call, registered on every session's connection:
// tavrel_fire(trigger_id, new columns..., old columns...). Its body runs the trigger's action
// through engine_fire_trigger on the same connection.
constexpr const char* TRIGGER_FUNCTION = "tavrel_fire";

// Runs the action of trigger `trigger_id` for one row (row triggers; NEW and OLD from the
// values, either count 0 when the event has no such row) or once (statement triggers, both
// counts 0). Returns 0, or 1 when the action ended in an exception, with the text that refuses
// the statement in *error (it names the exception).
int engine_fire_trigger(EngineSession* es, int32_t trigger_id, sqlite3_value** new_row, int new_count,
                        sqlite3_value** old_row, int old_count, std::string* error);

// Statement triggers: fires the BEFORE (before true) or AFTER statement triggers of the table
// that the DML statement (UTF-8) changes, for its event; nothing for other statements. Called
// around every DML statement a client or a procedure runs. Returns 0, or 1 when an action
// refused the statement, with the text in *error.
int engine_statement_triggers(EngineSession* es, std::string_view sql_utf8, bool before, std::string* error);

}  // namespace tavrel::kernel
