// What the files of the built-ins share: the family entry points that builtin_call
// dispatches to, the readers of arguments (with their NULL and wrong-type outcomes), and
// the makers of result texts in the evaluation's string pool.
//
// builtins.cpp      table, lookup, result types, argument rules, dispatch, these helpers
// builtins_text.cpp strings and national strings
// builtins_math.cpp mathematics and random numbers
// builtins_date.cpp dates
// builtins_misc.cpp conversions, PRINT, and the functions bound to a database or session
#pragma once

#include <cstddef>
#include <cstdint>

#include "translator/builtins.h"
#include "values/stack_mem.h"

namespace tavrel {

// Each family computes the functions of its file; the number selects the function.
int builtins_text_call(int number, EvalContext& ctx, const Value* args, int argc, Value* result);
int builtins_math_call(int number, EvalContext& ctx, const Value* args, int argc, Value* result);
int builtins_date_call(int number, EvalContext& ctx, const Value* args, int argc, Value* result);
int builtins_convert_call(int number, EvalContext& ctx, const Value* args, int argc,
                          Value* result);
int builtins_bound_call(int number, EvalContext& ctx, const Value* args, int argc,
                        Value* result);

// The longest result texts: what one block of stack memory holds with its terminator.
// A national character takes two bytes.
constexpr size_t CHAR_RESULT_MAX = STACK_BLOCK_SIZE - STACK_BLOCK_HEADER - 1;
constexpr size_t NCHAR_RESULT_MAX = (CHAR_RESULT_MAX - 1) / 2;

// Outcome of reading an argument.
enum ArgStatus {
  ARG_OK = 0,
  ARG_NULL = 1,    // the argument is NULL: the call gives NULL
  ARG_BAD = 2,     // a type the function cannot use: diagnostic 12
  ARG_ABSENT = 3,  // not given (only where a reader has no default)
};

// Turns a failed read into the call's outcome: NULL gives a NULL result and 0, anything
// else diagnostic 12.
int arg_failure(int status, Value* result);

inline bool is_nchar_type(uint8_t type) { return type == TYPE_NCHAR || type == TYPE_WSTRING; }

// A numeric argument truncated to 64 bits (read as BIGINT); absent gives dflt.
int arg_int(const Value* args, int argc, int i, int64_t dflt, int64_t* out);
// A numeric argument as a double; absent gives dflt.
int arg_double(const Value* args, int argc, int i, double dflt, double* out);
// A BOOL argument; absent gives false.
int arg_flag(const Value* args, int argc, int i, bool* out);

// A view of an argument as single-byte text. CHAR is used in place; NCHAR is converted to
// CP866; other types give their TOCHAR text form. Conversions are pool texts that the view
// gives back when it goes out of scope.
struct TextArg {
  const uint8_t* p = nullptr;
  size_t n = 0;
  StringPool* pool = nullptr;
  const char* temp = nullptr;
  TextArg() = default;
  TextArg(const TextArg&) = delete;
  TextArg& operator=(const TextArg&) = delete;
  ~TextArg();
};
// Absent gives ARG_ABSENT; NULL gives ARG_NULL; a type without a text form ARG_BAD.
int arg_text(EvalContext& ctx, const Value* args, int argc, int i, TextArg* out);

// A view of an argument as national (16-bit) text: NCHAR in place, everything else through
// its single-byte text converted from CP866.
struct WideArg {
  const uint16_t* p = nullptr;
  size_t n = 0;
  StringPool* pool = nullptr;
  const char* temp = nullptr;
  WideArg() = default;
  WideArg(const WideArg&) = delete;
  WideArg& operator=(const WideArg&) = delete;
  ~WideArg();
};
int arg_wide(EvalContext& ctx, const Value* args, int argc, int i, WideArg* out);

// Pool room for n single-byte characters (terminated), or nullptr with the run status -8.
char* alloc_text(EvalContext& ctx, size_t n);
// Pool room for n national characters, 2-byte aligned and terminated, or nullptr with -8.
uint16_t* alloc_wide(EvalContext& ctx, size_t n);
// Results holding a pool copy of the characters; without memory, a CHAR / NCHAR without text.
Value result_text(EvalContext& ctx, const uint8_t* p, size_t n);
Value result_wide(EvalContext& ctx, const uint16_t* p, size_t n);

// CP866 byte <-> national character; a character CP866 lacks becomes '?'.
uint16_t cp866_to_wide(uint8_t c);
uint8_t wide_to_cp866(uint16_t c);

}  // namespace tavrel
