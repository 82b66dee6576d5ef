// The command table and the handlers of a session's commands. Each handler does one
// command's work through the concern that owns it: statements and the catalogue
// (kernel/catalog.h), calls of procedures (kernel/execute_call.h and the engine), statement
// triggers around DML (kernel/triggers.h), selects (kernel/select.h), long requests and
// answers (kernel/assembly.h).
#include "kernel/dispatch.h"

#include <cassert>
#include <cstddef>
#include <cstring>

#include "protocol/request.h"
#include "text/unicode.h"
#include "kernel/debug/debugger.h"
#include "kernel/engine/engine.h"
#include "kernel/errors.h"
#include "kernel/execute_call.h"
#include "kernel/select.h"
#include "kernel/storage.h"
#include "kernel/text.h"
#include "kernel/triggers.h"

namespace tavrel::kernel {

namespace {

CatalogContext catalog_context(Session* s) {
  return CatalogContext{connection_db(s->connection), s->user, s->codepage, &s->catalog, &s->last_message};
}

std::string_view part_text(const KernelRequest& r, int i) {
  return {reinterpret_cast<const char*>(r.part[i]), r.part_length[i]};
}

// Whether a statement in the session's code page may be an execute call: its first letter
// is an E, or a letter outside ASCII (ВЫП). Spares every other select a conversion.
bool may_be_call(std::string_view sent) {
  for (char c : sent) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    return c == 'e' || c == 'E' || static_cast<uint8_t>(c) >= 0x80;
  }
  return false;
}

// An execute call: true when the statement is one, with its outcome or its error in the
// answer. The call runs on the connection this thread holds, for as long as it takes; KILL
// ends it through the engine.
bool run_call(Session* s, std::string_view sent, KernelAnswer* a) {
  // Any statement makes the text of the last failed call stale.
  s->call_error = 0;
  s->call_error_text.clear();
  if (!may_be_call(sent)) return false;
  const std::string cp866 = utf8_to_cp866(text_to_utf8(sent, s->codepage));
  if (!execute_call_is(cp866)) return false;
  select_close(s);
  s->catalog.active = false;
  CallRequest call;
  uint32_t position = 0;
  uint32_t code = execute_call_parse(cp866, &call, &position);
  ExecOutcome outcome;
  if (code == 0) code = engine_execute(s->engine, call, &outcome, &position);
  if (code == 0 && execute_call_answer(outcome, s->codepage, &a->data) != 0) code = KERNEL_ANSWER_TOO_LONG;
  if (code == 0) return true;
  a->data.clear();
  a->code = code;
  if (code >= KERNEL_STATEMENT_FIRST && code <= KERNEL_STATEMENT_LAST) {
    a->system_code = (position < 0xFFFF ? position : 0xFFFF) << 16;
    s->call_error_text = execute_call_error(code, cp866_to_utf8(call.procedure));
    if (!s->call_error_text.empty()) s->call_error = code;
  }
  return true;
}

// Any other SQL of the blank command; a statement that changes rows runs between the
// statement triggers of its table.
uint32_t run_statement(Session* s, const std::string& sql, uint32_t* changes) {
  sqlite3* db = connection_db(s->connection);
  const bool dml = statement_is_dml(sql);
  bool began = false;
  uint32_t code = dml ? dml_begin(db, s->engine, sql, &began, &s->last_message) : 0;
  if (code != 0) return code;
  code = storage_execute(db, sql, changes, &s->last_message);
  return dml ? dml_end(db, s->engine, sql, code, began, &s->last_message) : code;
}

// "    ": a statement; an execute call, the catalogue's create / alter / drop, or any other
// SQL.
void handle_execute(Session* s, const KernelRequest& r, KernelAnswer* a) { session_run_text(s, part_text(r, 1), a); }

// SLCT: an execute call answers as the blank command does; anything else is a select.
void handle_select(Session* s, const KernelRequest& r, KernelAnswer* a) {
  if (run_call(s, part_text(r, 1), a)) return;
  select_open(s, r, a);
}

// GETN: the next rows of the catalogue select or of the ordinary one, whichever is open.
void handle_next(Session* s, const KernelRequest& r, KernelAnswer* a) {
  if (s->catalog.active) {
    catalog_next(catalog_context(s), r.block.answer_length, a);
  } else {
    select_next(s, r.block.answer_length, a);
  }
}

void handle_text_portion(Session* s, const KernelRequest& r, KernelAnswer* a) {
  catalog_text_portion(catalog_context(s), r.block.position, r.block.answer_length, a);
}

// PROC: the procedure list here, every other sub-command in the debugger.
void handle_proc(Session* s, const KernelRequest& r, KernelAnswer* a) {
  if (r.block.position == PROC_LIST_PROCEDURES) {
    catalog_proc_command(catalog_context(s), r.block.position, r.block.argument, r.block.answer_length, a);
    return;
  }
  debugger_command(s, r, a);
}

void handle_describe(Session* s, const KernelRequest&, KernelAnswer* a) { select_describe(s, a); }

// GETE (position = code): the kernel's text of a code; for SQL errors with the database's
// message of the last failure; for 7200 the translation errors of the last store.
void handle_error_text(Session* s, const KernelRequest& r, KernelAnswer* a) {
  const uint32_t code = r.block.position;
  if (code == KERNEL_TRANSLATION_ERRORS) {
    catalog_translation_errors(catalog_context(s), a);
    return;
  }
  // The last failed call says why in its own words; the codes of a call share their numbers
  // with other statement errors.
  const char* call_text = execute_call_error_text(code);
  if ((code != 0 && code == s->call_error) || call_text != nullptr) {
    const std::string converted =
        text_from_utf8(code == s->call_error ? s->call_error_text : std::string(call_text), s->codepage);
    a->data.assign(converted.begin(), converted.end());
    return;
  }
  const char* text = kernel_error_text(code);
  if (text == nullptr) {
    a->code = KERNEL_NO_OBJECT;
    return;
  }
  std::string message = text;
  if (code >= 2000 && code < 3000 && !s->last_message.empty()) message += ": " + s->last_message;
  const std::string converted = text_from_utf8(message, s->codepage);
  a->data.assign(converted.begin(), converted.end());
}

void handle_close(Session* s, const KernelRequest&, KernelAnswer* a) {
  select_close(s);
  a->channel = 0;
}

void handle_allocate(Session* s, const KernelRequest& r, KernelAnswer*) {
  assembly_begin(&s->assembly, r.block.answer_length);
}

void handle_piece(Session* s, const KernelRequest& r, KernelAnswer* a) {
  a->code = assembly_add(&s->assembly, r.block.position, r.part[3], r.part_length[3]);
}

void handle_fetch_rest(Session* s, const KernelRequest& r, KernelAnswer* a) {
  pending_fetch(&s->pending, r.block.position, r.block.answer_length, a);
}

constexpr uint32_t SESSION = COMMAND_LOGGED_ON;

constexpr KernelCommand KERNEL_COMMANDS[] = {
    {{'O', 'P', 'E', 'N'}, nullptr, COMMAND_ON_SERVER},
    {{'K', 'I', 'L', 'L'}, nullptr, COMMAND_ON_SERVER | SESSION},
    {{' ', ' ', ' ', ' '}, handle_execute, COMMAND_ON_WORKER | SESSION},
    {{'S', 'L', 'C', 'T'}, handle_select, COMMAND_ON_WORKER | COMMAND_QUICK_SELECT | SESSION},
    {{'G', 'E', 'T', 'N'}, handle_next, COMMAND_FROM_MEMORY | SESSION},
    {{'G', 'P', 'R', 'C'}, handle_text_portion, COMMAND_FROM_MEMORY | SESSION},
    {{'P', 'R', 'O', 'C'}, handle_proc, COMMAND_ON_WORKER | COMMAND_DEBUGGER | SESSION},
    {{'D', 'E', 'S', 'C'}, handle_describe, COMMAND_FROM_MEMORY | SESSION},
    {{'G', 'E', 'T', 'E'}, handle_error_text, COMMAND_FROM_MEMORY | SESSION},
    {{'C', 'L', 'O', 'S'}, handle_close, COMMAND_ON_WORKER | COMMAND_ENDS_SESSION | SESSION},
    {{'M', 'A', 'L', 'L'}, handle_allocate, COMMAND_ON_WORKER | COMMAND_PIECE | SESSION},
    {{'M', 'P', 'U', 'T'}, handle_piece, COMMAND_ON_WORKER | COMMAND_PIECE | SESSION},
    {{'M', 'G', 'E', 'T'}, handle_fetch_rest, COMMAND_FROM_MEMORY | SESSION},
};

// The table's invariants: a command runs in exactly one place, has a handler exactly when a
// session runs it, and only the worker ends a session.
constexpr bool commands_well_formed() {
  for (const KernelCommand& c : KERNEL_COMMANDS) {
    const uint32_t where = c.flags & (COMMAND_ON_SERVER | COMMAND_ON_WORKER | COMMAND_FROM_MEMORY);
    if (where != COMMAND_ON_SERVER && where != COMMAND_ON_WORKER && where != COMMAND_FROM_MEMORY) return false;
    if ((c.handler == nullptr) != (where == COMMAND_ON_SERVER)) return false;
    if ((c.flags & COMMAND_ENDS_SESSION) != 0 && where != COMMAND_ON_WORKER) return false;
  }
  return true;
}
static_assert(commands_well_formed());

}  // namespace

