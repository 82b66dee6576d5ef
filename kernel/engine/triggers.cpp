// Running trigger actions: a row trigger's action for the row an SQLite trigger hands over
// (NEW and OLD), a statement trigger's action once around a DML statement. An action runs
// inside the statement that fired it, so COMMIT and ROLLBACK are refused there and its handlers
// open no savepoints; an exception that leaves it refuses the statement with a text naming the
// exception and the trigger.
#include <sqlite3.h>

#include "kernel/engine/executor.h"
#include "kernel/engine/registry.h"
#include "kernel/proc_header.h"
#include "text/unicode.h"

namespace tavrel::kernel {

namespace {

int run_action(EngineSession& es, const TriggerInfo& t, sqlite3_value** new_row, int new_count,
               sqlite3_value** old_row, int old_count, std::string* error) {
  std::string why;
  std::shared_ptr<const Unit> unit = registry_unit(es.db, t.action, &why);
  if (unit == nullptr) {
    *error = "trigger " + t.name + ": " + why;
    return 1;
  }
  CallLink link;
  link.caller = es.current;
  link.new_row = new_row;
  link.new_count = new_count;
  link.old_row = old_row;
  link.old_count = old_count;
  es.trigger_depth++;
  const int32_t code = call_unit(es, *unit, nullptr, 0, link);
  es.trigger_depth--;
  if (code == 0) return 0;
  if (code == RAISE_INTERRUPT) {
    *error = "trigger " + t.name + ": interrupted";
  } else {
    *error = "exception " + exception_text(code) + " in trigger " + t.name;
    // The exception the trigger raised reaches a calling procedure through the failed statement.
    es.errcode = code;
  }
  return 1;
}

}  // namespace

int fire_trigger(EngineSession& es, int32_t trigger_id, sqlite3_value** new_row, int new_count,
                 sqlite3_value** old_row, int old_count, std::string* error) {
  TriggerInfo t;
  if (!registry_trigger(es.db, trigger_id, &t)) {
    *error = "no trigger " + std::to_string(trigger_id);
    return 1;
  }
  return run_action(es, t, new_row, new_count, old_row, old_count, error);
}

int fire_statement_triggers(EngineSession& es, const std::string& table_upper, uint8_t event, bool before,
                            std::string* error) {
  std::vector<int32_t> ids;
  if (registry_statement_triggers(es.db, table_upper, event, before, &ids) != 0) {
    *error = "the statement triggers of " + table_upper + " cannot be read";
    return 1;
  }
  for (int32_t id : ids) {
    if (fire_trigger(es, id, nullptr, 0, nullptr, 0, error) != 0) return 1;
  }
  return 0;
}

}  // namespace tavrel::kernel
