// The evaluator of expression trees.
//
// Each node is computed from its operands' values. Where a value's type is the type its node
// declared (the usual case) the type rule was settled when the tree was built; where it is not,
// or the node was left to run time (NODE_RECHECK), the rule is applied to the values here.
#include "translator/tree_eval.h"

#include <cassert>
#include <cstring>

#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/eval_ops.h"
#include "translator/evaluator.h"
#include "translator/type_check.h"

namespace tavrel {

namespace {

constexpr int ABANDON = 1;

struct Run {
  EvalContext& ctx;
  StringPool& pool;
  EvalOutcome& outcome;
};

// The first diagnostic is kept with the place of the node and passed to the reporter.
int report(Run& r, int number, const ExprNode* n) {
  EvalOutcome& o = r.outcome;
  if (o.diagnostic < 0) {
    o.diagnostic = number;
    o.line = n->at.line;
    o.column = n->at.column;
    if (r.ctx.reporter != nullptr) r.ctx.reporter(r.ctx.reporter_user, number, o.line, o.column);
  }
  return ABANDON;
}

// A division by zero gave zero: remembered, and the evaluation goes on.
void warn_division(Run& r, const ExprNode* n) {
  EvalOutcome& o = r.outcome;
  if (o.warning >= 0) return;
  o.warning = DIAG_DIVISION_BY_ZERO;
  o.warning_line = n->at.line;
  o.warning_column = n->at.column;
}

// A text value without its text means a result that could not get memory.
int check_result_text(Run& r, const Value& v, const ExprNode* n) {
  bool textual = v.type == TYPE_CHAR || v.type == TYPE_BYTE || v.type == TYPE_NCHAR ||
                 v.type == TYPE_WSTRING;
  if (!textual) return 0;
  const void* text = payload_get<const void*>(v);
  // The pool's scratch area stands in for a text that a full pool could not give.
  if (text == nullptr || text == r.pool.scratch) return report(r, DIAG_NO_MEMORY, n);
  return 0;
}

int eval(Run& r, const ExprNode* n, Value* out);

// An operand's value: a constant is taken from its node without a call.
inline int operand(Run& r, const ExprNode* n, Value* out) {
  if (n->kind == NodeKind::CONSTANT) {
    *out = n->value;
    return 0;
  }
  return eval(r, n, out);
}

int eval_string(Run& r, const ExprNode* n, Value* out) {
  const char* constant = value_text(n->value);
  size_t size = static_cast<size_t>(n->number);
  char* t = pool_alloc_text(r.pool, size);
  if (t == nullptr || t == r.pool.scratch) return report(r, DIAG_NO_MEMORY, n);
  std::memcpy(t, constant, size + 1);
  *out = make_char(t);
  return 0;
}

int eval_variable(Run& r, const ExprNode* n, Value* out) {
  Value index = make_none();
  if (n->kind == NodeKind::INDEXED) {
    if (int rc = eval(r, n->left, &index); rc != 0) return rc;
    if (!is_numeric_type(index.type)) return report(r, DIAG_BAD_INDEX, n->left);
  }
  if (r.ctx.read_variable == nullptr) {
    *out = make_null();
    return 0;
  }
  *out = make_none();
  const Value* at = n->kind == NodeKind::INDEXED ? &index : nullptr;
  if (int d = r.ctx.read_variable(r.ctx, n->number, n->column, at, out); d != 0) {
    return report(r, d, n);
  }
  return check_result_text(r, *out, n);
}

int eval_unary(Run& r, const ExprNode* n, Value* out) {
  assert(n->left != nullptr && n->right == nullptr);
  Value v;
  if (int rc = operand(r, n->left, &v); rc != 0) return rc;
  if ((n->flags & NODE_RECHECK) != 0 || v.type != n->left->type) {
    uint8_t type = TYPE_NONE;
    if (int d = unary_type(n->op, v.type, &type); d != 0) return report(r, d, n);
  }
  if (!unary_compute(n->op, v, r.pool, out)) return report(r, DIAG_NO_MEMORY, n);
  return 0;
}

int eval_binary(Run& r, const ExprNode* n, Value* out) {
  assert(n->left != nullptr && n->right != nullptr);
  Value left;
  if (int rc = operand(r, n->left, &left); rc != 0) return rc;
  // AND and OR do not compute an operand that cannot change the result (so that
  // "x <> 0 AND 10 / x > 1" never divides by zero); it is still type-checked.
  if ((n->op == OP_AND || n->op == OP_OR) && left.type == TYPE_BOOL &&
      (left.payload[0] != 0) == (n->op == OP_OR)) {
    int d = 0;
    if (const ExprNode* f = first_type_failure(n->right, &d)) return report(r, d, f);
    uint8_t type = TYPE_NONE;
    if (int d2 = binary_type(n->op, left.type, n->right->type, &type); d2 != 0) {
      return report(r, d2, n);
    }
    *out = left;  // the deciding operand
    return 0;
  }
  Value right;
  if (int rc = operand(r, n->right, &right); rc != 0) return rc;
  if ((n->flags & NODE_RECHECK) != 0 || left.type != n->left->type ||
      right.type != n->right->type) {
    uint8_t type = TYPE_NONE;
    if (int d = binary_type(n->op, left.type, right.type, &type); d != 0) return report(r, d, n);
  }
  bool division_by_zero = false;
  if (!binary_compute(n->op, left, right, r.pool, out, &division_by_zero)) {
    return report(r, DIAG_NO_MEMORY, n);
  }
  if (division_by_zero) warn_division(r, n);
  return 0;
}

int eval_call(Run& r, const ExprNode* n, Value* out) {
  assert(n->count <= MAX_CALL_ARGS && (n->count == 0 || n->args != nullptr));
  Value args[MAX_CALL_ARGS];
  bool as_declared = (n->flags & NODE_RECHECK) == 0;
  for (int i = 0; i < n->count; i++) {
    if (int rc = operand(r, n->args[i], &args[i]); rc != 0) return rc;
    as_declared = as_declared && args[i].type == n->args[i]->type;
  }
  if (n->kind == NodeKind::ROUTINE) {
    if (r.ctx.call_routine == nullptr) return report(r, DIAG_BAD_IDENTIFIER, n);
    if (int d = r.ctx.call_routine(r.ctx, n->number, args, n->count, out); d != 0) {
      return report(r, d, n);
    }
    return check_result_text(r, *out, n);
  }
  if (!as_declared && !builtin_check_args(n->number, n->count, args)) {
    return report(r, DIAG_BAD_ARGUMENT, n);
  }
  *out = make_none();
  int d = builtin_call(n->number, n->count, args, out, r.ctx);
  if (d == DIAG_DIVISION_BY_ZERO) {
    warn_division(r, n);
  } else if (d != 0) {
    return report(r, d, n);
  }
  return check_result_text(r, *out, n);
}

int eval_bytes(Run& r, const ExprNode* n, Value* out) {
  Value acc = make_byte(nullptr);
  for (int i = 0; i < n->count; i++) {
    Value element;
    if (int rc = eval(r, n->args[i], &element); rc != 0) return rc;
    if (int d = byte_element_rule(element.type); d != 0) return report(r, d, n->args[i]);
    if (!bytes_append(r.pool, &acc, element)) return report(r, DIAG_NO_MEMORY, n->args[i]);
  }
  if (value_bytes(acc) == nullptr && !bytes_append(r.pool, &acc, make_byte(nullptr))) {
    return report(r, DIAG_NO_MEMORY, n);
  }
  *out = acc;
  return 0;
}

int eval(Run& r, const ExprNode* n, Value* out) {
  switch (n->kind) {
    case NodeKind::CONSTANT:
      *out = n->value;
      return 0;
    case NodeKind::BINARY:
      return eval_binary(r, n, out);
    case NodeKind::VARIABLE:
    case NodeKind::INDEXED:
      return eval_variable(r, n, out);
    case NodeKind::UNARY:
      return eval_unary(r, n, out);
    case NodeKind::STRING:
      return eval_string(r, n, out);
    case NodeKind::CALL:
    case NodeKind::ROUTINE:
      return eval_call(r, n, out);
    case NodeKind::BYTES:
      return eval_bytes(r, n, out);
    case NodeKind::ASSIGN:
    case NodeKind::SEQUENCE:
      break;
  }
  assert(false && "statement node inside an expression");
  return report(r, DIAG_SYNTAX, n);
}

// target := value, performed through the context.
int eval_assignment(Run& r, const ExprNode* n, Value* out) {
  Value index = make_none();
  if (n->left != nullptr) {
    if (int rc = eval(r, n->left, &index); rc != 0) return rc;
    if (!is_numeric_type(index.type)) return report(r, DIAG_BAD_INDEX, n->left);
  }
  Value value;
  if (int rc = eval(r, n->right, &value); rc != 0) return rc;
  if (int d = statement_rule(value.type); d != 0) return report(r, d, n->right);
  const Value* at = n->left != nullptr ? &index : nullptr;
  if (int d = r.ctx.assign_variable(r.ctx, n->number, n->column, at, value); d != 0) {
    return report(r, d, n);
  }
  *out = value;
  return 0;
}

}  // namespace

int evaluate_node(const ExprNode* node, EvalContext& ctx, EvalOutcome* outcome, Value* result) {
  result->type = TYPE_NONE;
  if (ctx.strings == nullptr) return ABANDON;
  Run r{ctx, *ctx.strings, *outcome};
  return eval(r, node, result);
}

int evaluate_tree(const ExprTree& tree, EvalContext& ctx, unsigned flags, EvalOutcome* outcome,
                  Value* result) {
  const ExprNode* root = tree.root;
  assert(root != nullptr && root->kind == NodeKind::SEQUENCE && root->count > 0);
  result->type = TYPE_NONE;
  if (ctx.strings == nullptr) return ABANDON;
  Run r{ctx, *ctx.strings, *outcome};
  const bool check = (flags & EVAL_CHECK_ONLY) != 0;
  const bool perform = !check && (flags & EVAL_ASSIGN) != 0 && ctx.assign_variable != nullptr;
  Value v;
  v.type = TYPE_NONE;
  for (int i = 0; i < root->count; i++) {
    const ExprNode* s = root->args[i];
    if (s->kind == NodeKind::ASSIGN) {
      // An assignment not performed was only checked while the tree was built.
      v = make_none();
      if (perform) {
        if (int rc = eval_assignment(r, s, &v); rc != 0) return rc;
      }
    } else if (check) {
      v = typed_placeholder(s->type);
    } else {
      if (int rc = eval(r, s, &v); rc != 0) return rc;
      if (int d = statement_rule(v.type); d != 0) return report(r, d, s);
    }
  }
  *result = v;
  return 0;
}

}  // namespace tavrel
