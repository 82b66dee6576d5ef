// Debug sessions on procedures: opening and closing one for a client, the breakpoints of each
// (ordinary, conditional and on-change) with the stop table they make for the procedure's
// compiled unit, and the run-to-cursor line. Every function runs under the debugger's lock
// and returns 0 or a debugger error number.
#pragma once

#include <cstdint>
#include <memory>

#include "kernel/debug/state.h"

namespace tavrel::kernel {

// Opens the client's debug session on a procedure whose unit was compiled FOR DEBUG; asking
// again for a session the client holds only takes the procedure's unit as compiled now.
// Errors 2 (another client holds it) and 4 (the client holds too many).
uint32_t proc_open(DebugState& g, DebugClient* c, int32_t proc_id, std::shared_ptr<const Unit> unit);
// Closes it (error 7 when the client holds none); its breakpoints go with it.
uint32_t proc_close(DebugState& g, DebugClient* c, int32_t proc_id);

// Sets a breakpoint: kinds 1 and 4 on a line that has a statement (error 8), a condition's
// variables as numbers plus 20000, an on-change breakpoint's as plain numbers from 1 (error
// 14 for others); setting one that is there again only takes its number. Error 9 beyond
// BREAKPOINTS_MAX.
uint32_t proc_breakpoint_set(ProcDebug& pd, const BreakpointRequest& request);
// Clears one breakpoint of that kind and line (kinds 1 and 4) or variable (kind 8); clearing
// one that is not there is no error.
uint32_t proc_breakpoint_clear(ProcDebug& pd, const BreakpointRequest& request);
// Sets (error 8 for a line without a statement) or clears the run-to-cursor line.
uint32_t proc_cursor(ProcDebug& pd, uint32_t line, bool set);
// Any stop of the client's executions clears its run-to-cursor lines.
void proc_cursors_clear(DebugState& g, const DebugClient* c);

// A procedure altered since its debug session opened: the session takes the unit compiled from
// the new text (unit, or the one the registry keeps when unit is nullptr) when it is compiled
// for debugging. Its breakpoints stay by line (a line without a statement now marks nothing);
// on-change ones whose variables the new unit lacks go. true when the unit changed.
bool proc_refresh(ProcDebug& pd, std::shared_ptr<const Unit> unit);

// Whether some statement of the unit is on the line (from 0 of the stored text).
bool unit_has_line(const Unit& u, uint32_t line);

}  // namespace tavrel::kernel
