// Breakpoints: the one table of the program (ordinary, conditional and on-change records),
// the per-session bitmap of lines that hold an ordinary or conditional breakpoint, their wire
// forms for the set and clear requests, the toggle on a line, the acceptance of an edited
// record with its duplicate rules, deletion, the rows of the list, and the decision taken
// when the kernel stops at one of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "protocol/records.h"

namespace tavrel {

struct Debugger;
struct DebugSession;

// One bit per line, bit (line mod 8) of byte (line div 8): lines 0 to 799. A later line
// is never marked (a mark asked for it is dropped).
constexpr size_t BITMAP_BYTES = 100;
constexpr uint32_t BITMAP_LINES = BITMAP_BYTES * 8;
struct LineBitmap {
  std::array<uint8_t, BITMAP_BYTES> bits{};
};
bool line_marked(const LineBitmap& bitmap, uint32_t line);
void line_mark(LineBitmap* bitmap, uint32_t line, bool on);

struct Breakpoint {
  bool active = false;  // sent to the kernel and in force
  uint32_t procedure_id = 0;
  uint32_t line = 0;    // from 0, as in the editor
  uint8_t kind = BREAKPOINT_LINE;
  std::string text;     // the condition (kind 4) or the variable (kind 8), CP866; empty for kind 1
};

// The table has a 16-bit count.
constexpr size_t BREAKPOINTS_MAX = 0xFFFF;
using BreakpointTable = std::vector<Breakpoint>;

// Ctrl+F8 on a line of a session's procedure: sets an ordinary breakpoint there (PROC 20)
// or clears the one that is there (PROC 21), and flips the line's bit when the request
// succeeded. Returns 0 or the failing status.
int breakpoint_toggle(Debugger& d, DebugSession& session, uint32_t line);

// Sends a record's set (PROC_SET_BREAKPOINT, with the given number) or clear
// (PROC_CLEAR_BREAKPOINT, number 0). A condition that does not translate or uses no variable
// gives the note "Ошибка в условном выражении" and DBG_REFUSED; an unknown on-change variable
// gives DBG_REFUSED without a note. Nothing is sent then.
int breakpoint_send(Debugger& d, const Breakpoint& record, uint32_t subcommand, uint16_t number);

// The index of another record (not `except`) with the same properties: same kind and
// procedure and, for kind 1, the same line; for kind 4 the same line and condition; for
// kind 8 the same variable. -1 when none.
int breakpoint_duplicate(const BreakpointTable& table, const Breakpoint& record, int except);

// Accepts an edited record: index is its row, or -1 for a new one (appended when it is
// sent). Trailing blanks of the text are dropped. A duplicate gives the note "Точка
// останова с такими свойствами уже есть!" and DBG_REFUSED; an active record whose place or
// kind changes is cleared first; an active or new record is sent with its number (row + 1).
// On a failure the table keeps the old record. Returns 0, with *row the record's row.
int breakpoint_accept(Debugger& d, int index, Breakpoint edited, int* row = nullptr);

// Makes a row active (sends its set) or inactive (sends its clear).
int breakpoint_set_active(Debugger& d, size_t row, bool active);

// Deletes a row: an active one is cleared in the kernel first (a failure keeps it); its line
// mark goes from every session of its procedure.
int breakpoint_delete(Debugger& d, size_t row);

// The list's mark column ("X" for an active row, else a blank) and text: "P:L" for kind 1,
// "P:L(condition)" for kind 4, "P:(variable)" for kind 8, the line counted from 1.
const char* breakpoint_mark(const Breakpoint& record);
std::string breakpoint_row_text(Debugger& d, const Breakpoint& record);

// After a debug session closes: every record of its procedure becomes inactive.
void breakpoints_session_closed(Debugger& d, uint32_t procedure_id);

// The decision at a stop (a state record without the finished flag): true when the run must
// go on because a conditional breakpoint's condition is not TRUE. An on-change stop gives the
// note "Значение V изменилось" and keeps the variable's name in d.last.
bool breakpoints_at_stop(Debugger& d, const ExecState& state);

}  // namespace tavrel
