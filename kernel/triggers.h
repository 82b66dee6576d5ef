// Our triggers inside SQLite. A row trigger of ours is installed as one SQLite trigger per
// event, named tavrel_trigger_<id>_<insert|update|delete>, whose body is
//
//   select tavrel_fire(<id>, <n>, NEW."C1", ..., NEW."Cn", OLD."C1", ..., OLD."Cm");
//
// id the trigger's $$$TRIG.$$$ID, n the count of NEW values that follow it (the table's
// columns for insert and update, 0 for delete); the OLD values are the rest (the columns for
// update and delete, none for insert). The function, registered on every session's
// connection, hands the row to the engine, which runs the trigger's action on the same
// connection; an action that fails makes the function fail with the engine's text, and so
// the statement that fired it.
//
// Statement triggers are no SQLite triggers: the engine fires them around every DML
// statement that a client sends (dml_begin, dml_end), inside a savepoint, so that an action
// that refuses the statement undoes it with everything the other actions did.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;

namespace tavrel::kernel {

struct EngineSession;

// Registers tavrel_fire on a connection for the session; nullptr for the server's own
// connection, which logs on and loads the demonstration data and runs no actions. 0 or an
// SQLite code.
int triggers_register(sqlite3* db, EngineSession* es);

// The name of the SQLite trigger for one event bit (EVENT_* of kernel/proc_header.h).
std::string trigger_sqlite_name(int64_t trigger_id, uint8_t event);

// Installs the SQLite triggers of our trigger trigger_id on table (UTF-8, as SQLite names
// it): one per event bit, BEFORE or AFTER, when it fires for each row; a statement trigger
// installs nothing. 0 or a kernel code with the database's message.
uint32_t triggers_install(sqlite3* db, int64_t trigger_id, std::string_view table, bool before, uint8_t events,
                          bool for_each_row, std::string* message);

// Drops whatever SQLite triggers were installed for trigger_id. 0 or a kernel code.
uint32_t triggers_remove(sqlite3* db, int64_t trigger_id, std::string* message);

// Whether a client's statement (UTF-8) changes rows: its first word is INSERT, UPDATE,
// DELETE, REPLACE or WITH.
bool statement_is_dml(std::string_view sql);

// Before a client's DML statement: opens a savepoint and fires the table's BEFORE statement
// triggers. 0, or KERNEL_SQL_ERROR with the action's text in *message (the savepoint is then
// gone and the statement must not run).
uint32_t dml_begin(sqlite3* db, EngineSession* es, std::string_view sql, std::string* message);

// After it, with the statement's code: fires the AFTER statement triggers when it succeeded,
// then keeps its work (release) or undoes it (rollback). Returns the statement's code, or
// KERNEL_SQL_ERROR with the action's text when an AFTER action refused it.
uint32_t dml_end(sqlite3* db, EngineSession* es, std::string_view sql, uint32_t code, std::string* message);

}  // namespace tavrel::kernel
