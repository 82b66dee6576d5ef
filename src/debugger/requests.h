// The PROC requests of the debugger, one builder each: the request block's fields, the data
// placed in the work buffer (whose bytes up to the answer length are zeroed first: the
// channel sends that area without its trailing zero bytes), and the answer taken back. The
// requests that move an execution go through the waiting request (waiting.cpp).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "protocol/records.h"
#include "protocol/request.h"

namespace tavrel {

struct Debugger;

// Sends PROC `subcommand` with the argument and data on the main block and waits for the
// answer, which is left in d.answer (its length in d.block->answer_length). room is the
// answer length; with room 0 no buffer is given. Returns the return code, or DBG_TOO_LONG
// when the data exceed the room (nothing is sent). Every request_* below returns the same way,
// and 1002 for an answer that does not hold its layout.
int proc_call(Debugger& d, uint32_t subcommand, uint32_t argument, std::span<const uint8_t> data,
                   uint16_t room);

// Fills the main block and the work buffer for a request: the buffer to pass as the answer
// (nullptr without room, or with *status DBG_TOO_LONG when the data do not fit).
void* proc_prepare(Debugger& d, uint32_t subcommand, uint32_t argument, std::span<const uint8_t> data,
                   uint16_t room, int* status);

// The same through the waiting request: *interrupted tells that the person ended the wait.
int proc_call_waiting(Debugger& d, uint32_t subcommand, uint32_t argument,
                      std::span<const uint8_t> data, uint16_t room, bool* interrupted);

// PROC 1 by name (length byte and name) or by identifier (zero length byte and u32).
int request_open_session(Debugger& d, std::string_view name, uint32_t id, uint32_t* procedure_id);
int request_close_session(Debugger& d, uint32_t procedure_id);
int request_temp_breakpoint(Debugger& d, uint32_t procedure_id, uint32_t line, bool set);
// PROC 20 or 21 with the breakpoint's wire form.
int request_breakpoint(Debugger& d, uint32_t subcommand, uint32_t procedure_id,
                            const BreakpointRequest& request);
int request_variable_table(Debugger& d, uint32_t procedure_id, uint16_t* handle);
int request_release_table(Debugger& d, uint16_t handle);
// *type gets the declared type the kernel tells (TYPE_NONE when it does not).
int request_find_variable(Debugger& d, uint16_t handle, std::string_view name, uint16_t* number,
                               uint8_t* type);
// PROC 28: the value's wire form into *wire.
int request_read_variable(Debugger& d, uint16_t execution, uint16_t number, std::vector<uint8_t>* wire);
// PROC 29: the number plus 20000 and the value's wire form.
int request_assign_variable(Debugger& d, uint16_t execution, uint16_t number,
                                 std::span<const uint8_t> wire);
int request_abort(Debugger& d, uint16_t execution);
int request_call_stack(Debugger& d, uint16_t execution, std::vector<StackEntry>* frames);
int request_locals(Debugger& d, uint16_t execution, std::vector<LocalEntry>* locals);
// PROC 13: every message kept for the debug session, asked again while the kernel says
// more are kept.
int request_printed(Debugger& d, uint32_t procedure_id, std::vector<std::string>* messages);

// Opens a further kernel channel the way the main one was opened (OPEN with d.connect).
int open_further_channel(const Debugger& d, RequestBlock* block);
void close_further_channel(const Debugger& d, RequestBlock* block);

}  // namespace tavrel
