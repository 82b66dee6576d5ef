// Fuzz target of the lexer and the expression evaluator: arbitrary bytes are read as a text of
// the procedure language, token by token (names checked off), evaluated with and without the
// names of a small unit, in check-only mode and as a typed value; any broken invariant traps.
// Stack memory is set up and torn down per input, so a frame that forgets to give memory back
// shows up as a broken mark or a leak.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "translator/evaluator.h"
#include "translator/tokens.h"
#include "translator/value_form.h"

namespace {

using namespace tavrel;

void check(bool condition) {
  if (!condition) __builtin_trap();
}

int find_variable(void*, std::string_view name, bool indexed, uint8_t* type) {
  static const struct {
    const char* name;
    uint8_t type;
  } VARS[] = {{"X", TYPE_INTEGER}, {"S", TYPE_CHAR},   {"B", TYPE_BYTE},
              {"C", TYPE_CURSOR},  {"N", TYPE_NULL},   {"W", TYPE_NCHAR}};
  for (int i = 0; i < 6; i++) {
    if (name == VARS[i].name && (!indexed || VARS[i].type == TYPE_BYTE)) {
      *type = indexed ? uint8_t{TYPE_SMALLINT} : VARS[i].type;
      return i;
    }
  }
  return -1;
}

int find_column(void*, int, std::string_view name, uint8_t* type) {
  if (name != "ID" && name != "DATA") return -1;
  *type = name == "ID" ? uint8_t{TYPE_INTEGER} : uint8_t{TYPE_BYTE};
  return name == "ID" ? 0 : 1;
}

int find_routine(void*, std::string_view name, uint8_t* type) {
  if (name != "R") return -1;
  *type = TYPE_DOUBLE;
  return 0;
}

const UnitSymbols UNIT{nullptr, find_variable, find_column, find_routine};

int read_variable(EvalContext&, int variable, int column, const Value* index, Value* out) {
  static const uint8_t BLOCK[] = {2, 0, 7, 9};
  static const uint16_t WIDE[] = {0x44F, 0x41, 0};
  switch (variable) {
    case 0: *out = make_integer(-5); return 0;
    case 1: *out = make_char("text"); return 0;
    case 2:
      *out = index != nullptr ? make_smallint(BLOCK[2 + (read_as_integer(*index) & 1)])
                              : make_byte(BLOCK);
      return 0;
    case 3:
      *out = column == 1 ? make_byte(BLOCK) : make_integer(column);
      return 0;
    case 5: *out = make_nchar(WIDE); return 0;
    default: *out = make_null(); return 0;
  }
}

int assign_variable(EvalContext&, int, int, const Value*, const Value&) { return 0; }

int call_routine(EvalContext&, int, const Value*, int argc, Value* result) {
  *result = make_double(argc);
  return 0;
}

void run(std::string_view text, unsigned mode) {
  StackMemory mem{};
  static StringPool pool;
  string_pool_init(pool, &mem, (mode & 1) != 0 ? STACK_TEXT_A : STACK_TEXT_B);
  EvalContext ctx{};
  ctx.strings = &pool;
  // No print sink: what PRINT writes goes nowhere.

  // The token stream, names checked off: it must end, with places that only move forward.
  MemoryText mt{text.data(), text.size()};
  check(stack_mem_setup(mem) == 0);
  Lexer lx;
  check(lexer_start(lx, memory_source(&mt), nullptr, mem, STACK_TEXT_B) == 0);
  lexer_names_off(lx, true);
  uint32_t last = 0;
  bool ended = false;
  // Every token but the end consumes something, so the text ends within size + 1 tokens.
  for (size_t n = 0; n <= text.size() && !ended; n++) {
    int t = next_token(lx);
    check(lx.current.pos <= text.size());
    check(lx.token.pos >= last);
    last = lx.token.pos;
    check(lx.text_length >= 0 && lx.text_length < TOKEN_TEXT_SIZE);
    ended = t == TOK_END || t == TOK_ERROR;
  }
  check(ended);
  lexer_finish(lx);

  StackMark marks[STACK_POOLS];
  for (int p = 0; p < STACK_POOLS; p++) marks[p] = stack_mark(mem, p);
  EvalScope scope = eval_scope_open(ctx);
  Value v;
  EvalOutcome o;
  int rc = evaluate(text, ctx, &v, &o, (mode & 2) != 0 ? EVAL_CHECK_ONLY : 0);
  check(rc == 0 ? o.diagnostic == -1 : (o.diagnostic >= 0 && v.type == TYPE_NONE));
  if (rc == 0 && (mode & 2) == 0) typed_value_form(v, pool);

  ctx.unit = &UNIT;
  ctx.read_variable = read_variable;
  ctx.assign_variable = assign_variable;
  ctx.call_routine = call_routine;
  rc = evaluate(text, ctx, &v, &o, (mode & 4) != 0 ? EVAL_ASSIGN : 0);
  check(rc == 0 || v.type == TYPE_NONE);
  if (rc == 0) typed_value_form(v, pool);
  static const uint8_t TARGETS[] = {TYPE_SMALLINT, TYPE_NUMERIC, TYPE_BOOL, TYPE_CHAR,
                                    TYPE_DATE,     TYPE_NCHAR,   TYPE_BYTE, TYPE_BIGINT};
  evaluate_as(TARGETS[(mode >> 3) & 7], text, ctx, &v, &o);
  int diagnostic = -1;
  text_expression_class(text, ctx, &diagnostic);
  check(ctx.frame == nullptr);
  eval_scope_close(ctx, scope);
  check(pool.count == 0);
  for (int p = 0; p < STACK_POOLS; p++) {
    StackMark m = stack_mark(mem, p);
    check(m.block == marks[p].block && m.free == marks[p].free);
  }
  stack_mem_teardown(mem);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 8192) return 0;
  run(std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1), data[0]);
  return 0;
}
