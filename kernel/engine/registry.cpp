// The shared registry of compiled units, procedure names and triggers (see registry.h). The
// lock is held only for map lookups and updates, never while compiling: two sessions that
// compile the same unit at once both compile it and the first one stored is kept.
#include "kernel/engine/registry.h"

#include <sqlite3.h>

#include <atomic>
#include <mutex>
#include <unordered_map>

#include "kernel/engine/compiler.h"
#include "text/unicode.h"

namespace tavrel::kernel {

namespace {

struct Registry {
  std::mutex lock;
  std::unordered_map<int32_t, std::shared_ptr<const Unit>> units;
  std::unordered_map<std::string, int32_t> names;  // CP866 name -> procedure id
  std::unordered_map<int32_t, TriggerInfo> triggers;
  // Every statement trigger, read once: each DML statement asks for its table's, and most
  // tables have none. Read again after any unit is forgotten (a store commits before that).
  bool statement_triggers_read = false;
  std::vector<TriggerInfo> statement_triggers;
  std::atomic<int> sql_slots{0};
  std::atomic<int> call_slots{0};
};

Registry& registry() {
  static Registry r;
  return r;
}

}  // namespace

int registry_new_sql_slot() { return registry().sql_slots.fetch_add(1); }

int registry_new_call_slot() { return registry().call_slots.fetch_add(1); }



int32_t registry_find_procedure(sqlite3* db, std::string_view name) {
  Registry& r = registry();
  {
    std::lock_guard<std::mutex> hold(r.lock);
    auto it = r.names.find(std::string(name));
    if (it != r.names.end()) return it->second;
  }
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "select \"$$$ID\" from \"$$$PROC\" where \"$$$NAME\" = ? and \"$$$KIND\" = 0;", -1, &st,
                         nullptr) != SQLITE_OK) {
    return 0;
  }
  const std::string utf8 = cp866_to_utf8(name);
  sqlite3_bind_text(st, 1, utf8.c_str(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT);
  int32_t id = 0;
  if (sqlite3_step(st) == SQLITE_ROW) id = static_cast<int32_t>(sqlite3_column_int64(st, 0));
  sqlite3_finalize(st);
  if (id != 0) {
    std::lock_guard<std::mutex> hold(r.lock);
    r.names[std::string(name)] = id;
  }
  return id;
}

std::shared_ptr<const Unit> registry_unit(sqlite3* db, int32_t proc_id, std::string* why) {
  Registry& r = registry();
  {
    std::lock_guard<std::mutex> hold(r.lock);
    auto it = r.units.find(proc_id);
    if (it != r.units.end()) return it->second;
  }
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "select \"$$$BODY\" from \"$$$PROC\" where \"$$$ID\" = ?;", -1, &st, nullptr) !=
      SQLITE_OK) {
    *why = sqlite3_errmsg(db);
    return nullptr;
  }
  sqlite3_bind_int64(st, 1, proc_id);
  std::string body;
  bool found = false;
  if (sqlite3_step(st) == SQLITE_ROW) {
    const char* text = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    body = text != nullptr ? text : "";
    found = true;
  }
  sqlite3_finalize(st);
  if (!found) {
    *why = "no such procedure";
    return nullptr;
  }
  auto unit = std::make_shared<Unit>();
  std::vector<Diagnostic> diags;
  if (compile_unit(db, utf8_to_cp866(body), unit.get(), &diags) != 0) {
    *why = "the stored text does not translate (diagnostic " + std::to_string(diags.empty() ? 0 : diags[0].number) +
           " at line " + std::to_string(diags.empty() ? 0 : diags[0].line) + ")";
    return nullptr;
  }
  unit->proc_id = proc_id;
  for (auto& s : unit->sql) s->slot = registry_new_sql_slot();
  for (Statement& s : unit->code) {
    if (s.kind == StmtKind::CALL) s.call_slot = registry_new_call_slot();
  }
  unit->routine_slots.resize(unit->routines.size());
  for (int32_t& slot : unit->routine_slots) slot = registry_new_call_slot();
  std::lock_guard<std::mutex> hold(r.lock);
  auto [it, inserted] = r.units.emplace(proc_id, std::move(unit));
  return it->second;
}

