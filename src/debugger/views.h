// The data of the debugger's views, without drawing: the locals of the selected context
// (PROC 15), the call stack with the selected context (PROC 14), and the monitor's watched
// expressions with their values, evaluated against the selected frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/records.h"
#include "values/value.h"
#include "values/value_wire.h"

namespace tavrel {

struct Debugger;

constexpr size_t STACK_ROWS_MAX = 200;
constexpr size_t MONITOR_MAX = 50;
constexpr size_t MONITOR_TEXT_MAX = 500;

struct LocalRow {
  uint16_t number;   // from 1; VARIABLE_NONE for the return value
  std::string name;  // CP866
  Value value;       // texts in Views::wire
};

struct Views {
  std::vector<LocalRow> locals;
  WireStore wire;                  // texts of the locals' values
  std::vector<StackEntry> stack;   // innermost first, at most STACK_ROWS_MAX
  size_t context = 0;              // the selected frame (0 = innermost)
  std::vector<std::string> monitor;  // watched expressions, CP866
};

// Fetches the stack and the locals again (a stop has set the context back to 0).
int views_refresh(Debugger& d);
// The stack of the current execution; the selected frame stays while the stack has it.
int stack_fetch(Debugger& d);
// The locals of the selected frame. A list too long for the answer is reported once per
// debug session and then shown empty.
int locals_fetch(Debugger& d);

// The procedure and execution of the selected frame (the current stop when the stack is
// empty); false when nothing is stopped.
bool context_frame(const Debugger& d, uint32_t* procedure_id, uint16_t* execution);

// Enter on a stack row: a different row becomes the context and its locals are fetched.
// DBG_NOTHING for the selected row or a row past the stack.
int stack_select(Debugger& d, size_t row);

// "{ NAME } = <typed form>".
std::string local_row_text(Debugger& d, const LocalRow& row);

// The monitor's list has one more row than expressions: the empty last row.
// Inserts an empty expression at a row (refused past the list or at 50 expressions).
int monitor_insert(Views& views, size_t row);
// Deletes the expression at a row (refused past the list or on the empty row).
int monitor_delete(Views& views, size_t row);
// Typing into a row: the empty last row appends (refused at 50 expressions), another row is
// replaced. The text is cut to 500 characters.
int monitor_set(Views& views, size_t row, std::string_view text);
// The value column of a row: the typed form, "Ошибка при вычислении" or "Попытка присвоения";
// empty for the empty last row.
std::string monitor_value(Debugger& d, size_t row);

// What a text evaluated in the selected frame gave (CP866).
struct TextValue {
  std::string form;        // the typed form, when it evaluated
  std::string failure;     // else "Ошибка при вычислении" or "Попытка присвоения"
  std::string diagnostic;  // the diagnostic's message, after a failed evaluation
};

// Evaluates a text against the selected frame.
int evaluate_text(Debugger& d, std::string_view text, TextValue* out);
// Assigns a variable of the selected frame the value of a text (read in the class of the
// variable's type); the locals are fetched again.
int assign_text(Debugger& d, std::string_view variable, std::string_view text, TextValue* out);

}  // namespace tavrel
