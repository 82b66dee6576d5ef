// The debugger's state and its operations, free of any user interface: the debug session of
// each debugged procedure, the program-wide debugger state (current execution, the debugging
// and started flags, the internal channel), the breakpoint table, the handle cache, the views'
// data and what the last run or step ended with; and the operations the editor and a
// line-mode program call: opening and closing sessions, running a statement, stepping,
// running to a line, waiting for a call, catching any procedure, stopping, aborting.
//
// Every request goes through the call seam in d.calls; everything the debugger has to say
// goes to d.sink as notes (debugger/link.h). One Debugger belongs to one thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "debugger/active_list.h"
#include "debugger/breakpoints.h"
#include "debugger/link.h"
#include "debugger/variables.h"
#include "debugger/views.h"
#include "protocol/codes.h"
#include "protocol/records.h"
#include "translator/eval_context.h"
#include "values/stack_mem.h"
#include "values/string_pool.h"
#include "values/value_wire.h"

namespace tavrel {

constexpr int MAX_SESSIONS = 100;
// The work buffer that answers are read into.
constexpr size_t WORK_BUFFER_SIZE = 65535;
// The waiting request polls for its answer this often.
constexpr int POLL_MILLISECONDS = 5;
// After a KILL, how long the interrupted request is given to come back.
constexpr int KILL_WAIT_SECONDS = 10;

// One debugged procedure (for the manager: one editor window under debugging).
struct DebugSession {
  bool used = false;          // the slot holds a procedure
  bool open = false;          // a debug session is open in the kernel
  uint32_t procedure_id = 0;
  std::string name;           // CP866, as opened or as looked up
  LineBitmap breakpoints;     // lines with an ordinary or conditional breakpoint
  int32_t execution = 0;      // the current run's execution; 0 or less when none
  int32_t marked_line = -1;   // the line marked as the execution point, -1 when none
  bool locals_reported = false;  // a locals list too long was reported already
};

enum RunOutcome : int {
  RUN_NONE,
  RUN_STOPPED,      // the execution waits for the debugger at state.line
  RUN_FINISHED,     // it ended (also after a Stop)
  RUN_INTERRUPTED,  // the person ended the wait
  RUN_FAILED,       // the kernel refused the request
};

// What the last request that moves an execution ended with.
struct LastStop {
  RunOutcome outcome = RUN_NONE;
  ExecState state{};
  std::string procedure;         // name of state.procedure_id, CP866
  bool has_result = false;       // a finished procedure with RESULT
  std::string result_form;       // its typed form
  std::string changed_variable;  // an on-change breakpoint stopped it (kind 8)
};

struct Debugger {
  // --- The link: main session block (resting command "PROC"), seam, notes, the person ---
  RequestBlock* block = nullptr;
  DebugCalls calls;
  std::string connect;   // buffer 1 of OPEN for the further channels ("USER"/"PASSWORD")
  std::string codepage;  // buffer 3 of OPEN; empty for the channel's default
  NoteSink sink = nullptr;
  void* sink_user = nullptr;
  bool (*interrupt_wanted)(void* user) = nullptr;        // polled while a request waits
  void (*wait_shown)(void* user, bool visible) = nullptr; // " Ожидание ответа от сервера БД"
  void* person_user = nullptr;

  // --- Program-wide state ---
  uint16_t current_execution = EXECUTION_NONE;
  uint32_t current_procedure = 0;  // where the current execution stopped
  bool debugging = false;  // a procedure of this client session is being debugged
  bool started = false;    // a run was started by this program
  RequestBlock internal{}; // the internal channel that runs statements under the debugger
  bool internal_open = false;

  std::array<DebugSession, MAX_SESSIONS> sessions{};
  BreakpointTable breakpoints;
  HandleCache handles;
  Views views;
  LastStop last;
  std::map<uint32_t, std::string> names;  // procedure names by identifier

  // --- Buffers and the evaluator's stores ---
  std::vector<uint8_t> answer = std::vector<uint8_t>(WORK_BUFFER_SIZE);
  WireStore wire;  // texts of values read for evaluations
  StackMemory memory{};
  StringPool pool{};
  EvalContext eval{};
};

// Binds the debugger to the main session's block (the caller keeps it) and the logon used
// for further channels. Sessions, breakpoints and views start empty. The record holds
// pointers into itself from here on: it stays where it is until debugger_shutdown.
void debugger_init(Debugger& d, RequestBlock* block, std::string_view connect, std::string_view codepage);
// Releases the cached handles, closes the internal channel and gives back the evaluator's
// stores. The sessions stay open in the kernel until its session ends.
void debugger_shutdown(Debugger& d);

// Sends a note to the sink.
void debugger_note(Debugger& d, NoteKind kind, std::string_view text, std::string_view detail = {});
// Reports a failed request: the code, and for a debugger error its number and text.
void debugger_report(Debugger& d, uint32_t code, uint32_t system_code);

// The session of a procedure, or nullptr.
DebugSession* session_find(Debugger& d, uint32_t procedure_id);
DebugSession* session_find_name(Debugger& d, std::string_view name);
// The name of a procedure by identifier (cached; looked up in the system tables).
std::string procedure_name(Debugger& d, uint32_t procedure_id);

// Opens a debug session (PROC 1) by name, or by identifier when id is non-zero. A session
// already open is returned as it is. With check_other, a session is refused while another
// procedure is being debugged ("Другая процедура находится в состоянии отладки").
int session_open(Debugger& d, std::string_view name, uint32_t id, bool check_other, DebugSession** out);
// Closes a debug session (PROC 2); refused while a line is marked as the execution point.
// Its breakpoints stay in the table, inactive.
int session_close(Debugger& d, DebugSession& session);
// After an aborted run: each open session is asked for again (PROC 1 by identifier); one
// whose procedure no longer answers is closed without PROC 2.
void sessions_check(Debugger& d);

// F9: with a current execution of the session, continue (PROC 8); else execute the
// statement under the debugger (PROC 5) on the internal channel. A statement error
// (2000-2999) gives NOTE_QUERY_ERROR with the statement and the position.
int debugger_run(Debugger& d, DebugSession& session, std::string_view statement);
// Step (PROC_STEP), trace (PROC_TRACE), run (PROC_RUN), run to return (PROC_RUN_TO_RETURN)
// of the current execution; DBG_NOTHING without one.
int debugger_step(Debugger& d, uint32_t subcommand);
// Run to a line (from 0) of the stopped procedure: a temporary breakpoint (PROC 3), then run.
int debugger_run_to_line(Debugger& d, DebugSession& session, uint32_t line);
// Waits for the session's procedure to be called (PROC 16).
int debugger_wait_for(Debugger& d, DebugSession& session);
// Catches any procedure with an open debug session (PROC 25).
int debugger_catch_any(Debugger& d);
// Stops the current execution (PROC 10); it is shown as ended.
int debugger_stop(Debugger& d);
// Aborts an execution (PROC 27).
int debugger_abort(Debugger& d, uint16_t execution);

}  // namespace tavrel
