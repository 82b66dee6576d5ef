// Installing our triggers as SQLite triggers, the tavrel_fire function their bodies call,
// and the statement triggers around a client's DML statement.
#include "kernel/triggers.h"

#include <sqlite3.h>

#include <cctype>
#include <vector>

#include "kernel/engine/engine.h"
#include "kernel/proc_header.h"
#include "kernel/storage.h"
#include "protocol/codes.h"
#include "text/unicode.h"

namespace tavrel::kernel {

namespace {

struct EventWord {
  uint8_t event;
  const char* word;  // in the SQLite trigger's name and statement
};
constexpr EventWord EVENT_WORDS[] = {
    {EVENT_INSERT, "insert"},
    {EVENT_UPDATE, "update"},
    {EVENT_DELETE, "delete"},
};

// The first words of the statements that change rows.
constexpr std::string_view DML_WORDS[] = {"INSERT", "UPDATE", "DELETE", "REPLACE", "WITH"};

constexpr const char* SAVEPOINT = "savepoint tavrel_statement;";
constexpr const char* SAVEPOINT_RELEASE = "release tavrel_statement;";
constexpr const char* SAVEPOINT_UNDO = "rollback to tavrel_statement; release tavrel_statement;";

std::string quoted(std::string_view name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + '"';
}

// The engine's texts are CP866; SQLite's messages are UTF-8.
void fail(sqlite3_context* ctx, const std::string& cp866) {
  const std::string text = cp866_to_utf8(cp866);
  sqlite3_result_error(ctx, text.c_str(), static_cast<int>(text.size()));
}

// tavrel_fire(trigger id, count of NEW values, NEW values..., OLD values...)
void fire(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  // The server's own connection, which only logs on and loads the demonstration data, runs
  // no actions.
  auto* es = static_cast<EngineSession*>(sqlite3_user_data(ctx));
  if (es == nullptr) {
    sqlite3_result_null(ctx);
    return;
  }
  const int new_count = argc >= 2 ? sqlite3_value_int(argv[1]) : -1;
  if (argc < 2 || new_count < 0 || new_count > argc - 2) {
    sqlite3_result_error(ctx, "tavrel_fire: a trigger number and a count of NEW values come first", -1);
    return;
  }
  const auto trigger_id = static_cast<int32_t>(sqlite3_value_int64(argv[0]));
  std::string error;
  if (engine_fire_trigger(es, trigger_id, argv + 2, new_count, argv + 2 + new_count, argc - 2 - new_count,
                          &error) != 0) {
    fail(ctx, error.empty() ? std::string("trigger action failed") : error);
    return;
  }
  sqlite3_result_null(ctx);
}

uint32_t exec(sqlite3* db, const std::string& sql, std::string* message) {
  char* error = nullptr;
  const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error);
  if (rc != SQLITE_OK && message != nullptr) *message = error != nullptr ? error : sqlite3_errstr(rc);
  sqlite3_free(error);
  return storage_code(rc);
}

// The table's column names, in order.
uint32_t table_columns(sqlite3* db, std::string_view table, std::vector<std::string>* out, std::string* message) {
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db, "select name from pragma_table_info(?);", -1, &st, nullptr);
  if (rc == SQLITE_OK) rc = sqlite3_bind_text(st, 1, table.data(), static_cast<int>(table.size()), SQLITE_TRANSIENT);
  while (rc == SQLITE_OK || rc == SQLITE_ROW) {
    rc = sqlite3_step(st);
    if (rc == SQLITE_ROW) out->emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
  }
  if (rc != SQLITE_DONE) *message = sqlite3_errmsg(db);
  sqlite3_finalize(st);
  if (rc == SQLITE_DONE && out->empty()) {
    *message = "no such table: " + std::string(table);
    return KERNEL_NO_OBJECT;
  }
  return rc == SQLITE_DONE ? 0 : storage_code(rc);
}

std::string row_values(const char* row, const std::vector<std::string>& columns) {
  std::string out;
  for (const std::string& c : columns) out += ", " + std::string(row) + "." + quoted(c);
  return out;
}

}  // namespace

