// The PROC sub-commands of the debugger: a table of records (sub-command, handler), the data
// of each read from the request (the answer buffer's part, whose trailing zero bytes the
// channel does not send, put back up to the answer length), and the answers of those that
// do not drive an execution (control.h has the rest).
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <string>

#include "kernel/debug/control.h"
#include "kernel/debug/debugger.h"
#include "kernel/debug/frames.h"
#include "kernel/debug/hooks.h"
#include "kernel/debug/procs.h"
#include "kernel/engine/registry.h"
#include "kernel/session.h"
#include "kernel/text.h"
#include "protocol/bytes.h"
#include "protocol/request.h"
#include "text/codepage.h"
#include "text/unicode.h"

namespace tavrel::kernel {

namespace {

// One PROC request as the handlers see it.
struct ProcRequest {
  Session* s;
  uint32_t subcommand;
  uint32_t argument;
  std::span<const uint8_t> data;
  uint16_t room;
  KernelAnswer* a;
};

using ProcHandler = void (*)(const ProcRequest& r);

// Where a sub-command is served: on the worker, which holds the session's connection and may
// wait; on the server thread when the worker is idle, for those that read and write only the
// debugger's records (a lock held for microseconds); or handed to the parked execution, whose
// thread answers it.
enum class Place : uint8_t { WORKER, SERVER, EXECUTION };

struct ProcCommand {
  uint32_t subcommand;
  ProcHandler handler;
  Place place;
};

sqlite3* db_of(const ProcRequest& r) { return connection_db(r.s->connection); }

// A name the client sent (its code page) as the CP866 the engine keeps names in.
std::string cp866_of(const ProcRequest& r, std::span<const uint8_t> bytes) {
  return utf8_to_cp866(text_to_utf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, r.s->codepage));
}

bool procedure_exists(sqlite3* db, int32_t proc_id) {
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "select 1 from \"$$$PROC\" where \"$$$ID\" = ?;", -1, &st, nullptr) != SQLITE_OK) return false;
  sqlite3_bind_int64(st, 1, proc_id);
  const bool found = sqlite3_step(st) == SQLITE_ROW;
  sqlite3_finalize(st);
  return found;
}

// The compiled unit of a procedure (or trigger action) for the debugger: 0, or error 13
// (no such procedure), 6 (its text no longer translates), 3 (not compiled for debugging).
uint32_t debug_unit(sqlite3* db, int32_t proc_id, std::shared_ptr<const Unit>* out) {
  if (proc_id <= 0 || !procedure_exists(db, proc_id)) return DEBUGGER_BAD_PROCEDURE_ID;
  std::string why;
  std::shared_ptr<const Unit> unit = registry_unit(db, proc_id, &why);
  if (unit == nullptr) return DEBUGGER_UNKNOWN;
  if (!unit->debug) return DEBUGGER_NO_DEBUG_INFO;
  *out = std::move(unit);
  return 0;
}

// An answer longer than the room: 1014 with the length it needs (1076 beyond 16 bits).
bool answer_fits(KernelAnswer* a, uint16_t room) {
  if (a->data.size() <= room) return true;
  const size_t needed = a->data.size();
  a->data.clear();
  a->code = needed <= 0xFFFF ? CHANNEL_ANSWER_TOO_LONG : KERNEL_ANSWER_TOO_LONG;
  a->length_field = static_cast<uint16_t>(needed <= 0xFFFF ? needed : 0);
  return false;
}

// --- debug sessions and breakpoints ----------------------------------------------------------

void open_session(const ProcRequest& r) {
  ByteReader in{r.data};
  const uint8_t length = in.u8();
  int32_t proc_id = 0;
  if (length == 0) {
    proc_id = static_cast<int32_t>(in.u32());
  } else {
    const auto name = in.take(length);
    if (in.ok) proc_id = registry_find_procedure(db_of(r), cp866_of(r, name));
    if (in.ok && proc_id == 0) return answer_debugger_error(r.a, DEBUGGER_UNDEFINED_PROCEDURE);
  }
  if (!in.ok) return answer_debugger_error(r.a, DEBUGGER_BAD_PARAMETER);
  std::shared_ptr<const Unit> unit;
  if (const uint32_t e = debug_unit(db_of(r), proc_id, &unit)) return answer_debugger_error(r.a, e);
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  if (const uint32_t e = proc_open(g, debug_client(g, r.s, true), proc_id, std::move(unit))) {
    return answer_debugger_error(r.a, e);
  }
  r.a->argument = static_cast<uint32_t>(proc_id);
}

