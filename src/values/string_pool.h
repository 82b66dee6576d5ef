// The string pool of an evaluation: every text produced for a value (a conversion to text,
// the result of a string built-in) is carved from one of the two text pools of stack
// memory and recorded here with the nesting level that was current when it was made.
// Leaving a level frees every text made at that level.
#pragma once

#include <cstddef>
#include <span>

#include "values/stack_mem.h"

namespace tavrel {

constexpr int MAX_STRINGS = 255;
constexpr int RUN_NO_MEMORY = -8;  // run status when a text cannot be had

struct StringEntry {
  char* text;
  int level;
};

struct StringPool {
  StackMemory* stack;
  int text_pool;  // STACK_TEXT_A or STACK_TEXT_B
  int count;
  int level;
  int run_status;  // 0, or RUN_NO_MEMORY once a text could not be had
  // "LANGLIB: MAX_STRINGS too small!\n" once the table was full, else null; the caller shows
  // it and clears it.
  const char* notice;
  // The table of live texts: own_entries, or a larger one the caller gave string_pool_init.
  StringEntry* entries;
  int capacity;
  StringEntry own_entries[MAX_STRINGS];
  // Handed out instead of a new text when the pool is full, so the caller's write is
  // harmless; large enough for any text stack memory can give.
  char scratch[STACK_BLOCK_SIZE];
};

// Sets the pool up empty. The table of live texts holds MAX_STRINGS entries, or the entries of
// table when one is given (the caller keeps it as long as the pool).
void string_pool_init(StringPool& pool, StackMemory* stack, int text_pool,
                      std::span<StringEntry> table = {});

// n characters (filled with blanks) and a terminator. When the pool is full it leaves the
// notice "LANGLIB: MAX_STRINGS too small!\n", sets the run status to -8 and returns the
// scratch area; without memory it sets -8 and returns nullptr.
char* pool_alloc_text(StringPool& pool, size_t n);
// Removes a text's entry, keeping the order of the rest. Unknown texts are ignored.
void pool_free_text(StringPool& pool, const char* text);
void pool_enter_level(StringPool& pool);
// Frees every text of the current level, then goes one level up.
void pool_leave_level(StringPool& pool);

}  // namespace tavrel
