// The kernel's database on SQLite: the system tables, users, and statements of a session.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace tavrel::kernel {

// Opens (creating when needed) the database file and its system tables; 0 on success, else
// a message in error.
int storage_create(const std::string& path, std::string* error);

// How long a statement waits for a lock that another connection holds.
constexpr int STORAGE_BUSY_MS = 10000;

// One connection per session.
sqlite3* storage_connect(const std::string& path, std::string* error);
void storage_disconnect(sqlite3* db);

// 0, KERNEL_UNKNOWN_USER or KERNEL_WRONG_PASSWORD. Names compare without regard to case.
uint32_t storage_check_user(sqlite3* db, const std::string& user, const std::string& password);
// Adds a user unless one of that name exists.
int storage_add_user(sqlite3* db, const std::string& user, const std::string& password);

// Runs statements that return no rows; changes receives the rows changed. Returns 0 or a
// kernel code, the SQLite message in message.
uint32_t storage_execute(sqlite3* db, const std::string& sql, uint32_t* changes, std::string* message);

// Prepares one statement for fetching; 0 or a kernel code. A persistent statement is one
// that the caller keeps for running again.
uint32_t storage_prepare(sqlite3* db, const std::string& sql, sqlite3_stmt** statement, std::string* message,
                         bool persistent = false);

// Maps a SQLite result code to a kernel code.
uint32_t storage_code(int sqlite_code);

}  // namespace tavrel::kernel