void close_session(const ProcRequest& r) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  if (const uint32_t e = proc_close(g, debug_client(g, r.s, false), static_cast<int32_t>(r.argument))) {
    answer_debugger_error(r.a, e);
  }
}

// The client's debug session on the request's procedure, or nullptr with the error answered.
ProcDebug* session_of(DebugState& g, const ProcRequest& r) {
  ProcDebug* pd = owned_proc(g, debug_client(g, r.s, false), static_cast<int32_t>(r.argument));
  if (pd == nullptr) answer_debugger_error(r.a, DEBUGGER_SESSION_NOT_OPEN);
  return pd;
}

void cursor_line(const ProcRequest& r) {
  TempBreakpoint request;
  if (temp_breakpoint_read(r.data, &request) != 0) return answer_debugger_error(r.a, DEBUGGER_BAD_PARAMETER);
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  ProcDebug* pd = session_of(g, r);
  if (pd == nullptr) return;
  if (const uint32_t e = proc_cursor(*pd, request.line, request.set)) answer_debugger_error(r.a, e);
}

void breakpoint(const ProcRequest& r, bool set) {
  BreakpointRequest request;
  if (breakpoint_request_read(r.data, &request) != 0) return answer_debugger_error(r.a, DEBUGGER_BAD_PARAMETER);
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  ProcDebug* pd = session_of(g, r);
  if (pd == nullptr) return;
  const uint32_t e = set ? proc_breakpoint_set(*pd, request) : proc_breakpoint_clear(*pd, request);
  if (e != 0) answer_debugger_error(r.a, e);
}

void set_breakpoint(const ProcRequest& r) { breakpoint(r, true); }
void clear_breakpoint(const ProcRequest& r) { breakpoint(r, false); }

// --- moving executions --------------------------------------------------------------------------

void run_statement(const ProcRequest& r) {
  control_run(r.s, static_cast<int32_t>(r.argument), r.data, r.room, r.a);
}
uint16_t execution_of(const ProcRequest& r) { return static_cast<uint16_t>(r.argument); }

// The orders that let a parked execution run on, and how each runs.
struct RunOrder {
  uint32_t subcommand;
  RunMode mode;
};
constexpr RunOrder RUN_ORDERS[] = {
    {PROC_STEP, RunMode::STEP},
    {PROC_TRACE, RunMode::TRACE},
    {PROC_RUN, RunMode::RUN},
    {PROC_RUN_TO_RETURN, RunMode::RETURN},
};

const RunOrder* run_order(uint32_t subcommand) {
  for (const RunOrder& o : RUN_ORDERS) {
    if (o.subcommand == subcommand) return &o;
  }
  return nullptr;
}

void run_on(const ProcRequest& r) {
  control_go(r.s, execution_of(r), run_order(r.subcommand)->mode, r.room, r.a);
}
void stop(const ProcRequest& r) { control_stop(r.s, execution_of(r), r.room, r.a); }
void wait_call(const ProcRequest& r) {
  if (r.argument == 0) return answer_debugger_error(r.a, DEBUGGER_BAD_PROCEDURE_ID);
  control_wait_call(r.s, static_cast<int32_t>(r.argument), r.room, r.a);
}
void catch_any(const ProcRequest& r) { control_wait_call(r.s, 0, r.room, r.a); }
void abort_execution(const ProcRequest& r) { control_abort(r.s, execution_of(r), r.a); }

// --- the views ---------------------------------------------------------------------------------

// The messages printed since the last request; the count field tells how many are left.
void printed(const ProcRequest& r) {
  if (r.room < 2) {
    r.a->code = CHANNEL_ANSWER_TOO_LONG;
    r.a->length_field = 2;
    return;
  }
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  DebugClient* c = debug_client(g, r.s, false);
  std::vector<std::string> texts;
  // No more messages than the room could hold at two bytes each are converted.
  const size_t most = std::min<size_t>(c != nullptr ? c->printed.size() : 0, r.room / 2u);
  for (size_t i = 0; i < most; ++i) texts.push_back(text_from_utf8(cp866_to_utf8(c->printed[i]), r.s->codepage));
  size_t taken = 0;
  r.a->data = printed_messages_write(texts, r.room, &taken);
  if (c != nullptr) c->printed.erase(c->printed.begin(), c->printed.begin() + static_cast<std::ptrdiff_t>(taken));
  r.a->argument = c != nullptr ? static_cast<uint32_t>(c->printed.size()) : 0;
}

// The parked frame of the request's execution, or nullptr with error 10 answered.
Frame* frame_of(DebugState& g, const ProcRequest& r, ParkedFrame* p) {
  DebugClient* c = debug_client(g, r.s, false);
  if (c == nullptr || !parked_frame(c, execution_of(r), p)) {
    answer_debugger_error(r.a, DEBUGGER_NOT_WAITING);
    return nullptr;
  }
  return p->frame;
}

