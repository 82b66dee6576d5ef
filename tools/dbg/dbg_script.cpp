// The commands of tavrel-dbg. Names, conditions and values are read from UTF-8 lines into the
// debugger's CP866; everything printed goes back to UTF-8. Lines are counted from 1 here, as
// a person counts them; the debugger counts from 0.
#include "dbg_script.h"

#include <cctype>
#include <charconv>
#include <cstring>

#include "debugger/requests.h"
#include "kernel/errors.h"
#include "protocol/codes.h"
#include "text/unicode.h"
#include "translator/builtins.h"

namespace tavrel {

namespace {

constexpr const char* USAGE =
    "usage: tavrel-dbg [-N NODE] -U USER/PASSWORD [-x FILE]\n"
    "Debugs stored procedures on a kernel. Commands come from FILE or standard input, one a line\n"
    "(an empty line or one starting with # is skipped); lines are counted from 1:\n"
    "  open P                 open a debug session for procedure P\n"
    "  close P                close it (not while P is stopped)\n"
    "  break P LINE [if COND] breakpoint at a line, conditional with COND\n"
    "  watch P VARIABLE       breakpoint on a change of VARIABLE's value\n"
    "  breaks                 the breakpoints: N, X when active, P:LINE[(COND)] or P:(VARIABLE)\n"
    "  delete N               delete breakpoint N\n"
    "  run STATEMENT          run a statement under the debugger, e.g. run execute \"P\"(3);\n"
    "  wait P                 wait until P is called from any session\n"
    "  catch                  catch any procedure with an open debug session\n"
    "  step | trace | finish | continue\n"
    "                         step over calls, step into calls, run to return, run on\n"
    "  until LINE             run to a line of the stopped procedure\n"
    "  stop                   stop the execution\n"
    "  locals                 the variables of the selected frame: { NAME } = VALUE (TYPE)\n"
    "  stack                  the call stack, innermost first: #K P line L\n"
    "  frame K                select frame K of the stack\n"
    "  print EXPRESSION       evaluate an expression in the selected frame\n"
    "  set VARIABLE VALUE     assign a variable of the selected frame\n"
    "  active                 active executions: ID P STATE QUANTA CALLER\n"
    "  abort ID               abort execution ID\n"
    "  quit                   leave\n"
    "After a command that moves an execution: \"stopped P line L [breakpoint N]\",\n"
    "\"Значение V изменилось\", or \"finished P\" and \"Возвращаемое значение: VALUE (TYPE)\".\n"
    "Printed messages: \"*** Message from Stored Procedure: TEXT\". Ctrl+C ends a wait.\n"
    "Errors: \"error CODE: TEXT\" on standard error. Exit status 0, 1 after a failed command,\n"
    "2 for bad arguments.\n";

// Appends a line of CP866 text, converted.
void say(std::string* stream, std::string_view cp866) {
  *stream += cp866_to_utf8(cp866);
  *stream += '\n';
}

// A message of the catalogue on one line: its "%%" breaks become blanks.
std::string one_line(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') {
      if (!out.empty() && out.back() != ' ') out += ' ';
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

void fail(DbgTool& t, std::string_view cp866) {
  say(&t.err, "error: " + std::string(cp866));
  t.command_failed = true;
}

// The channel's own codes, which no kernel can explain.
const char* channel_text(uint32_t code) {
  switch (code) {
    case CHANNEL_UNKNOWN_COMMAND: return "Неизвестная команда";
    case CHANNEL_NOT_REACHED: return "Ядро СУБД недоступно";
    case CHANNEL_EXCHANGE_FAILED: return "Сбой обмена с ядром СУБД";
    case CHANNEL_SEND_FAILED: return "Запрос не передан ядру СУБД";
    case CHANNEL_CONNECTION_LOST: return "Связь с ядром СУБД потеряна";
    case CHANNEL_ANSWER_TOO_LONG: return "Ответ не помещается в буфер";
    case CHANNEL_MISSING_BUFFER: return "Не задан буфер запроса";
    default: return nullptr;
  }
}

// The text of a kernel or channel code: the kernel's own (GETE), else the texts it is known to give.
std::string code_text(DbgTool& t, uint32_t code) {
  if (const char* text = channel_text(code)) return text;
  Debugger& d = *t.d;
  if (d.block != nullptr) {
    RequestBlock b = *d.block;
    std::memcpy(b.command, "GETE", 4);
    b.position = code;
    b.answer_length = GETE_ANSWER;
    std::string text(GETE_ANSWER, '\0');
    if (d.calls.call(&b, nullptr, nullptr, nullptr, text.data(), nullptr) == 0 && b.answer_length != 0) {
      text.resize(b.answer_length);
      return cp866_to_utf8(text);
    }
  }
  if (const char* text = kernel::kernel_error_text(code)) return text;
  return "Неизвестная ошибка";
}

void on_note(void* user, const DebugNote& note) {
  auto& t = *static_cast<DbgTool*>(user);
  switch (note.kind) {
    case NOTE_LINE: break;  // banners belong to a Messages view
    case NOTE_FINISHED: say(&t.out, "finished " + t.d->last.procedure); break;
    case NOTE_EXCEPTION:
    case NOTE_VALUE_CHANGED: say(&t.out, note.text); break;
    case NOTE_RETURN_VALUE: say(&t.out, std::string(note.text) + ": " + std::string(note.detail)); break;
    case NOTE_PRINTED: say(&t.out, std::string(PRINT_HEAD) + std::string(note.text)); break;
    case NOTE_MESSAGE: fail(t, one_line(note.text)); break;
    case NOTE_KERNEL_ERROR: {
      const std::string head = "error " + std::to_string(note.code) + ": ";
      if (!note.text.empty()) say(&t.err, head + one_line(note.text));
      else t.err += head + code_text(t, note.code) + "\n";
      t.command_failed = true;
      break;
    }
    case NOTE_QUERY_ERROR:
      say(&t.err, "error " + std::to_string(note.code) + ": " + std::string(note.text) + " at " +
                      std::to_string(note.position) + ": " + std::string(note.detail));
      t.command_failed = true;
      break;
  }
}

// --- Reading a command line ---------------------------------------------------------------

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trim(std::string_view s) {
  while (!s.empty() && is_blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_blank(s.back())) s.remove_suffix(1);
  return s;
}

// The next word (a name in double quotes keeps its blanks, without the quotes); the rest
// stays in *s.
std::string next_word(std::string_view* s) {
  *s = trim(*s);
  std::string word;
  if (!s->empty() && s->front() == '"') {
    const size_t end = s->find('"', 1);
    const size_t stop = end == std::string_view::npos ? s->size() : end;
    word.assign(s->substr(1, stop - 1));
    s->remove_prefix(std::min(s->size(), stop + 1));
    return word;
  }
  size_t n = 0;
  while (n < s->size() && !is_blank((*s)[n])) ++n;
  word.assign(s->substr(0, n));
  s->remove_prefix(n);
  return word;
}

bool read_number(std::string_view text, long long low, long long high, long long* out) {
  text = trim(text);
  long long v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || v < low || v > high) return false;
  *out = v;
  return true;
}

bool equal_words(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

// The procedure an "execute" statement runs: the name after the word execute.
std::string executed_name(std::string_view statement) {
  std::string_view s = statement;
  if (!equal_words(next_word(&s), "execute")) return {};
  s = trim(s);
  if (!s.empty() && s.front() == '"') return next_word(&s);
  size_t n = 0;
  while (n < s.size() && !is_blank(s[n]) && s[n] != '(' && s[n] != ';') ++n;
  return std::string(s.substr(0, n));
}

// --- Commands -------------------------------------------------------------------------------

// The session of a procedure, opened when needed.
DebugSession* session_for(DbgTool& t, const std::string& name) {
  if (name.empty()) {
    fail(t, "a procedure name is missing");
    return nullptr;
  }
  DebugSession* s = nullptr;
  if (session_open(*t.d, name, 0, false, &s) != 0) {
    t.command_failed = true;
    return nullptr;
  }
  return s;
}

// The line that tells where a run or a step ended (the notes said the rest).
void tell_outcome(DbgTool& t, int code) {
  const LastStop& last = t.d->last;
  if (code == DBG_NOTHING) fail(t, "no execution is stopped in the debugger");
  if (code == DBG_TOO_LONG) fail(t, "the statement is too long");
  if (code == DBG_INTERRUPTED) {
    say(&t.out, "interrupted");
    t.command_failed = true;
  } else if (code == 0 && last.outcome == RUN_STOPPED && last.changed_variable.empty()) {
    std::string line = "stopped " + last.procedure + " line " + std::to_string(last.state.line + 1ull);
    if ((last.state.flags & EXEC_AT_BREAKPOINT) != 0 && last.state.breakpoint != 0) {
      line += " breakpoint " + std::to_string(last.state.breakpoint);
    }
    say(&t.out, line);
  }
  if (code != 0) t.command_failed = true;
}

std::string frame_line(DbgTool& t, size_t k) {
  const StackEntry& e = t.d->views.stack[k];
  return "#" + std::to_string(k) + " " + procedure_name(*t.d, e.procedure_id) + " line " +
         std::to_string(e.line + 1ull);
}

void add_breakpoint(DbgTool& t, std::string_view rest, uint8_t kind) {
  const std::string name = next_word(&rest);
  Breakpoint b;
  b.kind = kind;
  if (kind == BREAKPOINT_CHANGE) {
    b.text = std::string(trim(rest));
    if (b.text.empty()) return fail(t, "watch needs a variable");
  } else {
    const std::string line = next_word(&rest);
    long long number = 0;
    if (!read_number(line, 1, 0xFFFFFFFFll, &number)) return fail(t, "a line number from 1 is needed");
    b.line = static_cast<uint32_t>(number - 1);
    rest = trim(rest);
    if (!rest.empty()) {
      std::string_view words = rest;
      if (!equal_words(next_word(&words), "if") || trim(words).empty()) return fail(t, "expected: if CONDITION");
      b.kind = BREAKPOINT_CONDITION;
      b.text = std::string(trim(words));
    }
  }
  DebugSession* s = session_for(t, name);
  if (s == nullptr) return;
  b.procedure_id = s->procedure_id;
  int row = 0;
  if (breakpoint_accept(*t.d, -1, b, &row) != 0) {
    t.command_failed = true;
    return;
  }
  say(&t.out, "breakpoint " + std::to_string(row + 1));
}

void list_breakpoints(DbgTool& t) {
  const BreakpointTable& table = t.d->breakpoints;
  for (size_t i = 0; i < table.size(); ++i) {
    say(&t.out, std::to_string(i + 1) + " " + breakpoint_mark(table[i]) + " " + breakpoint_row_text(*t.d, table[i]));
  }
}

void list_active(DbgTool& t) {
  if (active_fetch(*t.d, &t.active) > 0) t.command_failed = true;
  ActiveRow row;
  for (size_t i = 0; active_row_text(*t.d, t.active, i, &row) == 1; ++i) {
    say(&t.out, row.id + " " + row.name + " " + row.state + " " + row.quanta + " " + row.caller);
  }
}

void run_statement(DbgTool& t, std::string_view statement) {
  statement = trim(statement);
  if (statement.empty()) return fail(t, "run needs a statement");
  const std::string name = executed_name(statement);
  DebugSession* s = name.empty() ? nullptr : session_find_name(*t.d, name);
  if (s == nullptr && name.empty()) return fail(t, "run needs an execute statement: execute \"P\"(...);");
  if (s == nullptr || !s->open) s = session_for(t, name);
  if (s == nullptr) return;
  tell_outcome(t, debugger_run(*t.d, *s, statement));
}

void select_frame(DbgTool& t, std::string_view rest) {
  long long k = 0;
  if (!read_number(rest, 0, STACK_ROWS_MAX - 1, &k)) return fail(t, "frame needs a frame number from 0");
  if (t.d->views.stack.empty() && stack_fetch(*t.d) != 0) {
    t.command_failed = true;
    return;
  }
  const auto row = static_cast<size_t>(k);
  if (row >= t.d->views.stack.size()) return fail(t, "no such frame");
  const int code = stack_select(*t.d, row);
  if (code != 0 && code != DBG_NOTHING) t.command_failed = true;
  say(&t.out, frame_line(t, row));
}

// A failed evaluation as an error line: the failure, then the diagnostic's message.
void fail_value(DbgTool& t, int code, const TextValue& value) {
  if (code == DBG_NOTHING) return fail(t, "no execution is stopped in the debugger");
  if (!value.failure.empty()) {
    fail(t, value.diagnostic.empty() ? value.failure : value.failure + ": " + value.diagnostic);
  }
  t.command_failed = true;
}

void print_expression(DbgTool& t, std::string_view text) {
  text = trim(text);
  if (text.empty()) return fail(t, "print needs an expression");
  TextValue value;
  if (const int code = evaluate_text(*t.d, text, &value)) return fail_value(t, code, value);
  say(&t.out, value.form);
}

void assign(DbgTool& t, std::string_view rest) {
  const std::string variable = next_word(&rest);
  rest = trim(rest);
  if (variable.empty() || rest.empty()) return fail(t, "set needs a variable and a value");
  TextValue value;
  if (const int code = assign_text(*t.d, variable, rest, &value)) fail_value(t, code, value);
}

DebugSession* stopped_session(DbgTool& t) {
  if (t.d->current_execution == EXECUTION_NONE) return nullptr;
  return session_find(*t.d, t.d->current_procedure);
}

void execute(DbgTool& t, std::string_view line) {
  std::string_view rest = line;
  const std::string command = next_word(&rest);
  Debugger& d = *t.d;
  long long number = 0;
  if (command == "open") {
    const std::string name = next_word(&rest);
    if (name.empty()) return fail(t, "open needs a procedure name");
    if (session_open(d, name, 0, true, nullptr) != 0) t.command_failed = true;
  } else if (command == "close") {
    const std::string name = next_word(&rest);
    DebugSession* s = session_find_name(d, name);
    if (s == nullptr || !s->open) return fail(t, "no debug session is open for " + name);
    const int code = session_close(d, *s);
    if (code == DBG_REFUSED) return fail(t, name + " is stopped in the debugger");
    if (code != 0) t.command_failed = true;
  } else if (command == "break") {
    add_breakpoint(t, rest, BREAKPOINT_LINE);
  } else if (command == "watch") {
    add_breakpoint(t, rest, BREAKPOINT_CHANGE);
  } else if (command == "breaks") {
    list_breakpoints(t);
  } else if (command == "delete") {
    if (!read_number(rest, 1, static_cast<long long>(d.breakpoints.size()), &number)) return fail(t, "no such breakpoint");
    if (breakpoint_delete(d, static_cast<size_t>(number - 1)) != 0) t.command_failed = true;
  } else if (command == "run") {
    run_statement(t, rest);
  } else if (command == "wait") {
    DebugSession* s = session_for(t, next_word(&rest));
    if (s != nullptr && s->execution > 0) return fail(t, s->name + " is stopped in the debugger already");
    if (s != nullptr) tell_outcome(t, debugger_wait_for(d, *s));
  } else if (command == "catch") {
    tell_outcome(t, debugger_catch_any(d));
  } else if (command == "step") {
    tell_outcome(t, debugger_step(d, PROC_STEP));
  } else if (command == "trace") {
    tell_outcome(t, debugger_step(d, PROC_TRACE));
  } else if (command == "finish") {
    tell_outcome(t, debugger_step(d, PROC_RUN_TO_RETURN));
  } else if (command == "continue") {
    tell_outcome(t, debugger_step(d, PROC_RUN));
  } else if (command == "until") {
    if (!read_number(rest, 1, 0xFFFFFFFFll, &number)) return fail(t, "a line number from 1 is needed");
    DebugSession* s = stopped_session(t);
    if (s == nullptr) return fail(t, "no execution is stopped in the debugger");
    tell_outcome(t, debugger_run_to_line(d, *s, static_cast<uint32_t>(number - 1)));
  } else if (command == "stop") {
    tell_outcome(t, debugger_stop(d));
  } else if (command == "locals") {
    const int code = locals_fetch(d);
    if (code == DBG_NOTHING) return fail(t, "no execution is stopped in the debugger");
    if (code != 0) t.command_failed = true;
    for (const LocalRow& row : d.views.locals) say(&t.out, local_row_text(d, row));
  } else if (command == "stack") {
    const int code = stack_fetch(d);
    if (code == DBG_NOTHING) return fail(t, "no execution is stopped in the debugger");
    if (code != 0) t.command_failed = true;
    for (size_t k = 0; k < d.views.stack.size(); ++k) say(&t.out, frame_line(t, k));
  } else if (command == "frame") {
    select_frame(t, rest);
  } else if (command == "print") {
    print_expression(t, rest);
  } else if (command == "set") {
    assign(t, rest);
  } else if (command == "active") {
    list_active(t);
  } else if (command == "abort") {
    if (!read_number(rest, 0, 0xFFFF, &number)) return fail(t, "abort needs an execution identifier");
    if (debugger_abort(d, static_cast<uint16_t>(number)) != 0) t.command_failed = true;
  } else if (command == "quit") {
    t.quit = true;
  } else {
    fail(t, "unknown command " + command + " (tavrel-dbg --help lists them)");
  }
}

}  // namespace

void dbg_bind(DbgTool& tool, Debugger& d) {
  tool.d = &d;
  d.sink = on_note;
  d.sink_user = &tool;
}

int dbg_execute(DbgTool& tool, std::string_view line) {
  const std::string text = utf8_to_cp866(line);
  const std::string_view command = trim(text);
  if (command.empty() || command.front() == '#') return 0;
  tool.command_failed = false;
  execute(tool, command);
  if (tool.command_failed) tool.failed = true;
  return tool.command_failed ? 1 : 0;
}

const char* dbg_usage() { return USAGE; }

}  // namespace tavrel