int triggers_register(sqlite3* db, EngineSession* es) {
  // Not deterministic: an action may do anything. Not direct-only, so that trigger bodies
  // in the schema may call it; innocuous, so that they may also when the schema is not
  // trusted.
  return sqlite3_create_function_v2(db, TRIGGER_FUNCTION, -1, SQLITE_UTF8 | SQLITE_INNOCUOUS, es, fire, nullptr,
                                    nullptr, nullptr);
}

std::string trigger_sqlite_name(int64_t trigger_id, uint8_t event) {
  for (const EventWord& e : EVENT_WORDS) {
    if (e.event == event) return "tavrel_trigger_" + std::to_string(trigger_id) + "_" + e.word;
  }
  return {};
}

uint32_t triggers_install(sqlite3* db, int64_t trigger_id, std::string_view table, bool before, uint8_t events,
                          bool for_each_row, std::string* message) {
  if (!for_each_row) return 0;
  std::vector<std::string> columns;
  if (const uint32_t code = table_columns(db, table, &columns, message)) return code;
  const std::string count = std::to_string(columns.size());
  for (const EventWord& e : EVENT_WORDS) {
    if ((events & e.event) == 0) continue;
    const bool has_new = e.event != EVENT_DELETE;
    const bool has_old = e.event != EVENT_INSERT;
    std::string sql = "create trigger " + quoted(trigger_sqlite_name(trigger_id, e.event)) +
                      (before ? " before " : " after ") + e.word + " on " + quoted(table) +
                      " for each row begin select " + TRIGGER_FUNCTION + "(" + std::to_string(trigger_id) + ", " +
                      (has_new ? count : "0");
    if (has_new) sql += row_values("NEW", columns);
    if (has_old) sql += row_values("OLD", columns);
    sql += "); end;";
    if (const uint32_t code = exec(db, sql, message)) return code;
  }
  return 0;
}

uint32_t triggers_remove(sqlite3* db, int64_t trigger_id, std::string* message) {
  for (const EventWord& e : EVENT_WORDS) {
    const std::string sql = "drop trigger if exists " + quoted(trigger_sqlite_name(trigger_id, e.event)) + ";";
    if (const uint32_t code = exec(db, sql, message)) return code;
  }
  return 0;
}

bool statement_is_dml(std::string_view sql) {
  size_t i = 0;
  while (i < sql.size() && std::isspace(static_cast<unsigned char>(sql[i]))) ++i;
  std::string word;
  while (i < sql.size() && std::isalpha(static_cast<unsigned char>(sql[i])) && word.size() < 8) {
    word += static_cast<char>(std::toupper(static_cast<unsigned char>(sql[i++])));
  }
  if (i < sql.size() && std::isalnum(static_cast<unsigned char>(sql[i]))) return false;
  for (std::string_view w : DML_WORDS) {
    if (word == w) return true;
  }
  return false;
}

uint32_t dml_begin(sqlite3* db, EngineSession* es, std::string_view sql, std::string* message) {
  if (const uint32_t code = exec(db, SAVEPOINT, message)) return code;
  std::string error;
  if (engine_statement_triggers(es, sql, true, &error) == 0) return 0;
  exec(db, SAVEPOINT_UNDO, nullptr);
  *message = cp866_to_utf8(error);
  return KERNEL_SQL_ERROR;
}

uint32_t dml_end(sqlite3* db, EngineSession* es, std::string_view sql, uint32_t code, std::string* message) {
  if (code == 0) {
    std::string error;
    if (engine_statement_triggers(es, sql, false, &error) != 0) {
      *message = cp866_to_utf8(error);
      code = KERNEL_SQL_ERROR;
    }
  }
  // Releasing the outermost savepoint commits, which may fail in its turn. A text that ended
  // the transaction itself ("...; commit;") has taken the savepoint with it.
  if (code == 0) {
    std::string why;
    code = exec(db, SAVEPOINT_RELEASE, &why);
    if (code == 0 || sqlite3_get_autocommit(db) != 0) return 0;
    *message = why;
  }
  // A failure that ended the whole transaction has taken the savepoint with it; nothing is
  // left to undo then.
  exec(db, SAVEPOINT_UNDO, nullptr);
  return code;
}

}  // namespace tavrel::kernel