void call_stack(const ProcRequest& r) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  ParkedFrame p;
  if (const Frame* f = frame_of(g, r, &p)) {
    r.a->data = call_stack_write(frame_stack(*f));
    answer_fits(r.a, r.room);
  }
}

void locals(const ProcRequest& r) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  ParkedFrame p;
  const Frame* f = frame_of(g, r, &p);
  if (f == nullptr) return;
  if (!f->unit->debug) return answer_debugger_error(r.a, DEBUGGER_NO_DEBUG_INFO);
  r.a->data = locals_write(frame_locals(*f, r.s->codepage));
  answer_fits(r.a, r.room);
}

// Data: u16 variable number - 1, or 65535 for the return value.
void read_variable(const ProcRequest& r) {
  ByteReader in{r.data};
  const uint16_t index = in.u16();
  if (!in.ok) return answer_debugger_error(r.a, DEBUGGER_BAD_PARAMETER);
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  ParkedFrame p;
  const Frame* f = frame_of(g, r, &p);
  if (f == nullptr) return;
  if (!f->unit->debug) return answer_debugger_error(r.a, DEBUGGER_NO_DEBUG_INFO);
  if (const uint32_t e = frame_value(*f, index, &r.a->data)) return answer_debugger_error(r.a, e);
  answer_fits(r.a, r.room);
}

// Data: u16 variable number + 20000, then the value's wire form.
void assign_variable(const ProcRequest& r) {
  ByteReader in{r.data};
  const uint16_t number = in.u16();
  if (!in.ok || number <= VARIABLE_NUMBER_OFFSET) return answer_debugger_error(r.a, DEBUGGER_BAD_PARAMETER);
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  ParkedFrame p;
  const Frame* f = frame_of(g, r, &p);
  if (f == nullptr) return;
  if (!f->unit->debug) return answer_debugger_error(r.a, DEBUGGER_NO_DEBUG_INFO);
  const uint32_t e = frame_set(p, static_cast<uint16_t>(number - VARIABLE_NUMBER_OFFSET), r.data.subspan(2));
  if (e != 0) answer_debugger_error(r.a, e);
}

// --- variable tables -------------------------------------------------------------------------

void variable_table(const ProcRequest& r) {
  std::shared_ptr<const Unit> unit;
  if (const uint32_t e = debug_unit(db_of(r), static_cast<int32_t>(r.argument), &unit)) {
    return answer_debugger_error(r.a, e);
  }
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  uint16_t handle = 0;
  if (const uint32_t e = table_open(debug_client(g, r.s, true), std::move(unit), &handle)) {
    return answer_debugger_error(r.a, e);
  }
  r.a->argument = handle;
}

void release_table(const ProcRequest& r) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  DebugClient* c = debug_client(g, r.s, false);
  const uint32_t e = c != nullptr ? table_release(c, static_cast<uint16_t>(r.argument)) : uint32_t{DEBUGGER_BAD_PARAMETER};
  if (e != 0) answer_debugger_error(r.a, e);
}

// Data: u8 length and the name. Answer: the number in the count field, the type in one byte.
void find_variable(const ProcRequest& r) {
  ByteReader in{r.data};
  const auto name = in.take(in.u8());
  if (!in.ok || name.empty()) return answer_debugger_error(r.a, DEBUGGER_BAD_PARAMETER);
  std::string upper = cp866_of(r, name);
  for (char& ch : upper) ch = static_cast<char>(CP866_UPPER[static_cast<uint8_t>(ch)]);
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  DebugClient* c = debug_client(g, r.s, false);
  uint16_t number = VARIABLE_NONE;
  uint8_t type = 0;
  const uint32_t e = c != nullptr ? table_find(c, static_cast<uint16_t>(r.argument), upper, &number, &type)
                                  : uint32_t{DEBUGGER_BAD_PARAMETER};
  if (e != 0) return answer_debugger_error(r.a, e);
  r.a->argument = number;
  r.a->data.assign(1, type);
}

// --- the active list ---------------------------------------------------------------------------

