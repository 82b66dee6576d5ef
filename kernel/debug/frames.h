// The frames of parked executions as a client's requests read and change them: the frame of
// an execution in a parked chain, the call stack, the locals, one variable's value, an
// assignment; and the variable tables (handles) through which a client finds a procedure's
// variables by name. Everything runs under the debugger's lock: a parked thread touches its
// frames again only after it has been woken, under the same lock.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "kernel/debug/state.h"
#include "kernel/engine/session.h"

namespace tavrel::kernel {

struct ParkedFrame {
  DebugTarget* target = nullptr;
  Frame* frame = nullptr;
};

// The frame of execution `id` in a chain of the client's that is parked: the parked frame or
// one of its callers. false when none.
bool parked_frame(DebugClient* c, uint16_t id, ParkedFrame* out);

// Whether a chain of the client's that is parked has a frame of the procedure.
bool parked_in(const DebugClient* c, int32_t proc_id);

// The call stack from a frame outwards: procedure, line, execution and flags of each.
std::vector<StackEntry> frame_stack(const Frame& f);
// The variables of a frame (parameters, locals, then the return value when the unit has
// one), names in the session's code page.
std::vector<LocalEntry> frame_locals(const Frame& f, uint16_t codepage);
// The wire form of variable `index` (from 0), or of the return value for VARIABLE_NONE;
// DEBUGGER_BAD_PARAMETER for a number the unit does not have.
uint32_t frame_value(const Frame& f, uint16_t index, std::vector<uint8_t>* out);
// Assigns variable `number` (from 1) a value in wire form, converted to its declared type:
// 0, or DEBUGGER_BAD_PARAMETER (no such variable, a cursor, a value of no known type or one
// that its type does not take).
uint32_t frame_set(const ParkedFrame& p, uint16_t number, std::span<const uint8_t> wire);

// Variable tables: a handle per procedure unit asked for, kept until released.
uint32_t table_open(DebugClient* c, std::shared_ptr<const Unit> unit, uint16_t* handle);
uint32_t table_release(DebugClient* c, uint16_t handle);
// A variable by its upper-cased CP866 name: its number from 1 (VARIABLE_NONE when there is
// none) and declared type code (0 then).
uint32_t table_find(const DebugClient* c, uint16_t handle, std::string_view name, uint16_t* number, uint8_t* type);

}  // namespace tavrel::kernel
