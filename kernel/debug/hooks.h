// The debugger's side of the executor's hooks (kernel/engine/executions.h): frames are
// watched as they enter and leave, a call that a client waits for is caught, a watched frame
// is armed for how its target runs on (trap and stop table), the stop decision is taken before
// a statement, and a stopped execution parks on its own thread until its client's order.
//
// Where an execution stops: a frame that steps (its target's mode says which) stops at each
// line it enters; any watched frame stops at a line with a breakpoint or the run-to-cursor
// line it enters, and after a statement that changed a variable an on-change breakpoint
// watches. A line is entered by a statement that begins it in the code or that follows a
// statement of another line; so a loop on one line stops once per turn, and a jump into the
// middle of a line stops there.
#pragma once

#include <string_view>

#include "kernel/debug/state.h"

namespace tavrel::kernel {

// Installs the hooks into the executor.
void hooks_install();

// Arms every frame of the target for its mode and the breakpoints of their procedures.
// On the executing thread, under lock.
void target_arm(DebugState& g, DebugTarget& t);

// Watches a frame that has just entered a target's session, when the target's client debugs
// its procedure (or traces into it). On the executing thread, under lock.
void target_watch(DebugState& g, DebugTarget& t, ExecRecord* record, int depth);

// The breakpoints of a procedure changed: the frames of it that the client's running targets
// watch look at their next statement, where the executing thread arms them anew (it alone may
// let go of a stop table it reads). A parked target is armed anew when it runs on. Under lock.
void targets_rearm(const DebugClient* c, int32_t proc_id);

// The values of a frame's watched variables again (after the debugger assigned one).
void watch_refresh(FrameWatch& w);

// The statement of a unit that begins each line run: a statement whose line differs from
// the one before it in the code.
bool line_starts(const Unit& u, int pc);

}  // namespace tavrel::kernel
