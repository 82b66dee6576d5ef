// The engine's state of one kernel session (EngineSession of engine.h) and of each running
// unit (Frame): the connection and its prepared embedded statements, the evaluation context
// and string pool the session's expressions use, the values that ROWCOUNT, ERRCODE and the
// BLOB functions read, and the flag through which KILL interrupts.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kernel/engine/engine.h"
#include "kernel/engine/executions.h"
#include "kernel/engine/program.h"
#include "kernel/engine/registry.h"
#include "translator/eval_context.h"
#include "values/stack_mem.h"
#include "values/string_pool.h"

struct sqlite3_stmt;

namespace tavrel::kernel {

struct DebugTarget;

// A value of a cursor's row: the value and the storage of its text.
struct Cell {
  Value value;
  std::string text;
};

struct CursorState {
  bool open = false;
  std::vector<std::vector<Cell>> rows;
  int64_t position = 0;  // 1..rows: the current row; 0 before the first; rows + 1 after the last
  bool out = false;      // the last FETCH found no row
  const std::vector<int>* column_map = nullptr;  // cursor column -> query column; null: identity
};

// A call site's callee as the session last resolved it.
struct ResolvedCallee {
  uint64_t generation = 0;  // the registry's generation then (0: never resolved)
  std::shared_ptr<const Unit> unit;
};

// A trigger as the session last resolved it: what fires it and its action's unit.
struct ResolvedTrigger {
  int32_t id = 0;
  uint64_t generation = 0;
  TriggerInfo info;
  std::shared_ptr<const Unit> unit;
};

// The statement triggers that fire around an embedded DML statement, BEFORE and AFTER ones.
struct ResolvedStatementTriggers {
  uint64_t generation = 0;
  std::vector<int32_t> before;
  std::vector<int32_t> after;
};

// An exception code being raised, or this for an interruption (which no handler takes).
constexpr int32_t RAISE_INTERRUPT = 0x10000;

struct Frame {
  const Unit* unit = nullptr;
  Value* vars = nullptr;
  std::vector<std::string> texts;  // storage of text variables, by variable
  std::vector<CursorState> cursors;  // by variable (sized only when the unit has cursors)
  Frame* caller = nullptr;
  int32_t raised = 0;    // the exception being raised, 0 when none
  int32_t handling = 0;  // the exception a handler of this frame is handling
  Value result{};          // the RESULT value so far
  std::string result_text;
  ExecRecord record;
};

struct EngineSession {
  sqlite3* db = nullptr;
  std::string user;      // CP866
  std::string database;  // CP866
  std::atomic<bool> interrupted{false};
  // The debugger's record of this session's executions while a debugger is attached to them
  // (kernel/debug); set and cleared by the executing thread only.
  std::atomic<DebugTarget*> debugger{nullptr};
  std::mutex sleep_lock;
  std::condition_variable sleep_wake;

  std::vector<sqlite3_stmt*> prepared;  // by SqlStatement::slot
  StackMemory memory{};
  std::unique_ptr<StringPool> pool;
  EvalContext ctx{};

  Frame* current = nullptr;  // the innermost running unit
  int depth = 0;             // nested units now running
  int trigger_depth = 0;     // trigger actions now running
  int32_t errcode = 0;       // ERRCODE(): the kernel code of the last failed SQL statement
  int64_t rowcount = 0;      // ROWCOUNT(): rows of the last SQL statement
  std::string last_error;    // SQLite's text for the last failed statement (UTF-8)
  ExecOutcome* outcome = nullptr;  // where PRINT writes, while a client's call runs
  std::vector<std::string> stray_messages;  // PRINT outside a client's call (trigger actions)
  std::string bind_text;     // scratch for texts bound to statements
  std::string column_text;   // scratch for texts read from statements
  std::vector<uint8_t> blob; // the working BLOB of ADD_BLOB / READ_BLOB_*
  size_t blob_position = 0;

  // What the session resolved through the shared registry, kept while the registry's
  // generation stays the same, so that a call or a trigger's row takes no lock there.
  std::vector<ResolvedCallee> callees;  // by call slot (Statement::call_slot, Unit::routine_slots)
  std::deque<ResolvedTrigger> triggers;  // never moved while an action runs
  std::vector<ResolvedStatementTriggers> statement_triggers;  // by SqlStatement::slot
  // Cursor tables of frames that ended, kept so that the next frames (a trigger's action for
  // each row) need not allocate theirs.
  std::vector<std::vector<CursorState>> spare_cursors;
  // Units replaced in those tables while the session may still run them: kept until no unit
  // of the session runs.
  std::vector<std::shared_ptr<const Unit>> retired_units;
};

}  // namespace tavrel::kernel
