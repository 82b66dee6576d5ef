// Speed of the client-side evaluator on typical calculator and breakpoint-condition texts
// (arithmetic on every numeric type, string functions, dates, comparisons, variables), side by
// side with Lua 5.4 on the equivalent expression text. Two pairs of rows:
//  - BM_Tavrel / BM_Lua read the text from scratch on every evaluation, as the calculator and
//    a conditional breakpoint do;
//  - BM_TavrelTree / BM_LuaCompiled read it once and run the result many times (our tree,
//    Lua's precompiled chunk), as a compiled procedure does.
#include <benchmark/benchmark.h>

#include <string>

#include "translator/evaluator.h"

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

namespace {

using namespace tavrel;

struct Pair {
  const char* name;
  const char* ours;
  const char* lua;
};

const Pair EXPRESSIONS[] = {
    {"smallint", "1 + 2 * 3 - 4", "return 1 + 2 * 3 - 4"},
    {"integer", "70000 * 3 + 12 \\ 5", "return 70000 * 3 + 12 // 5"},
    {"bigint", "7b * 1000000 + 1", "return 7 * 1000000 + 1"},
    {"double", "1.5d * 2.25d - 0.5d / 4.0d", "return 1.5 * 2.25 - 0.5 / 4.0"},
    {"numeric", "1.5 + 2.25 * 4 - 0.75", "return 1.5 + 2.25 * 4 - 0.75"},
    {"string_fn", "UPPER(TRIM(\"  abc  \")) + \"def\"",
     "return string.upper(string.match('  abc  ', '^%s*(.-)%s*$')) .. 'def'"},
    {"compare_fn", "LEN(\"hello world\") > 5 AND SUBSTR(\"hello\", 1, 3) = \"hel\"",
     "return #'hello world' > 5 and string.sub('hello', 1, 3) == 'hel'"},
    {"date", "31.12.2010 > 1.1.2010",
     "return os.time{year=2010,month=12,day=31} > os.time{year=2010,month=1,day=1}"},
    {"condition", "X > 10 AND S <> \"abc\"", "return X > 10 and S ~= 'abc'"},
    {"condition_arith", "(X + 1) * 2 = 44 OR X < 0", "return (X + 1) * 2 == 44 or X < 0"},
};

// The breakpoint's variables: X INTEGER 21 and S CHAR "abd".
int find_variable(void*, std::string_view name, bool, uint8_t* type) {
  if (name == "X") {
    *type = TYPE_INTEGER;
    return 0;
  }
  if (name == "S") {
    *type = TYPE_CHAR;
    return 1;
  }
  return -1;
}

int read_variable(EvalContext&, int variable, int, const Value*, Value* out) {
  *out = variable == 0 ? make_integer(21) : make_char("abd");
  return 0;
}

const UnitSymbols UNIT{nullptr, find_variable, nullptr, nullptr};

void BM_Tavrel(benchmark::State& state) {
  const Pair& e = EXPRESSIONS[state.range(0)];
  StackMemory mem{};
  StringPool pool;
  string_pool_init(pool, &mem, STACK_TEXT_A);
  EvalContext ctx{};
  ctx.strings = &pool;
  ctx.unit = &UNIT;
  ctx.read_variable = read_variable;
  std::string text = e.ours;
  for (auto _ : state) {
    EvalScope scope = eval_scope_open(ctx);
    Value v;
    if (evaluate(text, ctx, &v) != 0) state.SkipWithError("evaluation failed");
    benchmark::DoNotOptimize(v);
    eval_scope_close(ctx, scope);
  }
  state.SetLabel(e.name);
  state.SetItemsProcessed(state.iterations());
  stack_mem_teardown(mem);
}

void BM_TavrelTree(benchmark::State& state) {
  const Pair& e = EXPRESSIONS[state.range(0)];
  StackMemory mem{};
  StringPool pool;
  string_pool_init(pool, &mem, STACK_TEXT_A);
  EvalContext ctx{};
  ctx.strings = &pool;
  ctx.unit = &UNIT;
  ctx.read_variable = read_variable;
  ExprTree tree{};
  if (compile_text(e.ours, ctx, &tree) != 0) state.SkipWithError("compilation failed");
  for (auto _ : state) {
    EvalScope scope = eval_scope_open(ctx);
    Value v;
    if (evaluate_compiled(tree, ctx, &v) != 0) state.SkipWithError("evaluation failed");
    benchmark::DoNotOptimize(v);
    eval_scope_close(ctx, scope);
  }
  state.SetLabel(e.name);
  state.SetItemsProcessed(state.iterations());
  release_tree(tree);
  stack_mem_teardown(mem);
}

lua_State* lua_with_variables() {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  lua_pushinteger(L, 21);
  lua_setglobal(L, "X");
  lua_pushstring(L, "abd");
  lua_setglobal(L, "S");
  return L;
}

void BM_LuaCompiled(benchmark::State& state) {
  const Pair& e = EXPRESSIONS[state.range(0)];
  lua_State* L = lua_with_variables();
  if (luaL_loadstring(L, e.lua) != LUA_OK) state.SkipWithError("lua failed");
  for (auto _ : state) {
    lua_pushvalue(L, -1);  // the chunk stays below for the next round
    if (lua_pcall(L, 0, 1, 0) != LUA_OK) {
      state.SkipWithError("lua failed");
      break;
    }
    benchmark::DoNotOptimize(lua_toboolean(L, -1));
    lua_pop(L, 1);
  }
  state.SetLabel(e.name);
  state.SetItemsProcessed(state.iterations());
  lua_close(L);
}

void BM_Lua(benchmark::State& state) {
  const Pair& e = EXPRESSIONS[state.range(0)];
  lua_State* L = lua_with_variables();
  for (auto _ : state) {
    if (luaL_loadstring(L, e.lua) != LUA_OK || lua_pcall(L, 0, 1, 0) != LUA_OK) {
      state.SkipWithError("lua failed");
      break;
    }
    benchmark::DoNotOptimize(lua_toboolean(L, -1));
    lua_pop(L, 1);
  }
  state.SetLabel(e.name);
  state.SetItemsProcessed(state.iterations());
  lua_close(L);
}

constexpr int COUNT = static_cast<int>(sizeof EXPRESSIONS / sizeof EXPRESSIONS[0]);

}  // namespace

BENCHMARK(BM_Tavrel)->DenseRange(0, COUNT - 1);
BENCHMARK(BM_Lua)->DenseRange(0, COUNT - 1);
BENCHMARK(BM_TavrelTree)->DenseRange(0, COUNT - 1);
BENCHMARK(BM_LuaCompiled)->DenseRange(0, COUNT - 1);

BENCHMARK_MAIN();
