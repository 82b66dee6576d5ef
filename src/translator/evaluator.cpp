// The expression evaluator: translation frames, the reporting routine and the recursive-
// descent parser that computes while it reads.
//
// Grammar (lowest priority first; priorities in BINARY_OPS):
//
//   text       = statement { ";" statement } [ ";" ] END
//   statement  = target ":=" expr | expr
//   target     = variable | indexed "[" expr "]"
//   expr       = subexpr(0)
//   subexpr(l) = ( unop subexpr(p_unop) | primary ) { binop subexpr(p_right) }
//                  while the binop's left priority is above l
//   primary    = constant | TRUE | FALSE | NULL | "(" expr ")"
//              | "{" [ expr { "," expr } ] "}"          (a byte string)
//              | "$" primary                           (CHAR to NCHAR)
//              | function "(" [ expr { "," expr } ] ")"
//              | variable | indexed "[" expr "]"
//
// Every parse function returns 0, or ABANDON once a diagnostic has been reported; the
// caller returns at once with it, so that the entry closes the frame.
#include "translator/evaluator.h"

#include <cstring>
#include <new>

#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/eval_ops.h"
#include "translator/tokens.h"

namespace tavrel {

namespace {

constexpr int ABANDON = 1;

struct Parser {
  Lexer& lx;
  EvalContext& ctx;
  TranslateFrame& frame;
  StringPool& pool;
  unsigned flags;
  int tok;     // the current token
  bool check;  // only types are worked out (check-only mode, or an operand skipped by AND/OR)
  int depth;
};

// Binary operators and their priorities; the right priority below the left one makes an
// operator right-associative.
struct BinaryOp {
  int token;
  int op;
  int left;
  int right;
};

constexpr BinaryOp BINARY_OPS[] = {
    {TOK_OR, OP_OR, 1, 1},          {TOK_AND, OP_AND, 2, 2},       {TOK_EQ, OP_EQ, 3, 3},
    {TOK_NE, OP_NE, 3, 3},          {TOK_LT, OP_LT, 3, 3},         {TOK_GT, OP_GT, 3, 3},
    {TOK_LE, OP_LE, 3, 3},          {TOK_GE, OP_GE, 3, 3},         {TOK_AMPERSAND, OP_BITAND, 4, 4},
    {TOK_BAR, OP_BITOR, 4, 4},      {TOK_PLUS, OP_ADD, 5, 5},      {TOK_MINUS, OP_SUB, 5, 5},
    {TOK_STAR, OP_MUL, 6, 6},       {TOK_SLASH, OP_DIV, 6, 6},     {TOK_BACKSLASH, OP_IDIV, 6, 6},
    {TOK_CARET, OP_POW, 10, 9},
};
constexpr int UNARY_PRIORITY = 8;  // unary "-" and "+": -2^2 is -(2^2), -a*b is (-a)*b
constexpr int NOT_PRIORITY = 2;    // NOT takes a comparison: NOT a = b AND c is (NOT (a=b)) AND c

const BinaryOp* binary_op(int token) {
  for (const BinaryOp& b : BINARY_OPS) {
    if (b.token == token) return &b;
  }
  return nullptr;
}

int unary_op(int token) {
  switch (token) {
    case TOK_NOT: return OP_NOT;
    case TOK_MINUS: return OP_NEGATE;
    case TOK_PLUS: return OP_PLUS;
    default: return -1;
  }
}

// --- reporting -------------------------------------------------------------------------------

// The one reporting routine: the first diagnostic of the evaluation is kept with the line and
// column of the current place and passed to the caller's reporter; the evaluation is then
// abandoned (the caller returns ABANDON up to the entry).
int report(Parser& p, int number) {
  EvalOutcome& o = p.frame.outcome;
  if (o.diagnostic < 0) {
    o.diagnostic = number;
    o.line = p.lx.current.line;
    o.column = place_column(p.lx.current);
    if (p.ctx.reporter != nullptr) p.ctx.reporter(p.ctx.reporter_user, number, o.line, o.column);
  }
  return ABANDON;
}

// A division by zero gave zero: remembered, and the evaluation goes on.
void warn_division(Parser& p) {
  EvalOutcome& o = p.frame.outcome;
  if (o.warning >= 0) return;
  o.warning = DIAG_DIVISION_BY_ZERO;
  o.warning_line = p.lx.current.line;
  o.warning_column = place_column(p.lx.current);
}

int advance(Parser& p) {
  p.tok = next_token(p.lx);
  if (p.tok == TOK_ERROR) return report(p, p.lx.error);
  return 0;
}

bool starts_nothing(int token) {
  switch (token) {
    case TOK_END:
    case TOK_RPAREN:
    case TOK_SEMICOLON:
    case TOK_COMMA:
    case TOK_RBRACKET:
    case TOK_RBRACE:
      return true;
    default:
      return binary_op(token) != nullptr;
  }
}

// --- operators --------------------------------------------------------------------------------

int apply_binary(Parser& p, int op, const Value& left, const Value& right, Value* out) {
  uint8_t type = TYPE_NONE;
  if (int d = binary_type(op, left.type, right.type, &type); d != 0) return report(p, d);
  if (p.check) {
    *out = typed_placeholder(type);
    return 0;
  }
  bool division_by_zero = false;
  if (!binary_compute(op, left, right, p.pool, out, &division_by_zero)) {
    return report(p, DIAG_NO_MEMORY);
  }
  if (division_by_zero) warn_division(p);
  return 0;
}

int apply_unary(Parser& p, int op, const Value& operand, Value* out) {
  uint8_t type = TYPE_NONE;
  if (int d = unary_type(op, operand.type, &type); d != 0) return report(p, d);
  if (p.check) {
    *out = typed_placeholder(type);
    return 0;
  }
  if (!unary_compute(op, operand, p.pool, out)) return report(p, DIAG_NO_MEMORY);
  return 0;
}

// A text value without its text means a result that could not get memory.
int check_result_text(Parser& p, const Value& v) {
  bool textual = v.type == TYPE_CHAR || v.type == TYPE_BYTE || v.type == TYPE_NCHAR ||
                 v.type == TYPE_WSTRING;
  const void* text = textual ? payload_get<const void*>(v) : nullptr;
  // The pool's scratch area stands in for a text that a full pool could not give.
  if (textual && (text == nullptr || text == p.pool.scratch)) return report(p, DIAG_NO_MEMORY);
  return 0;
}

int subexpr(Parser& p, int limit, Value* out);

int parse_expr(Parser& p, Value* out) { return subexpr(p, 0, out); }

// --- operands ---------------------------------------------------------------------------------

// function "(" [ expr { "," expr } ] ")"
int parse_call(Parser& p, Value* out) {
  int number = p.lx.function;
  uint8_t type = p.lx.function_type;
  if (int rc = advance(p); rc != 0) return rc;
  if (p.tok != TOK_LPAREN) return report(p, DIAG_NEED_LPAREN);
  if (int rc = advance(p); rc != 0) return rc;
  Value args[MAX_CALL_ARGS];
  int argc = 0;
  if (p.tok != TOK_RPAREN) {
    for (;;) {
      if (argc == MAX_CALL_ARGS) return report(p, DIAG_BAD_ARGUMENT);
      if (int rc = parse_expr(p, &args[argc]); rc != 0) return rc;
      argc++;
      if (p.tok != TOK_COMMA) break;
      if (int rc = advance(p); rc != 0) return rc;
    }
  }
  if (p.tok != TOK_RPAREN) return report(p, DIAG_NEED_RPAREN);
  if (int rc = advance(p); rc != 0) return rc;

  if (number >= BUILTIN_COUNT) {  // a routine of the unit
    if (p.check) {
      *out = typed_placeholder(type);
      return 0;
    }
    if (p.ctx.call_routine == nullptr) return report(p, DIAG_BAD_IDENTIFIER);
    int d = p.ctx.call_routine(p.ctx, number - BUILTIN_COUNT, args, argc, out);
    if (d != 0) return report(p, d);
    return check_result_text(p, *out);
  }
  if (!builtin_check_args(number, argc, args)) return report(p, DIAG_BAD_ARGUMENT);
  if (p.check) {
    *out = typed_placeholder(type);
    return 0;
  }
  *out = make_none();
  int d = builtin_call(number, argc, args, out, p.ctx);
  if (d == DIAG_DIVISION_BY_ZERO) {
    warn_division(p);
  } else if (d != 0) {
    return report(p, d);
  }
  return check_result_text(p, *out);
}

// "[" expr "]" after an indexed variable, the current token being the "[".
int parse_target_index(Parser& p, Value* index) {
  if (int rc = advance(p); rc != 0) return rc;
  if (p.tok == TOK_RBRACKET) return report(p, DIAG_BAD_INDEX);
  if (int rc = parse_expr(p, index); rc != 0) return rc;
  if (!is_numeric_type(index->type)) return report(p, DIAG_BAD_INDEX);
  if (p.tok != TOK_RBRACKET) return report(p, DIAG_NEED_RBRACKET);
  return advance(p);
}

// variable | indexed "[" expr "]"
int parse_variable(Parser& p, Value* out) {
  bool column = p.lx.cursor >= 0;
  int variable = column ? p.lx.cursor : p.lx.variable;
  int column_number = column ? p.lx.variable : -1;
  uint8_t type = p.lx.variable_type;
  bool indexed = p.tok == TOK_INDEXED;
  if (int rc = advance(p); rc != 0) return rc;
  Value index = make_none();
  if (indexed) {
    if (p.tok != TOK_LBRACKET) return report(p, DIAG_NEED_LBRACKET);
    if (int rc = parse_target_index(p, &index); rc != 0) return rc;
  }
  if (p.check) {
    *out = typed_placeholder(type);
    return 0;
  }
  if (p.ctx.read_variable == nullptr) {
    *out = make_null();
    return 0;
  }
  *out = make_none();
  int d = p.ctx.read_variable(p.ctx, variable, column_number, indexed ? &index : nullptr, out);
  if (d != 0) return report(p, d);
  return check_result_text(p, *out);
}

// "{" [ expr { "," expr } ] "}": the bytes of numbers (their low byte), texts and byte strings.
int parse_braces(Parser& p, Value* out) {
  if (int rc = advance(p); rc != 0) return rc;
  Value acc = make_byte(nullptr);
  if (p.check) acc = typed_placeholder(TYPE_BYTE);
  if (p.tok != TOK_RBRACE) {
    for (;;) {
      Value element;
      if (int rc = parse_expr(p, &element); rc != 0) return rc;
      if (element.type == TYPE_NULL) return report(p, DIAG_NULL_OPERATION);
      if (element.type == TYPE_CURSOR) return report(p, DIAG_BAD_FIELD);
      if (!is_numeric_type(element.type) && element.type != TYPE_CHAR &&
          element.type != TYPE_BYTE) {
        return report(p, DIAG_TYPE_MISMATCH);
      }
      if (!p.check && !bytes_append(p.pool, &acc, element)) return report(p, DIAG_NO_MEMORY);
      if (p.tok != TOK_COMMA) break;
      if (int rc = advance(p); rc != 0) return rc;
    }
  }
  if (p.tok != TOK_RBRACE) return report(p, DIAG_SYNTAX);
  if (!p.check && value_bytes(acc) == nullptr && !bytes_append(p.pool, &acc, make_byte(nullptr))) {
    return report(p, DIAG_NO_MEMORY);
  }
  *out = acc;
  return advance(p);
}

int parse_primary(Parser& p, Value* out) {
  switch (p.tok) {
    case TOK_SMALLINT:
    case TOK_INTEGER:
    case TOK_REAL:
    case TOK_NUMERIC:
    case TOK_DOUBLE:
    case TOK_BIGINT:
    case TOK_DATE:
      *out = lexer_constant(p.lx, p.tok);
      return advance(p);
    case TOK_STRING: {
      if (p.check) {
        *out = typed_placeholder(TYPE_CHAR);
      } else {
        size_t n = static_cast<size_t>(p.lx.text_length);
        char* t = pool_alloc_text(p.pool, n);
        if (t == nullptr || t == p.pool.scratch) return report(p, DIAG_NO_MEMORY);
        std::memcpy(t, p.lx.text, n + 1);
        *out = make_char(t);
      }
      return advance(p);
    }
    case TOK_TRUE:
    case TOK_FALSE:
      *out = make_bool(p.tok == TOK_TRUE);
      return advance(p);
    case TOK_NULL:
      *out = make_null();
      return advance(p);
    case TOK_LPAREN: {
      if (int rc = advance(p); rc != 0) return rc;
      if (int rc = parse_expr(p, out); rc != 0) return rc;
      if (p.tok != TOK_RPAREN) return report(p, DIAG_NEED_RPAREN);
      return advance(p);
    }
    case TOK_LBRACE:
      return parse_braces(p, out);
    case TOK_DOLLAR: {
      if (int rc = advance(p); rc != 0) return rc;
      if (++p.depth > MAX_NESTING) return report(p, DIAG_NO_MEMORY);
      Value operand;
      if (int rc = parse_primary(p, &operand); rc != 0) return rc;
      p.depth--;
      return apply_unary(p, OP_WIDE, operand, out);
    }
    case TOK_FUNCTION:
      return parse_call(p, out);
    case TOK_VARIABLE:
    case TOK_INDEXED:
      return parse_variable(p, out);
    default:
      return report(p, starts_nothing(p.tok) ? DIAG_MISSING_OPERAND : DIAG_SYNTAX);
  }
}

// subexpr(l) = ( unop subexpr(p_unop) | primary ) { binop subexpr(p_right) }
int subexpr(Parser& p, int limit, Value* out) {
  if (++p.depth > MAX_NESTING) return report(p, DIAG_NO_MEMORY);
  int uop = unary_op(p.tok);
  if (uop >= 0) {
    if (int rc = advance(p); rc != 0) return rc;
    Value operand;
    int rc = subexpr(p, uop == OP_NOT ? NOT_PRIORITY : UNARY_PRIORITY, &operand);
    if (rc != 0) return rc;
    if (int rc2 = apply_unary(p, uop, operand, out); rc2 != 0) return rc2;
  } else if (int rc = parse_primary(p, out); rc != 0) {
    return rc;
  }
  for (const BinaryOp* b = binary_op(p.tok); b != nullptr && b->left > limit;
       b = binary_op(p.tok)) {
    if (int rc = advance(p); rc != 0) return rc;
    // AND and OR do not compute an operand that cannot change the result (so that
    // "x <> 0 AND 10 / x > 1" never divides by zero); it is still read and type-checked.
    bool skip = !p.check && out->type == TYPE_BOOL &&
                ((b->op == OP_AND && out->payload[0] == 0) ||
                 (b->op == OP_OR && out->payload[0] != 0));
    bool was_checking = p.check;
    p.check = p.check || skip;
    Value right;
    int rc = subexpr(p, b->right, &right);
    p.check = was_checking;
    if (rc != 0) return rc;
    Value left = *out;
    if (skip) {
      uint8_t type = TYPE_NONE;
      if (int d = binary_type(b->op, left.type, right.type, &type); d != 0) return report(p, d);
      continue;  // *out keeps the deciding operand
    }
    if (int rc2 = apply_binary(p, b->op, left, right, out); rc2 != 0) return rc2;
  }
  p.depth--;
  return 0;
}

// A value that ends a statement must be one that some class takes.
int check_statement_value(Parser& p, const Value& v) {
  if (v.type == TYPE_CURSOR) return report(p, DIAG_BAD_FIELD);
  if (!is_operand_type(v.type)) return report(p, DIAG_BAD_TYPE);
  return 0;
}

// statement = target ":=" expr | expr
int parse_statement(Parser& p, Value* out) {
  bool assigns = (p.tok == TOK_VARIABLE && lexer_peek_token(p.lx) == TOK_ASSIGN) ||
                 (p.tok == TOK_INDEXED && lexer_assign_follows(p.lx));
  if (!assigns) {
    if (int rc = parse_expr(p, out); rc != 0) return rc;
    return check_statement_value(p, *out);
  }
  p.frame.outcome.assignment = true;
  bool column = p.lx.cursor >= 0;
  int variable = column ? p.lx.cursor : p.lx.variable;
  int column_number = column ? p.lx.variable : -1;
  bool indexed = p.tok == TOK_INDEXED;
  // Unless the assignment is performed, nothing of it is computed: it is only checked.
  bool perform = (p.flags & EVAL_ASSIGN) != 0 && p.ctx.assign_variable != nullptr && !p.check;
  bool was_checking = p.check;
  p.check = !perform;
  Value index = make_none();
  Value value = make_none();
  int rc = advance(p);
  if (rc == 0 && indexed) rc = parse_target_index(p, &index);
  if (rc == 0) rc = advance(p);  // the ":="
  if (rc == 0) rc = parse_expr(p, &value);
  p.check = was_checking;
  if (rc != 0) return rc;
  if (int d = check_statement_value(p, value); d != 0) return d;
  if (!perform) {
    *out = make_none();
    return 0;
  }
  int d = p.ctx.assign_variable(p.ctx, variable, column_number, indexed ? &index : nullptr, value);
  if (d != 0) return report(p, d);
  *out = value;
  return 0;
}

// text = statement { ";" statement } [ ";" ] END
int parse_text(Parser& p, Value* out) {
  if (int rc = advance(p); rc != 0) return rc;
  for (;;) {
    if (int rc = parse_statement(p, out); rc != 0) return rc;
    if (p.tok != TOK_SEMICOLON) break;
    if (int rc = advance(p); rc != 0) return rc;
    if (p.tok == TOK_END) break;
  }
  if (p.tok != TOK_END) return report(p, DIAG_SYNTAX);
  return 0;
}

// --- classes --------------------------------------------------------------------------------

// The class of a value's type, or 0 when no class takes it.
int class_of_type(uint8_t type) {
  if (type == TYPE_NULL) return CLASS_NULL;
  if (is_numeric_type(type)) return CLASS_NUMERIC;
  switch (type) {
    case TYPE_BOOL: return CLASS_LOGICAL;
    case TYPE_CHAR: return CLASS_STRING;
    case TYPE_DATE: return CLASS_DATE;
    case TYPE_BYTE: return CLASS_BYTES;
    case TYPE_NCHAR:
    case TYPE_WSTRING: return CLASS_WIDE;
    default: return 0;
  }
}

// The value read as the target type of evaluate_as; 0, or a diagnostic.
int convert_to_target(uint8_t target, Value* v) {
  int want = class_of_type(target);
  if (want == 0 || want == CLASS_NULL) return DIAG_BAD_TYPE;
  if (v->type == TYPE_NULL) return 0;
  if (class_of_type(v->type) != want) return DIAG_TYPE_MISMATCH;
  switch (target) {
    case TYPE_SMALLINT: *v = make_smallint(read_as_smallint(*v)); break;
    case TYPE_INTEGER: *v = make_integer(read_as_integer(*v)); break;
    case TYPE_REAL: *v = make_real(static_cast<float>(read_as_real(*v))); break;
    case TYPE_DOUBLE: *v = make_double(read_as_double(*v)); break;
    case TYPE_NUMERIC: *v = make_numeric(read_as_numeric(*v)); break;
    case TYPE_BIGINT: *v = make_bigint(read_as_bigint(*v)); break;
    case TYPE_NCHAR:
    case TYPE_WSTRING: v->type = target; break;
    default: break;
  }
  return 0;
}

// --- frames ---------------------------------------------------------------------------------

int other_text_pool(int pool) { return pool == STACK_TEXT_A ? STACK_TEXT_B : STACK_TEXT_A; }

bool ensure_stack_memory(StackMemory& mem) {
  return mem.pools[STACK_FRAMES].first != nullptr || stack_mem_setup(mem) == 0;
}

// Whether p lies in memory of the pool taken after the mark (and so is given back when the
// pool is released to it).
bool above_mark(const StackMemory& mem, int pool, StackMark mark, const void* p) {
  uintptr_t q = reinterpret_cast<uintptr_t>(p);
  for (const StackBlock* b = mark.block; b != nullptr; b = b->next) {
    uintptr_t lo = reinterpret_cast<uintptr_t>(b->data + (b == mark.block ? mark.free : 0));
    uintptr_t hi = reinterpret_cast<uintptr_t>(b->data + STACK_BLOCK_SIZE);
    if (q >= lo && q < hi) return true;
    if (b == mem.pools[pool].current) break;
  }
  return false;
}

void outcome_clear(EvalOutcome* o) {
  *o = EvalOutcome{-1, 0, 0, -1, 0, 0, false};
}

// A failure before a frame could be had (no string pool, no memory): reported at line 1.
int fail_early(EvalContext& ctx, EvalOutcome* outcome) {
  outcome->diagnostic = DIAG_NO_MEMORY;
  outcome->line = outcome->column = 1;
  if (ctx.reporter != nullptr) ctx.reporter(ctx.reporter_user, DIAG_NO_MEMORY, 1, 1);
  return EVAL_FAILED;
}

}  // namespace

int evaluate_source(const SourceProvider& source, uint8_t type, EvalContext& ctx, Value* result,
                    EvalOutcome* outcome, unsigned flags) {
  EvalOutcome local;
  if (outcome == nullptr) outcome = &local;
  outcome_clear(outcome);
  *result = make_none();
  if (ctx.strings == nullptr || ctx.strings->stack == nullptr) return fail_early(ctx, outcome);
  StackMemory& mem = *ctx.strings->stack;
  if (!ensure_stack_memory(mem)) return fail_early(ctx, outcome);
  int open_frames = 0;
  for (const TranslateFrame* f = ctx.frame; f != nullptr; f = f->outer) open_frames++;
  if (open_frames >= MAX_FRAMES) return fail_early(ctx, outcome);
  StringPool& pool = *ctx.strings;
  const int text_pool = pool.text_pool;
  const int token_pool = other_text_pool(text_pool);

  // Open the frame.
  StackMark frame_mark = stack_mark(mem, STACK_FRAMES);
  StackMark text_mark = stack_mark(mem, text_pool);
  StackMark token_mark = stack_mark(mem, token_pool);
  // Stack memory hands out bytes at any offset: align the frame record.
  constexpr size_t ALIGN = alignof(TranslateFrame);
  char* raw = static_cast<char*>(get_stack_mem(mem, STACK_FRAMES, sizeof(TranslateFrame) + ALIGN));
  if (raw == nullptr) return fail_early(ctx, outcome);
  void* room = raw + (ALIGN - reinterpret_cast<uintptr_t>(raw) % ALIGN) % ALIGN;
  TranslateFrame* frame = new (room) TranslateFrame{ctx.frame, &ctx, nullptr, {}};
  outcome_clear(&frame->outcome);
  ctx.frame = frame;
  pool_enter_level(pool);

  Lexer lx;
  frame->lexer = &lx;
  Parser p{lx, ctx, *frame, pool, flags, TOK_END, (flags & EVAL_CHECK_ONLY) != 0, 0};
  Value v = make_none();
  int rc = lexer_start(lx, source, ctx.unit, mem, token_pool);
  if (rc != 0) {
    rc = report(p, rc);
  } else {
    rc = parse_text(p, &v);
  }
  if (rc == 0 && type != TYPE_NONE) {
    if (int d = convert_to_target(type, &v); d != 0) rc = report(p, d);
  }

  // Close the frame on every path; a result text made inside it is carried out to the
  // caller's level.
  *outcome = frame->outcome;
  size_t size = 0;
  const void* storage = rc == 0 ? value_storage(v, &size) : nullptr;
  bool carry = storage != nullptr && size <= STACK_BLOCK_SIZE &&
               above_mark(mem, text_pool, text_mark, storage);
  char saved[STACK_BLOCK_SIZE];
  if (carry) std::memcpy(saved, storage, size);
  lexer_finish(lx);
  pool_leave_level(pool);
  ctx.frame = frame->outer;
  stack_release(mem, token_pool, token_mark);
  stack_release(mem, text_pool, text_mark);
  stack_release(mem, STACK_FRAMES, frame_mark);

  if (rc != 0) return EVAL_FAILED;
  if (carry && !value_store_copy(pool, &v, saved, size)) return fail_early(ctx, outcome);
  *result = v;
  return 0;
}

int evaluate(std::string_view text, EvalContext& ctx, Value* result, EvalOutcome* outcome,
             unsigned flags) {
  MemoryText t{text.data(), text.size()};
  return evaluate_source(memory_source(&t), TYPE_NONE, ctx, result, outcome, flags);
}

int evaluate_as(uint8_t type, std::string_view text, EvalContext& ctx, Value* result,
                EvalOutcome* outcome, unsigned flags) {
  MemoryText t{text.data(), text.size()};
  // TYPE_NONE would mean "any class" to evaluate_source; as a target it has none.
  uint8_t target = type == TYPE_NONE ? uint8_t{TYPE_CURSOR} : type;
  return evaluate_source(memory_source(&t), target, ctx, result, outcome, flags);
}

int expression_class(Lexer& lx, int* diagnostic) {
  LexMark mark = lexer_mark(lx);
  int token = next_token(lx);
  while (token == TOK_LPAREN) token = next_token(lx);
  int cls = token;
  switch (token) {
    case TOK_ERROR:
      *diagnostic = lx.error;
      cls = 0;
      break;
    case TOK_VARIABLE:
    case TOK_INDEXED:
    case TOK_FUNCTION: {
      uint8_t type = token == TOK_FUNCTION ? lx.function_type : lx.variable_type;
      cls = class_of_type(type);
      if (cls == 0) *diagnostic = DIAG_BAD_TYPE;
      break;
    }
    case TOK_SMALLINT:
    case TOK_INTEGER:
    case TOK_REAL:
    case TOK_NUMERIC:
    case TOK_BIGINT:
      cls = CLASS_NUMERIC;
      break;
    case TOK_FALSE:
    case TOK_NOT:
      cls = CLASS_LOGICAL;
      break;
    default:
      break;
  }
  lexer_return(lx, mark);
  lx.error = -1;
  return cls;
}

int text_expression_class(std::string_view text, EvalContext& ctx, int* diagnostic) {
  *diagnostic = -1;
  if (ctx.strings == nullptr || ctx.strings->stack == nullptr ||
      !ensure_stack_memory(*ctx.strings->stack)) {
    *diagnostic = DIAG_NO_MEMORY;
    return 0;
  }
  StackMemory& mem = *ctx.strings->stack;
  int pool = other_text_pool(ctx.strings->text_pool);
  MemoryText t{text.data(), text.size()};
  Lexer lx;
  if (lexer_start(lx, memory_source(&t), ctx.unit, mem, pool) != 0) {
    *diagnostic = DIAG_NO_MEMORY;
    return 0;
  }
  int cls = expression_class(lx, diagnostic);
  lexer_finish(lx);
  return cls;
}

EvalScope eval_scope_open(EvalContext& ctx) {
  EvalScope s{};
  if (ctx.strings == nullptr || ctx.strings->stack == nullptr ||
      !ensure_stack_memory(*ctx.strings->stack)) {
    return s;
  }
  s.text_mark = stack_mark(*ctx.strings->stack, ctx.strings->text_pool);
  s.open = true;
  pool_enter_level(*ctx.strings);
  return s;
}

void eval_scope_close(EvalContext& ctx, const EvalScope& scope) {
  if (!scope.open) return;
  pool_leave_level(*ctx.strings);
  stack_release(*ctx.strings->stack, ctx.strings->text_pool, scope.text_mark);
}

}  // namespace tavrel
