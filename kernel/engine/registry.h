// The compiled units, shared by every session: a unit is compiled from its stored text on the
// first call after the kernel starts (or after engine_forget_unit) and kept. Also the names of
// procedures by which calls find them, and what the engine needs of each trigger. All lookups
// are thread-safe; a unit handed out stays alive while its holder runs it, even if it is
// forgotten meanwhile.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kernel/engine/program.h"

struct sqlite3;

namespace tavrel::kernel {

// The procedure (KIND 0) of that name (CP866) in $$$PROC, or 0.
int32_t registry_find_procedure(sqlite3* db, std::string_view name);

// The compiled unit of a stored procedure or trigger action; nullptr when there is none or
// its text no longer translates (*why then says so).
std::shared_ptr<const Unit> registry_unit(sqlite3* db, int32_t proc_id, std::string* why);

struct TriggerInfo {
  int32_t id = 0;
  int32_t action = 0;  // the $$$PROC row of its action
  std::string name;    // UTF-8
  std::string table;   // UTF-8, upper-cased
  uint8_t events = 0;  // EVENT_UPDATE | EVENT_INSERT | EVENT_DELETE
  bool before = false;
  bool row = false;
};

// The trigger of that id; false when there is none.
bool registry_trigger(sqlite3* db, int32_t trigger_id, TriggerInfo* out);

// The statement triggers of a table (upper-cased UTF-8) for an event, BEFORE or AFTER ones, in
// the order they were created. Read from the database once and kept until a unit is forgotten.
// 0, or 1 when the trigger table could not be read (nothing is returned then).
int registry_statement_triggers(sqlite3* db, const std::string& table_upper, uint8_t event, bool before,
                                std::vector<int32_t>* ids);

// The unit of a procedure or trigger action as it is kept now, without compiling it; nullptr
// when none is kept (never called since the kernel started or since it was forgotten).
std::shared_ptr<const Unit> registry_kept_unit(int32_t proc_id);

// Gives up what is kept of a unit (and of the names and triggers that lead to it).
void registry_forget(int32_t proc_id);

// A fresh slot for an embedded statement in every session's table of prepared statements.
int registry_new_sql_slot();

// A fresh slot for a call site (a CALL statement or a routine of a unit) in every session's
// table of resolved callees.
int registry_new_call_slot();

// A number that changes whenever a unit is forgotten (a procedure or trigger is created,
// altered or dropped): what a session resolved while it had one value holds while it has it.
// Read on every call, so kept where a read is one load.
inline std::atomic<uint64_t> registry_generation_counter{1};
inline uint64_t registry_generation() { return registry_generation_counter.load(std::memory_order_acquire); }

}  // namespace tavrel::kernel
