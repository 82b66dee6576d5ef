// bench_engine's SQL rows: procedures of ours doing embedded selects and inserts that fire a
// trigger, beside SQLite's C API on a database file of its own with the same tables and rows:
// one prepared statement stepped as often as the procedure runs its `select ... into` (in
// autocommit and in one transaction), and the same inserts into a table whose native trigger
// does the audit insert of ours, and into one with no trigger.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "engine_kernel.h"
#include "engine_objects.h"
#include "engine_rows.h"

namespace tavrel::bench {

namespace {

// A database file with the tables and rows of the kernel's, opened the way the kernel opens
// its own (WAL journal, the library's default synchronous setting).
struct RawDatabase {
  std::string dir;
  sqlite3* db = nullptr;

  RawDatabase() {
    dir = make_dir();
    const std::string path = dir + "/raw.db";
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
      fail("sqlite3_open_v2");
    }
    const char* const setup =
        "pragma journal_mode=wal;"
        "create table BENCH_T(ID integer primary key, V integer);"
        "with recursive N(K) as (select 1 union all select K + 1 from N where K < 1000) "
        "insert into BENCH_T select K, K * 3 from N;"
        "create table BENCH_ITEM(ID integer, V integer);"
        "create table BENCH_AUDIT(ITEM integer, V2 integer);"
        "create table BENCH_PLAIN(ID integer, V integer);"
        "create trigger BENCH_ITEM_AUDIT after insert on BENCH_ITEM for each row "
        "begin insert into BENCH_AUDIT values(new.ID, new.V * 2); end;";
    if (sqlite3_exec(db, setup, nullptr, nullptr, nullptr) != SQLITE_OK) {
      std::fprintf(stderr, "bench_engine: %s\n", sqlite3_errmsg(db));
      std::exit(1);
    }
  }
  ~RawDatabase() {
    sqlite3_close(db);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }

  int64_t count(const char* table) {
    sqlite3_stmt* st = nullptr;
    const std::string sql = std::string("select count(*) from ") + table + ";";
    int64_t n = -1;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr) == SQLITE_OK && sqlite3_step(st) == SQLITE_ROW) {
      n = sqlite3_column_int64(st, 0);
    }
    sqlite3_finalize(st);
    return n;
  }
};

RawDatabase& raw() {
  static RawDatabase r;
  return r;
}

// One prepared statement bound, stepped, read and reset SELECT_N times: what a procedure's
// embedded `select ... into` costs at best.
void BM_sqlite_select(benchmark::State& state, bool in_transaction) {
  sqlite3* db = raw().db;
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v3(db, "select V from BENCH_T where ID = ?;", -1, SQLITE_PREPARE_PERSISTENT, &st, nullptr) !=
      SQLITE_OK) {
    state.SkipWithError(sqlite3_errmsg(db));
    return;
  }
  int64_t s = 0;
  for (auto _ : state) {
    s = 0;
    if (in_transaction) sqlite3_exec(db, "begin;", nullptr, nullptr, nullptr);
    for (int64_t k = 0; k < SELECT_N; ++k) {
      sqlite3_bind_int64(st, 1, k % SELECT_ROWS + 1);
      if (sqlite3_step(st) == SQLITE_ROW) s += sqlite3_column_int64(st, 0);
      sqlite3_reset(st);
    }
    if (in_transaction) sqlite3_exec(db, "commit;", nullptr, nullptr, nullptr);
  }
  sqlite3_finalize(st);
  if (s != select_sum(SELECT_N)) {
    state.SkipWithError("the select's sum differs from the reference");
    return;
  }
  state.SetItemsProcessed(state.iterations() * SELECT_N);
}

// A procedure without handlers runs its statements in autocommit, as the first peer does;
// the second procedure opens a transaction around its loop, as the second peer does.
void BM_ours_select(benchmark::State& state, const char* call) {
  if (!run_ours(state, call, "S", static_cast<double>(select_sum(SELECT_N)), true)) return;
  state.SetItemsProcessed(state.iterations() * SELECT_N);
}

