// The breakpoint screens: the list "Точки останова" (every record of the table and an empty
// last row for a new one; Enter switches a record on and off, or in the edit mode opens its
// properties; Tab switches the mode, Del deletes) and the dialog "Свойства точки останова"
// (procedure, kind, line, condition or variable).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "debugger/breakpoints.h"
#include "debugger/debugger.h"

namespace tavrel {

// The list's row text: the mark column (" X " for an active record) and the record's text;
// the empty last row is blank.
std::string breakpoint_list_row(Debugger& d, size_t row);

// The kind group of the dialog: its values 1, 2 and 4 stand for the kinds 1, 4 and 8.
int breakpoint_kind_to_group(uint8_t kind);
uint8_t breakpoint_group_to_kind(int group);

// Runs the list. A new record starts at the procedure and line (from 0) given: the cursor
// of the current source window, or 0 and 0.
void breakpoint_list_run(uint32_t procedure_id, uint32_t line);

// The properties dialog for row index of the table (-1: a new record, starting as *record).
// 1 when the table took the edited record, 0 when the dialog was cancelled or the kernel
// refused it.
int breakpoint_properties(int index, const Breakpoint& record);

}  // namespace tavrel
