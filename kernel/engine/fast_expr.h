// The fast form of expressions inside procedures: the parts of a typed expression tree whose
// operands are all integers, floating numbers or logical values (constants, plain variables,
// arithmetic, comparisons, AND/OR/NOT, calls of the unit's routines) become nodes that the
// executor computes in their static types, reading variables straight from the frame. Every
// other part stays with the translator's general evaluation, so both give the same values.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "translator/expr_tree.h"

namespace tavrel::kernel {

enum class FastOp : uint8_t {
  CONST_INT, CONST_FLOAT, CONST_BOOL,
  VAR_INT, VAR_FLOAT, VAR_BOOL,  // typed by `type`: SMALLINT/INTEGER/BIGINT, REAL/DOUBLE, BOOL
  COLUMN_INT,                      // column `i` of cursor variable `var`, of an integer type
  ADD, SUB, MUL, DIV, IDIV, NEG,  // in `type` (integers wrap in its width; REAL rounds to float)
  DIV_POW2,                        // integer a divided by the constant 2 to the power `i`
  LT, GT, LE, GE, EQ, NE,          // compare operands in the common type `cmp`
  AND, OR, NOT,
  ROUTINE,                         // a routine of the unit: `var` is its number, args in `args`
};

struct Expr;

struct FastNode {
  FastOp op;
  uint8_t type;  // result type
  uint8_t cmp;   // comparisons: the common type of the operands
  uint16_t count;
  int32_t var;
  FastNode* a;
  FastNode* b;
  int64_t i;
  double f;
  const ExprNode* node;  // the tree node this one stands for
  const Expr* args;      // ROUTINE: its `count` arguments, each with its own fast form
};

// An expression of a statement: its tree (for the general evaluation) and, when the whole
// tree has one, its fast form.
struct Expr {
  const ExprNode* node = nullptr;
  const FastNode* fast = nullptr;
  uint8_t type = TYPE_NONE;
};

struct FastArena {
  std::deque<FastNode> nodes;
  std::vector<std::unique_ptr<Expr[]>> arg_lists;  // the arguments of ROUTINE nodes
};

inline bool is_int_type(uint8_t t) {
  return t == TYPE_SMALLINT || t == TYPE_INTEGER || t == TYPE_BIGINT;
}
inline bool is_float_type(uint8_t t) { return t == TYPE_REAL || t == TYPE_DOUBLE; }

// The fast form of a tree, or nullptr when some part of it needs the general evaluation.
// routine_type gives the result type of routine n of the unit.
const FastNode* fast_build(const ExprNode* n, FastArena& arena, const uint8_t* routine_types,
                           int routine_count);

// An Expr for a tree: the tree, its fast form when it has one, its static type.
Expr make_expr(const ExprNode* n, FastArena& arena, const uint8_t* routine_types,
               int routine_count);

}  // namespace tavrel::kernel