// INSERT_N inserts by one prepared statement, each firing the native trigger, in one
// transaction, as the procedure of ours opens one around its loop.
// With table BENCH_PLAIN, the same inserts where no trigger fires.
void BM_sqlite_inserts(benchmark::State& state, const char* table) {
  RawDatabase& r = raw();
  const bool audited = std::string_view(table) == "BENCH_ITEM";
  const std::string insert = std::string("insert into ") + table + " values(?, ?);";
  const std::string clear = std::string("delete from ") + table + "; delete from BENCH_AUDIT;";
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v3(r.db, insert.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &st, nullptr) != SQLITE_OK) {
    state.SkipWithError(sqlite3_errmsg(r.db));
    return;
  }
  bool checked = false;
  bool ran = true;
  for (auto _ : state) {
    sqlite3_exec(r.db, "begin;", nullptr, nullptr, nullptr);
    for (int64_t k = 0; k < INSERT_N; ++k) {
      sqlite3_bind_int64(st, 1, k);
      sqlite3_bind_int64(st, 2, k);
      sqlite3_step(st);
      sqlite3_reset(st);
    }
    sqlite3_exec(r.db, "commit;", nullptr, nullptr, nullptr);
    state.PauseTiming();
    if (!checked) ran = r.count(table) == INSERT_N && r.count("BENCH_AUDIT") == (audited ? INSERT_N : 0);
    checked = true;
    sqlite3_exec(r.db, clear.c_str(), nullptr, nullptr, nullptr);
    state.ResumeTiming();
    // A skipped row may not resume its timing: the check comes after it.
    if (!ran) {
      state.SkipWithError("the rows or the native trigger's rows are not all there");
      break;
    }
  }
  sqlite3_finalize(st);
  state.SetItemsProcessed(state.iterations() * INSERT_N);
}

void BM_ours_inserts(benchmark::State& state, const char* table) {
  Kernel& k = kernel();
  const bool audited = std::string_view(table) == "BENCH_ITEM";
  const std::string call = audited ? "execute \"BENCH_INSERTS\"(10000);" : "execute \"BENCH_INSERTS_PLAIN\"(10000);";
  const std::string clear = std::string("delete from ") + table + ";";
  if (!k.broken.empty()) {
    state.SkipWithError(k.broken.c_str());
    return;
  }
  bool checked = false;
  for (auto _ : state) {
    const uint32_t code = k.statement(call.c_str());
    state.PauseTiming();
    std::string why;
    if (code != 0) {
      why = call + ": kernel error " + std::to_string(code) + " " + k.error_text(code);
    } else if (!checked) {
      const std::string rows = k.select_one(("select count(*) from " + std::string(table) + ";").c_str());
      const std::string audits = k.select_one("select count(*) from BENCH_AUDIT;");
      if (rows != std::to_string(INSERT_N) || audits != std::to_string(audited ? INSERT_N : 0)) {
        why = "the rows or the trigger's rows are not all there";
      }
    }
    checked = true;
    k.statement(clear.c_str());
    k.statement("delete from BENCH_AUDIT;");
    state.ResumeTiming();
    if (!why.empty()) {
      state.SkipWithError(why.c_str());
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * INSERT_N);
}

}  // namespace

void register_sql_rows(std::vector<Ratio>* ratios) {
  // Autocommit (a read transaction per statement) and all statements in one transaction.
  benchmark::RegisterBenchmark("select_into_1e5/ours_autocommit", BM_ours_select, "execute \"BENCH_SELECT\"(100000);")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("select_into_1e5/sqlite_c_api_autocommit", BM_sqlite_select, false)
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("select_into_1e5/ours_one_transaction", BM_ours_select,
                               "execute \"BENCH_SELECT_ONE_TRANSACTION\"(100000);")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("select_into_1e5/sqlite_c_api_one_transaction", BM_sqlite_select, true)
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  ratios->push_back({"select_into_1e5/ours_autocommit", "select_into_1e5/sqlite_c_api_autocommit"});
  ratios->push_back({"select_into_1e5/ours_one_transaction", "select_into_1e5/sqlite_c_api_one_transaction"});
  benchmark::RegisterBenchmark("trigger_insert_1e4/ours", BM_ours_inserts, "BENCH_ITEM")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("trigger_insert_1e4/sqlite_native_trigger", BM_sqlite_inserts, "BENCH_ITEM")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  ratios->push_back({"trigger_insert_1e4/ours", "trigger_insert_1e4/sqlite_native_trigger"});
  // The same inserts with no trigger: what the trigger itself costs on each side.
  benchmark::RegisterBenchmark("plain_insert_1e4/ours", BM_ours_inserts, "BENCH_PLAIN")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("plain_insert_1e4/sqlite_c_api", BM_sqlite_inserts, "BENCH_PLAIN")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  ratios->push_back({"plain_insert_1e4/ours", "plain_insert_1e4/sqlite_c_api"});
}

}  // namespace tavrel::bench