void session_run_text(Session* s, std::string_view text, KernelAnswer* a) {
  if (run_call(s, text, a)) return;
  select_close(s);
  s->catalog.active = false;
  const std::string utf8 = text_to_utf8(text, s->codepage);
  if (catalog_statement(catalog_context(s), utf8, a)) return;
  uint32_t changes = 0;
  a->code = run_statement(s, catalog_rewrite(utf8), &changes);
  a->argument = changes;
}

std::span<const KernelCommand> kernel_commands() { return KERNEL_COMMANDS; }

const KernelCommand* kernel_command_find(const char* code) {
  for (const KernelCommand& c : KERNEL_COMMANDS) {
    if (std::memcmp(c.code, code, 4) == 0) return &c;
  }
  return nullptr;
}

const KernelCommand* kernel_command_of_frame(const std::vector<uint8_t>& message) {
  if (message.size() < FRAME_HEADER) return nullptr;
  return kernel_command_find(reinterpret_cast<const char*>(message.data()) + 4 + offsetof(RequestBlock, command));
}

Handled session_handle(Session* s, const std::vector<uint8_t>& message, KernelRequest* request,
                       KernelAnswer* answer) {
  assert(connection_held_here(s->connection));
  KernelRequest& r = *request;
  KernelAnswer& a = *answer;
  r = KernelRequest{};
  a = KernelAnswer{};
  a.channel = s->channel;
  if (kernel_parse_frame(message.data(), message.size(), &r) != 0) {
    a.code = KERNEL_MALFORMED;
    return Handled{kernel_frame_trailer(message.data(), message.size(), &r), false};
  }
  a.position = r.block.position;
  const KernelCommand* command = kernel_command_find(r.block.command);
  // Any request but a piece ends a request being joined: it is that request's final
  // exchange, whose parts are then those of the joined data stream.
  if (s->assembly.active && (command == nullptr || (command->flags & COMMAND_PIECE) == 0)) {
    a.code = assembly_finish(&s->assembly, &r);
    if (a.code != 0) return Handled{true, false};
  }
  if (command == nullptr || command->handler == nullptr) {
    a.code = KERNEL_UNSUPPORTED;
    return Handled{true, false};
  }
  command->handler(s, r, &a);
  // A wait for another connection's lock that KILL ended was interrupted, not refused.
  if (a.code == KERNEL_BUSY && s->interrupted) a.code = KERNEL_INTERRUPTED;
  answer_fit(r, &a, &s->pending);
  return Handled{true, (command->flags & COMMAND_ENDS_SESSION) != 0};
}

}  // namespace tavrel::kernel
