// The fast form of expressions inside procedures: the parts of a typed expression tree whose
// operands are all integers, floating numbers or logical values (constants, plain variables,
// arithmetic, comparisons, AND/OR/NOT, calls of the unit's routines) become nodes that the
// executor computes in their static types, reading variables straight from the frame. Sums,
// differences and products in NUMERIC are fast as well (their operands read as NUMERIC the
// way the general evaluation reads them). Every other part stays with the translator's general
// evaluation, so both give the same values.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "translator/expr_tree.h"
#include "values/decimal.h"

namespace tavrel::kernel {

enum class FastOp : uint8_t {
  CONST_INT, CONST_FLOAT, CONST_BOOL,
  VAR_INT, VAR_FLOAT, VAR_BOOL,  // typed by `type`: SMALLINT/INTEGER/BIGINT, REAL/DOUBLE, BOOL
  COLUMN_INT,                      // column `i` of cursor variable `var`, of an integer type
  CONST_NUM, VAR_NUM,              // NUMERIC: the constant `d`, variable `var`
  ADD, SUB, MUL, DIV, IDIV, NEG,  // in `type` (integers wrap in its width; REAL rounds to float)
  DIV_POW2,                        // integer a divided by the constant 2 to the power `i`
  LT, GT, LE, GE, EQ, NE,          // compare operands in the common type `cmp`
  AND, OR, NOT,
  ROUTINE,                         // a routine of the unit: `var` is its number, args in `args`
};

struct Expr;

// An integer tree of several operations also has a flat program: a post-order list of steps
// on a small stack, run without a call per node. A step's right operand is a variable (_V), a
// constant (_K) or the value below the top (_S); PUSH_ pushes it. The program gives up (and
// the tree is computed instead, raising what it raises) when a variable is NULL or a divisor
// is 0 or -1.
enum class StepOp : uint8_t {
  PUSH_V, PUSH_K,
  ADD_V, ADD_K, ADD_S,
  SUB_V, SUB_K, SUB_S,
  MUL_V, MUL_K, MUL_S,
  DIV_V, DIV_K, DIV_S,
  DIV_POW2,  // by 2 to the power k
  NEG,
};

struct IntStep {
  StepOp op;
  uint8_t type;   // _V: the variable's declared type
  uint8_t shift;  // ADD, SUB, MUL, NEG: 64 less the width of the result's type (for the wrap)
  int32_t var;    // _V
  int64_t k;      // _K; DIV_POW2: the power of two
};

constexpr int STEP_STACK_MAX = 8;

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
  bool general_args;     // ROUTINE: some argument has no fast form (its texts need a scope)
  // The flat program of an integer expression (or of both sides of an integer comparison,
  // left then right), or nullptr.
  const IntStep* steps;
  uint16_t step_count;
  Decimal d;  // CONST_NUM
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
  std::vector<std::unique_ptr<IntStep[]>> programs;  // the flat programs of integer trees
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
