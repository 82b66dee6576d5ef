// The expression evaluator's entry: translation frames, the reporting of failures found
// while a text is read, and the two phases of an evaluation (text to tree, tree to value);
// also the expression class of a text and the caller's scopes for result texts.
#include "translator/evaluator.h"

#include <cstdio>
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

namespace {

// An open translation frame and the marks its closing releases to.
struct OpenFrame {
  TranslateFrame* frame;
  StackMark frame_mark;
  StackMark text_mark;
  StackMark token_mark;
  int text_pool;
  int token_pool;
};

// Opens a frame: a frame record, a fresh string-pool level. 0, or EVAL_FAILED after
// reporting (no string pool, no memory, too many frames open).
int frame_open(EvalContext& ctx, EvalOutcome* outcome, OpenFrame* f) {
  outcome_clear(outcome);
  if (ctx.strings == nullptr || ctx.strings->stack == nullptr) return fail_early(ctx, outcome);
  StackMemory& mem = *ctx.strings->stack;
  if (!ensure_stack_memory(mem)) return fail_early(ctx, outcome);
  int open_frames = 0;
  for (const TranslateFrame* t = ctx.frame; t != nullptr; t = t->outer) open_frames++;
  if (open_frames >= ctx.limits.max_frames) return fail_early(ctx, outcome);
  f->text_pool = ctx.strings->text_pool;
  f->token_pool = other_text_pool(f->text_pool);
  f->frame_mark = stack_mark(mem, STACK_FRAMES);
  f->text_mark = stack_mark(mem, f->text_pool);
  f->token_mark = stack_mark(mem, f->token_pool);
  // Stack memory hands out bytes at any offset: align the frame record.
  constexpr size_t ALIGN = alignof(TranslateFrame);
  char* raw = static_cast<char*>(get_stack_mem(mem, STACK_FRAMES, sizeof(TranslateFrame) + ALIGN));
  if (raw == nullptr) return fail_early(ctx, outcome);
  void* room = raw + (ALIGN - reinterpret_cast<uintptr_t>(raw) % ALIGN) % ALIGN;
  f->frame = new (room) TranslateFrame{ctx.frame, &ctx, nullptr, {}};
  outcome_clear(&f->frame->outcome);
  ctx.frame = f->frame;
  pool_enter_level(*ctx.strings);
  return 0;
}

// Passes the stores' messages to the context's notice sink (the error stream without one).
void deliver_notices(EvalContext& ctx) {
  const char* notices[2] = {ctx.strings->notice, ctx.strings->stack->notice};
  ctx.strings->notice = nullptr;
  ctx.strings->stack->notice = nullptr;
  for (const char* n : notices) {
    if (n == nullptr) continue;
    if (ctx.notice != nullptr) {
      ctx.notice(ctx.notice_user, n);
    } else {
      std::fputs(n, stderr);
    }
  }
}

// Closes the frame on every path; a result text made inside it is carried out to the caller's
// level. Gives rc, or EVAL_FAILED when the carried text cannot be had.
int frame_close(EvalContext& ctx, OpenFrame& f, int rc, Value v, EvalOutcome* outcome,
                Value* result) {
  StackMemory& mem = *ctx.strings->stack;
  StringPool& pool = *ctx.strings;
  *outcome = f.frame->outcome;
  deliver_notices(ctx);
  size_t size = 0;
  const void* storage = rc == 0 ? value_storage(v, &size) : nullptr;
  bool carry = storage != nullptr && size <= STACK_BLOCK_SIZE &&
               above_mark(mem, f.text_pool, f.text_mark, storage);
  char saved[STACK_BLOCK_SIZE];
  if (carry) std::memcpy(saved, storage, size);
  pool_leave_level(pool);
  ctx.frame = f.frame->outer;
  stack_release(mem, f.token_pool, f.token_mark);
  stack_release(mem, f.text_pool, f.text_mark);
  stack_release(mem, STACK_FRAMES, f.frame_mark);
  if (rc != 0) return EVAL_FAILED;
  if (carry && !value_store_copy(pool, &v, saved, size)) return fail_early(ctx, outcome);
  *result = v;
  return 0;
}

ParseSettings settings_for(const EvalContext& ctx, unsigned flags) {
  const bool check = (flags & EVAL_CHECK_ONLY) != 0;
  return ParseSettings{ctx.limits.max_nesting, ctx.limits.max_call_args, check,
                       !check && (flags & EVAL_ASSIGN) != 0 && ctx.assign_variable != nullptr};
}

// Reads the text of the lexer's source into the tree, reporting a failure in the frame.
int read_tree(EvalContext& ctx, OpenFrame& f, const SourceProvider& source, unsigned flags,
              Lexer& lx, ExprTree* tree) {
  EvalOutcome& o = f.frame->outcome;
  f.frame->lexer = &lx;
  tree->root = nullptr;
  tree->assigns = false;
  int rc = lexer_start(lx, source, ctx.unit, *ctx.strings->stack, f.token_pool);
  if (rc != 0) {
    report(ctx, o, rc, current_place(lx));
    return EVAL_FAILED;
  }
  ParseFailure failure;
  rc = parse_tree(lx, settings_for(ctx, flags), tree, &failure);
  o.assignment = tree->assigns;
  lexer_finish(lx);
  f.frame->lexer = nullptr;
  if (rc != 0) {
    report(ctx, o, failure.diagnostic, failure.at);
    return EVAL_FAILED;
  }
  return 0;
}

}  // namespace

