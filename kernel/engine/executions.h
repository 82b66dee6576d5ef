// The kernel-wide table of executions: every execution context (a client's call, a nested
// call, a trigger action) is a record with a 16-bit id, kept here under one lock while it runs,
// so that another thread (the list of active procedures, a debugger) can find and read it.
//
// The record's changing fields are atomics written by the executing thread without the lock;
// a reader takes the lock, which keeps the record from going away while it reads.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

#include "protocol/codes.h"

namespace tavrel::kernel {

struct EngineSession;
struct Unit;
struct Frame;

constexpr uint16_t EXEC_NONE = 0xFFFF;  // no execution (a top-level execution's caller)

struct ExecRecord {
  uint16_t id = EXEC_NONE;
  int32_t proc_id = 0;
  uint16_t caller = EXEC_NONE;
  EngineSession* session = nullptr;
  const Unit* unit = nullptr;
  Frame* frame = nullptr;  // its variables, for a reader while the execution waits
  std::atomic<int32_t> line{0};      // of the statement being run, from 0 of the stored text
  std::atomic<uint32_t> flags{0};    // EXEC_AT_BREAKPOINT ... EXEC_FINISHED (0: running)
  // Quanta used: one per backward jump and one per call made.
  std::atomic<uint32_t> quanta{0};
  // Set by a debugger: the statement loop calls its stop hook (below) before a statement.
  std::atomic<bool> trap{false};
  // With the trap set, the statements (by index in the unit's code) the debugger wants to
  // see: a non-zero byte each; nullptr for every statement. Both are set in the debugger's
  // hooks, and by a debugger that ends the execution from another thread (hence atomics,
  // read relaxed: plain loads).
  std::atomic<const uint8_t*> stops{nullptr};
  std::atomic<int16_t> exception{0};
};

// What a reader sees of one record.
struct ExecSnapshot {
  uint16_t id;
  int32_t proc_id;
  uint16_t caller;
  int32_t line;
  uint32_t flags;
  uint32_t quanta;
  int16_t exception;
};

// Gives the record a free id and enters it; 0, or 1 when all ids are in use.
int executions_enter(ExecRecord* rec);
void executions_leave(ExecRecord* rec);
// Every running execution, ordered by id.
std::vector<ExecSnapshot> executions_list();
// Runs fn(record) under the table's lock for the execution with that id; false when none.
template <typename Fn>
bool executions_with(uint16_t id, Fn fn);

// The debugger's hooks into the executor, all called on the executing thread:
//   stop   before a statement of an execution whose trap is set and whose stops table marks
//          the statement (or that has none). The record's line still holds the line of the
//          statement run before in that execution. 0 runs the statement; any other value is
//          raised instead of running it (RAISE_INTERRUPT when the debugger ends the run).
//   enter  when an execution has entered the table, while a debugger is attached to the
//          session (EngineSession::debugger) or some debugger awaits calls (below);
//   leave  before an attached session's execution leaves the table, with the code it ends
//          with (0, an exception, RAISE_INTERRUPT) and its frame still whole;
//   print  each PRINT message of an attached session, without PRINT's head.
// Installed once, before any session runs; without them nothing is called.
struct DebugHooks {
  int32_t (*stop)(EngineSession* session, ExecRecord* record, int pc) = nullptr;
  void (*enter)(EngineSession* session, ExecRecord* record) = nullptr;
  void (*leave)(EngineSession* session, ExecRecord* record, int32_t code) = nullptr;
  void (*print)(EngineSession* session, std::string_view text) = nullptr;
};
void set_debug_hooks(const DebugHooks& hooks);
// How many debuggers wait for a call from any session: while it is above 0 every session's
// executions go through the enter hook.
std::atomic<int>& debug_calls_awaited();

// The table itself, for executions_with.
std::mutex& executions_lock();
ExecRecord* executions_find_locked(uint16_t id);

template <typename Fn>
bool executions_with(uint16_t id, Fn fn) {
  std::lock_guard<std::mutex> hold(executions_lock());
  ExecRecord* rec = executions_find_locked(id);
  if (rec == nullptr) return false;
  fn(*rec);
  return true;
}

}  // namespace tavrel::kernel
