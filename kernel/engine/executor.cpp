// The executor of compiled units (see executor.h).
//
// A unit runs in a Frame: its variables are a flat array of Values (on the C stack for small
// units), each holding its declared type or NULL; texts live in storage the variable owns. The
// statement loop records the line of each statement and tests the execution's trap flag (one
// predictable branch that a debugger sets); interrupts and quanta are counted at backward jumps
// and calls only. Fast expressions (fast_expr.h) are computed here in their static types; the
// rest goes to the translator's general evaluation with the session's hooks, which read the
// frame's variables. An exception is a code left in the frame: the loop then looks for a handler
// of the unit, or leaves the unit with it.
#include "kernel/engine/executor.h"

#include <sqlite3.h>

#include <chrono>
#include <cmath>
#include <cstring>

#include "kernel/engine/embedded_sql.h"
#include "kernel/engine/registry.h"
#include "kernel/engine/sql_values.h"
#include "kernel/proc_header.h"
#include "kernel/storage.h"
#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/builtins_impl.h"
#include "translator/diagnostics.h"
#include "translator/eval_ops.h"
#include "translator/evaluator.h"
#include "translator/tree_eval.h"
#include "values/value_wire.h"

namespace tavrel::kernel {

namespace {

constexpr int LOCAL_VARS = 16;  // frames with at most this many variables keep them on the C stack

inline void raise(Frame& f, int32_t code) {
  if (f.raised == 0) f.raised = code;
}

inline int64_t wrap_int(int64_t x, uint8_t type) {
  switch (type) {
    case TYPE_SMALLINT: return static_cast<int16_t>(x);
    case TYPE_INTEGER: return static_cast<int32_t>(x);
    default: return x;
  }
}

// Values on the hot paths are written in place, field by field: a Value built in a temporary
// and copied whole at once is read back across the smaller stores that built it, which stalls
// the processor for longer than the rest of a statement takes. The reserved bytes and the
// payload past what the type uses are left as they are (nothing reads them).
//
// Integers are kept sign-extended over eight payload bytes whatever their width (see
// IntForm): x must already be within the type's range.
inline void put_int(Value& v, uint8_t type, int64_t x) {
  v.type = type;
  payload_put<int64_t>(v, x);
}
inline void put_null(Value& v) { put_int(v, TYPE_NULL, 0); }
inline void put_double(Value& v, uint8_t type, double x) {
  v.type = type;
  if (type == TYPE_REAL) {
    payload_put<float>(v, static_cast<float>(x));
  } else {
    payload_put<double>(v, x);
  }
}
inline void put_bool(Value& v, bool x) {
  v.type = TYPE_BOOL;
  v.payload[0] = x ? 1 : 0;
}
inline int64_t get_int(const Value& v) { return payload_get<int64_t>(v); }

// A 64-bit result wrapped into the type whose wrap_shift is `shift` (code_forms.cpp).
inline int64_t wrap_shifted(uint64_t x, uint8_t shift) { return static_cast<int64_t>(x << shift) >> shift; }

// Whether a comparison's mask (CMP_* bits) accepts how a compares with b.
inline bool compare_accepts(uint8_t mask, int64_t a, int64_t b) {
  if (a < b) return (mask & CMP_LESS) != 0;
  if (a == b) return (mask & CMP_EQUAL) != 0;
  return (mask & CMP_GREATER) != 0;
}

// A BIGINT read as a narrower integer type: its low bits when its high half is plain (all
// zeros or all ones), else the type's positive maximum.
inline int64_t narrowed(int64_t x, uint8_t type) {
  const uint32_t high = static_cast<uint32_t>(static_cast<uint64_t>(x) >> 32);
  const bool plain = high == 0 || high == 0xFFFFFFFFu;
  switch (type) {
    case TYPE_SMALLINT: return plain ? static_cast<int16_t>(x) : int64_t{32767};
    case TYPE_INTEGER: return plain ? static_cast<int32_t>(x) : int64_t{2147483647};
    default: return x;
  }
}

// Stores an integer of the type into a value in place (the hot path of assignments).
inline void set_int(Value& v, int64_t x, uint8_t type) { put_int(v, type, wrap_int(x, type)); }

inline Value int_value(int64_t x, uint8_t type) {
  Value v{};
  put_int(v, type, wrap_int(x, type));
  return v;
}

// The open scope of a statement: the texts its evaluations make are given back at its end.
struct PoolScope {
  EvalContext& ctx;
  EvalScope scope;
  explicit PoolScope(EvalContext& c) : ctx(c), scope(eval_scope_open(c)) {}
  ~PoolScope() { eval_scope_close(ctx, scope); }
  PoolScope(const PoolScope&) = delete;
  PoolScope& operator=(const PoolScope&) = delete;
};

// --- storing values into variables --------------------------------------------------------------

// v converted to the declared type into *dst (texts into *storage). 0, or the exception.
int32_t convert_into(const TypeSpec& spec, const Value& v, Value* dst, std::string* storage) {
  if (v.type == TYPE_NULL || v.type == TYPE_NONE) {
    put_null(*dst);
    return 0;
  }
  switch (spec.type) {
    case TYPE_SMALLINT:
    case TYPE_INTEGER:
    case TYPE_BIGINT:
    case TYPE_REAL:
    case TYPE_DOUBLE:
    case TYPE_NUMERIC:
      if (!is_numeric_type(v.type)) return EXCEPTION_BADPARAM;
      switch (spec.type) {
        case TYPE_SMALLINT: put_int(*dst, TYPE_SMALLINT, read_as_smallint(v)); break;
        case TYPE_INTEGER: put_int(*dst, TYPE_INTEGER, read_as_integer(v)); break;
        case TYPE_BIGINT: put_int(*dst, TYPE_BIGINT, read_as_bigint(v)); break;
        case TYPE_REAL: put_double(*dst, TYPE_REAL, read_as_real(v)); break;
        case TYPE_DOUBLE: put_double(*dst, TYPE_DOUBLE, read_as_double(v)); break;
        default: *dst = make_numeric(read_as_numeric(v)); break;
      }
      return 0;
    case TYPE_BOOL:
    case TYPE_DATE:
      if (v.type != spec.type) return EXCEPTION_BADPARAM;
      *dst = v;
      return 0;
    case TYPE_CHAR: {
      if (v.type != TYPE_CHAR) return EXCEPTION_BADPARAM;
      const char* t = value_text(v);
      size_t n = t != nullptr ? std::strlen(t) : 0;
      if (spec.length > 0 && n > spec.length) n = spec.length;
      storage->assign(t != nullptr ? t : "", n);
      *dst = make_char(storage->c_str());
      return 0;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      std::string units;
      if (v.type == TYPE_CHAR) {
        for (const char* t = value_text(v); t != nullptr && *t != '\0'; ++t) {
          const uint16_t w = cp866_to_wide(static_cast<uint8_t>(*t));
          units.push_back(static_cast<char>(w & 0xFF));
          units.push_back(static_cast<char>(w >> 8));
        }
      } else if (v.type == TYPE_NCHAR || v.type == TYPE_WSTRING) {
        for (const uint16_t* w = value_wide(v); w != nullptr && *w != 0; ++w) {
          uint16_t c;
          std::memcpy(&c, w, 2);
          units.push_back(static_cast<char>(c & 0xFF));
          units.push_back(static_cast<char>(c >> 8));
        }
      } else {
        return EXCEPTION_BADPARAM;
      }
      if (spec.length > 0 && units.size() > 2u * spec.length) units.resize(2u * spec.length);
      units.push_back('\0');
      units.push_back('\0');
      *storage = std::move(units);
      *dst = make_nchar(reinterpret_cast<const uint16_t*>(storage->data()), TYPE_NCHAR);
      return 0;
    }
    case TYPE_BYTE: {
      if (v.type != TYPE_BYTE) return EXCEPTION_BADPARAM;
      size_t n = byte_count(v);
      if (spec.length > 0 && n > spec.length) n = spec.length;
      std::string block(n + 2, '\0');
      block[0] = static_cast<char>(n & 0xFF);
      block[1] = static_cast<char>(n >> 8);
      if (n > 0) std::memcpy(block.data() + 2, byte_data(v), n);
      *storage = std::move(block);
      *dst = make_byte(reinterpret_cast<const uint8_t*>(storage->data()));
      return 0;
    }
    default:
      return EXCEPTION_BADPARAM;
  }
}

std::string dummy_storage;

// An integer value as its type reads it (values from outside the frame are not sign-extended).
inline int64_t int_of(const Value& v) {
  switch (v.type) {
    case TYPE_SMALLINT: return payload_get<int16_t>(v);
    case TYPE_INTEGER: return payload_get<int32_t>(v);
    default: return payload_get<int64_t>(v);
  }
}

int32_t store(Frame& f, int var, const Value& v) {
  const TypeSpec& spec = f.unit->vars[static_cast<size_t>(var)].spec;
  if (v.type == spec.type && is_int_type(v.type)) {
    put_int(f.vars[var], v.type, int_of(v));
    return 0;
  }
  std::string* storage = f.texts.empty() ? &dummy_storage : &f.texts[static_cast<size_t>(var)];
  return convert_into(spec, v, &f.vars[var], storage);
}

// --- fast expressions ---------------------------------------------------------------------------

int64_t fast_int(const FastNode* n, Frame& f, EngineSession& es);
double fast_float(const FastNode* n, Frame& f, EngineSession& es);
bool fast_bool(const FastNode* n, Frame& f, EngineSession& es);
int32_t call_routine_by_number(EngineSession& es, Frame& f, int routine, const Value* args, int argc, Value* result);
int eval_value(EngineSession& es, Frame& f, const Expr& e, Value* out);

// The arguments of a routine called in a fast expression, computed into args.
int routine_args(const FastNode* n, Frame& f, EngineSession& es, Value* args, int count) {
  for (int i = 0; i < count; ++i) {
    if (eval_value(es, f, n->args[i], &args[i]) != 0) return 1;
  }
  return 0;
}

// A routine called in a fast expression: its result as a value of the node's type. Texts an
// argument's general evaluation makes are given back when the call has ended.
[[gnu::noinline]] Value fast_routine(const FastNode* n, Frame& f, EngineSession& es) {
  // A few arguments on the stack (recursion goes deep), more on the heap.
  constexpr int LOCAL_ARGS = 4;
  Value local[LOCAL_ARGS];
  const int count = n->count < MAX_CALL_ARGS ? n->count : MAX_CALL_ARGS;
  std::unique_ptr<Value[]> heap;
  if (count > LOCAL_ARGS) heap = std::make_unique<Value[]>(static_cast<size_t>(count));
  Value* args = count > LOCAL_ARGS ? heap.get() : local;
  Value result;
  put_null(result);
  int32_t code = 0;
  if (n->general_args) {
    PoolScope scope(es.ctx);
    code = routine_args(n, f, es, args, count) != 0 ? f.raised
                                                    : call_routine_by_number(es, f, n->var, args, count, &result);
  } else {
    code = routine_args(n, f, es, args, count) != 0 ? f.raised
                                                    : call_routine_by_number(es, f, n->var, args, count, &result);
  }
  if (code != 0) {
    raise(f, code);
    put_null(result);
    return result;
  }
  if (result.type == TYPE_NULL || result.type == TYPE_NONE) raise(f, EXCEPTION_NULLDATA);
  return result;
}

const Value* cursor_cell(Frame& f, int var, int column, int32_t* error);

// A cursor's column of an integer type in a fast expression.
[[gnu::noinline]] int64_t column_int(const FastNode* n, Frame& f) {
  int32_t error = 0;
  const Value* v = cursor_cell(f, n->var, static_cast<int>(n->i), &error);
  if (error != 0) {
    raise(f, error);
    return 0;
  }
  if (v != nullptr && is_int_type(v->type)) return int_of(*v);
  if (v != nullptr && is_numeric_type(v->type)) return read_as_bigint(*v);
  raise(f, EXCEPTION_NULLDATA);
  return 0;
}

[[gnu::noinline]] int64_t var_int_slow(const FastNode* n, Frame& f) {
  const Value& v = f.vars[n->var];
  if (is_numeric_type(v.type)) return read_as_bigint(v);
  raise(f, EXCEPTION_NULLDATA);
  return 0;
}

// An integer operand: constants and variables of their declared type are read here, without
// a call; anything else goes to fast_int.
inline int64_t int_operand(const FastNode* n, Frame& f, EngineSession& es) {
  if (n->op == FastOp::CONST_INT) return n->i;
  if (n->op == FastOp::VAR_INT) {
    const Value& v = f.vars[n->var];
    if (v.type == n->type) [[likely]] return get_int(v);
  }
  return fast_int(n, f, es);
}

int64_t fast_int(const FastNode* n, Frame& f, EngineSession& es) {
  switch (n->op) {
    case FastOp::CONST_INT:
      return n->i;
    case FastOp::VAR_INT: {
      const Value& v = f.vars[n->var];
      if (v.type != n->type) [[unlikely]] return var_int_slow(n, f);
      return get_int(v);
    }
    case FastOp::COLUMN_INT:
      return column_int(n, f);
    case FastOp::ADD:
      return wrap_int(static_cast<int64_t>(static_cast<uint64_t>(int_operand(n->a, f, es)) +
                                           static_cast<uint64_t>(int_operand(n->b, f, es))),
                      n->type);
    case FastOp::SUB:
      return wrap_int(static_cast<int64_t>(static_cast<uint64_t>(int_operand(n->a, f, es)) -
                                           static_cast<uint64_t>(int_operand(n->b, f, es))),
                      n->type);
    case FastOp::MUL:
      return wrap_int(static_cast<int64_t>(static_cast<uint64_t>(int_operand(n->a, f, es)) *
                                           static_cast<uint64_t>(int_operand(n->b, f, es))),
                      n->type);
    case FastOp::DIV:
    case FastOp::IDIV: {
      const int64_t a = int_operand(n->a, f, es);
      const int64_t b = int_operand(n->b, f, es);
      if (b == 0) {
        raise(f, EXCEPTION_DIVZERO);
        return 0;
      }
      if (b == -1) return wrap_int(static_cast<int64_t>(0 - static_cast<uint64_t>(a)), n->type);
      return wrap_int(a / b, n->type);
    }
    case FastOp::DIV_POW2: {
      const int64_t a = int_operand(n->a, f, es);
      // A negative dividend is biased by the divisor less one, so that the shift truncates.
      const int64_t bias = (a >> 63) & ((int64_t{1} << n->i) - 1);
      return wrap_int((a + bias) >> n->i, n->type);
    }
    case FastOp::NEG:
      return wrap_int(static_cast<int64_t>(0 - static_cast<uint64_t>(int_operand(n->a, f, es))), n->type);
    case FastOp::ROUTINE: {
      const Value v = fast_routine(n, f, es);
      return is_int_type(v.type) ? get_int(v) : read_as_bigint(v);
    }
    default:
      return static_cast<int64_t>(fast_float(n, f, es));
  }
}

// The top of a statement's integer expression: a sum or difference of two operands is
// computed here without a call (the usual loop counter and accumulator).
// Runs a flat program (fast_expr.h); the values it leaves are out[0] (and out[1] for a
// comparison). The top of the stack stays in `top`. false when it gives up: a variable is
// NULL, a divisor is 0 or -1.
bool run_steps(const IntStep* p, const IntStep* end, const Frame& f, int64_t* out) {
  int64_t stack[STEP_STACK_MAX];
  int sp = 0;
  int64_t top = 0;
  auto variable = [&f](const IntStep* st, int64_t* x) {
    const Value& v = f.vars[st->var];
    if (v.type != st->type) [[unlikely]] return false;
    *x = get_int(v);
    return true;
  };
  auto wrap = [](uint64_t x, const IntStep* st) { return wrap_shifted(x, st->shift); };
  for (; p != end; ++p) {
    int64_t y;
    switch (p->op) {
      case StepOp::PUSH_V:
        if (!variable(p, &y)) return false;
        stack[sp++] = top;
        top = y;
        break;
      case StepOp::PUSH_K:
        stack[sp++] = top;
        top = p->k;
        break;
      case StepOp::ADD_V:
        if (!variable(p, &y)) return false;
        top = wrap(static_cast<uint64_t>(top) + static_cast<uint64_t>(y), p);
        break;
      case StepOp::ADD_K:
        top = wrap(static_cast<uint64_t>(top) + static_cast<uint64_t>(p->k), p);
        break;
      case StepOp::ADD_S:
        top = wrap(static_cast<uint64_t>(stack[--sp]) + static_cast<uint64_t>(top), p);
        break;
      case StepOp::SUB_V:
        if (!variable(p, &y)) return false;
        top = wrap(static_cast<uint64_t>(top) - static_cast<uint64_t>(y), p);
        break;
      case StepOp::SUB_K:
        top = wrap(static_cast<uint64_t>(top) - static_cast<uint64_t>(p->k), p);
        break;
      case StepOp::SUB_S:
        top = wrap(static_cast<uint64_t>(stack[--sp]) - static_cast<uint64_t>(top), p);
        break;
      case StepOp::MUL_V:
        if (!variable(p, &y)) return false;
        top = wrap(static_cast<uint64_t>(top) * static_cast<uint64_t>(y), p);
        break;
      case StepOp::MUL_K:
        top = wrap(static_cast<uint64_t>(top) * static_cast<uint64_t>(p->k), p);
        break;
      case StepOp::MUL_S:
        top = wrap(static_cast<uint64_t>(stack[--sp]) * static_cast<uint64_t>(top), p);
        break;
      case StepOp::DIV_V:
      case StepOp::DIV_K:
      case StepOp::DIV_S: {
        int64_t x = top;
        if (p->op == StepOp::DIV_V) {
          if (!variable(p, &y)) return false;
        } else if (p->op == StepOp::DIV_K) {
          y = p->k;
        } else {
          y = top;
          x = stack[--sp];
        }
        if (y == 0 || y == -1) [[unlikely]] return false;
        top = x / y;
        break;
      }
      case StepOp::DIV_POW2:
        top = (top + ((top >> 63) & ((int64_t{1} << p->k) - 1))) >> p->k;
        break;
      case StepOp::NEG:
        top = wrap(0 - static_cast<uint64_t>(top), p);
        break;
    }
  }
  // The stack holds below the top what was pushed first: a comparison's left side.
  if (sp > 1) out[0] = stack[1];
  out[sp > 1 ? 1 : 0] = top;
  return true;
}

inline int64_t int_top(const FastNode* n, Frame& f, EngineSession& es) {
  if (n->steps != nullptr) {
    int64_t stack[STEP_STACK_MAX];
    if (run_steps(n->steps, n->steps + n->step_count, f, stack)) [[likely]] return stack[0];
  }
  if (n->op == FastOp::ADD || n->op == FastOp::SUB) {
    const uint64_t a = static_cast<uint64_t>(int_operand(n->a, f, es));
    const uint64_t b = static_cast<uint64_t>(int_operand(n->b, f, es));
    return wrap_int(static_cast<int64_t>(n->op == FastOp::ADD ? a + b : a - b), n->type);
  }
  return int_operand(n, f, es);
}

// The top of a loop's or IF's condition: an integer comparison is computed here.
inline bool bool_top(const FastNode* n, Frame& f, EngineSession& es) {
  if (n->op >= FastOp::LT && n->op <= FastOp::NE && is_int_type(n->cmp)) {
    int64_t a;
    int64_t b;
    int64_t stack[STEP_STACK_MAX];
    if (n->steps != nullptr && run_steps(n->steps, n->steps + n->step_count, f, stack)) [[likely]] {
      a = stack[0];
      b = stack[1];
    } else {
      a = int_operand(n->a, f, es);
      b = int_operand(n->b, f, es);
    }
    switch (n->op) {
      case FastOp::LT: return a < b;
      case FastOp::GT: return a > b;
      case FastOp::LE: return a <= b;
      case FastOp::GE: return a >= b;
      case FastOp::EQ: return a == b;
      default: return a != b;
    }
  }
  return fast_bool(n, f, es);
}

double fast_float(const FastNode* n, Frame& f, EngineSession& es) {
  if (is_int_type(n->type)) return static_cast<double>(fast_int(n, f, es));
  const bool real = n->type == TYPE_REAL;
  switch (n->op) {
    case FastOp::CONST_FLOAT:
      return n->f;
    case FastOp::VAR_FLOAT: {
      const Value& v = f.vars[n->var];
      if (v.type == TYPE_DOUBLE) return payload_get<double>(v);
      if (v.type == TYPE_REAL) return payload_get<float>(v);
      if (is_numeric_type(v.type)) return read_as_double(v);
      raise(f, EXCEPTION_NULLDATA);
      return 0;
    }
    case FastOp::ADD:
    case FastOp::SUB:
    case FastOp::MUL:
    case FastOp::DIV:
    case FastOp::IDIV: {
      double a = fast_float(n->a, f, es);
      double b = fast_float(n->b, f, es);
      if (real) {
        a = static_cast<float>(a);
        b = static_cast<float>(b);
      }
      double r = 0;
      switch (n->op) {
        case FastOp::ADD: r = a + b; break;
        case FastOp::SUB: r = a - b; break;
        case FastOp::MUL: r = a * b; break;
        default:
          if (b == 0) {
            raise(f, EXCEPTION_DIVZERO);
            return 0;
          }
          r = n->op == FastOp::IDIV ? std::trunc(a / b) : a / b;
          break;
      }
      return real ? static_cast<float>(r) : r;
    }
    case FastOp::NEG:
      return -fast_float(n->a, f, es);
    case FastOp::ROUTINE:
      return read_as_double(fast_routine(n, f, es));
    default:
      return 0;
  }
}

// A NUMERIC sum, difference or product, or an operand of one: an operand of another type is
// computed in its own type and read as NUMERIC, as the general evaluation reads it.
Decimal fast_num(const FastNode* n, Frame& f, EngineSession& es) {
  if (n->type != TYPE_NUMERIC) {
    Value v;
    if (is_int_type(n->type)) {
      put_int(v, n->type, wrap_int(int_top(n, f, es), n->type));
    } else {
      put_double(v, n->type, fast_float(n, f, es));
    }
    return read_as_numeric(v);
  }
  switch (n->op) {
    case FastOp::CONST_NUM:
      return n->d;
    case FastOp::VAR_NUM: {
      const Value& v = f.vars[n->var];
      if (v.type == TYPE_NUMERIC) [[likely]] return value_decimal(v);
      if (is_numeric_type(v.type)) return read_as_numeric(v);
      raise(f, EXCEPTION_NULLDATA);
      return decimal_zero();
    }
    case FastOp::ADD:
      return decimal_add(fast_num(n->a, f, es), fast_num(n->b, f, es));
    case FastOp::SUB:
      return decimal_sub(fast_num(n->a, f, es), fast_num(n->b, f, es));
    case FastOp::MUL:
      return decimal_mul(fast_num(n->a, f, es), fast_num(n->b, f, es));
    case FastOp::ROUTINE:
      return read_as_numeric(fast_routine(n, f, es));
    default:
      return decimal_zero();
  }
}

bool fast_bool(const FastNode* n, Frame& f, EngineSession& es) {
  switch (n->op) {
    case FastOp::CONST_BOOL:
      return n->i != 0;
    case FastOp::VAR_BOOL: {
      const Value& v = f.vars[n->var];
      if (v.type != TYPE_BOOL) [[unlikely]] {
        raise(f, EXCEPTION_NULLDATA);
        return false;
      }
      return v.payload[0] != 0;
    }
    case FastOp::AND:
      return fast_bool(n->a, f, es) && fast_bool(n->b, f, es);
    case FastOp::OR:
      return fast_bool(n->a, f, es) || fast_bool(n->b, f, es);
    case FastOp::NOT:
      return !fast_bool(n->a, f, es);
    case FastOp::ROUTINE: {
      const Value v = fast_routine(n, f, es);
      return v.type == TYPE_BOOL && v.payload[0] != 0;
    }
    default:
      break;
  }
  // Comparisons, in the common type of the operands.
  if (n->cmp == TYPE_BOOL) {
    const bool a = fast_bool(n->a, f, es);
    const bool b = fast_bool(n->b, f, es);
    switch (n->op) {
      case FastOp::EQ: return a == b;
      case FastOp::NE: return a != b;
      case FastOp::LT: return a < b;
      case FastOp::GT: return a > b;
      case FastOp::LE: return a <= b;
      default: return a >= b;
    }
  }
  if (is_int_type(n->cmp)) {
    const int64_t a = int_operand(n->a, f, es);
    const int64_t b = int_operand(n->b, f, es);
    switch (n->op) {
      case FastOp::EQ: return a == b;
      case FastOp::NE: return a != b;
      case FastOp::LT: return a < b;
      case FastOp::GT: return a > b;
      case FastOp::LE: return a <= b;
      default: return a >= b;
    }
  }
  double a = fast_float(n->a, f, es);
  double b = fast_float(n->b, f, es);
  if (n->cmp == TYPE_REAL) {
    a = static_cast<float>(a);
    b = static_cast<float>(b);
  }
  switch (n->op) {
    case FastOp::EQ: return a == b;
    case FastOp::NE: return a != b;
    case FastOp::LT: return a < b;
    case FastOp::GT: return a > b;
    case FastOp::LE: return a <= b;
    default: return a >= b;
  }
}

// --- general evaluation ------------------------------------------------------------------------

// The exception of a diagnostic met while a procedure's expression was computed.
int32_t exception_of_diagnostic(int d) {
  switch (d) {
    case DIAG_NO_MEMORY: return EXCEPTION_NOMEM;
    case DIAG_NULL_OPERATION: return EXCEPTION_NULLDATA;
    case DIAG_DIVISION_BY_ZERO: return EXCEPTION_DIVZERO;
    case DIAG_BAD_FIELD: return EXCEPTION_BADCURSOR;
    default: return EXCEPTION_BADPARAM;
  }
}

// Computes an expression; 0, or non-zero with the exception raised in the frame.
int eval_value(EngineSession& es, Frame& f, const Expr& e, Value* out) {
  if (e.fast != nullptr) {
    if (is_int_type(e.type)) {
      put_int(*out, e.type, wrap_int(int_top(e.fast, f, es), e.type));
    } else if (e.type == TYPE_NUMERIC) {
      const Decimal d = fast_num(e.fast, f, es);
      out->type = TYPE_NUMERIC;
      payload_put(*out, d);
    } else if (is_float_type(e.type)) {
      const double x = fast_float(e.fast, f, es);
      put_double(*out, e.type, x);
    } else {
      put_bool(*out, fast_bool(e.fast, f, es));
    }
    return f.raised != 0 ? 1 : 0;
  }
  EvalOutcome o{-1, 0, 0, -1, 0, 0, false};
  const int rc = evaluate_node(e.node, es.ctx, &o, out);
  if (f.raised != 0) return 1;
  if (rc != 0) {
    raise(f, exception_of_diagnostic(o.diagnostic));
    return 1;
  }
  if (o.warning == DIAG_DIVISION_BY_ZERO) {
    raise(f, EXCEPTION_DIVZERO);
    return 1;
  }
  if (es.pool->run_status != 0) {
    es.pool->run_status = 0;
    raise(f, EXCEPTION_NOMEM);
    return 1;
  }
  return 0;
}

bool eval_condition(EngineSession& es, Frame& f, const Expr& e) {
  if (e.fast != nullptr) return fast_bool(e.fast, f, es);
  PoolScope scope(es.ctx);
  Value v;
  if (eval_value(es, f, e, &v) != 0) return false;
  if (v.type != TYPE_BOOL) {
    raise(f, v.type == TYPE_NULL ? EXCEPTION_NULLDATA : EXCEPTION_BADPARAM);
    return false;
  }
  return v.payload[0] != 0;
}

// --- the session's hooks ---------------------------------------------------------------------

DebugHooks debug_hooks;

const Value* cursor_cell(Frame& f, int var, int column, int32_t* error) {
  CursorState* c = f.cursors.empty() ? nullptr : &f.cursors[static_cast<size_t>(var)];
  if (c == nullptr || !c->open) {
    *error = EXCEPTION_CURNOTOPEN;
    return nullptr;
  }
  if (c->position < 1 || c->position > static_cast<int64_t>(c->rows.size())) return nullptr;
  const std::vector<Cell>& row = c->rows[static_cast<size_t>(c->position - 1)];
  const int k = c->column_map != nullptr
                    ? (static_cast<size_t>(column) < c->column_map->size() ? (*c->column_map)[static_cast<size_t>(column)] : -1)
                    : column;
  if (k < 0 || static_cast<size_t>(k) >= row.size()) {
    *error = EXCEPTION_BADCURSOR;
    return nullptr;
  }
  return &row[static_cast<size_t>(k)].value;
}

int read_variable_hook(EvalContext& ctx, int variable, int column, const Value* index, Value* out) {
  EngineSession& es = *static_cast<EngineSession*>(ctx.user);
  Frame& f = *es.current;
  if (column >= 0) {
    int32_t error = 0;
    const Value* v = cursor_cell(f, variable, column, &error);
    if (error != 0) {
      raise(f, error);
      return DIAG_BAD_FIELD;
    }
    *out = v != nullptr ? *v : make_null();
    return 0;
  }
  const Value& v = f.vars[variable];
  if (f.unit->vars[static_cast<size_t>(variable)].spec.type == TYPE_CURSOR) {
    *out = make_none();
    out->type = TYPE_CURSOR;
    payload_put<int32_t>(*out, variable);
    return 0;
  }
  if (index != nullptr) {
    // An element of a BYTE variable, from 1.
    const int64_t i = read_as_bigint(*index);
    if (v.type != TYPE_BYTE || i < 1 || i > byte_count(v)) {
      raise(f, EXCEPTION_BADPARAM);
      return DIAG_BAD_INDEX;
    }
    *out = make_smallint(byte_data(v)[i - 1]);
    return 0;
  }
  *out = v;
  return 0;
}

int call_routine_hook(EvalContext& ctx, int routine, const Value* args, int argc, Value* result) {
  EngineSession& es = *static_cast<EngineSession*>(ctx.user);
  Frame& f = *es.current;
  put_null(*result);
  if (int32_t code = call_routine_by_number(es, f, routine, args, argc, result); code != 0) {
    raise(f, code);
    return DIAG_BAD_ARGUMENT;
  }
  return 0;
}

// A message is kept without the head PRINT puts before it: each client shows it its own way.
void print_hook(void* user, std::string_view text) {
  EngineSession& es = *static_cast<EngineSession*>(user);
  if (text.starts_with(PRINT_HEAD)) text.remove_prefix(PRINT_HEAD.size());
  if (es.debugger.load(std::memory_order_relaxed) != nullptr && debug_hooks.print != nullptr) {
    debug_hooks.print(&es, text);
  }
  if (es.outcome != nullptr) {
    es.outcome->messages.emplace_back(text);
  } else {
    es.stray_messages.emplace_back(text);
  }
}

void notice_hook(void*, std::string_view) {}

// --- calls ----------------------------------------------------------------------------------------

// Keeps a unit the session no longer lists but may still be running.
void retire(EngineSession& es, std::shared_ptr<const Unit>&& unit) {
  if (unit != nullptr) es.retired_units.push_back(std::move(unit));
}

// The unit a call site (slot, -1 for none) leads to: as the session resolved it before while
// the registry has not changed since, else looked up by name and kept. nullptr: there is none.
const Unit* resolve_callee(EngineSession& es, int slot, const std::string& name) {
  const uint64_t generation = registry_generation();
  ResolvedCallee* entry = nullptr;
  if (slot >= 0) {
    if (static_cast<size_t>(slot) >= es.callees.size()) es.callees.resize(static_cast<size_t>(slot) + 1);
    entry = &es.callees[static_cast<size_t>(slot)];
    if (entry->generation == generation && entry->unit != nullptr) [[likely]] return entry->unit.get();
  }
  const int32_t id = registry_find_procedure(es.db, name);
  if (id == 0) return nullptr;
  std::string why;
  std::shared_ptr<const Unit> unit = registry_unit(es.db, id, &why);
  if (unit == nullptr) return nullptr;
  const Unit* found = unit.get();
  if (entry == nullptr) {
    retire(es, std::move(unit));
    return found;
  }
  retire(es, std::move(entry->unit));
  entry->unit = std::move(unit);
  entry->generation = generation;
  return found;
}

int32_t call_by_name(EngineSession& es, Frame& f, int slot, const std::string& name, const Value* args, int argc,
                     CallLink& link) {
  if (es.interrupted.load(std::memory_order_relaxed)) return RAISE_INTERRUPT;
  f.record.quanta.store(f.record.quanta.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  const Unit* unit = resolve_callee(es, slot, name);
  if (unit == nullptr) return EXCEPTION_UNDEFPROC;
  return call_unit(es, *unit, args, argc, link);
}

int32_t call_routine_by_number(EngineSession& es, Frame& f, int routine, const Value* args, int argc, Value* result) {
  const Unit& u = *f.unit;
  if (routine < 0 || static_cast<size_t>(routine) >= u.routines.size()) return EXCEPTION_UNDEFPROC;
  CallLink link;
  link.caller = &f;
  link.result = result;
  const int slot = static_cast<size_t>(routine) < u.routine_slots.size() ? u.routine_slots[static_cast<size_t>(routine)] : -1;
  return call_by_name(es, f, slot, u.routines[static_cast<size_t>(routine)], args, argc, link);
}

// --- SQL --------------------------------------------------------------------------------------------

int32_t sql_failure(EngineSession& es, int rc) {
  if ((rc & 0xFF) == SQLITE_INTERRUPT || es.interrupted.load(std::memory_order_relaxed)) return RAISE_INTERRUPT;
  es.errcode = static_cast<int32_t>(storage_code(rc));
  es.last_error = sqlite3_errmsg(es.db);
  return EXCEPTION_APPLICATIONERROR;
}

// The session's prepared statement for an embedded one; a fresh one when it is being stepped
// already (a trigger action running the same statement inside it).
sqlite3_stmt* statement_for(EngineSession& es, const SqlStatement& s, bool* temporary, int* rc) {
  *temporary = false;
  *rc = SQLITE_OK;
  if (static_cast<size_t>(s.slot) >= es.prepared.size()) es.prepared.resize(static_cast<size_t>(s.slot) + 1, nullptr);
  sqlite3_stmt*& st = es.prepared[static_cast<size_t>(s.slot)];
  if (st == nullptr) {
    *rc = sqlite3_prepare_v3(es.db, s.utf8.c_str(), static_cast<int>(s.utf8.size()), SQLITE_PREPARE_PERSISTENT, &st,
                             nullptr);
    if (*rc != SQLITE_OK) return nullptr;
  }
  if (!sqlite3_stmt_busy(st)) return st;
  sqlite3_stmt* fresh = nullptr;
  *rc = sqlite3_prepare_v2(es.db, s.utf8.c_str(), static_cast<int>(s.utf8.size()), &fresh, nullptr);
  *temporary = true;
  return fresh;
}

int32_t bind_all(EngineSession& es, Frame& f, const SqlStatement& s, sqlite3_stmt* st) {
  for (size_t i = 0; i < s.bindings.size(); ++i) {
    const SqlBinding& b = s.bindings[i];
    const Value* v = &f.vars[b.variable];
    if (b.column >= 0) {
      int32_t error = 0;
      v = cursor_cell(f, b.variable, b.column, &error);
      if (error != 0) return error;
    }
    const int index = static_cast<int>(i) + 1;
    int rc;
    if (v == nullptr) {
      rc = sqlite3_bind_null(st, index);
    } else if (is_int_type(v->type)) {
      rc = sqlite3_bind_int64(st, index, int_of(*v));  // the usual case, without the general binder
    } else {
      rc = bind_value(st, index, *v, &es.bind_text);
    }
    if (rc != SQLITE_OK) return sql_failure(es, rc);
  }
  return 0;
}

uint8_t event_of(SqlKind k) {
  switch (k) {
    case SqlKind::INSERT: return EVENT_INSERT;
    case SqlKind::UPDATE: return EVENT_UPDATE;
    case SqlKind::DELETE: return EVENT_DELETE;
    default: return 0;
  }
}

int32_t statement_triggers(EngineSession& es, const std::string& table, SqlKind kind, bool before) {
  const uint8_t event = event_of(kind);
  if (event == 0 || table.empty()) return 0;
  std::string error;
  if (fire_statement_triggers(es, table, event, before, &error) != 0) {
    if (es.interrupted.load(std::memory_order_relaxed)) return RAISE_INTERRUPT;
    es.errcode = static_cast<int32_t>(KERNEL_SQL_ERROR);
    es.last_error = error;
    return EXCEPTION_APPLICATIONERROR;
  }
  return 0;
}

// Fires an embedded statement's statement triggers (ids), BEFORE or AFTER it: 0, or the
// exception that the statement meets when one refuses it.
int32_t fire_around(EngineSession& es, const std::vector<int32_t>& ids) {
  std::string error;
  if (fire_triggers(es, ids, &error) == 0) return 0;
  if (es.interrupted.load(std::memory_order_relaxed)) return RAISE_INTERRUPT;
  es.errcode = static_cast<int32_t>(KERNEL_SQL_ERROR);
  es.last_error = error;
  return EXCEPTION_APPLICATIONERROR;
}

// The statement triggers of an embedded DML statement, as the session holds them while the
// registry has not changed (looked up again otherwise). nullptr with the failure set when the
// trigger table cannot be read.
const ResolvedStatementTriggers* triggers_around(EngineSession& es, const SqlStatement& s, uint8_t event) {
  if (static_cast<size_t>(s.slot) < es.statement_triggers.size()) {
    const ResolvedStatementTriggers& e = es.statement_triggers[static_cast<size_t>(s.slot)];
    if (e.generation == registry_generation()) [[likely]] return &e;
  }
  std::string error;
  const ResolvedStatementTriggers* found = statement_triggers_of(es, s, event, &error);
  if (found == nullptr) {
    es.errcode = static_cast<int32_t>(KERNEL_SQL_ERROR);
    es.last_error = error;
  }
  return found;
}

int32_t run_sql(EngineSession& es, Frame& f, const SqlStatement& s) {
  // The statement triggers of a DML statement's table, resolved once while nothing changes.
  const ResolvedStatementTriggers* around = nullptr;
  if (const uint8_t event = event_of(s.kind); event != 0 && !s.table.empty()) {
    around = triggers_around(es, s, event);
    if (around == nullptr) return EXCEPTION_APPLICATIONERROR;
    if (!around->before.empty()) {
      // A copy: an action may resolve the statement's triggers again while they fire.
      const std::vector<int32_t> ids = around->before;
      if (int32_t code = fire_around(es, ids); code != 0) return code;
    }
  }
  bool temporary = false;
  int rc = SQLITE_OK;
  sqlite3_stmt* st = statement_for(es, s, &temporary, &rc);
  if (st == nullptr) return sql_failure(es, rc);
  int32_t code = bind_all(es, f, s, st);
  if (code == 0) {
    rc = sqlite3_step(st);
    if (!s.into.empty()) {
      if (rc == SQLITE_ROW) {
        for (size_t k = 0; k < s.into.size() && code == 0; ++k) {
          const int var = s.into[k];
          const uint8_t type = f.unit->vars[static_cast<size_t>(var)].spec.type;
          sqlite3_value* column = sqlite3_column_value(st, static_cast<int>(k));
          if (is_int_type(type) && sqlite3_value_type(column) == SQLITE_INTEGER) {
            // The usual case: an integer column into an integer variable, read as a BIGINT is.
            put_int(f.vars[var], type, narrowed(sqlite3_value_int64(column), type));
            continue;
          }
          Value v;
          read_sql_value(column, type, &es.column_text, &v);
          code = store(f, var, v);
        }
        es.rowcount = 1;
      } else if (rc == SQLITE_DONE) {
        for (int var : s.into) store(f, var, make_null());
        es.rowcount = 0;
      }
    } else {
      while (rc == SQLITE_ROW) rc = sqlite3_step(st);
      es.rowcount = s.kind == SqlKind::SELECT ? 0 : sqlite3_changes(es.db);
    }
    if (code == 0 && rc != SQLITE_ROW && rc != SQLITE_DONE) code = sql_failure(es, rc);
  }
  if (temporary) {
    sqlite3_finalize(st);
  } else {
    sqlite3_reset(st);
  }
  if (code == 0) {
    es.errcode = 0;
    if (around != nullptr) {
      // Looked up again: the BEFORE actions or the statement's row triggers may have changed
      // what the session holds.
      around = triggers_around(es, s, event_of(s.kind));
      if (around == nullptr) return EXCEPTION_APPLICATIONERROR;
      if (!around->after.empty()) {
        const std::vector<int32_t> ids = around->after;
        code = fire_around(es, ids);
      }
    }
  }
  return code;
}

int32_t open_cursor(EngineSession& es, Frame& f, const Statement& s) {
  const SqlStatement& q = *f.unit->sql[static_cast<size_t>(s.sql)];
  CursorState& c = f.cursors[static_cast<size_t>(s.variable)];
  c = CursorState{};
  bool temporary = false;
  int rc = SQLITE_OK;
  sqlite3_stmt* st = statement_for(es, q, &temporary, &rc);
  if (st == nullptr) return sql_failure(es, rc);
  int32_t code = bind_all(es, f, q, st);
  const int n = sqlite3_column_count(st);
  // The type each query column is read as: that of the cursor column it gives.
  const CursorColumns& cols = f.unit->cursors[static_cast<size_t>(s.variable)];
  std::vector<uint8_t> types(static_cast<size_t>(n), TYPE_NONE);
  for (size_t col = 0; col < q.column_map.size(); ++col) {
    const int k = q.column_map[col];
    if (k >= 0 && k < n && col < cols.types.size()) types[static_cast<size_t>(k)] = cols.types[col];
  }
  while (code == 0) {
    rc = sqlite3_step(st);
    if (rc != SQLITE_ROW) break;
    std::vector<Cell>& row = c.rows.emplace_back();
    row.reserve(static_cast<size_t>(n));  // cells hold pointers into their own texts: never moved
    for (int k = 0; k < n; ++k) {
      Cell& cell = row.emplace_back();
      read_sql_value(sqlite3_column_value(st, k), types[static_cast<size_t>(k)], &cell.text, &cell.value);
    }
  }
  if (code == 0 && rc != SQLITE_DONE) code = sql_failure(es, rc);
  if (temporary) {
    sqlite3_finalize(st);
  } else {
    sqlite3_reset(st);
  }
  if (code != 0) {
    c = CursorState{};
    return code;
  }
  c.open = true;
  c.column_map = q.column_map.empty() ? nullptr : &q.column_map;
  es.rowcount = static_cast<int64_t>(c.rows.size());
  return 0;
}

int32_t fetch_cursor(EngineSession& es, Frame& f, const Statement& s) {
  CursorState& c = f.cursors[static_cast<size_t>(s.variable)];
  if (!c.open) return EXCEPTION_CURNOTOPEN;
  const int64_t n = static_cast<int64_t>(c.rows.size());
  int64_t target = c.position;
  int64_t k = 0;
  if (s.orientation == FetchOrientation::ABSOLUTE || s.orientation == FetchOrientation::RELATIVE) {
    PoolScope scope(es.ctx);
    Value v;
    if (eval_value(es, f, s.expr, &v) != 0) return f.raised;
    if (!is_numeric_type(v.type)) return v.type == TYPE_NULL ? EXCEPTION_NULLDATA : EXCEPTION_BADPARAM;
    k = read_as_bigint(v);
  }
  switch (s.orientation) {
    case FetchOrientation::NEXT: target = c.position + 1; break;
    case FetchOrientation::PRIOR: target = c.position - 1; break;
    case FetchOrientation::FIRST: target = 1; break;
    case FetchOrientation::LAST: target = n; break;
    case FetchOrientation::ABSOLUTE: target = k >= 0 ? k : n + 1 + k; break;
    case FetchOrientation::RELATIVE: target = c.position + k; break;
  }
  if (target < 1 || target > n) {
    c.position = target < 1 ? 0 : n + 1;
    c.out = true;
    return 0;
  }
  c.position = target;
  c.out = false;
  const std::vector<Cell>& row = c.rows[static_cast<size_t>(target - 1)];
  if (s.lists == nullptr) return 0;
  const std::vector<int>& into = s.lists->vars;
  if (into.size() > row.size()) return EXCEPTION_BADCURSOR;
  for (size_t i = 0; i < into.size(); ++i) {
    if (int32_t code = store(f, into[i], row[i].value); code != 0) return code;
  }
  return 0;
}

int32_t execute_text(EngineSession& es, Frame& f, const Expr& e) {
  std::string utf8;
  {
    PoolScope scope(es.ctx);
    Value v;
    if (eval_value(es, f, e, &v) != 0) return f.raised;
    if (v.type == TYPE_NULL) return EXCEPTION_NULLDATA;
    if (v.type != TYPE_CHAR) return EXCEPTION_BADPARAM;
    utf8 = cp866_to_utf8(value_text(v) != nullptr ? value_text(v) : "");
  }
  const char* rest = utf8.c_str();
  es.rowcount = 0;
  while (rest != nullptr && *rest != '\0') {
    sqlite3_stmt* st = nullptr;
    const char* tail = nullptr;
    int rc = sqlite3_prepare_v2(es.db, rest, -1, &st, &tail);
    if (rc != SQLITE_OK) return sql_failure(es, rc);
    if (st == nullptr) break;  // only blanks or comments were left
    const std::string one(rest, static_cast<size_t>(tail - rest));
    SqlKind kind = SqlKind::OTHER;
    const std::string table = dml_table(one, &kind);
    int32_t code = statement_triggers(es, table, kind, true);
    if (code == 0) {
      do {
        rc = sqlite3_step(st);
      } while (rc == SQLITE_ROW);
      if (rc != SQLITE_DONE) code = sql_failure(es, rc);
      if (code == 0 && kind != SqlKind::OTHER) es.rowcount = sqlite3_changes(es.db);
    }
    sqlite3_finalize(st);
    if (code == 0) code = statement_triggers(es, table, kind, false);
    if (code != 0) return code;
    rest = tail;
  }
  es.errcode = 0;
  return 0;
}

int32_t transaction(EngineSession& es, StmtKind kind) {
  if (es.trigger_depth > 0) return EXCEPTION_TRANSACTION_STATE;
  const bool open = sqlite3_get_autocommit(es.db) == 0;
  const char* sql = nullptr;
  if (kind == StmtKind::BEGIN_TRANSACTION) {
    if (open) return EXCEPTION_TRANSACTION_STATE;
    sql = "begin;";
  } else {
    if (!open) return 0;
    sql = kind == StmtKind::COMMIT ? "commit;" : "rollback;";
  }
  const int rc = sqlite3_exec(es.db, sql, nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    es.last_error = sqlite3_errmsg(es.db);
    return EXCEPTION_TRANSACTION_STATE;
  }
  return 0;
}

int32_t sleep_for(EngineSession& es, Frame& f, const Expr& e) {
  Value v;
  {
    PoolScope scope(es.ctx);
    if (eval_value(es, f, e, &v) != 0) return f.raised;
  }
  if (!is_numeric_type(v.type)) return v.type == TYPE_NULL ? EXCEPTION_NULLDATA : EXCEPTION_BADPARAM;
  const double seconds = read_as_double(v);
  if (!(seconds > 0)) return 0;
  const auto wait = std::chrono::duration<double>(seconds > 86400.0 ? 86400.0 : seconds);
  std::unique_lock<std::mutex> hold(es.sleep_lock);
  if (es.sleep_wake.wait_for(hold, wait, [&] { return es.interrupted.load(); })) return RAISE_INTERRUPT;
  return 0;
}

bool case_matches(const Value& v, const Value& c) {
  if (is_numeric_type(v.type) && is_numeric_type(c.type)) {
    if (v.type == TYPE_NUMERIC || c.type == TYPE_NUMERIC) {
      return decimal_compare(read_as_numeric(v), read_as_numeric(c)) == 0;
    }
    if (is_int_type(v.type) && is_int_type(c.type)) return read_as_bigint(v) == read_as_bigint(c);
    return read_as_double(v) == read_as_double(c);
  }
  switch (v.type) {
    case TYPE_CHAR:
      return c.type == TYPE_CHAR && std::strcmp(value_text(v), value_text(c)) == 0;
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      if (c.type != TYPE_CHAR) return false;
      const uint16_t* w = value_wide(v);
      const char* t = value_text(c);
      size_t i = 0;
      for (;; ++i) {
        uint16_t a;
        std::memcpy(&a, w + i, 2);
        const uint16_t b = t[i] != '\0' ? cp866_to_wide(static_cast<uint8_t>(t[i])) : 0;
        if (a != b) return false;
        if (a == 0) return true;
      }
    }
    case TYPE_BOOL:
      return c.type == TYPE_BOOL && (v.payload[0] != 0) == (c.payload[0] != 0);
    case TYPE_DATE:
      return c.type == TYPE_DATE && value_date(v).day == value_date(c).day && value_date(v).time == value_date(c).time;
    default:
      return false;
  }
}

int32_t call_statement(EngineSession& es, Frame& f, const Statement& s) {
  const StatementLists& l = *s.lists;
  PoolScope scope(es.ctx);
  Value args[MAX_CALL_ARGS];
  const size_t n = l.args.size() < static_cast<size_t>(MAX_CALL_ARGS) ? l.args.size() : MAX_CALL_ARGS;
  for (size_t i = 0; i < n; ++i) {
    // A variable is passed as it is (an OUT parameter's variable may well be NULL).
    if (i < l.vars.size() && l.vars[i] >= 0) {
      args[i] = f.vars[l.vars[i]];
      continue;
    }
    if (eval_value(es, f, l.args[i], &args[i]) != 0) return f.raised;
  }
  CallLink link;
  link.caller = &f;
  link.out_vars = l.vars.data();
  return call_by_name(es, f, s.call_slot, l.name, args, static_cast<int>(n), link);
}

// The instruction after s (at pc) when s does not jump: the next one, or the one past the
// join of IF or CASE that follows s.
inline int after(const Statement& s, int pc) {
  if (s.joins) [[unlikely]] return s.next;
  return pc + 1;
}

// A test's logical expression; false with the exception raised when it fails.
inline bool condition(EngineSession& es, Frame& f, const Expr& e) {
  return e.fast != nullptr ? bool_top(e.fast, f, es) : eval_condition(es, f, e);
}

// One more turn of a loop (a backward jump): a quantum counted, and the one place a loop
// notices KILL. false with the interruption raised.
inline bool next_turn(EngineSession& es, Frame& f) {
  f.record.quanta.store(f.record.quanta.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  if (es.interrupted.load(std::memory_order_relaxed)) [[unlikely]] {
    raise(f, RAISE_INTERRUPT);
    return false;
  }
  return true;
}

// The integer test t at pc (kind K): pc moves to where it leads. A loop's test is a turn of
// the loop. false with the exception raised; an operand that is NULL goes the general way.
template <StmtKind K>
[[gnu::always_inline]] inline bool int_test(EngineSession& es, Frame& f, const Statement& t, int& pc) {
  constexpr bool loop = K == StmtKind::LOOP_INT_VV || K == StmtKind::LOOP_INT_VK;
  constexpr bool two = K == StmtKind::JUMP_INT_VV || K == StmtKind::LOOP_INT_VV;
  if (loop && !next_turn(es, f)) return false;
  const IntForm& m = t.form;
  const Value& a = f.vars[m.a];
  bool jump;
  if (a.type == m.ta && (!two || f.vars[m.b].type == m.tb)) [[likely]] {
    jump = compare_accepts(m.jump, get_int(a), two ? get_int(f.vars[m.b]) : m.k);
  } else {
    const bool c = condition(es, f, t.expr);
    if (f.raised != 0) return false;
    jump = loop ? c : !c;
  }
  pc = jump ? t.target : after(t, pc);
  return true;
}

// Whether the stop point of the statement at pc would do nothing: no debugger watches the
// frame, or one does with a stop table that does not mark the statement.
[[gnu::always_inline]] inline bool no_stop_at(const Frame& f, int pc) {
  if (!f.record.trap.load(std::memory_order_relaxed)) return true;
  const uint8_t* stops = f.record.stops.load(std::memory_order_relaxed);
  return stops != nullptr && stops[pc] == 0;
}

// The test at the bottom of a loop that follows the integer statement at pc, run at once: its
// stop point (found to do nothing by no_stop_at) and the test, without a return to the top of
// the statement loop.
[[gnu::always_inline]] inline bool loop_test_at_once(EngineSession& es, Frame& f, const Statement* code, int& pc) {
  ++pc;
  const Statement& t = code[pc];
  f.record.line.store(t.line, std::memory_order_relaxed);
  if (t.kind == StmtKind::LOOP_INT_VV) return int_test<StmtKind::LOOP_INT_VV>(es, f, t, pc);
  return int_test<StmtKind::LOOP_INT_VK>(es, f, t, pc);
}

// The general form of an integer assignment: 0, or non-zero with the exception raised.
int assign_int(EngineSession& es, Frame& f, const Statement& s) {
  const int64_t x = int_top(s.expr.fast, f, es);
  if (f.raised != 0) return 1;
  const uint8_t t = f.unit->vars[static_cast<size_t>(s.variable)].spec.type;
  if (t == s.expr.type) {
    set_int(f.vars[s.variable], x, t);
  } else {
    store(f, s.variable, int_value(x, s.expr.type));
  }
  return 0;
}


// --- the statement loop ----------------------------------------------------------------------

// The statements that are not on the hot paths of loops and calls, run apart from the
// statement loop so that its own registers stay with the hot ones. Returns the instruction to
// run next, or -1 with the exception raised in the frame.
int run_statement(EngineSession& es, Frame& f, const Statement& s, int pc) {
  const Unit& u = *f.unit;
  switch (s.kind) {
    case StmtKind::COPY: {
      const Value* v = &f.vars[s.form.a];
      if (s.form.b >= 0) {
        int32_t error = 0;
        v = cursor_cell(f, s.form.a, s.form.b, &error);
        if (error != 0) {
          raise(f, error);
          return -1;
        }
      }
      Value null;
      if (v == nullptr) {
        put_null(null);
        v = &null;
      }
      if (int32_t c = store(f, s.variable, *v); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    }
    case StmtKind::ASSIGN: {
      Value v;
      if (s.expr.fast != nullptr) {
        // A fast expression makes no texts: no scope of the string pool is needed.
        if (eval_value(es, f, s.expr, &v) != 0) return -1;
        if (int32_t c = store(f, s.variable, v); c != 0) {
          raise(f, c);
          return -1;
        }
        return after(s, pc);
      }
      PoolScope scope(es.ctx);
      if (eval_value(es, f, s.expr, &v) != 0) return -1;
      if (int32_t c = store(f, s.variable, v); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    }
    case StmtKind::EVAL: {
      PoolScope scope(es.ctx);
      Value v;
      if (eval_value(es, f, s.expr, &v) != 0) return -1;
      return after(s, pc);
    }
    case StmtKind::CASE: {
      PoolScope scope(es.ctx);
      Value v;
      if (eval_value(es, f, s.expr, &v) != 0) return -1;
      int next = s.target;
      if (s.lists != nullptr) {
        for (const CaseBranch& b : s.lists->cases) {
          if (case_matches(v, b.constant)) {
            next = b.target;
            break;  // the first branch that matches
          }
        }
      }
      return next;
    }
    case StmtKind::CALL:
      if (int32_t c = call_statement(es, f, s); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    case StmtKind::OPEN:
      if (int32_t c = open_cursor(es, f, s); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    case StmtKind::CLOSE: {
      CursorState& c = f.cursors[static_cast<size_t>(s.variable)];
      if (!c.open) {
        raise(f, EXCEPTION_CURNOTOPEN);
        return -1;
      }
      c = CursorState{};
      return after(s, pc);
    }
    case StmtKind::FETCH:
      if (int32_t c = fetch_cursor(es, f, s); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    case StmtKind::SQL:
      if (int32_t c = run_sql(es, f, *u.sql[static_cast<size_t>(s.sql)]); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    case StmtKind::EXECUTE:
      if (int32_t c = execute_text(es, f, s.expr); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    case StmtKind::COMMIT:
    case StmtKind::ROLLBACK:
    case StmtKind::BEGIN_TRANSACTION:
      if (int32_t c = transaction(es, s.kind); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    case StmtKind::SLEEP:
      if (int32_t c = sleep_for(es, f, s.expr); c != 0) {
        raise(f, c);
        return -1;
      }
      return after(s, pc);
    default:
      return after(s, pc);
  }
}

int32_t run_code(EngineSession& es, Frame& f) {
  const Unit& u = *f.unit;
  const Statement* code = u.code.data();
  int pc = 0;
  bool in_handler = false;
  for (;;) {
    const Statement& s = code[pc];
    // The stop point: one predictable branch while no debugger watches. The hook runs before
    // the line is recorded, so that it sees the line of the statement run before.
    if (f.record.trap.load(std::memory_order_relaxed)) [[unlikely]] {
      const uint8_t* stops = f.record.stops.load(std::memory_order_relaxed);
      if (stops == nullptr || stops[pc] != 0) {
        if (const int32_t c = debug_hooks.stop != nullptr ? debug_hooks.stop(&es, &f.record, pc) : 0; c != 0) {
          raise(f, c);
          goto exception_raised;  // the statement is not run
        }
      }
    }
    f.record.line.store(s.line, std::memory_order_relaxed);
    switch (s.kind) {
      case StmtKind::INT_SET:
        put_int(f.vars[s.variable], s.form.type, s.form.k);
        if (s.loop_follows != 0 && no_stop_at(f, pc + 1)) {
          if (!loop_test_at_once(es, f, code, pc)) break;
          continue;
        }
        pc = after(s, pc);
        continue;
      case StmtKind::INT_VV: {
        const IntForm& m = s.form;
        const Value& a = f.vars[m.a];
        const Value& b = f.vars[m.b];
        if (a.type != m.ta || b.type != m.tb) [[unlikely]] {
          if (assign_int(es, f, s) != 0) break;
        } else {
          const uint64_t y = static_cast<uint64_t>(get_int(b));
          const uint64_t x = static_cast<uint64_t>(get_int(a)) + (m.subtract ? 0 - y : y);
          put_int(f.vars[s.variable], m.type, wrap_shifted(x, m.shift));
        }
        if (s.loop_follows != 0 && no_stop_at(f, pc + 1)) {
          if (!loop_test_at_once(es, f, code, pc)) break;
          continue;
        }
        pc = after(s, pc);
        continue;
      }
      case StmtKind::INT_VK: {
        const IntForm& m = s.form;
        const Value& a = f.vars[m.a];
        if (a.type != m.ta) [[unlikely]] {
          if (m.copy) {
            put_null(f.vars[s.variable]);
          } else if (assign_int(es, f, s) != 0) {
            break;
          }
        } else {
          const uint64_t x = static_cast<uint64_t>(get_int(a)) + static_cast<uint64_t>(m.k);
          put_int(f.vars[s.variable], m.type, wrap_shifted(x, m.shift));
        }
        if (s.loop_follows != 0 && no_stop_at(f, pc + 1)) {
          if (!loop_test_at_once(es, f, code, pc)) break;
          continue;
        }
        pc = after(s, pc);
        continue;
      }
      case StmtKind::JUMP_INT_VV:
        if (!int_test<StmtKind::JUMP_INT_VV>(es, f, s, pc)) break;
        continue;
      case StmtKind::JUMP_INT_VK:
        if (!int_test<StmtKind::JUMP_INT_VK>(es, f, s, pc)) break;
        continue;
      case StmtKind::LOOP_INT_VV:
        if (!int_test<StmtKind::LOOP_INT_VV>(es, f, s, pc)) break;
        continue;
      case StmtKind::LOOP_INT_VK:
        if (!int_test<StmtKind::LOOP_INT_VK>(es, f, s, pc)) break;
        continue;
      case StmtKind::LOOP_TRUE: {
        if (!next_turn(es, f)) break;
        const bool again = condition(es, f, s.expr);
        if (f.raised != 0) break;
        pc = again ? s.target : after(s, pc);
        continue;
      }
      case StmtKind::ASSIGN_INT:
        if (assign_int(es, f, s) != 0) break;
        pc = after(s, pc);
        continue;
      case StmtKind::ASSIGN_FLOAT: {
        const double x = fast_float(s.expr.fast, f, es);
        if (f.raised != 0) break;
        put_double(f.vars[s.variable], u.vars[static_cast<size_t>(s.variable)].spec.type, x);
        pc = after(s, pc);
        continue;
      }
      case StmtKind::ASSIGN_BOOL: {
        const bool x = fast_bool(s.expr.fast, f, es);
        if (f.raised != 0) break;
        put_bool(f.vars[s.variable], x);
        pc = after(s, pc);
        continue;
      }
      case StmtKind::JUMP_FALSE: {
        const bool c = condition(es, f, s.expr);
        if (f.raised != 0) break;
        pc = c ? after(s, pc) : s.target;
        continue;
      }
      case StmtKind::JUMP:
        if (s.target <= pc && !next_turn(es, f)) break;
        pc = s.target;
        continue;
      case StmtKind::RETURN:
        if (s.expr.node != nullptr) {
          if (s.expr.fast != nullptr && s.expr.type == u.result.type && is_int_type(s.expr.type)) {
            const int64_t x = int_top(s.expr.fast, f, es);
            if (f.raised != 0) break;
            put_int(f.result, s.expr.type, wrap_int(x, s.expr.type));
            return 0;
          }
          if (s.expr.fast != nullptr) {
            Value v;
            if (eval_value(es, f, s.expr, &v) != 0) break;
            if (convert_into(u.result, v, &f.result, &f.result_text) != 0) {
              raise(f, EXCEPTION_BADRETVAL);
              break;
            }
            return 0;
          }
          PoolScope scope(es.ctx);
          Value v;
          if (eval_value(es, f, s.expr, &v) != 0) break;
          if (convert_into(u.result, v, &f.result, &f.result_text) != 0) {
            raise(f, EXCEPTION_BADRETVAL);
            break;
          }
        }
        return 0;
      case StmtKind::SIGNAL:
        raise(f, s.code);
        break;
      case StmtKind::RESIGNAL:
        return f.handling;
      case StmtKind::IGNORE:
      case StmtKind::END_UNIT:
        return 0;
      case StmtKind::COPY:
      case StmtKind::ASSIGN:
      case StmtKind::EVAL:
      case StmtKind::CASE:
      case StmtKind::CALL:
      case StmtKind::OPEN:
      case StmtKind::CLOSE:
      case StmtKind::FETCH:
      case StmtKind::SQL:
      case StmtKind::EXECUTE:
      case StmtKind::COMMIT:
      case StmtKind::ROLLBACK:
      case StmtKind::BEGIN_TRANSACTION:
      case StmtKind::SLEEP: {
        const int next = run_statement(es, f, s, pc);
        if (next < 0) break;
        pc = next;
        continue;
      }
      default:
        // Every kind the compiler makes is a case above; saying so spares the dispatch a
        // range check.
        __builtin_unreachable();
    }
    // An exception was raised by the statement at pc.
  exception_raised:
    const int32_t raised = f.raised;
    if (raised == 0) {
      ++pc;  // a statement that broke out without raising (cannot happen): go on
      continue;
    }
    f.record.exception.store(static_cast<int16_t>(raised == RAISE_INTERRUPT ? 0 : raised), std::memory_order_relaxed);
    if (raised == RAISE_INTERRUPT || in_handler) return raised;
    const Handler* h = nullptr;
    for (const Handler& cand : u.handlers) {
      for (int16_t c : cand.codes) {
        if (c == raised) h = &cand;
      }
      if (h != nullptr) break;
    }
    if (h == nullptr) {
      for (const Handler& cand : u.handlers) {
        if (cand.others) h = &cand;
      }
    }
    if (h == nullptr) return raised;
    if (es.trigger_depth == 0) {
      char sql[64];
      std::snprintf(sql, sizeof sql, "rollback to tavrel_block_%d;", es.depth);
      sqlite3_exec(es.db, sql, nullptr, nullptr, nullptr);
    }
    f.raised = 0;
    f.handling = raised;
    in_handler = true;
    pc = h->entry;
  }
}

void savepoint(EngineSession& es, const char* verb) {
  char sql[80];
  std::snprintf(sql, sizeof sql, "%s tavrel_block_%d;", verb, es.depth);
  sqlite3_exec(es.db, sql, nullptr, nullptr, nullptr);
}

void put_wire(const Value& v, std::vector<uint8_t>* out) {
  out->clear();
  value_wire_put(v, out);
}

// The rows of NEW and OLD, read as the columns of the trigger's table.
// The row's cells reuse what a cursor table taken from the session's spares holds already:
// a trigger fired for each row of a statement allocates nothing here after its first row.
void load_row(Frame& f, int var, sqlite3_value** row, int count) {
  if (var < 0) return;
  CursorState& c = f.cursors[static_cast<size_t>(var)];
  c.open = true;
  c.out = false;
  c.column_map = nullptr;
  c.position = 0;
  if (count <= 0 || row == nullptr) {
    c.rows.clear();
    return;
  }
  const CursorColumns& cols = f.unit->cursors[static_cast<size_t>(var)];
  c.rows.resize(1);
  std::vector<Cell>& cells = c.rows[0];
  // Cells hold pointers into their own texts: every one is read again after the resize.
  cells.resize(static_cast<size_t>(count));
  for (int k = 0; k < count; ++k) {
    const uint8_t type = static_cast<size_t>(k) < cols.types.size() ? cols.types[static_cast<size_t>(k)] : uint8_t{TYPE_NONE};
    read_sql_value(row[k], type, &cells[static_cast<size_t>(k)].text, &cells[static_cast<size_t>(k)].value);
  }
  c.position = 1;
}

// The most cursor tables a session keeps for its next frames, and the most rows a kept
// cursor may hold on to (a query's rows are given up, a trigger's one row is kept).
constexpr size_t SPARE_CURSOR_TABLES = 8;
constexpr size_t SPARE_ROWS_KEPT = 1;

void take_cursors(EngineSession& es, Frame& f, size_t n) {
  if (!es.spare_cursors.empty()) {
    f.cursors = std::move(es.spare_cursors.back());
    es.spare_cursors.pop_back();
  }
  f.cursors.resize(n);
}

// Closes a frame's cursors and keeps their table for a later frame.
void give_back_cursors(EngineSession& es, Frame& f) {
  if (es.spare_cursors.size() >= SPARE_CURSOR_TABLES) return;
  for (CursorState& c : f.cursors) {
    if (c.rows.size() > SPARE_ROWS_KEPT) std::vector<std::vector<Cell>>().swap(c.rows);
    c.open = false;
    c.out = false;
    c.position = 0;
    c.column_map = nullptr;
  }
  es.spare_cursors.push_back(std::move(f.cursors));
}

}  // namespace

void set_debug_hooks(const DebugHooks& hooks) { debug_hooks = hooks; }

int32_t frame_assign(Frame& f, int var, const Value& v) { return store(f, var, v); }

CursorState* frame_cursor(Frame& f, const Value& cursor) {
  if (cursor.type != TYPE_CURSOR || f.cursors.empty()) return nullptr;
  const int32_t var = payload_get<int32_t>(cursor);
  if (var < 0 || static_cast<size_t>(var) >= f.cursors.size()) return nullptr;
  return &f.cursors[static_cast<size_t>(var)];
}

int32_t call_unit(EngineSession& es, const Unit& u, const Value* args, int argc, CallLink& link) {
  if (es.depth >= CALL_DEPTH_MAX) return EXCEPTION_NOMEM;
  if (argc > u.param_count) return EXCEPTION_BADPARAM;
  const size_t n = u.vars.size();
  Frame f;
  f.unit = &u;
  f.caller = es.current;
  Value local[LOCAL_VARS];
  std::unique_ptr<Value[]> heap;
  if (n > LOCAL_VARS) heap = std::make_unique<Value[]>(n);
  f.vars = n > LOCAL_VARS ? heap.get() : local;
  for (size_t i = 0; i < n; ++i) put_null(f.vars[i]);
  if (u.text_vars) f.texts.resize(n);
  if (u.cursor_vars) take_cursors(es, f, n);
  put_null(f.result);
  f.record.proc_id = u.proc_id;
  f.record.caller = es.current != nullptr ? es.current->record.id : EXEC_NONE;
  f.record.session = &es;
  f.record.unit = &u;
  f.record.frame = &f;
  if (executions_enter(&f.record) != 0) return EXCEPTION_NOMEM;
  es.depth++;
  es.current = &f;
  if (es.debugger.load(std::memory_order_relaxed) != nullptr ||
      debug_calls_awaited().load(std::memory_order_relaxed) != 0) [[unlikely]] {
    if (debug_hooks.enter != nullptr) debug_hooks.enter(&es, &f.record);
  }

  int32_t code = 0;
  // Parameters from the arguments (OUT ones start NULL), then every default.
  for (int i = 0; i < argc && code == 0; ++i) {
    if (u.vars[static_cast<size_t>(i)].mode == MODE_OUT) continue;
    if (store(f, i, args[i]) != 0) code = EXCEPTION_BADPARAM;
  }
  for (size_t i = u.has_defaults ? 0 : n; i < n && code == 0; ++i) {
    const VarInfo& v = u.vars[i];
    const bool given = static_cast<int>(i) < argc && v.mode != MODE_OUT;
    if (given || !v.has_init) continue;
    PoolScope scope(es.ctx);
    Value init;
    if (eval_value(es, f, v.init, &init) != 0) {
      code = f.raised;
      break;
    }
    code = store(f, static_cast<int>(i), init);
  }
  if (u.kind == UnitKind::TRIGGER && !f.cursors.empty()) {
    load_row(f, u.new_var, link.new_row, link.new_count);
    load_row(f, u.old_var, link.old_row, link.old_count);
  }
  const bool block = !u.handlers.empty() && es.trigger_depth == 0;
  if (code == 0) {
    if (block) savepoint(es, "savepoint");
    code = run_code(es, f);
    if (block) {
      if (code != 0) savepoint(es, "rollback to");
      savepoint(es, "release");
    }
  }

  // Results, while the frame's texts still exist.
  if (code == 0 && link.caller != nullptr && link.out_vars != nullptr) {
    for (int i = 0; i < argc && code == 0; ++i) {
      const int mode = u.vars[static_cast<size_t>(i)].mode;
      if (mode != MODE_OUT && mode != MODE_INOUT) continue;
      const int target = link.out_vars[i];
      if (target < 0) {
        code = EXCEPTION_BADPARAM;
        break;
      }
      es.current = link.caller;
      code = store(*link.caller, target, f.vars[i]);
      es.current = &f;
    }
  }
  if (code == 0 && link.result != nullptr && u.has_result) {
    if (is_int_type(f.result.type)) {
      put_int(*link.result, f.result.type, get_int(f.result));
    } else {
      Value r = f.result;
      size_t size = 0;
      const void* storage = value_storage(r, &size);
      if (storage != nullptr && !value_store_copy(*es.pool, &r, storage, size)) code = EXCEPTION_NOMEM;
      *link.result = r;
    }
  }
  if (link.outcome != nullptr) {
    for (int i = 0; i < u.param_count; ++i) {
      const VarInfo& v = u.vars[static_cast<size_t>(i)];
      if (v.mode != MODE_OUT && v.mode != MODE_INOUT) continue;
      NamedValue nv;
      nv.name = v.name;
      put_wire(f.vars[i], &nv.wire);
      link.outcome->outputs.push_back(std::move(nv));
    }
    link.outcome->has_result = u.has_result;
    if (u.has_result) put_wire(f.result, &link.outcome->result);
  }
  if (es.debugger.load(std::memory_order_relaxed) != nullptr && debug_hooks.leave != nullptr) [[unlikely]] {
    debug_hooks.leave(&es, &f.record, code);
  }
  f.record.flags.store(EXEC_FINISHED, std::memory_order_relaxed);
  executions_leave(&f.record);
  es.current = f.caller;
  es.depth--;
  if (es.depth == 0 && !es.retired_units.empty()) es.retired_units.clear();
  if (!f.cursors.empty()) give_back_cursors(es, f);
  return code;
}

int session_eval_setup(EngineSession& es) {
  if (stack_mem_setup(es.memory) != 0) return 1;
  es.pool = std::make_unique<StringPool>();
  string_pool_init(*es.pool, &es.memory, STACK_TEXT_A);
  es.ctx.strings = es.pool.get();
  es.ctx.bound = &bound_builtin;
  es.ctx.user = &es;
  es.ctx.print = &print_hook;
  es.ctx.print_user = &es;
  es.ctx.rand_state = 1;
  es.ctx.read_variable = &read_variable_hook;
  es.ctx.call_routine = &call_routine_hook;
  es.ctx.notice = &notice_hook;
  es.ctx.notice_user = &es;
  return 0;
}

}  // namespace tavrel::kernel
