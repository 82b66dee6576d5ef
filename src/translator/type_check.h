// The type checker of expression trees: the type rule of every node kind, applied once to the
// declared types while the tree is built, and again to the values of an evaluation where a
// variable or a function gave a value of another type than it declared.
//
// A node whose operands fail its rule on their declared types is an error at once when the
// types are certain (constants and operators on them) or when only types are wanted (check
// mode). Otherwise the declared types may be wrong at run time, so the node is marked
// NODE_RECHECK and the rule decides on the values.
#pragma once

#include <cstdint>

#include "translator/expr_tree.h"
#include "values/value.h"

namespace tavrel {

// Types node n from its operands (already checked). Returns 0, or the diagnostic of a rule
// that fails for certain (or in strict mode, where every failure is certain).
int type_check_node(ExprNode* n, bool strict);

// The rule of one element of the brace form: a number, a CHAR or a BYTE value.
int byte_element_rule(uint8_t type);

// The rule of a statement's final value: a value some class takes.
int statement_rule(uint8_t type);

// The first node (in evaluation order) of the subtree whose rule fails on declared types, with
// its diagnostic; nullptr when none does. Used for operands that AND and OR do not compute,
// which are still checked as check mode would.
const ExprNode* first_type_failure(const ExprNode* n, int* diagnostic);

}  // namespace tavrel
