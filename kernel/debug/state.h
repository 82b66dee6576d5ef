// The debugger's records in the kernel, and the one lock over all of them.
//
// A client session that debugs (a DebugClient) opens debug sessions on procedures (a
// ProcDebug each: its breakpoints and the table of statements they stop at), waits for calls
// (a CallWait) and drives executions. The executions of one engine session that a client
// debugs form a DebugTarget: the frames it watches, how it runs on (step, trace, run, run to
// return), and, while it is parked in the debugger, the state the client was told and the
// order it waits for. A target is made by PROC 5 (a statement run on the client's internal
// channel) or by a call that a waiting client catches (PROC 16, 25).
//
// Threads and locking: every record here is read and written under DebugState::lock. An
// executing thread takes the lock in the executor's hooks (kernel/debug/hooks.h) and, when
// it parks, waits on its target's own condition variable; a client's request waits for its
// target's next event on the client's condition variable. Lock order: a session's lock, then
// the table of executions (executions_lock), then this lock.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kernel/engine/executions.h"
#include "kernel/engine/program.h"
#include "kernel/frame.h"
#include "protocol/records.h"

namespace tavrel::kernel {

struct EngineSession;
struct Session;
struct DebugClient;

// Procedures one client debugs at once (debugger error 4 beyond).
constexpr size_t DEBUG_SESSIONS_MAX = 100;
// Breakpoints of one debug session (debugger error 9 beyond).
constexpr size_t BREAKPOINTS_MAX = 256;
// Variable-table handles one client holds at once (debugger error 4 beyond).
constexpr size_t VARIABLE_TABLES_MAX = 1000;
// Printed messages kept for a client; older ones go first.
constexpr size_t PRINTED_KEPT_MAX = 10000;

// What the stop table says of a statement: bits.
constexpr uint8_t STOP_BREAKPOINT = 0x01;  // an ordinary or conditional breakpoint is on its line
constexpr uint8_t STOP_CURSOR = 0x02;      // the run-to-cursor line

// Per statement of a unit (by index in its code), the stops above. Immutable once built: a
// change of breakpoints builds a new table, and frames take it when they are armed again.
struct StopTable {
  std::vector<uint8_t> at;
  bool any = false;
};

struct KernelBreakpoint {
  uint32_t line = 0;
  uint8_t kind = BREAKPOINT_LINE;
  uint16_t number = 0;         // what the state record reports when it stops there
  std::vector<int> variables;  // on-change: the variables watched, by index from 0
};

// A procedure under a client's debug session.
struct ProcDebug {
  int32_t proc_id = 0;
  DebugClient* client = nullptr;
  std::shared_ptr<const Unit> unit;  // the compiled unit when the session opened
  std::vector<KernelBreakpoint> breakpoints;
  int64_t cursor_line = -1;          // the run-to-cursor line, -1 when none
  std::shared_ptr<const StopTable> table;
  std::vector<int> watched;          // variables of the on-change breakpoints, each once
};

// How a target runs on after an order: which frames stop at every line they enter (the
// rest stop at breakpoints only).
enum class RunMode : uint8_t {
  RUN,     // none
  STEP,    // frames at the parked frame's depth or above: step over calls
  TRACE,   // every watched frame, new ones included: step into calls and trigger actions
  RETURN,  // frames above the parked frame's depth: run to return
  FIRST,   // the caught root frame, at its first statement
};

enum class Order : uint8_t { NONE, GO, END };

// A frame that a target watches.
struct FrameWatch {
  ExecRecord* record = nullptr;
  int depth = 0;                              // the engine session's depth inside it
  std::shared_ptr<const StopTable> table;     // keeps record->stops alive
  std::vector<int> watched;                   // on-change variables it compares
  std::vector<std::vector<uint8_t>> snapshot; // their values (wire form) at the last look
};

struct DebugTarget {
  EngineSession* es = nullptr;       // set by the executing thread (a run's job, or the catch)
  DebugClient* client = nullptr;     // nullptr once released to run on without a debugger
  bool started_by_run = false;       // PROC 5: the client's internal channel runs it
  RunMode mode = RunMode::RUN;
  int ref_depth = 0;                 // the parked frame's depth when the last order came
  std::vector<FrameWatch> frames;    // outermost first

