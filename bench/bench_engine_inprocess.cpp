// The procedure engine on a real database: integer loops, nested loops with IF, string
// building, recursion through RESULT, NUMERIC accumulation, and 100,000 SELECT ... INTO in a
// loop beside the same statement stepped through the SQLite C API.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <string>
#include <vector>

#include "kernel/catalog.h"
#include "kernel/engine/engine.h"
#include "kernel/storage.h"

namespace tavrel::kernel {
namespace {

struct Bench {
  std::string path = "/tmp/bench_engine.db";
  sqlite3* db = nullptr;
  EngineSession* es = nullptr;
  Bench() {
    std::remove(path.c_str());
    std::string error;
    storage_create(path, &error);
    db = storage_connect(path, &error);
    storage_add_user(db, "B", "B");
    sqlite3_exec(db, "create table T(ID integer primary key, V integer);"
                     "with recursive n(i) as (select 1 union all select i + 1 from n where i < 1000)"
                     " insert into T select i, i * 2 from n;",
                 nullptr, nullptr, nullptr);
    const char* const units[] = {
        "create procedure SUM_LOOP(in N bigint, out S bigint) declare var I bigint default 1; "
        "code S := 0; while I <= N loop S := S + I; I := I + 1; endloop; end;",
        "create procedure NESTED_IF(in N integer, out C integer) declare var I, J integer; "
        "code C := 0; I := 0; while I < N loop J := 0; while J < N loop "
        "if (I + J) \\ 2 * 2 = I + J then C := C + 1; else C := C - 1; endif; J := J + 1; endloop; I := I + 1; endloop; end;",
        "create procedure STRINGS(in N integer, out L integer) declare var S char(2000); var I integer default 0; "
        "code S := \"\"; while I < N loop S := S + \"x\"; if LEN(S) >= 1000 then S := \"\"; endif; I := I + 1; endloop; "
        "L := LEN(S); end;",
        "create procedure FIB(in N integer) result integer code if N < 2 then return N; endif; "
        "return FIB(N - 1) + FIB(N - 2); end;",
        "create procedure NUM_SUM(in N integer, out S numeric(20,2)) declare var I integer default 0; "
        "code S := 0; while I < N loop S := S + 0.01; I := I + 1; endloop; end;",
        "create procedure SELECTS(in N integer, out S bigint) declare var I integer default 0; var X integer; "
        "code S := 0; while I < N loop select V into X from T where ID = I / 100 + 1; S := S + X; I := I + 1; endloop; end;",
    };
    for (const char* u : units) {
      std::vector<uint8_t> errors;
      std::string message;
      catalog_store(db, "B", u, &errors, &message);
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
};

Bench& bench() {
  static Bench b;
  return b;
}

void BM_SumLoop(benchmark::State& s) { for (auto _ : s) bench().run("SUM_LOOP", "10000000"); }
void BM_NestedIf(benchmark::State& s) { for (auto _ : s) bench().run("NESTED_IF", "1000"); }
void BM_Strings(benchmark::State& s) { for (auto _ : s) bench().run("STRINGS", "100000"); }
void BM_Fib25(benchmark::State& s) { for (auto _ : s) bench().run("FIB", "25"); }
void BM_NumericSum(benchmark::State& s) { for (auto _ : s) bench().run("NUM_SUM", "100000"); }
void BM_SelectInto100k(benchmark::State& s) { for (auto _ : s) bench().run("SELECTS", "100000"); }

// The same 100,000 selects stepped through the C API with one prepared statement.
void BM_RawSelect100k(benchmark::State& s) {
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(bench().db, "select V from T where ID = ?", -1, &st, nullptr);
  for (auto _ : s) {
    int64_t sum = 0;
    for (int i = 0; i < 100000; ++i) {
      sqlite3_reset(st);
      sqlite3_bind_int64(st, 1, i / 100 + 1);
      if (sqlite3_step(st) == SQLITE_ROW) sum += sqlite3_column_int64(st, 0);
    }
    benchmark::DoNotOptimize(sum);
  }
  sqlite3_finalize(st);
}

BENCHMARK(BM_SumLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NestedIf)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fib25)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NumericSum)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SelectInto100k)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawSelect100k)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavrel::kernel

BENCHMARK_MAIN();