bool registry_trigger(sqlite3* db, int32_t trigger_id, TriggerInfo* out) {
  Registry& r = registry();
  {
    std::lock_guard<std::mutex> hold(r.lock);
    auto it = r.triggers.find(trigger_id);
    if (it != r.triggers.end()) {
      *out = it->second;
      return true;
    }
  }
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db,
                         "select \"$$$PROC\", \"$$$NAME\", upper(\"$$$TABLE\"), \"$$$EVENTS\", \"$$$BEFORE\", \"$$$ROW\" "
                         "from \"$$$TRIG\" where \"$$$ID\" = ?;",
                         -1, &st, nullptr) != SQLITE_OK) {
    return false;
  }
  sqlite3_bind_int64(st, 1, trigger_id);
  bool found = false;
  if (sqlite3_step(st) == SQLITE_ROW) {
    found = true;
    out->id = trigger_id;
    out->action = static_cast<int32_t>(sqlite3_column_int64(st, 0));
    const char* name = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
    const char* table = reinterpret_cast<const char*>(sqlite3_column_text(st, 2));
    out->name = name != nullptr ? name : "";
    out->table = table != nullptr ? table : "";
    out->events = static_cast<uint8_t>(sqlite3_column_int(st, 3));
    out->before = sqlite3_column_int(st, 4) != 0;
    out->row = sqlite3_column_int(st, 5) != 0;
  }
  sqlite3_finalize(st);
  if (found && out->action != 0) {
    std::lock_guard<std::mutex> hold(r.lock);
    r.triggers[trigger_id] = *out;
  }
  return found;
}

int registry_statement_triggers(sqlite3* db, const std::string& table_upper, uint8_t event, bool before,
                                std::vector<int32_t>* ids) {
  ids->clear();
  Registry& r = registry();
  std::unique_lock<std::mutex> hold(r.lock);
  if (!r.statement_triggers_read) {
    hold.unlock();
    std::vector<TriggerInfo> all;
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db,
                           "select \"$$$ID\", \"$$$PROC\", \"$$$NAME\", upper(\"$$$TABLE\"), \"$$$EVENTS\", "
                           "\"$$$BEFORE\" from \"$$$TRIG\" where \"$$$ROW\" = 0 order by \"$$$ID\";",
                           -1, &st, nullptr) != SQLITE_OK) {
      return 0;  // no trigger table: nothing to fire
    }
    int rc;
    while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
      TriggerInfo t;
      t.id = static_cast<int32_t>(sqlite3_column_int64(st, 0));
      t.action = static_cast<int32_t>(sqlite3_column_int64(st, 1));
      const char* name = reinterpret_cast<const char*>(sqlite3_column_text(st, 2));
      const char* table = reinterpret_cast<const char*>(sqlite3_column_text(st, 3));
      t.name = name != nullptr ? name : "";
      t.table = table != nullptr ? table : "";
      t.events = static_cast<uint8_t>(sqlite3_column_int(st, 4));
      t.before = sqlite3_column_int(st, 5) != 0;
      t.row = false;
      all.push_back(std::move(t));
    }
    sqlite3_finalize(st);
    if (rc != SQLITE_DONE) return 1;  // read again next time
    hold.lock();
    r.statement_triggers = std::move(all);
    r.statement_triggers_read = true;
  }
  for (const TriggerInfo& t : r.statement_triggers) {
    if (t.before == before && (t.events & event) != 0 && t.table == table_upper) ids->push_back(t.id);
  }
  return 0;
}

std::shared_ptr<const Unit> registry_kept_unit(int32_t proc_id) {
  Registry& r = registry();
  std::lock_guard<std::mutex> hold(r.lock);
  const auto it = r.units.find(proc_id);
  return it != r.units.end() ? it->second : nullptr;
}

void registry_forget(int32_t proc_id) {
  Registry& r = registry();
  std::lock_guard<std::mutex> hold(r.lock);
  registry_generation_counter.fetch_add(1, std::memory_order_acq_rel);
  r.statement_triggers_read = false;
  r.units.erase(proc_id);
  for (auto it = r.names.begin(); it != r.names.end();) {
    it = it->second == proc_id ? r.names.erase(it) : std::next(it);
  }
  for (auto it = r.triggers.begin(); it != r.triggers.end();) {
    it = it->second.action == proc_id ? r.triggers.erase(it) : std::next(it);
  }
}

}  // namespace tavrel::kernel
