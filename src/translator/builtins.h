// The built-in functions of the procedure language: the table of 134 names and numbers,
// their static result types, their argument rules and their computation on the client.
#pragma once

#include <cstdint>
#include <string_view>

#include "translator/eval_context.h"
#include "values/value.h"

namespace tavrel {

constexpr int BUILTIN_COUNT = 134;  // numbers from 134 up are routines of the unit

// Number of a built-in by its upper-case name, or -1.
int builtin_find(std::string_view upper_name);
// Name of a built-in by number (nullptr outside 0..133).
const char* builtin_name(int number);
// The type code a call is given before it is computed.
uint8_t builtin_result_type(int number);
// Whether the arguments pass the function's rule (a "no" is diagnostic 12).
bool builtin_check_args(int number, int argc, const Value* args);
// Computes a call whose arguments passed the check. Returns 0 with *result set, or a
// diagnostic number (with *result set to what the evaluation goes on with, if anything).
int builtin_call(int number, int argc, const Value* args, Value* result, EvalContext& ctx);

}  // namespace tavrel
