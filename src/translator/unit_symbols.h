// The names of the unit being translated, as the lexer resolves them: variables (with their
// declared types), the columns of cursor variables and the unit's own routines. The caller
// that owns the symbol tables (the reference kernel's parser, the debugger's list of locals)
// supplies the lookups; any of them may be null. Names arrive upper-cased (Latin a-z only).
#pragma once

#include <cstdint>
#include <string_view>

namespace tavrel {

struct UnitSymbols {
  void* user;
  // Number of a variable (0 up), or -1. indexed tells that the name is directly followed by
  // "["; *type gets the type code of the variable, or of its elements when indexed.
  int (*find_variable)(void* user, std::string_view name, bool indexed, uint8_t* type);
  // Number of a column of cursor variable `cursor`, or -1; *type gets the column's type.
  int (*find_column)(void* user, int cursor, std::string_view name, uint8_t* type);
  // Number of a routine of the unit (0 up), or -1; *type gets its result type.
  int (*find_routine)(void* user, std::string_view name, uint8_t* type);
};

}  // namespace tavrel
