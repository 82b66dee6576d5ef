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

// The session's record of a trigger: as resolved before while the registry has not changed
// since, else read from the registry again (its action's unit too). nullptr with *error set
// when there is no such trigger or its action does not translate. Records are never moved
// (a deque), so an outer firing of the same trigger keeps its own.
ResolvedTrigger* resolve_trigger(EngineSession& es, int32_t trigger_id, std::string* error) {
  const uint64_t generation = registry_generation();
  ResolvedTrigger* entry = nullptr;
  for (ResolvedTrigger& t : es.triggers) {
    if (t.id != trigger_id) continue;
    if (t.generation == generation && t.unit != nullptr) [[likely]] return &t;
    entry = &t;
    break;
  }
  TriggerInfo info;
  if (!registry_trigger(es.db, trigger_id, &info)) {
    *error = "no trigger " + std::to_string(trigger_id);
    return nullptr;
  }
  std::string why;
  std::shared_ptr<const Unit> unit = registry_unit(es.db, info.action, &why);
  if (unit == nullptr) {
    *error = "trigger " + info.name + ": " + why;
    return nullptr;
  }
  if (entry == nullptr) {
    entry = &es.triggers.emplace_back();
    entry->id = trigger_id;
  }
  if (entry->unit != nullptr) es.retired_units.push_back(std::move(entry->unit));
  entry->info = std::move(info);
  entry->unit = std::move(unit);
  entry->generation = generation;
  return entry;
}

int run_action(EngineSession& es, const ResolvedTrigger& t, sqlite3_value** new_row, int new_count,
               sqlite3_value** old_row, int old_count, std::string* error) {
  // The unit stays alive while it runs even if the record takes a new one meanwhile.
  const Unit& unit = *t.unit;
  CallLink link;
  link.caller = es.current;
  link.new_row = new_row;
  link.new_count = new_count;
  link.old_row = old_row;
  link.old_count = old_count;
  es.trigger_depth++;
  const int32_t code = call_unit(es, unit, nullptr, 0, link);
  es.trigger_depth--;
  if (code == 0) return 0;
  if (code == RAISE_INTERRUPT) {
    *error = "trigger " + t.info.name + ": interrupted";
  } else {
    *error = "exception " + exception_text(code) + " in trigger " + t.info.name;
    // The exception the trigger raised reaches a calling procedure through the failed statement.
    es.errcode = code;
  }
  return 1;
}

}  // namespace

int fire_trigger(EngineSession& es, int32_t trigger_id, sqlite3_value** new_row, int new_count,
                 sqlite3_value** old_row, int old_count, std::string* error) {
  const ResolvedTrigger* t = resolve_trigger(es, trigger_id, error);
  if (t == nullptr) return 1;
  return run_action(es, *t, new_row, new_count, old_row, old_count, error);
}

int fire_triggers(EngineSession& es, const std::vector<int32_t>& ids, std::string* error) {
  for (int32_t id : ids) {
    if (fire_trigger(es, id, nullptr, 0, nullptr, 0, error) != 0) return 1;
  }
  return 0;
}

int fire_statement_triggers(EngineSession& es, const std::string& table_upper, uint8_t event, bool before,
                            std::string* error) {
  std::vector<int32_t> ids;
  if (registry_statement_triggers(es.db, table_upper, event, before, &ids) != 0) {
    *error = "the statement triggers of " + table_upper + " cannot be read";
    return 1;
  }
  return fire_triggers(es, ids, error);
}

const ResolvedStatementTriggers* statement_triggers_of(EngineSession& es, const SqlStatement& s, uint8_t event,
                                                       std::string* error) {
  const uint64_t generation = registry_generation();
  if (static_cast<size_t>(s.slot) >= es.statement_triggers.size()) {
    es.statement_triggers.resize(static_cast<size_t>(s.slot) + 1);
  }
  ResolvedStatementTriggers& entry = es.statement_triggers[static_cast<size_t>(s.slot)];
  if (entry.generation == generation) [[likely]] return &entry;
  if (registry_statement_triggers(es.db, s.table, event, true, &entry.before) != 0 ||
      registry_statement_triggers(es.db, s.table, event, false, &entry.after) != 0) {
    entry.generation = 0;
    *error = "the statement triggers of " + s.table + " cannot be read";
    return nullptr;
  }
  entry.generation = generation;
  return &entry;
}

}  // namespace tavrel::kernel
