// The variables of a debugged procedure as the client reaches them: the cache of variable-
// table handles (PROC 22, released with 23) with the names found through each (PROC 24),
// reading a value of a stopped execution (28), and the client-side
// evaluator run against a stopped execution, whose variables are found by name and read
// with 28 as the evaluation needs them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/codes.h"
#include "translator/evaluator.h"
#include "values/value.h"

namespace tavrel {

struct Debugger;

struct VariableInfo {
  uint16_t number = VARIABLE_NONE;  // from 1; VARIABLE_NONE when there is none
  uint8_t type = TYPE_NONE;         // declared type, TYPE_NONE when the kernel did not say
};

struct HandleEntry {
  uint32_t procedure_id = 0;
  uint16_t handle = 0;
  std::map<std::string, VariableInfo> names;  // upper-cased CP866 names asked so far
};

struct HandleCache {
  std::vector<HandleEntry> entries;
};

// The variable-table handle of a procedure, asked of the kernel only when not cached.
int variable_table_handle(Debugger& d, uint32_t procedure_id, uint16_t* handle);
// A variable by name (upper-cased here): its number and declared type, number 65535 when
// the procedure has none of that name. Found names are cached with the handle.
int variable_find(Debugger& d, uint32_t procedure_id, std::string_view name, VariableInfo* out);
// Sends the release of every cached handle and empties the cache.
void handles_release(Debugger& d);

// Reads variable `number` (from 1; 65535 the return value) of a stopped execution. Texts of
// the value live in d.wire until the next read_reset.
int variable_read(Debugger& d, uint16_t execution, uint16_t number, Value* out);

// What an evaluation against a stopped execution gave.
struct FrameValue {
  uint8_t type = TYPE_NONE;
  bool truth = false;          // a LOGICAL TRUE
  std::string form;            // the typed form
  std::vector<uint8_t> wire;   // the value's wire form
  EvalOutcome outcome{};       // the diagnostic when it failed
};

// Evaluates a text against a stopped execution of a procedure: its variables are found by
// name and read as the evaluation needs them. type is TYPE_NONE for any class, else the
// class of that type. Returns 0, EVAL_FAILED after a diagnostic, or the status of a failed
// request (already reported).
int evaluate_in_frame(Debugger& d, uint32_t procedure_id, uint16_t execution, std::string_view text,
                      uint8_t type, FrameValue* out);

// Translates a condition (upper-cased) against a procedure's variables and collects the
// numbers of the variables it uses, each once. Returns 0, EVAL_FAILED when it does not
// translate, or the status of a failed request.
int condition_variables(Debugger& d, uint32_t procedure_id, std::string_view condition,
                        std::vector<uint16_t>* numbers);

}  // namespace tavrel
