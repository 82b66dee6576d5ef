// Variables of debugged procedures: the handle cache with the names found through each
// handle, reads of a stopped execution's variables, and the client-side
// evaluator bound to a stopped execution (names through PROC 22/24, values through PROC 28).
#include "debugger/variables.h"

#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "text/codepage.h"
#include "translator/diagnostics.h"
#include "translator/value_form.h"
#include "values/value_wire.h"

namespace tavrel {

namespace {

std::string upper_cp866(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(CP866_UPPER[static_cast<uint8_t>(c)]);
  return out;
}

void report(Debugger& d, int code) {
  if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
}

HandleEntry* handle_entry(Debugger& d, uint32_t procedure_id) {
  for (HandleEntry& e : d.handles.entries) {
    if (e.procedure_id == procedure_id) return &e;
  }
  return nullptr;
}

// An evaluation's view of a stopped execution: the evaluator's variable i is variables[i].
struct Binding {
  Debugger* d;
  uint32_t procedure_id;
  uint16_t execution;
  std::vector<VariableInfo> variables;
  int failure = 0;  // the status of a request that failed during the evaluation
};

int find_variable(void* user, std::string_view name, bool indexed, uint8_t* type) {
  auto& b = *static_cast<Binding*>(user);
  // Elements of indexed variables are not read by the debugger.
  if (indexed || b.failure != 0) return -1;
  VariableInfo info;
  if (const int code = variable_find(*b.d, b.procedure_id, name, &info)) {
    b.failure = code;
    return -1;
  }
  if (info.number == VARIABLE_NONE) return -1;
  *type = info.type;
  for (size_t i = 0; i < b.variables.size(); ++i) {
    if (b.variables[i].number == info.number) return static_cast<int>(i);
  }
  b.variables.push_back(info);
  return static_cast<int>(b.variables.size() - 1);
}

int read_variable(EvalContext& ctx, int variable, int column, const Value* index, Value* out) {
  auto& b = *static_cast<Binding*>(ctx.user);
  if (column >= 0) return DIAG_BAD_FIELD;
  if (index != nullptr) return DIAG_BAD_INDEX;
  if (variable < 0 || static_cast<size_t>(variable) >= b.variables.size()) return DIAG_BAD_IDENTIFIER;
  if (const int code = variable_read(*b.d, b.execution, b.variables[variable].number, out)) {
    b.failure = code;
    return DIAG_BAD_IDENTIFIER;
  }
  return 0;
}

// Binds the debugger's evaluation context to an execution for the life of the record.
struct BoundContext {
  EvalContext& ctx;
  UnitSymbols unit;
  BoundContext(Debugger& d, Binding* binding) : ctx(d.eval), unit{binding, find_variable, nullptr, nullptr} {
    ctx.unit = &unit;
    ctx.read_variable = read_variable;
    ctx.user = binding;
  }
  ~BoundContext() {
    ctx.unit = nullptr;
    ctx.read_variable = nullptr;
    ctx.user = nullptr;
  }
  BoundContext(const BoundContext&) = delete;
  BoundContext& operator=(const BoundContext&) = delete;
};

}  // namespace

int variable_table_handle(Debugger& d, uint32_t procedure_id, uint16_t* handle) {
  if (const HandleEntry* e = handle_entry(d, procedure_id)) {
    *handle = e->handle;
    return 0;
  }
  const int code = request_variable_table(d, procedure_id, handle);
  report(d, code);
  if (code != 0) return code;
  d.handles.entries.push_back(HandleEntry{procedure_id, *handle, {}});
  return 0;
}

int variable_find(Debugger& d, uint32_t procedure_id, std::string_view name, VariableInfo* out) {
  *out = VariableInfo{};
  const std::string upper = upper_cp866(name);
  uint16_t handle = 0;
  if (const int code = variable_table_handle(d, procedure_id, &handle)) return code;
  HandleEntry* entry = handle_entry(d, procedure_id);
  if (const auto it = entry->names.find(upper); it != entry->names.end()) {
    *out = it->second;
    return 0;
  }
  VariableInfo info;
  const int code = request_find_variable(d, handle, upper, &info.number, &info.type);
  report(d, code);
  if (code != 0) return code;
  entry->names[upper] = info;
  *out = info;
  return 0;
}

void handles_release(Debugger& d) {
  for (const HandleEntry& e : d.handles.entries) request_release_table(d, e.handle);
  d.handles.entries.clear();
}

int variable_read(Debugger& d, uint16_t execution, uint16_t number, Value* out) {
  std::vector<uint8_t> wire;
  const int code = request_read_variable(d, execution, number, &wire);
  report(d, code);
  if (code != 0) return code;
  if (value_wire_get(wire, &d.wire, out) != 0) return 0;
  // A value of no known type: the answer is taken as a failed exchange.
  report(d, static_cast<int>(CHANNEL_EXCHANGE_FAILED));
  return static_cast<int>(CHANNEL_EXCHANGE_FAILED);
}

int evaluate_in_frame(Debugger& d, uint32_t procedure_id, uint16_t execution, std::string_view text,
                      uint8_t type, FrameValue* out) {
  *out = FrameValue{};
  Binding binding{&d, procedure_id, execution, {}};
  d.wire.blocks.clear();
  BoundContext bound(d, &binding);
  const EvalScope scope = eval_scope_open(d.eval);
  Value v{};
  const int rc = type == TYPE_NONE ? evaluate(text, d.eval, &v, &out->outcome)
                                   : evaluate_as(type, text, d.eval, &v, &out->outcome);
  if (rc == 0) {
    out->type = v.type;
    out->truth = v.type == TYPE_BOOL && v.payload[0] != 0;
    out->form = typed_value_form(v, d.pool);
    value_wire_put(v, &out->wire);
  }
  eval_scope_close(d.eval, scope);
  if (binding.failure != 0) return binding.failure;
  return rc == 0 ? 0 : EVAL_FAILED;
}

int condition_variables(Debugger& d, uint32_t procedure_id, std::string_view condition,
                        std::vector<uint16_t>* numbers) {
  numbers->clear();
  Binding binding{&d, procedure_id, 0, {}};
  BoundContext bound(d, &binding);
  ExprTree tree{};
  EvalOutcome outcome;
  const int rc = compile_text(condition, d.eval, &tree, &outcome, 0);
  release_tree(tree);
  if (binding.failure != 0) return binding.failure;
  if (rc != 0) return EVAL_FAILED;
  for (const VariableInfo& v : binding.variables) numbers->push_back(v.number);
  return 0;
}

}  // namespace tavrel
