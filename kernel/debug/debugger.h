// The kernel's procedure debugger: what the rest of the kernel calls.
//
// The debugger answers the PROC sub-commands (protocol/codes.h) of a client session, drives
// the executions of the procedure engine through the executor's hooks (a trap flag and a
// stop table per execution, kernel/engine/executions.h), parks a stopped execution on its own
// thread while the client looks at its frames from another session, and releases all that a
// client debugged when its session ends.
//
// What a session's end does: the client's debug sessions, breakpoints, variable tables and
// waits for calls go; an execution it started under the debugger (PROC 5, on its internal
// channel) is ended as PROC 27 would end it; an execution it caught from another session
// (PROC 16, 25) is released and runs on without a debugger, so that the session that called
// it is not disturbed by the debugger's leaving. Nothing waits for the client any more.
#pragma once

#include "kernel/frame.h"

namespace tavrel::kernel {

struct Session;

// Installs the executor's hooks; once, before any session runs (later calls do nothing).
void debugger_install();

// Answers PROC with any sub-command but the procedure list (18): runs on the session's
// worker, which holds its connection. The requests that wait for an execution (5-10, 16, 25)
// block the worker until the execution stops or ends, or KILL reaches the session.
void debugger_command(Session* s, const KernelRequest& r, KernelAnswer* a);

// How the server thread served a PROC request that it tried while the session's worker was
// idle, the session marked deferred for the time.
enum class DebuggerServed : uint8_t {
  ON_WORKER,          // not served: the request goes to the worker as any other
  ANSWERED,           // it read or wrote only the debugger's records; the answer is filled in
  LEFT_TO_EXECUTION,  // an order (6-9) given to a parked execution, whose thread sends the
                      // answer at its next stop or end and then clears the session's mark
};
// Spares the hand-overs to and from the worker for what a debugger asks at every step.
DebuggerServed debugger_serve_here(Session* s, const KernelRequest& r, KernelAnswer* a);

// KILL of a session, from any thread while its lock is held: a request of it that waits for
// an execution ends (1071), and an execution of it parked in the debugger ends.
void debugger_interrupt(Session* s);

// The session ends: on its worker, after its last request, before its connection closes.
void debugger_session_end(Session* s);

}  // namespace tavrel::kernel
