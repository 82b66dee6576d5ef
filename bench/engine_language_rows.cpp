// bench_engine's language rows: each algorithm of engine_objects.h as a procedure of ours run
// through the kernel, beside Lua 5.4, embedded, running the same while-loops (integer sums,
// nested loops with IF, string building, recursive fib, and the decimal accumulation that Lua
// does in doubles). Both sides' results are checked against the reference in C++.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "engine_kernel.h"
#include "engine_objects.h"
#include "engine_rows.h"

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

namespace tavrel::bench {

namespace {

const char* const LUA_SOURCE = R"(
function sum_to(n)
  local s, i = 0, 1
  while i <= n do s = s + i; i = i + 1 end
  return s
end
function nested(n)
  local e, c, i = 0, 0, 0
  while i < n do
    local j = 0
    while j < n do
      if (i + j) // 2 * 2 == i + j then e = e + 1
      elseif i < j then c = c + 1
      else c = c - 1 end
      j = j + 1
    end
    i = i + 1
  end
  return e + c
end
function build(repeats, length)
  local total, r = 0, 0
  while r < repeats do
    local s, i = "", 0
    while i < length do s = s .. tostring(i - i // 10 * 10); i = i + 1 end
    total = total + #s
    r = r + 1
  end
  return total
end
function fib(n)
  if n < 2 then return n end
  return fib(n - 1) + fib(n - 2)
end
function numeric(n)
  local a, i = 0.0, 1
  while i <= n do a = a + i * 0.5 + 1.25; i = i + 1 end
  return a
end
)";

void BM_ours(benchmark::State& state, const Workload* w) {
  if (run_ours(state, w->call, w->output, w->expected, true)) state.SetItemsProcessed(state.iterations() * w->items);
}

void BM_lua(benchmark::State& state, const Workload* w) {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  if (luaL_dostring(L, LUA_SOURCE) != LUA_OK || luaL_loadstring(L, w->lua_call) != LUA_OK) {
    state.SkipWithError("lua source failed");
    lua_close(L);
    return;
  }
  double result = 0;
  for (auto _ : state) {
    lua_pushvalue(L, -1);  // the chunk stays below for the next round
    if (lua_pcall(L, 0, 1, 0) != LUA_OK) {
      state.SkipWithError(lua_tostring(L, -1));
      break;
    }
    result = lua_tonumber(L, -1);
    lua_pop(L, 1);
  }
  lua_close(L);
  if (result != w->expected) {
    state.SkipWithError("lua's result differs from the reference");
    return;
  }
  state.SetItemsProcessed(state.iterations() * w->items);
}

}  // namespace

void register_language_rows(std::vector<Ratio>* ratios) {
  for (const Workload& w : WORKLOADS) {
    const std::string ours = std::string(w.group) + "/ours";
    const std::string peer = std::string(w.group) + "/" + w.peer;
    benchmark::RegisterBenchmark(ours.c_str(), BM_ours, &w)->UseRealTime()->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(peer.c_str(), BM_lua, &w)->UseRealTime()->Unit(benchmark::kMillisecond);
    ratios->push_back({ours, peer});
  }
}

}  // namespace tavrel::bench
