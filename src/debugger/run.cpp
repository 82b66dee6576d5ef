// Running under the debugger: the requests that move an execution (execute a statement, step,
// trace, run, run to return, run to a line, wait for a call, catch any), the processing of
// the state record each of them answers with (finished, exception, the stopped procedure's
// session, the breakpoint decision that may ask to go on), Stop, abort, and what follows an
// interrupted wait.
#include <cstdio>
#include <cstring>

#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "debugger/texts.h"
#include "protocol/bytes.h"
#include "translator/value_form.h"

namespace tavrel {

namespace {

void clear_marks(Debugger& d) {
  for (DebugSession& s : d.sessions) s.marked_line = -1;
}

void no_execution(Debugger& d) {
  d.current_execution = EXECUTION_NONE;
  d.current_procedure = 0;
  for (DebugSession& s : d.sessions) {
    s.execution = 0;
    s.marked_line = -1;
  }
}

// The answer in the work buffer, kept: the requests that follow reuse the buffer.
std::vector<uint8_t> answer_copy(const Debugger& d) {
  const size_t length = std::min<size_t>(d.block->answer_length, d.answer.size());
  return std::vector<uint8_t>(d.answer.begin(), d.answer.begin() + static_cast<std::ptrdiff_t>(length));
}

// The messages the debugged executions printed since the last request.
void show_printed(Debugger& d, uint32_t procedure_id) {
  std::vector<std::string> messages;
  const int code = request_printed(d, procedure_id, &messages);
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
  for (const std::string& m : messages) debugger_note(d, NOTE_PRINTED, m);
}

// The end of a procedure: a finished state record, or the answer of a Stop.
void show_ended(Debugger& d, const ExecState& state, std::span<const uint8_t> result) {
  d.debugging = false;
  d.started = false;
  no_execution(d);
  // What the notes tell is in d.last before the first of them goes out.
  d.last.outcome = RUN_FINISHED;
  d.last.state = state;
  d.last.procedure = procedure_name(d, state.procedure_id);
  if (!result.empty()) {
    Value v;
    d.wire.blocks.clear();
    if (value_wire_get(result, &d.wire, &v) != 0) {
      pool_enter_level(d.pool);
      d.last.result_form = typed_value_form(v, d.pool);
      pool_leave_level(d.pool);
      d.last.has_result = true;
    }
  }
  debugger_note(d, NOTE_LINE, debug_text(TXT_SEPARATOR));
  debugger_note(d, NOTE_FINISHED, debug_text_with(TXT_FINISHED, d.last.procedure));
  if (state.exception != 0) {
    debugger_note(d, NOTE_EXCEPTION, debug_text(TXT_EXCEPTION_PASSED) + exception_text(state.exception));
  }
  if (d.last.has_result) debugger_note(d, NOTE_RETURN_VALUE, debug_text(TXT_RETURN_VALUE), d.last.result_form);
}

// Processes the answer of a request that moved an execution. *go_on tells that the debugger
// must go on with a run because a conditional breakpoint's condition does not hold. Returns
// the request's code, or 1002 for an answer shorter than a state record.
int process_state(Debugger& d, int code, bool* go_on) {
  *go_on = false;
  d.debugging = true;
  d.last = LastStop{};
  d.last.outcome = RUN_FAILED;
  ExecState state{};
  const std::vector<uint8_t> answer = code == 0 ? answer_copy(d) : std::vector<uint8_t>{};
  if (code == 0 && exec_state_read(answer, &state) != 0) {
    code = static_cast<int>(CHANNEL_EXCHANGE_FAILED);
    d.block->system_code = 0;
  }
  if (code != 0) {
    const uint32_t number = d.block->system_code;
    if (code > 0) debugger_report(d, static_cast<uint32_t>(code), number);
    if (code != static_cast<int>(KERNEL_DEBUGGER_ERROR) || number == DEBUGGER_SESSION_NOT_OPEN ||
        number == DEBUGGER_NOT_WAITING) {
      no_execution(d);
    }
    d.debugging = false;
    d.started = false;
    return code;
  }
  show_printed(d, state.procedure_id);
  if ((state.flags & EXEC_FINISHED) != 0) {
    show_ended(d, state, exec_state_result(answer));
    return 0;
  }
  if (state.exception != 0) {
    debugger_note(d, NOTE_EXCEPTION, debug_text(TXT_EXCEPTION_STATE) + exception_text(state.exception));
  }
  d.current_execution = state.execution_id;
  d.current_procedure = state.procedure_id;
  DebugSession* session = session_find(d, state.procedure_id);
  if (session == nullptr || !session->open) session_open(d, {}, state.procedure_id, false, &session);
  if (session != nullptr && session->open) {
    session->execution = state.execution_id;
    session->marked_line = static_cast<int32_t>(state.line);
  }
  d.views.stack.clear();
  d.views.context = 0;
  d.last.outcome = RUN_STOPPED;
  d.last.state = state;
  d.last.procedure = procedure_name(d, state.procedure_id);
  *go_on = breakpoints_at_stop(d, state);
  return 0;
}

// After the person ended a wait: the banner, no current execution, and a run that this
// program started is aborted.
int after_interruption(Debugger& d) {
  debugger_note(d, NOTE_LINE, debug_text(TXT_INTERRUPTED));
  const uint16_t execution = d.current_execution;
  no_execution(d);
  d.debugging = false;
  if (d.started) {
    d.started = false;
    if (execution != EXECUTION_NONE) {
      const int code = request_abort(d, execution);
      if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
    }
    sessions_check(d);
  }
  d.last = LastStop{};
  d.last.outcome = RUN_INTERRUPTED;
  return DBG_INTERRUPTED;
}

bool is_start(uint32_t subcommand) {
  return subcommand == PROC_EXECUTE || subcommand == PROC_WAIT_FOR_CALL || subcommand == PROC_CATCH_ANY;
}

// Sends a request that moves an execution through the waiting request and processes its
// state record; while processing asks to go on, the same step (a run after a start) is sent
// again for the execution of the new record.
int move(Debugger& d, uint32_t subcommand, uint32_t argument, std::span<const uint8_t> data) {
  for (;;) {
    clear_marks(d);
    bool interrupted = false;
    const int sent = proc_call_waiting(d, subcommand, argument, data, PROC_ANSWER, &interrupted);
    if (interrupted) return after_interruption(d);
    bool go_on = false;
    if (const int code = process_state(d, sent, &go_on); code != 0 || !go_on) return code;
    if (is_start(subcommand)) subcommand = PROC_RUN;
    argument = d.current_execution;
    data = {};
  }
}

}  // namespace

int debugger_run(Debugger& d, DebugSession& session, std::string_view statement) {
  if (session.execution > 0 && d.current_execution != EXECUTION_NONE) {
    return move(d, PROC_RUN, d.current_execution, {});
  }
  if (d.debugging) {
    debugger_note(d, NOTE_MESSAGE, debug_text(TXT_OTHER_DEBUGGED));
    return DBG_REFUSED;
  }
  if (!session.open) {
    if (const int code = session_open(d, session.name, session.procedure_id, false, nullptr)) return code;
  }
  if (statement.size() > PROC_ANSWER - PROC_EXECUTE_HEAD) return DBG_TOO_LONG;
  if (!d.internal_open) {
    const int code = open_further_channel(d, &d.internal);
    if (code != 0) {
      debugger_report(d, static_cast<uint32_t>(code), d.internal.system_code);
      return code;
    }
    d.internal_open = true;
  }
  std::vector<uint8_t> data(PROC_EXECUTE_HEAD);
  put_u16(data.data(), d.internal.channel);
  put_u16(data.data() + 2, static_cast<uint32_t>(statement.size()));
  data.insert(data.end(), statement.begin(), statement.end());
  debugger_note(d, NOTE_LINE, debug_text(TXT_EXECUTING));

  clear_marks(d);
  bool interrupted = false;
  const int code = proc_call_waiting(d, PROC_EXECUTE, session.procedure_id, data, PROC_ANSWER, &interrupted);
  if (interrupted) return after_interruption(d);
  if (code >= static_cast<int>(KERNEL_STATEMENT_FIRST) && code <= static_cast<int>(KERNEL_STATEMENT_LAST)) {
    // The statement itself is wrong: the system code carries the position times 65,536.
    char text[128];
    std::snprintf(text, sizeof text, debug_text(TXT_QUERY_ERROR), code);
    DebugNote note{NOTE_QUERY_ERROR, text, statement};
    note.code = static_cast<uint32_t>(code);
    note.position = d.block->system_code / 65536;
    if (d.sink != nullptr) d.sink(d.sink_user, note);
    d.last = LastStop{};
    d.last.outcome = RUN_FAILED;
    return code;
  }
  if (code != 0) {
    if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
    d.last = LastStop{};
    d.last.outcome = RUN_FAILED;
    return code;
  }
  d.started = true;
  bool go_on = false;
  if (const int processed = process_state(d, 0, &go_on); processed != 0 || !go_on) return processed;
  return move(d, PROC_RUN, d.current_execution, {});
}

int debugger_step(Debugger& d, uint32_t subcommand) {
  if (d.current_execution == EXECUTION_NONE) return DBG_NOTHING;
  return move(d, subcommand, d.current_execution, {});
}

int debugger_run_to_line(Debugger& d, DebugSession& session, uint32_t line) {
  if (!session.open || d.current_execution == EXECUTION_NONE) return DBG_NOTHING;
  const int code = request_temp_breakpoint(d, session.procedure_id, line, true);
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
  if (code != 0) return code;
  return move(d, PROC_RUN, d.current_execution, {});
}

int debugger_wait_for(Debugger& d, DebugSession& session) {
  if (session.execution > 0) return DBG_NOTHING;
  if (d.debugging) {
    debugger_note(d, NOTE_MESSAGE, debug_text(TXT_OTHER_DEBUGGED));
    return DBG_REFUSED;
  }
  if (!session.open) {
    if (const int code = session_open(d, session.name, session.procedure_id, false, nullptr)) return code;
  }
  debugger_note(d, NOTE_LINE, debug_text(TXT_WAITING));
  return move(d, PROC_WAIT_FOR_CALL, session.procedure_id, {});
}

int debugger_catch_any(Debugger& d) {
  debugger_note(d, NOTE_LINE, debug_text(TXT_WAITING));
  return move(d, PROC_CATCH_ANY, 0, {});
}

int debugger_stop(Debugger& d) {
  if (d.current_execution == EXECUTION_NONE) return DBG_NOTHING;
  clear_marks(d);
  const int code = proc_call(d, PROC_STOP, d.current_execution, {}, PROC_ANSWER);
  if (code != 0) {
    if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
    if (code != static_cast<int>(KERNEL_DEBUGGER_ERROR)) {
      d.debugging = false;
      d.started = false;
    }
    return code;
  }
  const std::vector<uint8_t> answer = answer_copy(d);
  ExecState state;
  if (exec_state_read(answer, &state) != 0) {
    debugger_report(d, CHANNEL_EXCHANGE_FAILED, 0);
    return static_cast<int>(CHANNEL_EXCHANGE_FAILED);
  }
  d.last = LastStop{};
  show_printed(d, state.procedure_id);
  show_ended(d, state, exec_state_result(answer));
  return 0;
}

int debugger_abort(Debugger& d, uint16_t execution) {
  const int code = request_abort(d, execution);
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
  if (code != 0) return code;
  if (execution == d.current_execution) {
    no_execution(d);
    d.debugging = false;
    d.started = false;
  }
  sessions_check(d);
  return 0;
}

}  // namespace tavrel
