// A stand-in for the procedure engine's entry points (kernel/engine/engine.h), linked only
// while the engine is not in the tree: every text translates, a call of a stored procedure
// is refused as unsupported (one that is not stored as unknown), trigger firings and
// statement-trigger calls are recorded (engine_stub.h). It never ships: it lives with the
// tests and the kernel links it only when no engine is built.
#include "tests/kernel/engine_stub.h"

#include <sqlite3.h>

#include <atomic>

#include "kernel/engine/engine.h"
#include "protocol/codes.h"

namespace tavrel::kernel {

struct EngineSession {
  sqlite3* db;
  std::atomic<int> interrupts{0};
};

StubLog& engine_stub_log() {
  static StubLog log;
  return log;
}

namespace {

std::vector<std::string> row_texts(sqlite3_value** row, int count) {
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) {
    const auto* text = sqlite3_value_text(row[i]);
    out.emplace_back(sqlite3_value_type(row[i]) == SQLITE_NULL ? "NULL" : reinterpret_cast<const char*>(text));
  }
  return out;
}

}  // namespace

int engine_check_unit(sqlite3*, std::string_view, std::vector<Diagnostic>* out) {
  out->clear();
  return 0;
}

void engine_forget_unit(int32_t proc_id) {
  StubLog& log = engine_stub_log();
  std::lock_guard guard(log.lock);
  log.forgotten.push_back(proc_id);
}

EngineSession* engine_session_open(sqlite3* db, std::string_view, std::string_view) {
  return new EngineSession{db};
}

void engine_session_close(EngineSession* es) { delete es; }

void engine_interrupt(EngineSession* es) {
  ++es->interrupts;
  StubLog& log = engine_stub_log();
  std::lock_guard guard(log.lock);
  ++log.interrupts;
}

uint32_t engine_execute(EngineSession* es, const CallRequest& call, ExecOutcome* out, uint32_t* position) {
  *out = ExecOutcome{};
  sqlite3_stmt* st = nullptr;
  bool found = false;
  // Names are CP866 here and UTF-8 in the database: the stand-in compares ASCII names only.
  if (sqlite3_prepare_v2(es->db, "select 1 from \"$$$PROC\" where \"$$$NAME\" = ? and \"$$$KIND\" = 0;", -1, &st,
                         nullptr) == SQLITE_OK) {
    sqlite3_bind_text(st, 1, call.procedure.c_str(), -1, SQLITE_TRANSIENT);
    found = sqlite3_step(st) == SQLITE_ROW;
  }
  sqlite3_finalize(st);
  if (!found) {
    *position = call.name_position;
    return KERNEL_CALL_UNKNOWN_PROCEDURE;
  }
  return KERNEL_UNSUPPORTED;
}

int engine_fire_trigger(EngineSession*, int32_t trigger_id, sqlite3_value** new_row, int new_count,
                        sqlite3_value** old_row, int old_count, std::string* error) {
  StubFiring firing{trigger_id, row_texts(new_row, new_count), row_texts(old_row, old_count)};
  bool refuse = false;
  for (const std::string& v : firing.new_row) refuse = refuse || v == STUB_REFUSE;
  {
    StubLog& log = engine_stub_log();
    std::lock_guard guard(log.lock);
    log.firings.push_back(std::move(firing));
  }
  if (!refuse) return 0;
  *error = STUB_REFUSAL_TEXT;
  return 1;
}

int engine_statement_triggers(EngineSession*, std::string_view sql_utf8, bool before, std::string*) {
  StubLog& log = engine_stub_log();
  std::lock_guard guard(log.lock);
  log.statements.push_back((before ? "before " : "after ") + std::string(sql_utf8));
  return 0;
}

}  // namespace tavrel::kernel
