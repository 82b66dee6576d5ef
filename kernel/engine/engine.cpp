// The engine's entry points (engine.h): translation, sessions, a client's call and triggers.
#include "kernel/engine/engine.h"

#include <sqlite3.h>

#include "kernel/engine/compiler.h"
#include "kernel/engine/embedded_sql.h"
#include "kernel/engine/executor.h"
#include "kernel/engine/registry.h"
#include "kernel/engine/sql_values.h"
#include "kernel/proc_header.h"
#include "text/unicode.h"
#include "values/bigint.h"
#include "values/decimal.h"

namespace tavrel::kernel {

namespace {

// A literal of `execute "P"(...)` as a value of the parameter's type; texts into *storage.
// false when the literal cannot be read as that type.
bool literal_value(const CallLiteral& lit, uint8_t type, std::string* storage, Value* out) {
  switch (lit.kind) {
    case LiteralKind::NULL_VALUE:
      *out = make_null();
      return true;
    case LiteralKind::BOOL:
      if (type != TYPE_BOOL) return false;
      *out = make_bool(lit.truth);
      return true;
    default:
      break;
  }
  const std::string& t = lit.text;
  switch (type) {
    case TYPE_SMALLINT:
    case TYPE_INTEGER:
    case TYPE_BIGINT: {
      int64_t x = 0;
      if (bigint_from_text(t, &x) != 0) return false;
      if (type == TYPE_SMALLINT && (x < INT16_MIN || x > INT16_MAX)) return false;
      if (type == TYPE_INTEGER && (x < INT32_MIN || x > INT32_MAX)) return false;
      *out = type == TYPE_SMALLINT  ? make_smallint(static_cast<int16_t>(x))
             : type == TYPE_INTEGER ? make_integer(static_cast<int32_t>(x))
                                    : make_bigint(x);
      return true;
    }
    case TYPE_REAL:
    case TYPE_DOUBLE: {
      double x = 0;
      if (read_double_text(t, &x) != 0) return false;
      *out = type == TYPE_REAL ? make_real(static_cast<float>(x)) : make_double(x);
      return true;
    }
    case TYPE_NUMERIC: {
      const Decimal d = decimal_from_text(t);
      const int s = decimal_classify(d);
      if (s != DEC_ZERO && s != DEC_POSITIVE && s != DEC_NEGATIVE) return false;
      *out = make_numeric(d);
      return true;
    }
    case TYPE_BOOL:
      if (t == "TRUE" || t == "1") {
        *out = make_bool(true);
      } else if (t == "FALSE" || t == "0") {
        *out = make_bool(false);
      } else {
        return false;
      }
      return true;
    case TYPE_DATE: {
      DateRecord d{};
      if (date_from_sql_text(t, &d) != 0) return false;
      *out = make_date(d);
      return true;
    }
    case TYPE_CHAR:
      *storage = t;
      *out = make_char(storage->c_str());
      return true;
    case TYPE_NCHAR:
    case TYPE_WSTRING:
      // Carried as CP866 text: the parameter's conversion makes it national.
      *storage = t;
      *out = make_char(storage->c_str());
      return true;
    case TYPE_BYTE: {
      if (t.size() % 2 != 0) return false;
      std::string block(2 + t.size() / 2, '\0');
      block[0] = static_cast<char>((t.size() / 2) & 0xFF);
      block[1] = static_cast<char>((t.size() / 2) >> 8);
      for (size_t i = 0; i < t.size(); i += 2) {
        unsigned v = 0;
        if (std::sscanf(t.c_str() + i, "%2x", &v) != 1) return false;
        block[2 + i / 2] = static_cast<char>(v);
      }
      *storage = std::move(block);
      *out = make_byte(reinterpret_cast<const uint8_t*>(storage->data()));
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

int engine_check_unit(sqlite3* db, std::string_view cp866, std::vector<Diagnostic>* out) {
  Unit unit;
  return compile_unit(db, cp866, &unit, out) == 0 ? 0 : 1;
}

void engine_forget_unit(int32_t proc_id) { registry_forget(proc_id); }

EngineSession* engine_session_open(sqlite3* db, std::string_view user, std::string_view database) {
  auto* es = new EngineSession;
  es->db = db;
  es->user = std::string(user);
  es->database = std::string(database);
  if (session_eval_setup(*es) != 0) {
    delete es;
    return nullptr;
  }
  return es;
}

void engine_session_close(EngineSession* es) {
  if (es == nullptr) return;
  for (sqlite3_stmt* st : es->prepared) {
    if (st != nullptr) sqlite3_finalize(st);
  }
  stack_mem_teardown(es->memory);
  delete es;
}

void engine_interrupt(EngineSession* es) {
  if (es == nullptr) return;
  {
    std::lock_guard<std::mutex> hold(es->sleep_lock);
    es->interrupted.store(true);
  }
  es->sleep_wake.notify_all();
  if (es->db != nullptr) sqlite3_interrupt(es->db);
}

uint32_t engine_execute(EngineSession* es, const CallRequest& call, ExecOutcome* out, uint32_t* position) {
  *out = ExecOutcome{};
  *position = call.name_position;
  es->interrupted.store(false);
  const int32_t id = registry_find_procedure(es->db, call.procedure);
  if (id == 0) return KERNEL_CALL_UNKNOWN_PROCEDURE;
  std::string why;
  std::shared_ptr<const Unit> unit = registry_unit(es->db, id, &why);
  if (unit == nullptr) {
    // Stored but no longer translating (a table it reads is gone): the call ends in UNDEFPROC.
    out->exception = EXCEPTION_UNDEFPROC;
    out->exception_name = exception_text(EXCEPTION_UNDEFPROC);
    out->messages.push_back(why);
    return 0;
  }
  // The literals go to the input parameters (IN and INOUT) in order.
  std::vector<Value> args(static_cast<size_t>(unit->param_count), make_null());
  std::vector<std::string> storage(static_cast<size_t>(unit->param_count));
  size_t next = 0;
  int last_given = 0;
  for (int i = 0; i < unit->param_count; ++i) {
    const VarInfo& p = unit->vars[static_cast<size_t>(i)];
    if (p.mode == MODE_OUT) continue;
    if (next < call.args.size()) {
      const CallLiteral& lit = call.args[next++];
      if (!literal_value(lit, p.spec.type, &storage[static_cast<size_t>(i)], &args[static_cast<size_t>(i)])) {
        *position = lit.position;
        return KERNEL_CALL_BAD_ARGUMENT;
      }
      last_given = i + 1;
    } else if (!p.has_init) {
      return KERNEL_CALL_ARGUMENT_COUNT;
    }
  }
  if (next < call.args.size()) {
    *position = call.args[next].position;
    return KERNEL_CALL_ARGUMENT_COUNT;
  }
  // OUT parameters between given ones start NULL; those after the last given take defaults.
  CallLink link;
  link.outcome = out;
  es->outcome = out;
  const int32_t code = call_unit(*es, *unit, args.data(), last_given, link);
  es->outcome = nullptr;
  if (code == RAISE_INTERRUPT) {
    es->interrupted.store(false);
    return KERNEL_INTERRUPTED;
  }
  if (code != 0) {
    out->exception = static_cast<int16_t>(code);
    out->exception_name = exception_text(code);
  }
  es->interrupted.store(false);
  return 0;
}

int engine_fire_trigger(EngineSession* es, int32_t trigger_id, sqlite3_value** new_row, int new_count,
                        sqlite3_value** old_row, int old_count, std::string* error) {
  return fire_trigger(*es, trigger_id, new_row, new_count, old_row, old_count, error);
}

int engine_statement_triggers(EngineSession* es, std::string_view sql_utf8, bool before, std::string* error) {
  SqlKind kind = SqlKind::OTHER;
  const std::string table = dml_table(sql_utf8, &kind);
  if (table.empty()) return 0;
  const uint8_t event = kind == SqlKind::INSERT   ? EVENT_INSERT
                        : kind == SqlKind::UPDATE ? EVENT_UPDATE
                        : kind == SqlKind::DELETE ? EVENT_DELETE
                                                  : 0;
  if (event == 0) return 0;
  return fire_statement_triggers(*es, table, event, before, error);
}

}  // namespace tavrel::kernel