int evaluate_source(const SourceProvider& source, uint8_t type, EvalContext& ctx, Value* result,
                    EvalOutcome* outcome, unsigned flags) {
  EvalOutcome local;
  if (outcome == nullptr) outcome = &local;
  *result = make_none();
  OpenFrame f;
  if (int rc = frame_open(ctx, outcome, &f); rc != 0) return rc;
  alignas(std::max_align_t) char tree_room[TREE_ROOM];
  ExprTree tree{};
  arena_init(tree.arena, tree_room, sizeof tree_room);
  Lexer lx;
  Value v = make_none();
  int rc = read_tree(ctx, f, source, flags, lx, &tree);
  if (rc == 0) rc = evaluate_tree(tree, ctx, flags, &f.frame->outcome, &v);
  if (rc == 0 && type != TYPE_NONE) {
    if (int d = convert_to_target(type, &v); d != 0) {
      report(ctx, f.frame->outcome, d, tree.root->at);
      rc = EVAL_FAILED;
    }
  }
  arena_release(tree.arena);
  return frame_close(ctx, f, rc, v, outcome, result);
}

int compile_text(std::string_view text, EvalContext& ctx, ExprTree* tree, EvalOutcome* outcome,
                 unsigned flags) {
  EvalOutcome local;
  if (outcome == nullptr) outcome = &local;
  release_tree(*tree);  // what it held before goes back first
  tree->root = nullptr;
  tree->assigns = false;
  OpenFrame f;
  if (int rc = frame_open(ctx, outcome, &f); rc != 0) return rc;
  MemoryText t{text.data(), text.size()};
  Lexer lx;
  int rc = read_tree(ctx, f, memory_source(&t), flags, lx, tree);
  Value none = make_none();
  rc = frame_close(ctx, f, rc, none, outcome, &none);
  if (rc != 0) arena_release(tree->arena);
  return rc;
}

int evaluate_compiled(const ExprTree& tree, EvalContext& ctx, Value* result,
                      EvalOutcome* outcome, unsigned flags) {
  EvalOutcome local;
  if (outcome == nullptr) outcome = &local;
  *result = make_none();
  OpenFrame f;
  if (int rc = frame_open(ctx, outcome, &f); rc != 0) return rc;
  f.frame->outcome.assignment = tree.assigns;
  Value v = make_none();
  int rc = evaluate_tree(tree, ctx, flags, &f.frame->outcome, &v);
  return frame_close(ctx, f, rc, v, outcome, result);
}

void release_tree(ExprTree& tree) {
  arena_release(tree.arena);
  tree.root = nullptr;
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
