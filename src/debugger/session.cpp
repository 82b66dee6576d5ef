// The debugger's life and its debug sessions: binding to the main session, notes and error
// reports, opening and closing debug sessions (PROC 1 and 2), the check of the sessions after
// an aborted run, and procedure names by identifier.
#include <cstdio>
#include <cstring>

#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "debugger/texts.h"
#include "protocol/bytes.h"

namespace tavrel {

namespace {

// The name statements of the system tables: a procedure, else the trigger whose action it is.
constexpr const char* NAME_OF_PROCEDURE = "select $$$name from system.$$$proc where $$$id = %lu;";
constexpr const char* NAME_OF_TRIGGER = "select $$$name from system.$$$trig where $$$proc = %lu;";

// Runs a name statement on the main block; the name, empty when there is none.
std::string select_name(Debugger& d, const char* statement, uint32_t id, int* code) {
  char text[96];
  std::snprintf(text, sizeof text, statement, static_cast<unsigned long>(id));
  RequestBlock* b = d.block;
  std::memcpy(b->command, "SLCT", 4);
  b->answer_length = NAME_BYTES;
  std::memset(d.answer.data(), 0, NAME_BYTES);
  *code = static_cast<int>(d.calls.call(b, nullptr, text, nullptr, d.answer.data(), nullptr));
  std::memcpy(b->command, "PROC", 4);
  if (*code == static_cast<int>(KERNEL_NO_MORE_ROWS) || *code == static_cast<int>(KERNEL_NOT_FOUND)) *code = 0;
  if (*code != 0 || b->answer_length < NAME_BYTES) return {};
  return name_field_get({d.answer.data(), NAME_BYTES});
}

void close_locally(Debugger& d, DebugSession& s) {
  s.open = false;
  s.breakpoints = LineBitmap{};
  s.execution = 0;
  s.marked_line = -1;
  breakpoints_session_closed(d, s.procedure_id);
}

}  // namespace

void pause_until_answer(const DebugCalls&, RequestBlock* block, int milliseconds) {
  channel_wait_ms(block, milliseconds);
}

void debugger_init(Debugger& d, RequestBlock* block, std::string_view connect, std::string_view codepage) {
  d.block = block;
  if (block != nullptr) std::memcpy(block->command, "PROC", 4);
  d.connect.assign(connect);
  d.codepage.assign(codepage);
  // The texts of BIGINT and NUMERIC forms are carved from the stack memory's text pool, which
  // an evaluation would otherwise set up only later.
  stack_mem_setup(d.memory);
  string_pool_init(d.pool, &d.memory, STACK_TEXT_A);
  d.eval = EvalContext{};
  d.eval.strings = &d.pool;
  d.eval.rand_state = 1;
}

void debugger_shutdown(Debugger& d) {
  if (d.block != nullptr) handles_release(d);
  if (d.internal_open) {
    close_further_channel(d, &d.internal);
    d.internal_open = false;
  }
  d.views.locals.clear();
  d.views.wire.blocks.clear();
  d.wire.blocks.clear();
  stack_mem_teardown(d.memory);
}

void debugger_note(Debugger& d, NoteKind kind, std::string_view text, std::string_view detail) {
  if (d.sink == nullptr) return;
  DebugNote note{kind, text, detail};
  d.sink(d.sink_user, note);
}

void debugger_report(Debugger& d, uint32_t code, uint32_t system_code) {
  if (d.sink == nullptr) return;
  std::string text;
  if (code == KERNEL_DEBUGGER_ERROR) text = debugger_error_text(system_code);
  DebugNote note{NOTE_KERNEL_ERROR, text, {}};
  note.code = code;
  note.system_code = system_code;
  d.sink(d.sink_user, note);
}

DebugSession* session_find(Debugger& d, uint32_t procedure_id) {
  for (DebugSession& s : d.sessions) {
    if (s.used && s.procedure_id == procedure_id) return &s;
  }
  return nullptr;
}

DebugSession* session_find_name(Debugger& d, std::string_view name) {
  for (DebugSession& s : d.sessions) {
    if (s.used && s.name == name) return &s;
  }
  return nullptr;
}

std::string procedure_name(Debugger& d, uint32_t procedure_id) {
  if (const auto it = d.names.find(procedure_id); it != d.names.end()) return it->second;
  int code = 0;
  std::string name = select_name(d, NAME_OF_PROCEDURE, procedure_id, &code);
  if (code == 0 && name.empty()) name = select_name(d, NAME_OF_TRIGGER, procedure_id, &code);
  if (code != 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
  if (name.empty()) return std::to_string(procedure_id);
  d.names[procedure_id] = name;
  return name;
}

int session_open(Debugger& d, std::string_view name, uint32_t id, bool check_other, DebugSession** out) {
  DebugSession* s = id != 0 ? session_find(d, id) : session_find_name(d, name);
  if (s != nullptr && s->open) {
    if (out != nullptr) *out = s;
    return 0;
  }
  if (check_other && d.debugging) {
    debugger_note(d, NOTE_MESSAGE, debug_text(TXT_OTHER_DEBUGGED));
    return DBG_REFUSED;
  }
  uint32_t procedure_id = 0;
  const int code = request_open_session(d, id != 0 ? std::string_view{} : name, id, &procedure_id);
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
  if (code != 0) return code;
  // The slot of the procedure, else the first whose session is closed.
  s = session_find(d, procedure_id);
  if (s != nullptr && s->open) {  // known under another name
    if (out != nullptr) *out = s;
    return 0;
  }
  for (size_t i = 0; s == nullptr && i < d.sessions.size(); ++i) {
    if (!d.sessions[i].open) s = &d.sessions[i];
  }
  if (s == nullptr) return DBG_REFUSED;  // every slot holds an open session
  *s = DebugSession{};
  s->used = true;
  s->open = true;
  s->procedure_id = procedure_id;
  if (!name.empty() && id == 0) d.names[procedure_id] = std::string(name);
  s->name = procedure_name(d, procedure_id);
  if (out != nullptr) *out = s;
  return 0;
}

int session_close(Debugger& d, DebugSession& session) {
  if (!session.open) return DBG_NOTHING;
  if (session.marked_line >= 0) return DBG_REFUSED;
  const int code = request_close_session(d, session.procedure_id);
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
  if (code != 0) return code;
  close_locally(d, session);
  // Variable tables may change before the procedure is debugged again.
  handles_release(d);
  return 0;
}

void sessions_check(Debugger& d) {
  for (DebugSession& s : d.sessions) {
    if (!s.used || !s.open) continue;
    uint32_t id = 0;
    if (request_open_session(d, {}, s.procedure_id, &id) != 0) close_locally(d, s);
  }
}

}  // namespace tavrel
