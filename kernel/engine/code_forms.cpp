// The integer forms and the links of a unit's code (see code_forms.h).
//
// A statement gets an integer form only when the form computes exactly what the general one
// does: the variable's type is the expression's (so no conversion follows the arithmetic), the
// operands are plain integer variables or constants (so each reads in one load), and the
// arithmetic wraps in the expression's type as the general evaluation wraps it.
#include "kernel/engine/code_forms.h"

namespace tavrel::kernel {

namespace {

// 64 less the width of an integer type: shifting left and back (arithmetically) by it wraps
// a 64-bit result into the type.
uint8_t wrap_shift(uint8_t type) {
  switch (type) {
    case TYPE_SMALLINT: return 48;
    case TYPE_INTEGER: return 32;
    default: return 0;
  }
}

uint8_t compare_mask(FastOp op) {
  switch (op) {
    case FastOp::LT: return CMP_LESS;
    case FastOp::GT: return CMP_GREATER;
    case FastOp::LE: return CMP_LESS | CMP_EQUAL;
    case FastOp::GE: return CMP_GREATER | CMP_EQUAL;
    case FastOp::EQ: return CMP_EQUAL;
    default: return CMP_LESS | CMP_GREATER;
  }
}

// The comparison with its operands swapped: a < b is b > a.
uint8_t mirrored(uint8_t mask) {
  return static_cast<uint8_t>((mask & CMP_EQUAL) | ((mask & CMP_LESS) != 0 ? CMP_GREATER : 0) |
                              ((mask & CMP_GREATER) != 0 ? CMP_LESS : 0));
}

// A plain variable of an integer type (its declared type in *type).
bool int_variable(const Unit& u, const FastNode* n, uint8_t* type) {
  if (n->op != FastOp::VAR_INT || n->var < 0 || static_cast<size_t>(n->var) >= u.vars.size()) return false;
  *type = u.vars[static_cast<size_t>(n->var)].spec.type;
  return is_int_type(*type) && *type == n->type;
}

bool int_constant(const FastNode* n) { return n->op == FastOp::CONST_INT; }

// A constant of type `from` as an assignment to a variable of type `to` converts it.
int64_t convert_constant(int64_t k, uint8_t from, uint8_t to) {
  const Value v = from == TYPE_SMALLINT  ? make_smallint(static_cast<int16_t>(k))
                  : from == TYPE_INTEGER ? make_integer(static_cast<int32_t>(k))
                                         : make_bigint(k);
  switch (to) {
    case TYPE_SMALLINT: return read_as_smallint(v);
    case TYPE_INTEGER: return read_as_integer(v);
    default: return read_as_bigint(v);
  }
}

void assignment_form(const Unit& u, Statement& s) {
  const uint8_t type = u.vars[static_cast<size_t>(s.variable)].spec.type;
  const FastNode* n = s.expr.fast;
  if (n == nullptr || !is_int_type(type) || !is_int_type(s.expr.type)) return;
  IntForm f;
  f.type = type;
  f.shift = wrap_shift(type);
  if (int_constant(n)) {
    f.k = convert_constant(n->i, n->type, type);
    s.kind = StmtKind::INT_SET;
    s.form = f;
    return;
  }
  if (s.expr.type != type) return;
  StmtKind kind;
  if (int_variable(u, n, &f.ta)) {
    // A copy is a sum with 0.
    f.a = n->var;
    f.copy = true;
    kind = StmtKind::INT_VK;
  } else if (n->op == FastOp::ADD || n->op == FastOp::SUB) {
    const bool subtract = n->op == FastOp::SUB;
    if (int_variable(u, n->a, &f.ta) && int_variable(u, n->b, &f.tb)) {
      f.a = n->a->var;
      f.b = n->b->var;
      f.subtract = subtract;
      kind = StmtKind::INT_VV;
    } else if (int_variable(u, n->a, &f.ta) && int_constant(n->b)) {
      f.a = n->a->var;
      f.k = subtract ? static_cast<int64_t>(0 - static_cast<uint64_t>(n->b->i)) : n->b->i;
      kind = StmtKind::INT_VK;
    } else if (!subtract && int_constant(n->a) && int_variable(u, n->b, &f.ta)) {
      f.a = n->b->var;
      f.k = n->a->i;
      kind = StmtKind::INT_VK;
    } else {
      return;
    }
  } else {
    return;
  }
  s.kind = kind;
  s.form = f;
}

// A test that jumps when its condition is true (the bottom of a loop) or false (IF, ELSEIF,
// the entry of a loop).
void test_form(const Unit& u, Statement& s, bool jump_when_true) {
  const FastNode* n = s.expr.fast;
  if (n == nullptr || n->op < FastOp::LT || n->op > FastOp::NE || !is_int_type(n->cmp)) return;
  uint8_t mask = compare_mask(n->op);
  IntForm f;
  bool with_constant = false;
  if (int_variable(u, n->a, &f.ta) && int_variable(u, n->b, &f.tb)) {
    f.a = n->a->var;
    f.b = n->b->var;
  } else if (int_variable(u, n->a, &f.ta) && int_constant(n->b)) {
    f.a = n->a->var;
    f.k = n->b->i;
    with_constant = true;
  } else if (int_constant(n->a) && int_variable(u, n->b, &f.ta)) {
    f.a = n->b->var;
    f.k = n->a->i;
    mask = mirrored(mask);
    with_constant = true;
  } else {
    return;
  }
  f.jump = jump_when_true ? mask : static_cast<uint8_t>(~mask & (CMP_LESS | CMP_EQUAL | CMP_GREATER));
  if (jump_when_true) {
    s.kind = with_constant ? StmtKind::LOOP_INT_VK : StmtKind::LOOP_INT_VV;
  } else {
    s.kind = with_constant ? StmtKind::JUMP_INT_VK : StmtKind::JUMP_INT_VV;
  }
  s.form = f;
}

}  // namespace

void choose_int_form(const Unit& u, Statement& s) {
  switch (s.kind) {
    case StmtKind::ASSIGN_INT: assignment_form(u, s); break;
    case StmtKind::JUMP_FALSE: test_form(u, s, false); break;
    case StmtKind::LOOP_TRUE: test_form(u, s, true); break;
    default: break;
  }
}

void link_code(Unit& u) {
  auto& code = u.code;
  const int n = static_cast<int>(code.size());
  // The joins only jump forward, so following them ends; the guard is for a broken unit.
  auto past_joins = [&](int p) {
    for (int guard = 0; guard < n && p >= 0 && p < n; ++guard) {
      const Statement& s = code[static_cast<size_t>(p)];
      if (s.kind != StmtKind::JUMP || s.line >= 0) break;
      p = s.target;
    }
    return p;
  };
  for (int pc = 0; pc < n; ++pc) {
    Statement& s = code[static_cast<size_t>(pc)];
    s.next = past_joins(pc + 1 < n ? pc + 1 : pc);
    s.joins = s.next != pc + 1;
    if (s.target >= 0) s.target = past_joins(s.target);
    if (s.lists != nullptr) {
      for (CaseBranch& b : s.lists->cases) b.target = past_joins(b.target);
    }
  }
  for (Handler& h : u.handlers) h.entry = past_joins(h.entry);
  for (int pc = 0; pc + 1 < n; ++pc) {
    Statement& s = code[static_cast<size_t>(pc)];
    const StmtKind t = code[static_cast<size_t>(pc) + 1].kind;
    const bool int_statement = s.kind == StmtKind::INT_SET || s.kind == StmtKind::INT_VV || s.kind == StmtKind::INT_VK;
    s.loop_follows = int_statement && !s.joins && (t == StmtKind::LOOP_INT_VV || t == StmtKind::LOOP_INT_VK);
  }
}

}  // namespace tavrel::kernel
