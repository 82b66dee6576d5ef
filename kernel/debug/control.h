// The requests that drive executions: running a statement under the debugger on the client's
// internal channel (PROC 5), the orders to a parked execution (6-9 run on, 10 stop), waiting
// for a call (16, 25) and aborting an execution (27). Each fills the request's answer; those
// that wait for an execution's next stop or end block the calling session's worker until then,
// or until KILL reaches that session (1071).
#pragma once

#include <cstdint>
#include <span>

#include "kernel/debug/state.h"
#include "kernel/frame.h"

namespace tavrel::kernel {

// PROC 5: data u16 internal channel, u16 length, the statement (the session's code page).
void control_run(Session* s, int32_t proc_id, std::span<const uint8_t> data, uint16_t room, KernelAnswer* a);
// PROC 6-9: the parked execution runs on as mode says.
void control_go(Session* s, uint16_t execution, RunMode mode, uint16_t room, KernelAnswer* a);
// The same on the server thread, the client's session marked deferred: the order is given and
// the answer left to the execution's next event (true), or nothing is done (false: the
// request goes to the worker, which answers errors and ends the client was not yet told).
bool control_go_deferred(Session* s, const KernelRequest& r, RunMode mode);

// The target has a new event (it parked, or it ended): its client's request that waits for it
// is woken, and an answer deferred to this event is taken into send. May forget a finished
// target whose answer is taken (the caller must not use it afterwards). Under the debugger's
// lock.
void target_event(DebugState& g, DebugTarget& target, DeferredSend* send);
// KILL of a client whose answer is deferred: it is taken into send as interrupted, and an
// execution it caught runs on without it. Under the debugger's lock.
void deferred_interrupt(DebugState& g, DebugClient* c, DeferredSend* send);
// Sends what was taken, after the debugger's lock is let go: the client's session is no longer
// busy, then the answer leaves. session_locked: the caller holds the session's lock.
void deferred_send(DeferredSend& send, bool session_locked);
// PROC 10: the parked execution ends; the answer is its end (flag 0x4000).
void control_stop(Session* s, uint16_t execution, uint16_t room, KernelAnswer* a);
// PROC 16 (a procedure) and 25 (proc_id 0: any procedure the client debugs).
void control_wait_call(Session* s, int32_t proc_id, uint16_t room, KernelAnswer* a);
// PROC 27: ends any execution, debugged or not, parked or running, with its whole chain.
void control_abort(Session* s, uint16_t execution, KernelAnswer* a);

// The state record, and the return value's wire form behind it when it fits the room.
void answer_state(KernelAnswer* a, const ExecState& state, std::span<const uint8_t> result, uint16_t room);
// A debugger error: KERNEL_DEBUGGER_ERROR with the number in the system code.
void answer_debugger_error(KernelAnswer* a, uint32_t number);

}  // namespace tavrel::kernel
