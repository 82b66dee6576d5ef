// The breakpoint table and its requests: wire forms of set and clear (with the numbers of
// the variables a condition or an on-change breakpoint names), the toggle on a line, the
// acceptance of an edited record, deletion, the list's rows, and the decision at a stop.
#include "debugger/breakpoints.h"

#include <algorithm>
#include <cstring>

#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "debugger/texts.h"
#include "text/codepage.h"

namespace tavrel {

namespace {

bool marks_lines(uint8_t kind) { return kind == BREAKPOINT_LINE || kind == BREAKPOINT_CONDITION; }

std::string upper_cp866(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(CP866_UPPER[static_cast<uint8_t>(c)]);
  return out;
}

std::string trim_right(std::string text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

// Sets or clears the mark of a line in every session of a procedure.
void mark_sessions(Debugger& d, uint32_t procedure_id, uint32_t line, bool on) {
  for (DebugSession& s : d.sessions) {
    if (s.used && s.open && s.procedure_id == procedure_id) line_mark(&s.breakpoints, line, on);
  }
}

void report(Debugger& d, int code) {
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
}

// Whether a change of a record alters where or how the kernel stops for it.
bool changes_stop(const Breakpoint& old, const Breakpoint& edited) {
  const bool old_change = old.kind == BREAKPOINT_CHANGE;
  const bool new_change = edited.kind == BREAKPOINT_CHANGE;
  return old.procedure_id != edited.procedure_id || old.line != edited.line || old_change != new_change ||
         (new_change && old.text != edited.text);
}

}  // namespace

bool line_marked(const LineBitmap& bitmap, uint32_t line) {
  return line < BITMAP_LINES && (bitmap.bits[line / 8] & (1u << (line % 8))) != 0;
}

void line_mark(LineBitmap* bitmap, uint32_t line, bool on) {
  if (line >= BITMAP_LINES) return;
  const auto bit = static_cast<uint8_t>(1u << (line % 8));
  if (on) bitmap->bits[line / 8] |= bit;
  else bitmap->bits[line / 8] &= static_cast<uint8_t>(~bit);
}

int breakpoint_send(Debugger& d, const Breakpoint& record, uint32_t subcommand, uint16_t number) {
  BreakpointRequest request;
  request.line = record.line;
  request.kind = record.kind;
  request.number = subcommand == PROC_SET_BREAKPOINT ? number : 0;
  if (record.kind == BREAKPOINT_CHANGE) {
    VariableInfo variable;
    const int code = variable_find(d, record.procedure_id, record.text, &variable);
    if (code != 0) return code;
    if (variable.number == VARIABLE_NONE) return DBG_REFUSED;
    request.variables.push_back(variable.number);
  } else if (record.kind == BREAKPOINT_CONDITION && subcommand == PROC_SET_BREAKPOINT) {
    std::vector<uint16_t> numbers;
    const int code = condition_variables(d, record.procedure_id, upper_cp866(record.text), &numbers);
    if (code > 0) return code;
    if (code != 0 || numbers.empty()) {
      debugger_note(d, NOTE_MESSAGE, debug_text(TXT_CONDITION_ERROR));
      return DBG_REFUSED;
    }
    for (uint16_t n : numbers) request.variables.push_back(static_cast<uint16_t>(n + VARIABLE_NUMBER_OFFSET));
  }
  const int code = request_breakpoint(d, subcommand, record.procedure_id, request);
  report(d, code);
  return code;
}

int breakpoint_toggle(Debugger& d, DebugSession& session, uint32_t line) {
  if (!session.open) return DBG_NOTHING;
  BreakpointTable& table = d.breakpoints;
  const uint32_t procedure = session.procedure_id;
  const auto at_line = [&](const Breakpoint& b, bool active_only) {
    return b.procedure_id == procedure && b.line == line && marks_lines(b.kind) && (b.active || !active_only);
  };
  int code = 0;
  if (!line_marked(session.breakpoints, line)) {
    const auto found = std::find_if(table.begin(), table.end(), [&](const Breakpoint& b) { return at_line(b, false); });
    if (found == table.end()) {
      if (table.size() >= BREAKPOINTS_MAX) return DBG_REFUSED;
      const Breakpoint record{true, procedure, line, BREAKPOINT_LINE, {}};
      code = breakpoint_send(d, record, PROC_SET_BREAKPOINT, 0);
      if (code == 0) table.push_back(record);
    } else if (found->kind == BREAKPOINT_LINE && !found->active) {
      code = breakpoint_send(d, *found, PROC_SET_BREAKPOINT, 0);
      if (code == 0) found->active = true;
    }
  } else {
    const auto found = std::find_if(table.begin(), table.end(), [&](const Breakpoint& b) { return at_line(b, true); });
    if (found == table.end()) {
      code = breakpoint_send(d, Breakpoint{true, procedure, line, BREAKPOINT_LINE, {}}, PROC_CLEAR_BREAKPOINT, 0);
    } else {
      code = breakpoint_send(d, *found, PROC_CLEAR_BREAKPOINT, 0);
      if (code == 0) table.erase(found);
    }
  }
  if (code == 0) line_mark(&session.breakpoints, line, !line_marked(session.breakpoints, line));
  return code;
}

int breakpoint_duplicate(const BreakpointTable& table, const Breakpoint& record, int except) {
  for (size_t i = 0; i < table.size(); ++i) {
    const Breakpoint& b = table[i];
    if (static_cast<int>(i) == except || b.kind != record.kind || b.procedure_id != record.procedure_id) continue;
    if (record.kind == BREAKPOINT_LINE && b.line == record.line) return static_cast<int>(i);
    if (record.kind == BREAKPOINT_CONDITION && b.line == record.line && b.text == record.text) return static_cast<int>(i);
    if (record.kind == BREAKPOINT_CHANGE && b.text == record.text) return static_cast<int>(i);
  }
  return -1;
}

int breakpoint_accept(Debugger& d, int index, Breakpoint edited, int* row) {
  BreakpointTable& table = d.breakpoints;
  const bool is_new = index < 0 || static_cast<size_t>(index) >= table.size();
  if (is_new && table.size() >= BREAKPOINTS_MAX) return DBG_REFUSED;
  edited.text = edited.kind == BREAKPOINT_LINE ? std::string() : trim_right(std::move(edited.text));
  const size_t position = is_new ? table.size() : static_cast<size_t>(index);
  if (row != nullptr) *row = static_cast<int>(position);
  if (!is_new) {
    const Breakpoint& old = table[position];
    if (old.procedure_id == edited.procedure_id && old.kind == edited.kind && old.line == edited.line &&
        (old.kind == BREAKPOINT_LINE || old.text == edited.text)) {
      return 0;
    }
  }
  if (breakpoint_duplicate(table, edited, is_new ? -1 : static_cast<int>(position)) >= 0) {
    debugger_note(d, NOTE_MESSAGE, debug_text(TXT_DUPLICATE));
    return DBG_REFUSED;
  }
  const Breakpoint old = is_new ? Breakpoint{} : table[position];
  bool cleared = false;
  if (!is_new && old.active && changes_stop(old, edited)) {
    if (const int code = breakpoint_send(d, old, PROC_CLEAR_BREAKPOINT, 0)) return code;
    cleared = true;
  }
  if (is_new || old.active) {
    const int code = breakpoint_send(d, edited, PROC_SET_BREAKPOINT, static_cast<uint16_t>(position + 1));
    if (code != 0) {
      // The old record stays; one whose old form was cleared is no longer in force.
      if (cleared) {
        table[position].active = false;
        if (marks_lines(old.kind)) mark_sessions(d, old.procedure_id, old.line, false);
      }
      return code;
    }
    edited.active = true;
  } else {
    edited.active = false;
  }
  if (!is_new && old.active && marks_lines(old.kind)) mark_sessions(d, old.procedure_id, old.line, false);
  if (edited.active && marks_lines(edited.kind)) mark_sessions(d, edited.procedure_id, edited.line, true);
  if (is_new) table.push_back(std::move(edited));
  else table[position] = std::move(edited);
  return 0;
}

int breakpoint_set_active(Debugger& d, size_t row, bool active) {
  if (row >= d.breakpoints.size()) return DBG_NOTHING;
  Breakpoint& b = d.breakpoints[row];
  if (b.active == active) return 0;
  const int code = active ? breakpoint_send(d, b, PROC_SET_BREAKPOINT, static_cast<uint16_t>(row + 1))
                          : breakpoint_send(d, b, PROC_CLEAR_BREAKPOINT, 0);
  if (code != 0) return code;
  b.active = active;
  if (marks_lines(b.kind)) mark_sessions(d, b.procedure_id, b.line, active);
  return 0;
}

int breakpoint_delete(Debugger& d, size_t row) {
  if (row >= d.breakpoints.size()) return DBG_NOTHING;
  const Breakpoint b = d.breakpoints[row];
  if (b.active) {
    if (const int code = breakpoint_send(d, b, PROC_CLEAR_BREAKPOINT, 0)) return code;
  }
  if (marks_lines(b.kind)) mark_sessions(d, b.procedure_id, b.line, false);
  d.breakpoints.erase(d.breakpoints.begin() + static_cast<std::ptrdiff_t>(row));
  return 0;
}

const char* breakpoint_mark(const Breakpoint& record) { return record.active ? "X" : " "; }

std::string breakpoint_row_text(Debugger& d, const Breakpoint& record) {
  const std::string name = procedure_name(d, record.procedure_id);
  const std::string line = std::to_string(static_cast<unsigned long>(record.line) + 1);
  switch (record.kind) {
    case BREAKPOINT_CONDITION: return name + ":" + line + "(" + record.text + ")";
    case BREAKPOINT_CHANGE: return name + ":(" + record.text + ")";
    default: return name + ":" + line;
  }
}

void breakpoints_session_closed(Debugger& d, uint32_t procedure_id) {
  for (Breakpoint& b : d.breakpoints) {
    if (b.procedure_id == procedure_id) b.active = false;
  }
}

bool breakpoints_at_stop(Debugger& d, const ExecState& state) {
  if ((state.flags & EXEC_AT_BREAKPOINT) == 0 || state.breakpoint == 0) return false;
  const size_t row = state.breakpoint - 1u;
  if (row >= d.breakpoints.size()) return false;
  const Breakpoint& b = d.breakpoints[row];
  if (b.kind == BREAKPOINT_CHANGE) {
    d.last.changed_variable = b.text;
    debugger_note(d, NOTE_VALUE_CHANGED, debug_text_with(TXT_VALUE_CHANGED, b.text));
    return false;
  }
  if (b.kind != BREAKPOINT_CONDITION) return false;
  FrameValue value;
  const std::string condition = b.text;
  const int code = evaluate_in_frame(d, state.procedure_id, state.execution_id, condition, TYPE_NONE, &value);
  // A request that failed was reported: the execution stays where it is. Otherwise only a
  // LOGICAL TRUE keeps it stopped; a condition that does not evaluate goes on like FALSE.
  if (code > 0) return false;
  return !(code == 0 && value.truth);
}

}  // namespace tavrel
