// The views' data: the call stack and its selected context, the locals of that context, and
// the monitor's watched expressions with their values.
#include "debugger/views.h"

#include <algorithm>

#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "debugger/texts.h"
#include "translator/diagnostics.h"
#include "translator/value_form.h"

namespace tavrel {

namespace {

void report(Debugger& d, int code) {
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
}

}  // namespace

bool context_frame(const Debugger& d, uint32_t* procedure_id, uint16_t* execution) {
  const Views& v = d.views;
  if (v.context < v.stack.size()) {
    *procedure_id = v.stack[v.context].procedure_id;
    *execution = v.stack[v.context].execution_id;
    return true;
  }
  if (d.current_execution == EXECUTION_NONE) return false;
  *procedure_id = d.current_procedure;
  *execution = d.current_execution;
  return true;
}

int stack_fetch(Debugger& d) {
  d.views.stack.clear();
  if (d.current_execution == EXECUTION_NONE) {
    d.views.context = 0;
    return DBG_NOTHING;
  }
  std::vector<StackEntry> frames;
  const int code = request_call_stack(d, d.current_execution, &frames);
  report(d, code);
  if (frames.size() > STACK_ROWS_MAX) frames.resize(STACK_ROWS_MAX);
  d.views.stack = std::move(frames);
  // The selected frame stays while it exists; a stop sets it back to the innermost.
  if (d.views.context >= d.views.stack.size()) d.views.context = 0;
  return code;
}

int locals_fetch(Debugger& d) {
  Views& v = d.views;
  v.locals.clear();
  v.wire.blocks.clear();
  uint32_t procedure_id = 0;
  uint16_t execution = 0;
  if (!context_frame(d, &procedure_id, &execution)) return DBG_NOTHING;
  std::vector<LocalEntry> entries;
  const int code = request_locals(d, execution, &entries);
  if (code == static_cast<int>(CHANNEL_ANSWER_TOO_LONG)) {
    // A list longer than the answer is told once per debug session, then shown empty.
    DebugSession* s = session_find(d, procedure_id);
    if (s == nullptr || !s->locals_reported) report(d, code);
    if (s != nullptr) s->locals_reported = true;
    return code;
  }
  report(d, code);
  if (code != 0) return code;
  for (const LocalEntry& e : entries) {
    LocalRow row{e.number, e.name, Value{}};
    // A value of a type the client does not know is shown as having none.
    if (value_wire_get(e.value, &v.wire, &row.value) == 0) row.value = Value{};
    v.locals.push_back(std::move(row));
  }
  return 0;
}

int views_refresh(Debugger& d) {
  if (const int code = stack_fetch(d)) return code;
  return locals_fetch(d);
}

int stack_select(Debugger& d, size_t row) {
  Views& v = d.views;
  if (row >= v.stack.size() || row == v.context) return DBG_NOTHING;
  v.context = row;
  return locals_fetch(d);
}

std::string local_row_text(Debugger& d, const LocalRow& row) {
  pool_enter_level(d.pool);
  std::string text = "{ " + row.name + " } = " + typed_value_form(row.value, d.pool);
  pool_leave_level(d.pool);
  return text;
}

int monitor_insert(Views& views, size_t row) {
  if (row > views.monitor.size() || views.monitor.size() >= MONITOR_MAX) return DBG_REFUSED;
  views.monitor.insert(views.monitor.begin() + static_cast<std::ptrdiff_t>(row), std::string());
  return 0;
}

int monitor_delete(Views& views, size_t row) {
  if (row >= views.monitor.size()) return DBG_REFUSED;
  views.monitor.erase(views.monitor.begin() + static_cast<std::ptrdiff_t>(row));
  return 0;
}

int monitor_set(Views& views, size_t row, std::string_view text) {
  if (row > views.monitor.size()) return DBG_REFUSED;
  const std::string_view kept = text.substr(0, std::min(text.size(), MONITOR_TEXT_MAX));
  if (row == views.monitor.size()) {
    if (views.monitor.size() >= MONITOR_MAX) return DBG_REFUSED;
    views.monitor.emplace_back(kept);
  } else {
    views.monitor[row].assign(kept);
  }
  return 0;
}

namespace {

// Fills the failure of a text that did not give a value.
int text_failure(int code, const FrameValue& value, TextValue* out) {
  out->failure = debug_text(TXT_EVAL_FAILED);
  if (code == EVAL_FAILED) out->diagnostic = diagnostic_message(value.outcome.diagnostic);
  return code;
}

}  // namespace

int evaluate_text(Debugger& d, std::string_view text, TextValue* out) {
  *out = TextValue{};
  uint32_t procedure_id = 0;
  uint16_t execution = 0;
  if (!context_frame(d, &procedure_id, &execution)) return DBG_NOTHING;
  FrameValue value;
  const int code = evaluate_in_frame(d, procedure_id, execution, text, TYPE_NONE, &value);
  if (code != 0) return text_failure(code, value, out);
  if (value.outcome.assignment && value.type == TYPE_NONE) {
    out->failure = debug_text(TXT_ASSIGNMENT);
    return DBG_REFUSED;
  }
  out->form = std::move(value.form);
  return 0;
}

std::string monitor_value(Debugger& d, size_t row) {
  if (row >= d.views.monitor.size() || d.views.monitor[row].empty()) return {};
  TextValue value;
  evaluate_text(d, d.views.monitor[row], &value);
  return value.failure.empty() ? value.form : value.failure;
}

int assign_text(Debugger& d, std::string_view variable, std::string_view text, TextValue* out) {
  *out = TextValue{};
  uint32_t procedure_id = 0;
  uint16_t execution = 0;
  if (!context_frame(d, &procedure_id, &execution)) return DBG_NOTHING;
  VariableInfo info;
  if (const int code = variable_find(d, procedure_id, variable, &info)) return code;
  if (info.number == VARIABLE_NONE) {
    out->failure = debug_text(TXT_EVAL_FAILED);
    out->diagnostic = diagnostic_message(DIAG_BAD_IDENTIFIER);
    return DBG_REFUSED;
  }
  // The value is read in the class of the variable's type: the declared one when the kernel
  // tells it, else the type of the value it holds now.
  uint8_t type = info.type;
  if (type == TYPE_NONE) {
    Value now;
    if (const int code = variable_read(d, execution, info.number, &now)) return code;
    type = now.type == TYPE_NULL ? static_cast<uint8_t>(TYPE_NONE) : now.type;
  }
  FrameValue value;
  const int code = evaluate_in_frame(d, procedure_id, execution, text, type, &value);
  if (code != 0) return text_failure(code, value, out);
  if (value.outcome.assignment && value.type == TYPE_NONE) {
    out->failure = debug_text(TXT_ASSIGNMENT);
    return DBG_REFUSED;
  }
  if (const int sent = request_assign_variable(d, execution, info.number, value.wire)) {
    report(d, sent);
    return sent;
  }
  return locals_fetch(d);
}

}  // namespace tavrel
