// The type rules of expression-tree nodes on declared types, and the search for a failing
// rule in an operand that is not computed.
#include "translator/type_check.h"

#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/eval_ops.h"

namespace tavrel {

namespace {

// Kinds whose value comes from outside the tree: their declared type may not be the type of
// the value an evaluation gets.
bool reads_outside(NodeKind kind) {
  return kind == NodeKind::VARIABLE || kind == NodeKind::INDEXED || kind == NodeKind::CALL ||
         kind == NodeKind::ROUTINE;
}

bool exact(const ExprNode* n) { return (n->flags & NODE_EXACT) != 0; }

// The rule of n on its operands' declared types. 0 with *type set, or a diagnostic.
int static_rule(const ExprNode* n, uint8_t* type) {
  *type = n->type;
  switch (n->kind) {
    case NodeKind::INDEXED:
      return is_numeric_type(n->left->type) ? 0 : DIAG_BAD_INDEX;
    case NodeKind::UNARY:
      return unary_type(n->op, n->left->type, type);
    case NodeKind::BINARY:
      return binary_type(n->op, n->left->type, n->right->type, type);
    case NodeKind::CALL: {
      // The argument rules look at types only: values that carry just their type will do.
      Value args[MAX_CALL_ARGS];
      for (int i = 0; i < n->count; i++) args[i].type = n->args[i]->type;
      return builtin_check_args(n->number, n->count, args) ? 0 : DIAG_BAD_ARGUMENT;
    }
    case NodeKind::BYTES:
      for (int i = 0; i < n->count; i++) {
        if (int d = byte_element_rule(n->args[i]->type); d != 0) return d;
      }
      return 0;
    default:
      return 0;
  }
}

// The operands a node's rule looks at.
int operands_of(const ExprNode* n, const ExprNode* const** list, const ExprNode* pair[2]) {
  switch (n->kind) {
    case NodeKind::INDEXED:
    case NodeKind::UNARY:
      pair[0] = n->left;
      *list = pair;
      return 1;
    case NodeKind::BINARY:
      pair[0] = n->left;
      pair[1] = n->right;
      *list = pair;
      return 2;
    case NodeKind::CALL:
    case NodeKind::BYTES:
      *list = n->args;
      return n->count;
    default:
      *list = nullptr;
      return 0;
  }
}

}  // namespace

int byte_element_rule(uint8_t type) {
  if (type == TYPE_NULL) return DIAG_NULL_OPERATION;
  if (type == TYPE_CURSOR) return DIAG_BAD_FIELD;
  if (!is_numeric_type(type) && type != TYPE_CHAR && type != TYPE_BYTE) {
    return DIAG_TYPE_MISMATCH;
  }
  return 0;
}

int statement_rule(uint8_t type) {
  if (type == TYPE_CURSOR) return DIAG_BAD_FIELD;
  if (!is_operand_type(type)) return DIAG_BAD_TYPE;
  return 0;
}

int type_check_node(ExprNode* n, bool strict) {
  if (n->kind == NodeKind::BINARY) {
    // The most frequent node, without the general gathering of operands below.
    const ExprNode* l = n->left;
    const ExprNode* r = n->right;
    const bool certain = exact(l) && exact(r);
    if (l->type != TYPE_NONE && r->type != TYPE_NONE) {
      uint8_t type = TYPE_NONE;
      int d = binary_type(n->op, l->type, r->type, &type);
      if (d == 0) {
        n->type = type;
        if (certain) n->flags |= NODE_EXACT;
        return 0;
      }
      if (strict || certain) return d;
    }
    n->flags |= NODE_RECHECK;
    n->type = TYPE_NONE;
    return 0;
  }
  if (n->kind == NodeKind::CALL) {
    // A call's type is its declared type whatever its arguments; only the rule is checked.
    bool known = true;
    bool certain = true;
    for (int i = 0; i < n->count; i++) {
      known = known && n->args[i]->type != TYPE_NONE;
      certain = certain && exact(n->args[i]);
    }
    uint8_t type = TYPE_NONE;
    if (known && static_rule(n, &type) == 0) return 0;
    if (known && (strict || certain)) return DIAG_BAD_ARGUMENT;
    n->flags |= NODE_RECHECK;
    return 0;
  }
  const ExprNode* pair[2];
  const ExprNode* const* ops = nullptr;
  int count = operands_of(n, &ops, pair);
  bool certain = !reads_outside(n->kind);
  bool known = true;
  for (int i = 0; i < count; i++) {
    certain = certain && exact(ops[i]);
    known = known && ops[i]->type != TYPE_NONE;
  }
  // An operand typed only at run time (its own rule waits for the values) leaves this rule to
  // run time as well.
  int d = 0;
  uint8_t type = n->type;
  if (known) d = static_rule(n, &type);
  if (known && d == 0) {
    n->type = type;
    if (certain) n->flags |= NODE_EXACT;
    return 0;
  }
  bool operands_certain = true;
  for (int i = 0; i < count; i++) operands_certain = operands_certain && exact(ops[i]);
  if (known && (strict || operands_certain)) return d;
  n->flags |= NODE_RECHECK;
  if (n->kind == NodeKind::UNARY || n->kind == NodeKind::BINARY) n->type = TYPE_NONE;
  return 0;
}

const ExprNode* first_type_failure(const ExprNode* n, int* diagnostic) {
  if (n == nullptr) return nullptr;
  if (const ExprNode* f = first_type_failure(n->left, diagnostic)) return f;
  if (const ExprNode* f = first_type_failure(n->right, diagnostic)) return f;
  for (int i = 0; i < n->count; i++) {
    if (const ExprNode* f = first_type_failure(n->args[i], diagnostic)) return f;
  }
  if ((n->flags & NODE_RECHECK) == 0) return nullptr;
  uint8_t type = TYPE_NONE;
  *diagnostic = static_rule(n, &type);
  return *diagnostic != 0 ? n : nullptr;
}

}  // namespace tavrel