  // The root: the caught frame, or the first top-level frame of a run's statement.
  ExecRecord* root = nullptr;
  uint16_t root_id = EXEC_NONE;
  int32_t root_proc = 0;
  int32_t root_line = 0;             // where a run's root was when it left

  // Parking: the executing thread waits on wake for an order.
  bool parked = false;
  ExecRecord* parked_record = nullptr;
  Order order = Order::NONE;
  RunMode next_mode = RunMode::RUN;
  bool end = false;                  // ended by the debugger (stop, abort) or by KILL
  std::condition_variable wake;

  // What the client is told: each stop and the end count one event.
  uint64_t events = 0;
  ExecState state{};
  bool finished = false;
  std::vector<uint8_t> result;       // the return value's wire form, when the end has one
  uint32_t failure = 0;              // a run's statement that could not start: its code
  uint32_t failure_system = 0;       // and system code (the position times 65,536)
  uint16_t told = EXEC_NONE;         // the execution of the last stop the client was told
};

// A client's wait for a call (PROC 16 for one procedure, 25 for any it debugs).
struct CallWait {
  DebugClient* client = nullptr;
  int32_t proc_id = 0;  // 0: any procedure with a debug session of the client
  std::shared_ptr<DebugTarget> caught;
};

// A run-on order (PROC 6-9) taken on the server thread, whose answer is left to the ordered
// execution's thread: it is sent by whoever sees the target's next event (a stop or the end),
// or by KILL of the client's session. Meanwhile the client's session is kept busy
// (Session::deferred).
struct DeferredAnswer {
  Session* session = nullptr;
  KernelRequest request{};  // the block and trailer the answer is built from; no parts
  uint16_t room = 0;
  const DebugTarget* target = nullptr;
};

// An answer taken out of a DeferredAnswer under the lock, to be sent after the lock is let go.
struct DeferredSend {
  Session* session = nullptr;  // nullptr: nothing to send
  KernelRequest request{};
  KernelAnswer answer;
};

// A client session that debugs (DebugState::clients keys it by its Session).
struct DebugClient {
  std::condition_variable wake;  // its waiting request
  std::deque<std::string> printed;  // CP866, without PRINT's head
  std::map<uint16_t, std::shared_ptr<const Unit>> tables;  // variable-table handles
  uint16_t next_table = 1;
  std::vector<std::shared_ptr<DebugTarget>> targets;
  std::shared_ptr<CallWait> wait;  // its registered wait, while one is
  DeferredAnswer deferred;         // its order's answer, while one is outstanding (session set)
};

struct DebugState {
  std::mutex lock;
  std::map<const Session*, std::unique_ptr<DebugClient>> clients;
  std::map<int32_t, ProcDebug> procs;
  std::vector<std::shared_ptr<CallWait>> waits;
  // Targets whose client has gone or let them go: they run on until their executions end.
  std::vector<std::shared_ptr<DebugTarget>> released;
};

DebugState& debug_state();

// The client record of a session, made when asked with make (nullptr otherwise). Under lock.
DebugClient* debug_client(DebugState& g, const Session* session, bool make);

// The procedure's debug session when this client holds it, else nullptr. Under lock.
ProcDebug* owned_proc(DebugState& g, const DebugClient* client, int32_t proc_id);

// Lets a target run on without its client: the client forgets it, a parked execution is
// woken and its frames are disarmed at its next hook. Under lock.
void target_release(DebugState& g, const std::shared_ptr<DebugTarget>& target);
// Ends a target's execution: a parked one is woken to end, a running one is interrupted at
// its next backward jump, call or statement the debugger sees. Under lock.
void target_end(DebugTarget& target);
// Drops a finished target from its client's list, or from the released ones. Under lock.
void target_forget(DebugState& g, const DebugTarget* target);


}  // namespace tavrel::kernel
