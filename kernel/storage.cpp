// SQLite storage of the reference kernel. Every change runs in SQLite transactions, so a
// killed kernel leaves the database as it was before the statement.
#include "kernel/storage.h"

#include <sqlite3.h>

#include "kernel/errors.h"

namespace tavrel::kernel {

namespace {

// The system tables, with the column names the catalogue statements use. $$$USR: $$$S31 the
// user's number (the owner of procedures and triggers), $$$S34 the name, $$$S32 0 for an
// active user. $$$PROC: $$$KIND 0 for a procedure, 1 for a trigger's action ("Trigger #n").
// $$$PRCD: one row per parameter, MODIF 1 in, 2 out, 3 in and out; DEFVAL the default in its
// stored form, DEFNULL 1 when the default is NULL.
const char* const SYSTEM_TABLES =
    "create table if not exists \"$$$USR\"(\"$$$S31\" integer primary key,"
    " \"$$$S34\" text not null unique collate nocase, \"$$$S32\" integer not null default 0,"
    " \"$$$PASSWORD\" text not null);"
    "create table if not exists \"$$$PROC\"(\"$$$ID\" integer primary key, \"$$$NAME\" text not null unique,"
    " \"$$$OWNER\" integer not null, \"$$$KIND\" integer not null default 0, \"$$$BODY\" text not null,"
    " \"$$$DEBUG\" integer not null default 0, \"$$$CREATED\" text default current_timestamp);"
    "create table if not exists \"$$$TRIG\"(\"$$$ID\" integer primary key, \"$$$NAME\" text not null unique,"
    " \"$$$OWNER\" integer not null, \"$$$PROC\" integer not null, \"$$$TABLE\" text not null,"
    " \"$$$EVENTS\" integer not null, \"$$$BEFORE\" integer not null, \"$$$ROW\" integer not null);"
    "create table if not exists \"$$$PRCD\"(PROCID integer not null, ARGID integer not null, NAME text not null,"
    " TYPE integer not null, PREC integer not null, SCALE integer not null, LEN integer not null,"
    " DEFNULL integer not null, DEFVAL blob, MODIF integer not null, primary key(PROCID, ARGID));";

}  // namespace

uint32_t storage_code(int sqlite_code) {
  switch (sqlite_code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW: return 0;
    case SQLITE_INTERRUPT: return KERNEL_INTERRUPTED;
    case SQLITE_CONSTRAINT: return KERNEL_CONSTRAINT;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return KERNEL_BUSY;
    default: return KERNEL_SQL_ERROR;
  }
}

sqlite3* storage_connect(const std::string& path, std::string* error) {
  sqlite3* db = nullptr;
  const int rc = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (rc != SQLITE_OK) {
    *error = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    sqlite3_close(db);
    return nullptr;
  }
  sqlite3_busy_timeout(db, STORAGE_BUSY_MS);
  return db;
}

void storage_disconnect(sqlite3* db) { sqlite3_close(db); }

int storage_create(const std::string& path, std::string* error) {
  sqlite3* db = storage_connect(path, error);
  if (db == nullptr) return 1;
  char* message = nullptr;
  int rc = sqlite3_exec(db, "pragma journal_mode=wal;", nullptr, nullptr, &message);
  if (rc == SQLITE_OK) rc = sqlite3_exec(db, SYSTEM_TABLES, nullptr, nullptr, &message);
  if (rc != SQLITE_OK) {
    *error = message != nullptr ? message : sqlite3_errstr(rc);
    sqlite3_free(message);
  }
  sqlite3_close(db);
  return rc == SQLITE_OK ? 0 : 1;
}

uint32_t storage_check_user(sqlite3* db, const std::string& user, const std::string& password) {
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "select \"$$$PASSWORD\" from \"$$$USR\" where \"$$$S34\" = ?;", -1, &st, nullptr) != SQLITE_OK) {
    return KERNEL_SQL_ERROR;
  }
  sqlite3_bind_text(st, 1, user.c_str(), static_cast<int>(user.size()), SQLITE_TRANSIENT);
  uint32_t code = KERNEL_UNKNOWN_USER;
  if (sqlite3_step(st) == SQLITE_ROW) {
    const auto* stored = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    code = stored != nullptr && password == stored ? 0 : KERNEL_WRONG_PASSWORD;
  }
  sqlite3_finalize(st);
  return code;
}

int storage_add_user(sqlite3* db, const std::string& user, const std::string& password) {
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "insert or ignore into \"$$$USR\"(\"$$$S34\", \"$$$PASSWORD\") values(?, ?);", -1, &st,
                         nullptr) != SQLITE_OK) {
    return 1;
  }
  sqlite3_bind_text(st, 1, user.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(st, 2, password.c_str(), -1, SQLITE_TRANSIENT);
  const int rc = sqlite3_step(st);
  sqlite3_finalize(st);
  return rc == SQLITE_DONE ? 0 : 1;
}

uint32_t storage_execute(sqlite3* db, const std::string& sql, uint32_t* changes, std::string* message) {
  const int before = sqlite3_total_changes(db);
  char* error = nullptr;
  const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error);
  if (error != nullptr) {
    *message = error;
    sqlite3_free(error);
  }
  *changes = static_cast<uint32_t>(sqlite3_total_changes(db) - before);
  return storage_code(rc);
}

uint32_t storage_prepare(sqlite3* db, const std::string& sql, sqlite3_stmt** statement, std::string* message,
                         bool persistent) {
  const int rc = sqlite3_prepare_v3(db, sql.c_str(), static_cast<int>(sql.size()),
                                    persistent ? SQLITE_PREPARE_PERSISTENT : 0, statement, nullptr);
  if (rc != SQLITE_OK) {
    *message = sqlite3_errmsg(db);
    return storage_code(rc);
  }
  if (*statement == nullptr) {
    *message = "empty statement";
    return KERNEL_SQL_ERROR;
  }
  return 0;
}

}  // namespace tavrel::kernel
