// The expression evaluator's entry: translation frames, the reporting of failures found
// while a text is read, and the two phases of an evaluation (text to tree, tree to value);
// also the expression class of a text and the caller's scopes for result texts.
#include "translator/evaluator.h"

#include <cstring>
#include <new>

#include "translator/diagnostics.h"
#include "translator/eval_ops.h"
#include "translator/tokens.h"
#include "translator/tree_eval.h"
#include "translator/tree_parser.h"

namespace tavrel {

namespace {

// Room on the C stack for the tree of a typical text; a larger one continues on the heap.
constexpr size_t TREE_ROOM = 4096;

// The one reporting routine of failures found before evaluation: the first diagnostic is
// kept with its place and passed to the caller's reporter.
void report(EvalContext& ctx, EvalOutcome& o, int number, SourcePlace at) {
  if (o.diagnostic >= 0) return;
  o.diagnostic = number;
  o.line = at.line;
  o.column = at.column;
  if (ctx.reporter != nullptr) ctx.reporter(ctx.reporter_user, number, o.line, o.column);
}

SourcePlace current_place(const Lexer& lx) {
  return SourcePlace{lx.current.line, place_column(lx.current)};
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
  if (open_frames >= ctx.limits.max_frames) return fail_early(ctx, outcome);
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
  alignas(std::max_align_t) char tree_room[TREE_ROOM];
  ExprTree tree{};
  arena_init(tree.arena, tree_room, sizeof tree_room);
  EvalOutcome& o = frame->outcome;
  const bool check = (flags & EVAL_CHECK_ONLY) != 0;
  const ParseSettings settings{ctx.limits.max_nesting, ctx.limits.max_call_args, check,
                               !check && (flags & EVAL_ASSIGN) != 0 &&
                                   ctx.assign_variable != nullptr};
  Value v = make_none();
  int rc = lexer_start(lx, source, ctx.unit, mem, token_pool);
  if (rc != 0) {
    report(ctx, o, rc, current_place(lx));
  } else {
    ParseFailure failure;
    rc = parse_tree(lx, settings, &tree, &failure);
    o.assignment = tree.assigns;
    if (rc != 0) {
      report(ctx, o, failure.diagnostic, failure.at);
    } else {
      rc = evaluate_tree(tree, ctx, flags, &o, &v);
    }
  }
  if (rc == 0 && type != TYPE_NONE) {
    if (int d = convert_to_target(type, &v); d != 0) {
      report(ctx, o, d, tree.root->at);
      rc = EVAL_FAILED;
    }
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
  arena_release(tree.arena);
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
