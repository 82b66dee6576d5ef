// The statement cache of a session: prepared selects kept by the text the client sent (in
// the session's code page, padding included), so that a repeated select is neither matched
// against the catalogue statements, rewritten nor parsed again. SQLite prepares a kept
// statement again by itself after a schema change. The least recently used one goes when
// the cache is full.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;

namespace tavrel::kernel {

// Prepared statements a session keeps.
constexpr size_t STATEMENTS_CACHED_MAX = 16;
// Longer select texts are prepared for one use only.
constexpr size_t STATEMENT_TEXT_CACHED_MAX = 16384;

struct CachedStatement {
  std::string text;
  sqlite3_stmt* statement = nullptr;
  uint64_t used = 0;   // the cache's use counter at its last use, for eviction
  bool quick = false;  // read-only, and its last run was short enough to run on the server thread
};

struct StatementCache {
  // At most STATEMENTS_CACHED_MAX entries. Pointers into it stay valid until the next
  // statement_keep or statements_release.
  std::vector<CachedStatement> entries;
  uint64_t uses = 0;
};

// The kept statement for a text (marked as used), or nullptr.
CachedStatement* statement_find(StatementCache* cache, std::string_view text);
// Keeps a newly prepared statement, finalizing the one used longest ago when the cache is
// full. The caller must not be running the one that may go.
CachedStatement* statement_keep(StatementCache* cache, std::string_view text, sqlite3_stmt* statement);
// Finalizes every kept statement.
void statements_release(StatementCache* cache);

}  // namespace tavrel::kernel
