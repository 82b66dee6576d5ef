// A session's prepared selects, by text, with least-recently-used eviction.
#include "kernel/statement_cache.h"

#include <sqlite3.h>

#include <cassert>

namespace tavrel::kernel {

CachedStatement* statement_find(StatementCache* cache, std::string_view text) {
  for (CachedStatement& e : cache->entries) {
    if (e.text == text) {
      e.used = ++cache->uses;
      return &e;
    }
  }
  return nullptr;
}

CachedStatement* statement_keep(StatementCache* cache, std::string_view text, sqlite3_stmt* statement) {
  assert(statement != nullptr);
  CachedStatement* slot = nullptr;
  if (cache->entries.size() < STATEMENTS_CACHED_MAX) {
    slot = &cache->entries.emplace_back();
  } else {
    slot = &cache->entries.front();
    for (CachedStatement& e : cache->entries) {
      if (e.used < slot->used) slot = &e;
    }
    sqlite3_finalize(slot->statement);
  }
  slot->text.assign(text);
  slot->statement = statement;
  slot->used = ++cache->uses;
  slot->quick = false;
  assert(cache->entries.size() <= STATEMENTS_CACHED_MAX);
  return slot;
}

void statements_release(StatementCache* cache) {
  for (CachedStatement& e : cache->entries) sqlite3_finalize(e.statement);
  cache->entries.clear();
}

}  // namespace tavrel::kernel
