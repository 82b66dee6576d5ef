// The manager's debugger: the program's one Debugger, bound to the main kernel session, and
// how what it says reaches the screen: lines of the Messages view, message boxes, the
// kernel-error report, the statement of a run the kernel refused, the box of a procedure that
// finished, and the small window of a waiting request that Esc interrupts. Also the line
// colours of source windows under debugging and the calculator's evaluation against the
// stopped execution.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "debugger/debugger.h"
#include "editor/editor.h"

namespace tavrel {

// The debugger (valid between start and stop).
Debugger& manager_debugger();
bool manager_debugger_started();
// Binds it to the main session's block and to the logon of further channels; what it says
// goes to the screen from now on.
void manager_debugger_start(RequestBlock* block, std::string_view connect, std::string_view codepage);
// Closes the internal channel and gives everything back.
void manager_debugger_stop();

// A procedure that ended during the last command is announced in a message box once the
// command is over (its lines are in the Messages view by then): shows it, if there is one.
void manager_show_finished();
// The text of that box, empty when none waits (for tests).
const std::string& manager_finished_text();

// The kernel-error report also goes to the Messages view while one is open.
void manager_messages_view_open(bool open);

// Called before the waiting request's window opens, so that the screen behind it is up to
// date (the banner of the run or wait in the Messages view).
void manager_set_before_wait(void (*hook)());

// The waiting request's window and its Esc, as the debugger polls them; exposed so that
// tests can drive them.
void manager_wait_shown(void* user, bool visible);
bool manager_interrupt_wanted(void* user);

// The attribute of a line of a source window: the colour of a line that holds a
// breakpoint in the window's debug session, else 0 (the editor's own colours).
uint8_t debug_line_attr(const Editor* editor, int line);

// Shift+F9 while an execution is stopped: the text is evaluated against the selected frame;
// "NAME := expression" assigns the variable in the execution. False when nothing is stopped
// (the ordinary calculator answers then); *assigned tells that a variable changed.
bool debug_calculate(std::string_view formula, std::string* result, bool* assigned);

}  // namespace tavrel
