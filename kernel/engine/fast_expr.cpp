// Building the fast form of expression trees (see fast_expr.h). A node is fast when its kind
// and the static types of its operands let the executor compute it without the general
// evaluator; a node marked for a type recheck never is, since its operands' values may have
// other types than declared.
#include "kernel/engine/fast_expr.h"

#include <vector>

#include "translator/eval_ops.h"

namespace tavrel::kernel {

namespace {

bool is_fast_type(uint8_t t) { return is_int_type(t) || is_float_type(t) || t == TYPE_BOOL || t == TYPE_NUMERIC; }

FastNode* new_fast(FastArena& arena, FastOp op, const ExprNode* n) {
  FastNode& f = arena.nodes.emplace_back();
  f = FastNode{};
  f.op = op;
  f.type = n->type;
  f.cmp = TYPE_NONE;
  f.var = -1;
  f.node = n;
  return &f;
}

FastOp arith_op(int op) {
  switch (op) {
    case OP_ADD: return FastOp::ADD;
    case OP_SUB: return FastOp::SUB;
    case OP_MUL: return FastOp::MUL;
    case OP_DIV: return FastOp::DIV;
    default: return FastOp::IDIV;
  }
}

FastOp compare_op(int op) {
  switch (op) {
    case OP_LT: return FastOp::LT;
    case OP_GT: return FastOp::GT;
    case OP_LE: return FastOp::LE;
    case OP_GE: return FastOp::GE;
    case OP_EQ: return FastOp::EQ;
    default: return FastOp::NE;
  }
}

bool is_number(uint8_t t) { return is_int_type(t) || is_float_type(t); }

// k when x is 2 to the power k (1 <= k <= 62), else 0.
int power_of_two(int64_t x) {
  if (x < 2 || (x & (x - 1)) != 0) return 0;
  int k = 0;
  while ((int64_t{1} << k) != x) ++k;
  return k <= 62 ? k : 0;
}

uint8_t wrap_shift_of(uint8_t type) {
  switch (type) {
    case TYPE_SMALLINT: return 48;
    case TYPE_INTEGER: return 32;
    default: return 0;
  }
}

bool is_leaf(const FastNode* n) { return n->op == FastOp::CONST_INT || n->op == FastOp::VAR_INT; }

// The step of an operation with its right operand: variable, constant or stack (in that
// order in StepOp).
StepOp with_operand(StepOp variable_form, const FastNode* b) {
  const int offset = b->op == FastOp::VAR_INT ? 0 : b->op == FastOp::CONST_INT ? 1 : 2;
  return static_cast<StepOp>(static_cast<int>(variable_form) + offset);
}

// The post-order steps of an integer tree; false when some node has no step (a routine, a
// cursor column) or the stack would grow past its size.
bool emit_steps(const FastNode* n, std::vector<IntStep>* out, int depth) {
  if (depth > STEP_STACK_MAX) return false;
  IntStep st{StepOp::PUSH_V, 0, wrap_shift_of(n->type), -1, 0};
  auto operand = [&st](const FastNode* leaf) {
    if (leaf->op == FastOp::VAR_INT) {
      st.var = leaf->var;
      st.type = leaf->type;
    } else if (leaf->op == FastOp::CONST_INT) {
      st.k = leaf->i;
    }
  };
  switch (n->op) {
    case FastOp::CONST_INT:
    case FastOp::VAR_INT:
      st.op = n->op == FastOp::VAR_INT ? StepOp::PUSH_V : StepOp::PUSH_K;
      operand(n);
      out->push_back(st);
      return true;
    case FastOp::ADD:
    case FastOp::SUB:
    case FastOp::MUL:
    case FastOp::DIV:
    case FastOp::IDIV: {
      if (!is_int_type(n->type) || !emit_steps(n->a, out, depth)) return false;
      if (!is_leaf(n->b) && !emit_steps(n->b, out, depth + 1)) return false;
      const StepOp base = n->op == FastOp::ADD   ? StepOp::ADD_V
                          : n->op == FastOp::SUB ? StepOp::SUB_V
                          : n->op == FastOp::MUL ? StepOp::MUL_V
                                                 : StepOp::DIV_V;
      st.op = with_operand(base, n->b);
      operand(n->b);
      out->push_back(st);
      return true;
    }
    case FastOp::DIV_POW2:
    case FastOp::NEG:
      if (!emit_steps(n->a, out, depth)) return false;
      st.op = n->op == FastOp::NEG ? StepOp::NEG : StepOp::DIV_POW2;
      st.k = n->i;
      out->push_back(st);
      return true;
    default:
      return false;
  }
}

// Operations in a tree that are not leaves.
int operations(const FastNode* n) {
  if (n == nullptr || is_leaf(n)) return 0;
  return 1 + operations(n->a) + operations(n->b);
}

// Gives an integer tree, or an integer comparison, its flat program when it has more than one
// operation (one is computed as fast by the tree itself).
void attach_program(FastNode* root, FastArena& arena) {
  std::vector<IntStep> steps;
  const bool comparison = root->op >= FastOp::LT && root->op <= FastOp::NE && is_int_type(root->cmp);
  if (comparison) {
    if (operations(root->a) + operations(root->b) < 2) return;
    if (!emit_steps(root->a, &steps, 1) || !emit_steps(root->b, &steps, 2)) return;
  } else {
    if (!is_int_type(root->type) || operations(root) < 2) return;
    if (!emit_steps(root, &steps, 1)) return;
  }
  auto program = std::make_unique<IntStep[]>(steps.size());
  for (size_t i = 0; i < steps.size(); ++i) program[i] = steps[i];
  root->steps = program.get();
  root->step_count = static_cast<uint16_t>(steps.size());
  arena.programs.push_back(std::move(program));
}

}  // namespace

const FastNode* fast_build(const ExprNode* n, FastArena& arena, const uint8_t* routine_types,
                           int routine_count) {
  if (n == nullptr || (n->flags & NODE_RECHECK) != 0 || !is_fast_type(n->type)) return nullptr;
  switch (n->kind) {
    case NodeKind::CONSTANT: {
      if (n->value.type != n->type) return nullptr;
      FastNode* f;
      if (n->type == TYPE_NUMERIC) {
        f = new_fast(arena, FastOp::CONST_NUM, n);
        f->d = value_decimal(n->value);
      } else if (is_int_type(n->type)) {
        f = new_fast(arena, FastOp::CONST_INT, n);
        f->i = read_as_bigint(n->value);
      } else if (is_float_type(n->type)) {
        f = new_fast(arena, FastOp::CONST_FLOAT, n);
        f->f = read_as_double(n->value);
      } else {
        f = new_fast(arena, FastOp::CONST_BOOL, n);
        f->i = n->value.payload[0] != 0 ? 1 : 0;
      }
      return f;
    }
    case NodeKind::VARIABLE: {
      if (n->column >= 0) {
        // A cursor's column holds its declared type or NULL, as a variable does.
        if (!is_int_type(n->type)) return nullptr;
        FastNode* f = new_fast(arena, FastOp::COLUMN_INT, n);
        f->var = n->number;
        f->i = n->column;
        return f;
      }
      FastOp op = is_int_type(n->type)     ? FastOp::VAR_INT
                  : is_float_type(n->type) ? FastOp::VAR_FLOAT
                  : n->type == TYPE_BOOL   ? FastOp::VAR_BOOL
                                           : FastOp::VAR_NUM;
      FastNode* f = new_fast(arena, op, n);
      f->var = n->number;
      return f;
    }
    case NodeKind::UNARY: {
      const FastNode* a = fast_build(n->left, arena, routine_types, routine_count);
      if (a == nullptr) return nullptr;
      if (n->op == OP_NOT && a->type == TYPE_BOOL) {
        FastNode* f = new_fast(arena, FastOp::NOT, n);
        f->a = const_cast<FastNode*>(a);
        return f;
      }
      if ((n->op == OP_NEGATE || n->op == OP_PLUS) && is_number(a->type) && a->type == n->type) {
        if (n->op == OP_PLUS) return a;
        FastNode* f = new_fast(arena, FastOp::NEG, n);
        f->a = const_cast<FastNode*>(a);
        return f;
      }
      return nullptr;
    }
    case NodeKind::BINARY: {
      const FastNode* a = fast_build(n->left, arena, routine_types, routine_count);
      if (a == nullptr) return nullptr;
      const FastNode* b = fast_build(n->right, arena, routine_types, routine_count);
      if (b == nullptr) return nullptr;
      FastNode* f = nullptr;
      switch (n->op) {
        case OP_ADD:
        case OP_SUB:
        case OP_MUL:
        case OP_DIV:
        case OP_IDIV:
          if (n->type == TYPE_NUMERIC) {
            // Sums, differences and products only: a division reports its zero divisor.
            const bool operands = (is_number(a->type) || a->type == TYPE_NUMERIC) &&
                                  (is_number(b->type) || b->type == TYPE_NUMERIC);
            if (!operands || n->op == OP_DIV || n->op == OP_IDIV) return nullptr;
            f = new_fast(arena, arith_op(n->op), n);
            break;
          }
          if (!is_number(a->type) || !is_number(b->type) || !is_number(n->type)) return nullptr;
          if (common_type_of(a->type, b->type) != n->type) return nullptr;
          if ((n->op == OP_DIV || n->op == OP_IDIV) && is_int_type(n->type) && b->op == FastOp::CONST_INT) {
            // A division by a power of two is a shift (rounded toward zero as a division is).
            const int k = power_of_two(b->i);
            if (k > 0) {
              f = new_fast(arena, FastOp::DIV_POW2, n);
              f->i = k;
              f->a = const_cast<FastNode*>(a);
              return f;
            }
          }
          f = new_fast(arena, arith_op(n->op), n);
          break;
        case OP_LT:
        case OP_GT:
        case OP_LE:
        case OP_GE:
        case OP_EQ:
        case OP_NE:
          if (is_number(a->type) && is_number(b->type)) {
            f = new_fast(arena, compare_op(n->op), n);
            f->cmp = common_type_of(a->type, b->type);
          } else if (a->type == TYPE_BOOL && b->type == TYPE_BOOL) {
            f = new_fast(arena, compare_op(n->op), n);
            f->cmp = TYPE_BOOL;
          } else {
            return nullptr;
          }
          break;
        case OP_AND:
        case OP_OR:
          if (a->type != TYPE_BOOL || b->type != TYPE_BOOL) return nullptr;
          f = new_fast(arena, n->op == OP_AND ? FastOp::AND : FastOp::OR, n);
          break;
        default:
          return nullptr;
      }
      f->a = const_cast<FastNode*>(a);
      f->b = const_cast<FastNode*>(b);
      return f;
    }
    case NodeKind::ROUTINE: {
      if (n->number < 0 || n->number >= routine_count || routine_types[n->number] != n->type) {
        return nullptr;
      }
      FastNode* f = new_fast(arena, FastOp::ROUTINE, n);
      f->var = n->number;
      f->count = n->count;
      if (n->count > 0) {
        auto args = std::make_unique<Expr[]>(n->count);
        for (uint16_t i = 0; i < n->count; ++i) {
          args[i] = make_expr(n->args[i], arena, routine_types, routine_count);
          f->general_args = f->general_args || args[i].fast == nullptr;
        }
        f->args = args.get();
        arena.arg_lists.push_back(std::move(args));
      }
      return f;
    }
    default:
      return nullptr;
  }
}

Expr make_expr(const ExprNode* n, FastArena& arena, const uint8_t* routine_types,
               int routine_count) {
  Expr e;
  e.node = n;
  e.type = n != nullptr ? n->type : uint8_t{TYPE_NONE};
  e.fast = fast_build(n, arena, routine_types, routine_count);
  if (e.fast != nullptr) attach_program(const_cast<FastNode*>(e.fast), arena);
  return e;
}

}  // namespace tavrel::kernel
