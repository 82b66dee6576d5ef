// The string pool: a bounded table of live texts, each tagged with its nesting level.
#include "values/string_pool.h"

#include <cstring>

namespace tavrel {

void string_pool_init(StringPool& pool, StackMemory* stack, int text_pool,
                      std::span<StringEntry> table) {
  if (table.empty()) table = std::span<StringEntry>(pool.own_entries);
  pool.entries = table.data();
  pool.capacity = static_cast<int>(table.size());
  pool.stack = stack;
  pool.text_pool = text_pool;
  pool.count = 0;
  pool.level = 0;
  pool.run_status = 0;
  pool.notice = nullptr;
}

char* pool_alloc_text(StringPool& pool, size_t n) {
  if (pool.count >= pool.capacity) {
    pool.notice = "LANGLIB: MAX_STRINGS too small!\n";
    pool.run_status = RUN_NO_MEMORY;
    if (n >= sizeof pool.scratch) return nullptr;
    std::memset(pool.scratch, ' ', n);
    pool.scratch[n] = '\0';
    return pool.scratch;
  }
  char* text = static_cast<char*>(get_stack_mem(*pool.stack, pool.text_pool, n + 1));
  if (text == nullptr) {
    pool.run_status = RUN_NO_MEMORY;
    return nullptr;
  }
  std::memset(text, ' ', n);
  text[n] = '\0';
  pool.entries[pool.count++] = StringEntry{text, pool.level};
  return text;
}

void pool_free_text(StringPool& pool, const char* text) {
  for (int i = 0; i < pool.count; i++) {
    if (pool.entries[i].text == text) {
      std::memmove(&pool.entries[i], &pool.entries[i + 1],
                   sizeof(StringEntry) * static_cast<size_t>(pool.count - i - 1));
      pool.count--;
      return;
    }
  }
}

void pool_enter_level(StringPool& pool) { pool.level++; }

void pool_leave_level(StringPool& pool) {
  int kept = 0;
  for (int i = 0; i < pool.count; i++) {
    if (pool.entries[i].level != pool.level) pool.entries[kept++] = pool.entries[i];
  }
  pool.count = kept;
  pool.level--;
}

}  // namespace tavrel
