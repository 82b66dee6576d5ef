// The evaluator of expression trees: computes a tree built by tree_parser.h, as often as
// wanted, with the values and services of an evaluation context. Numbers are computed on the
// C stack without allocation; texts come from the context's string pool.
#pragma once

#include "translator/eval_context.h"
#include "translator/expr_tree.h"

namespace tavrel {

struct EvalOutcome;

// Evaluates the statements of the tree and keeps the last one's value in *result. Returns 0,
// or non-zero after a diagnostic, which is recorded in *outcome (and passed to the context's
// reporter) with the place of the node it arose in. flags are the EvalFlags of evaluate.
int evaluate_tree(const ExprTree& tree, EvalContext& ctx, unsigned flags, EvalOutcome* outcome,
                  Value* result);

// Evaluates one expression node (not an assignment or a sequence) of a tree, as evaluate_tree
// evaluates a statement's value: 0 with *result set, or non-zero with the diagnostic in
// *outcome (which the caller clears first). A division by zero leaves its warning in *outcome
// and gives zero.
int evaluate_node(const ExprNode* node, EvalContext& ctx, EvalOutcome* outcome, Value* result);

}  // namespace tavrel
