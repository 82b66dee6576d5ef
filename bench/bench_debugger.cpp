// What the debugger's stop points cost the procedure engine, in process on a real database:
// an integer loop and a recursion run with no debugger attached, and again with a debugger
// attached that has a debug session open on the procedure and a breakpoint on a line the run
// never reaches (the loop's frame is then armed with the breakpoint's stop table).
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kernel/catalog.h"
#include "kernel/debug/debugger.h"
#include "kernel/debug/procs.h"
#include "kernel/debug/state.h"
#include "kernel/engine/engine.h"
#include "kernel/engine/registry.h"
#include "kernel/engine/session.h"
#include "kernel/session.h"
#include "kernel/storage.h"

namespace tavrel::kernel {
namespace {

struct Bench {
  std::string path = "/tmp/bench_debugger.db";
  sqlite3* db = nullptr;
  EngineSession* es = nullptr;
  Session client;  // the debugger's client session, only as the key of its records
  Bench() {
    debugger_install();
    std::remove(path.c_str());
    std::string error;
    storage_create(path, &error);
    db = storage_connect(path, &error);
    storage_add_user(db, "B", "B");
    const char* const units[] = {
        // Line 4 (from 0) is never reached: S is never below 0.
        "create procedure SUM_LOOP(in N bigint, out S bigint) for debug\n"
        "declare var I bigint default 1;\n"
        "code S := 0; while I <= N loop S := S + I; I := I + 1; endloop;\n"
        "if S < 0 then\n"
        "  S := 0;\n"
        "endif;\n"
        "end;",
        // Line 3 is never reached.
        "create procedure FIB(in N integer) result integer for debug\n"
        "code if N < 2 then return N; endif;\n"
        "if N < 0 then\n"
        "  return 0;\n"
        "endif;\n"
        "return FIB(N - 1) + FIB(N - 2); end;",
    };
    for (const char* u : units) {
      std::vector<uint8_t> errors;
      std::string message;
      if (catalog_store(db, "B", u, &errors, &message) != 0) std::fprintf(stderr, "not stored: %s\n", u);
    }
    es = engine_session_open(db, "B", "bench");
  }
  ~Bench() {
    engine_session_close(es);
    storage_disconnect(db);
    std::remove(path.c_str());
  }

  void run(const char* name, const char* arg) {
    CallRequest call;
    call.procedure = name;
    call.args.push_back(CallLiteral{LiteralKind::NUMBER, arg, false, 0});
    ExecOutcome out;
    uint32_t pos = 0;
    engine_execute(es, call, &out, &pos);
    if (out.exception != 0) std::fprintf(stderr, "%s: %s\n", name, out.exception_name.c_str());
  }

  // Attaches a debugger that runs on to breakpoints, with a debug session on the procedure
  // and a breakpoint on a line (from 0) that no run reaches.
  std::shared_ptr<DebugTarget> attach(const char* name, uint32_t line) {
    const int32_t id = registry_find_procedure(db, name);
    std::string why;
    std::shared_ptr<const Unit> unit = registry_unit(db, id, &why);
    DebugState& g = debug_state();
    std::lock_guard hold(g.lock);
    DebugClient* c = debug_client(g, &client, true);
    proc_open(g, c, id, unit);
    BreakpointRequest request;
    request.line = line;
    request.kind = BREAKPOINT_LINE;
    if (proc_breakpoint_set(g.procs[id], request) != 0) std::fprintf(stderr, "no breakpoint on line %u\n", line);
    auto t = std::make_shared<DebugTarget>();
    t->client = c;
    t->started_by_run = true;
    t->es = es;
    c->targets.push_back(t);
    es->debugger.store(t.get());
    return t;
  }
  void detach() {
    DebugState& g = debug_state();
    std::lock_guard hold(g.lock);
    es->debugger.store(nullptr);
    g.procs.clear();
    g.clients.clear();
  }
};

Bench& bench() {
  static Bench b;
  return b;
}

void BM_SumLoop(benchmark::State& s) {
  for (auto _ : s) bench().run("SUM_LOOP", "2000000");
}
void BM_SumLoopWithBreakpointNotReached(benchmark::State& s) {
  const auto target = bench().attach("SUM_LOOP", 4);
  for (auto _ : s) bench().run("SUM_LOOP", "2000000");
  bench().detach();
}
void BM_Fib22(benchmark::State& s) {
  for (auto _ : s) bench().run("FIB", "22");
}
void BM_Fib22WithBreakpointNotReached(benchmark::State& s) {
  const auto target = bench().attach("FIB", 3);
  for (auto _ : s) bench().run("FIB", "22");
  bench().detach();
}

BENCHMARK(BM_SumLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SumLoopWithBreakpointNotReached)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fib22)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fib22WithBreakpointNotReached)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavrel::kernel

BENCHMARK_MAIN();