// Executions from the key's id on (key 0: the first), as many as the room holds, then the
// u16 key of the next portion (0 after the last).
void active_list(const ProcRequest& r) {
  if (r.room < ACTIVE_ENTRY_SIZE + 2) {
    r.a->code = CHANNEL_ANSWER_TOO_LONG;
    r.a->length_field = static_cast<uint16_t>(ACTIVE_ENTRY_SIZE + 2);
    return;
  }
  const size_t per_portion = (r.room - 2u) / ACTIVE_ENTRY_SIZE;
  const std::vector<ExecSnapshot> all = executions_list();
  auto it = std::lower_bound(all.begin(), all.end(), r.argument,
                             [](const ExecSnapshot& e, uint32_t key) { return e.id < key; });
  uint32_t count = 0;
  std::vector<uint8_t>& out = r.a->data;
  for (; it != all.end() && count < per_portion; ++it, ++count) {
    const size_t at = out.size();
    out.resize(at + ACTIVE_ENTRY_SIZE);
    const ActiveEntry entry{static_cast<uint32_t>(it->proc_id), it->id, static_cast<uint16_t>(it->flags), it->quanta,
                            it->caller};
    active_entry_write(entry, std::span<uint8_t>(out).subspan(at));
  }
  const size_t at = out.size();
  out.resize(at + 2);
  put_u16(out.data() + at, it != all.end() ? it->id : 0u);
  r.a->argument = count;
}

constexpr std::array<ProcCommand, 24> PROC_COMMANDS = {{
    {PROC_OPEN_SESSION, open_session, Place::WORKER},
    {PROC_CLOSE_SESSION, close_session, Place::SERVER},
    {PROC_TEMP_BREAKPOINT, cursor_line, Place::SERVER},
    {PROC_EXECUTE, run_statement, Place::WORKER},
    {PROC_STEP, run_on, Place::EXECUTION},
    {PROC_TRACE, run_on, Place::EXECUTION},
    {PROC_RUN, run_on, Place::EXECUTION},
    {PROC_RUN_TO_RETURN, run_on, Place::EXECUTION},
    {PROC_STOP, stop, Place::WORKER},
    {PROC_READ_TABLE, printed, Place::SERVER},
    {PROC_CALL_STACK, call_stack, Place::SERVER},
    {PROC_LOCALS, locals, Place::SERVER},
    {PROC_WAIT_FOR_CALL, wait_call, Place::WORKER},
    {PROC_SET_BREAKPOINT, set_breakpoint, Place::SERVER},
    {PROC_CLEAR_BREAKPOINT, clear_breakpoint, Place::SERVER},
    {PROC_VARIABLE_TABLE, variable_table, Place::WORKER},
    {PROC_RELEASE_TABLE, release_table, Place::SERVER},
    {PROC_FIND_VARIABLE, find_variable, Place::SERVER},
    {PROC_CATCH_ANY, catch_any, Place::WORKER},
    {PROC_ACTIVE_LIST, active_list, Place::SERVER},
    {PROC_ABORT, abort_execution, Place::WORKER},
    {PROC_READ_VARIABLE, read_variable, Place::SERVER},
    {PROC_ASSIGN_VARIABLE, assign_variable, Place::SERVER},
    {PROC_LIST_PROCEDURES, nullptr, Place::WORKER},  // answered by the catalogue before the debugger
}};

const ProcCommand* proc_command(uint32_t subcommand) {
  for (const ProcCommand& c : PROC_COMMANDS) {
    if (c.subcommand == subcommand && c.handler != nullptr) return &c;
  }
  return nullptr;
}

}  // namespace

void debugger_install() {
  static std::once_flag once;
  std::call_once(once, hooks_install);
}

DebuggerServed debugger_serve_here(Session* s, const KernelRequest& r, KernelAnswer* a) {
  const ProcCommand* c = proc_command(r.block.position);
  if (c == nullptr || c->place == Place::WORKER) return DebuggerServed::ON_WORKER;
  if (c->place == Place::EXECUTION) {
    return control_go_deferred(s, r, run_order(c->subcommand)->mode) ? DebuggerServed::LEFT_TO_EXECUTION
                                                                       : DebuggerServed::ON_WORKER;
  }
  debugger_command(s, r, a);
  return DebuggerServed::ANSWERED;
}

void debugger_command(Session* s, const KernelRequest& r, KernelAnswer* a) {
  // The channel leaves out the trailing zero bytes of the data: they are put back up to the
  // answer length, so that every byte a layout names can be read.
  std::vector<uint8_t> data(r.part[3], r.part[3] + r.part_length[3]);
  if (data.size() < r.block.answer_length) data.resize(r.block.answer_length, 0);
  const ProcRequest request{s, r.block.position, r.block.argument, data, r.block.answer_length, a};
  if (const ProcCommand* c = proc_command(r.block.position)) return c->handler(request);
  answer_debugger_error(a, DEBUGGER_BAD_COMMAND);
}

}  // namespace tavrel::kernel
