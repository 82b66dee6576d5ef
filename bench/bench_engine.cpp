// The procedure engine measured end to end: a real tavrel-kernel is started in a private run
// directory, the benchmark logs on, stores its procedures and a trigger over the channel and
// times `execute "P"(...)` round trips (the channel's cost is included; the empty procedure's
// row shows how much of it that is). Each row of ours stands beside a peer doing the same
// work by the same algorithm:
//  - Lua 5.4, embedded, running the same while-loops (integer sums, nested loops with IF,
//    string building, recursive fib, a decimal accumulation that Lua does in doubles);
//  - SQLite's C API on a database file of its own with the same tables and rows: one prepared
//    statement stepped as often as the procedure runs its `select ... into`, and the same
//    inserts into a table whose native trigger does the audit insert of ours;
//  - the same procedure stored with and without FOR DEBUG, no debugger attached;
//  - a tavrel-sql process running a FOR DEBUG procedure alone, and the same while a tavrel-dbg
//    process waits for that procedure: how long until the person at the debugger sees the stop.
// Every row counts items (loop turns, calls, statements) so that items/s compare directly,
// and the run ends with a table of the ratios. The results of both sides are checked against
// the same computation in C++ once, so a row that does less work than its peer shows up.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <poll.h>
#include <span>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "channel/channel.h"
#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "protocol/bytes.h"
#include "protocol/exec_result.h"
#include "values/value.h"
#include "values/value_wire.h"

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

namespace {

using namespace tavrel;

constexpr uint16_t ANSWER_CAPACITY = 65535;
constexpr uint16_t NULL_LENGTH = 0xFFFF;
// Attempts to log on while the kernel starts, 20 ms apart.
constexpr int LOGON_ATTEMPTS = 600;

constexpr int64_t SUM_N = 10'000'000;
constexpr int64_t NESTED_N = 1000;  // the inner body runs NESTED_N squared times
constexpr int64_t STRING_REPEATS = 100;
constexpr int64_t STRING_LENGTH = 3000;
constexpr int64_t FIB_N = 25;
constexpr int64_t NUMERIC_N = 1'000'000;
constexpr int64_t SELECT_N = 100'000;
constexpr int64_t SELECT_ROWS = 1000;  // rows of BENCH_T, read round-robin
constexpr int64_t INSERT_N = 10'000;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "bench_engine: %s: %s\n", what, std::strerror(errno));
  std::exit(1);
}

// --- the computations, in C++, that both sides must agree with ------------------------------

int64_t sum_to(int64_t n) { return n * (n + 1) / 2; }

int64_t nested_count(int64_t n) {
  int64_t even = 0;
  int64_t signed_count = 0;
  for (int64_t i = 0; i < n; ++i) {
    for (int64_t j = 0; j < n; ++j) {
      if ((i + j) / 2 * 2 == i + j) ++even;
      else if (i < j) ++signed_count;
      else --signed_count;
    }
  }
  return even + signed_count;
}

int64_t fib(int64_t n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }

// Every term is a multiple of 0.25, so doubles and decimals agree exactly.
double numeric_sum(int64_t n) { return 0.5 * static_cast<double>(sum_to(n)) + 1.25 * static_cast<double>(n); }

int64_t select_sum(int64_t n) {
  int64_t s = 0;
  for (int64_t k = 0; k < n; ++k) s += (k % SELECT_ROWS + 1) * 3;
  return s;
}

// --- the workloads of the language rows --------------------------------------------------------

// One algorithm as a procedure of ours and as a Lua function; `items` is what one call does.
struct Workload {
  const char* group;      // the row's name before "/"
  const char* peer;       // the peer row's name after "/"
  const char* procedure;  // create statement
  const char* call;       // execute statement
  const char* lua_call;   // a Lua chunk that returns the result
  int64_t items;
  double expected;
  const char* output;     // the OUT parameter that holds the result; nullptr: the RESULT
};

// The RESULT of BENCH_FIB is used inside an expression: a procedure that declares RESULT is
// called there by name like a function, and its value is the RETURN's.
const Workload WORKLOADS[] = {
    {"sum_bigint_1e7", "lua",
     R"(create procedure BENCH_SUM(in N bigint default 10000000, out S bigint)
declare
  var I bigint default 1;
code
  S := 0;
  while I <= N loop
    S := S + I;
    I := I + 1;
  endloop;
end;)",
     "execute \"BENCH_SUM\"(10000000);", "return sum_to(10000000)", SUM_N, static_cast<double>(sum_to(SUM_N)), "S"},
    {"nested_if_1e6", "lua",
     R"(create procedure BENCH_NESTED(in N integer default 1000, out R integer)
declare
  var I, J, E, C integer default 0, 0, 0, 0;
code
  while I < N loop
    J := 0;
    while J < N loop
      if (I + J) / 2 * 2 = I + J then
        E := E + 1;
      elseif I < J then
        C := C + 1;
      else
        C := C - 1;
      endif;
      J := J + 1;
    endloop;
    I := I + 1;
  endloop;
  R := E + C;
end;)",
     "execute \"BENCH_NESTED\"(1000);", "return nested(1000)", NESTED_N * NESTED_N,
     static_cast<double>(nested_count(NESTED_N)), "R"},
    {"string_build_3e5", "lua",
     R"(create procedure BENCH_STRING(in REPEATS integer default 100, in LENGTH integer default 3000, out TOTAL integer)
declare
  var S varchar(4000);
  var I, R integer default 0, 0;
code
  TOTAL := 0;
  while R < REPEATS loop
    S := "";
    I := 0;
    while I < LENGTH loop
      S := S + ITOA(I - I / 10 * 10);
      I := I + 1;
    endloop;
    TOTAL := TOTAL + LEN(S);
    R := R + 1;
  endloop;
end;)",
     "execute \"BENCH_STRING\"(100, 3000);", "return build(100, 3000)", STRING_REPEATS * STRING_LENGTH,
     static_cast<double>(STRING_REPEATS * STRING_LENGTH), "TOTAL"},
    {"fib_25_calls", "lua",
     R"(create procedure BENCH_FIB(in N integer) result integer
code
  if N < 2 then
    return N;
  endif;
  return BENCH_FIB(N - 1) + BENCH_FIB(N - 2);
end;)",
     "execute \"BENCH_FIB\"(25);", "return fib(25)",
     // calls made: 2 fib(n + 1) - 1
     2 * 121393 - 1, static_cast<double>(fib(FIB_N)), nullptr},
    {"numeric_sum_1e6", "lua_double",
     R"(create procedure BENCH_NUMERIC(in N integer default 1000000, out A numeric(20,4))
declare
  var I integer default 1;
code
  A := 0;
  while I <= N loop
    A := A + I * 0.5 + 1.25;
    I := I + 1;
  endloop;
end;)",
     "execute \"BENCH_NUMERIC\"(1000000);", "return numeric(1000000)", NUMERIC_N, numeric_sum(NUMERIC_N), "A"},
};

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

// The procedures of the SQL rows, the debug pair and the round trip.
const char* const SQL_OBJECTS[] = {
    "create table BENCH_T(ID integer primary key, V integer);",
    "with recursive N(K) as (select 1 union all select K + 1 from N where K < 1000) "
    "insert into BENCH_T select K, K * 3 from N;",
    "create table BENCH_ITEM(ID integer, V integer);",
    "create table BENCH_AUDIT(ITEM integer, V2 integer);",
    "create table BENCH_PLAIN(ID integer, V integer);",
    R"(create procedure BENCH_SELECT(in N integer default 100000, out S bigint)
declare
  var K, J, X integer default 0, 0, 0;
code
  S := 0;
  while K < N loop
    J := K - K / 1000 * 1000 + 1;
    select V into X from BENCH_T where ID = J;
    S := S + X;
    K := K + 1;
  endloop;
end;)",
    R"(create trigger BENCH_ITEM_AUDIT
after insert on BENCH_ITEM for each row
execute
declare
  var I, V integer;
code
  I := NEW.ID;
  V := NEW.V * 2;
  insert into BENCH_AUDIT values(I, V);
end;)",
    R"(create procedure BENCH_SELECT_ONE_TRANSACTION(in N integer default 100000, out S bigint)
declare
  var K, J, X integer default 0, 0, 0;
code
  S := 0;
  begin transaction;
  while K < N loop
    J := K - K / 1000 * 1000 + 1;
    select V into X from BENCH_T where ID = J;
    S := S + X;
    K := K + 1;
  endloop;
  commit transaction;
end;)",
    R"(create procedure BENCH_INSERTS(in N integer default 10000)
declare
  var K integer default 0;
code
  begin transaction;
  while K < N loop
    insert into BENCH_ITEM values(K, K);
    K := K + 1;
  endloop;
  commit transaction;
end;)",
    R"(create procedure BENCH_INSERTS_PLAIN(in N integer default 10000)
declare
  var K integer default 0;
code
  begin transaction;
  while K < N loop
    insert into BENCH_PLAIN values(K, K);
    K := K + 1;
  endloop;
  commit transaction;
end;)",
    "create procedure BENCH_EMPTY()\ncode\nend;",
    // Called by tavrel-sql while tavrel-dbg waits for it: it stops at line 5, "S := 0;".
    R"(create procedure BENCH_WAIT(in N integer default 3, out S integer) for debug
declare
  var I integer default 0;
code
  S := 0;
  while I < N loop
    S := S + I;
    I := I + 1;
  endloop;
end;)",
};

// The procedure of the debug pair, stored once plain and once FOR DEBUG (the suffix).
const char* const LOOP_HEAD = "create procedure BENCH_LOOP%s(in N integer default 1000000, out S bigint)%s";
const char* const LOOP_BODY = R"(
declare
  var I integer default 0;
code
  S := 0;
  while I < N loop
    if I / 2 * 2 = I then S := S + I; else S := S - 1; endif;
    I := I + 1;
  endloop;
end;)";

std::string loop_procedure(bool debug) {
  char head[128];
  std::snprintf(head, sizeof head, LOOP_HEAD, debug ? "_DEBUG" : "", debug ? " for debug" : "");
  return head + std::string(LOOP_BODY);
}

// --- the kernel ------------------------------------------------------------------------------

std::string make_dir() {
  char pattern[] = "/tmp/tavrel-bench-XXXXXX";
  if (mkdtemp(pattern) == nullptr) fail("mkdtemp");
  return pattern;
}

// One column value of a row in an answer.
struct Field {
  std::string_view text;
  bool null;
};

// Splits an answer of rows into its fields; false when a length runs past the end.
bool split_fields(const uint8_t* data, size_t length, std::vector<Field>* out) {
  out->clear();
  size_t p = 0;
  while (p < length) {
    if (length - p < 2) return false;
    const uint16_t n = get_u16(data + p);
    p += 2;
    if (n == NULL_LENGTH) {
      out->push_back({{}, true});
      continue;
    }
    if (length - p < n) return false;
    out->push_back({{reinterpret_cast<const char*>(data + p), n}, false});
    p += n;
  }
  return true;
}

// A tavrel-kernel on a fresh database in its own run directory, one session on it, and the
// procedures of the benchmark stored. `broken` says why the rows of ours cannot run (a
// statement the kernel refused), empty when they can.
struct Kernel {
  std::string rundir;
  pid_t pid = -1;
  RequestBlock session{};
  std::vector<uint8_t> answer = std::vector<uint8_t>(ANSWER_CAPACITY);
  std::string broken;

  Kernel() {
    rundir = make_dir();
    setenv("TAVREL_RUNDIR", rundir.c_str(), 1);
    unsetenv("TAVREL_MBX");
    pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const std::string db = rundir + "/kernel.db";
      execl(TAVREL_KERNEL_PATH, "tavrel-kernel", "--db", db.c_str(), "--demo", nullptr);
      _exit(127);
    }
    std::memset(session.node, ' ', 8);
    char codepage[] = "UTF-8";
    for (int i = 0; i < LOGON_ATTEMPTS; ++i) {
      std::memcpy(session.command, "OPEN", 4);
      if (channel_call(&session, "\"DEMO\"/\"DEMO\"", nullptr, codepage, nullptr) == 0) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (session.return_code != 0) fail("no kernel");
    for (const Workload& w : WORKLOADS) store(w.procedure);
    for (const char* object : SQL_OBJECTS) store(object);
    store(loop_procedure(false).c_str());
    store(loop_procedure(true).c_str());
  }
  ~Kernel() {
    channel_shutdown();
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(rundir, ignored);
  }

  // The kernel's text for a code, through GETE.
  std::string error_text(uint32_t code) {
    RequestBlock b = session;
    std::memcpy(b.command, "GETE", 4);
    b.position = code;
    b.answer_length = 1024;
    std::vector<char> text(1024);
    if (channel_call(&b, nullptr, nullptr, nullptr, text.data()) != 0) return {};
    return std::string(text.data(), b.answer_length);
  }

  // A statement on the blank command: how procedures are stored and run.
  uint32_t statement(const char* sql) {
    std::memcpy(session.command, "    ", 4);
    session.answer_length = ANSWER_CAPACITY;
    return channel_call(&session, nullptr, sql, nullptr, answer.data());
  }
  // Stores a procedure or runs set-up SQL; the first refusal is kept in `broken`.
  void store(const char* sql) {
    const uint32_t code = statement(sql);
    if (code != 0 && broken.empty()) {
      const std::string_view first(sql, std::strcspn(sql, "\n"));
      broken = "kernel error " + std::to_string(code) + " (" + error_text(code) + ") for: " + std::string(first);
    }
  }

  // The first column of the first row of a select, as text; empty on any failure.
  std::string select_one(const char* sql) {
    std::memcpy(session.command, "SLCT", 4);
    session.answer_length = ANSWER_CAPACITY;
    if (channel_call(&session, nullptr, sql, nullptr, answer.data()) != 0) return {};
    std::vector<Field> fields;
    if (!split_fields(answer.data(), session.answer_length, &fields) || fields.empty() || fields[0].null) return {};
    return std::string(fields[0].text);
  }
};

Kernel& kernel() {
  static Kernel k;
  return k;
}

// Reads the answer of the last execute: empty when it ended normally and its OUT parameter
// `output` (or its RESULT when output is nullptr) is `expected`, else what went wrong.
std::string check_outcome(const Kernel& k, const char* output, double expected) {
  ExecResult result;
  if (exec_result_read(std::span<const uint8_t>(k.answer.data(), k.session.answer_length), &result) != 0) {
    return "the execute answer cannot be read";
  }
  if (result.exception != 0) return "the procedure ended in the exception " + result.exception_name;
  const std::vector<uint8_t>* wire = nullptr;
  if (output == nullptr && (result.flags & EXEC_RESULT_HAS_VALUE) != 0) wire = &result.value;
  for (const ExecOutput& o : result.outputs) {
    if (output != nullptr && o.name == output) wire = &o.value;
  }
  if (wire == nullptr) return std::string("no value for ") + (output != nullptr ? output : "the result");
  WireStore store;
  Value v;
  if (value_wire_get(std::span<const uint8_t>(*wire), &store, &v) == 0) return "the result value cannot be read";
  if (read_as_double(v) != expected) {
    return "the result " + std::to_string(read_as_double(v)) + " differs from the reference " + std::to_string(expected);
  }
  return {};
}

// Runs one execute statement per iteration; an error skips the row with the kernel's text,
// and so does a result that is not `expected` (see check_outcome).
bool run_ours(benchmark::State& state, const char* call, const char* output = nullptr, double expected = 0,
              bool check = false) {
  Kernel& k = kernel();
  if (!k.broken.empty()) {
    state.SkipWithError(k.broken.c_str());
    return false;
  }
  for (auto _ : state) {
    const uint32_t code = k.statement(call);
    if (code != 0) {
      const std::string why = std::string(call) + ": kernel error " + std::to_string(code) + " " + k.error_text(code);
      state.SkipWithError(why.c_str());
      return false;
    }
  }
  const std::string wrong = check ? check_outcome(k, output, expected) : std::string();
  if (!wrong.empty()) {
    state.SkipWithError((std::string(call) + ": " + wrong).c_str());
    return false;
  }
  return true;
}

void BM_ours(benchmark::State& state, const Workload* w) {
  if (run_ours(state, w->call, w->output, w->expected, true)) state.SetItemsProcessed(state.iterations() * w->items);
}

// --- Lua ---------------------------------------------------------------------------------------

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

// --- SQLite's C API ----------------------------------------------------------------------------

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

// --- the debug pair and the round trip ---------------------------------------------------------

constexpr int64_t LOOP_N = 1'000'000;

// Even I add I, odd ones take 1 away.
double loop_sum(int64_t n) {
  int64_t s = 0;
  for (int64_t i = 0; i < n; ++i) s += i % 2 == 0 ? i : -1;
  return static_cast<double>(s);
}

void BM_ours_loop(benchmark::State& state, const char* call) {
  if (run_ours(state, call, "S", loop_sum(LOOP_N), true)) state.SetItemsProcessed(state.iterations() * LOOP_N);
}

void BM_ours_empty(benchmark::State& state) {
  if (run_ours(state, "execute \"BENCH_EMPTY\"();")) state.SetItemsProcessed(state.iterations());
}

// GETE answered from a table: the channel's round trip with no work behind it.
void BM_channel_gete(benchmark::State& state) {
  RequestBlock b = kernel().session;
  std::vector<char> text(256);
  for (auto _ : state) {
    std::memcpy(b.command, "GETE", 4);
    b.position = 1071;
    b.answer_length = 256;
    if (channel_call(&b, nullptr, nullptr, nullptr, text.data()) != 0) state.SkipWithError("GETE");
  }
  state.SetItemsProcessed(state.iterations());
}

// Runs the loop of BENCH_LOOP_DEBUG under the debugger to a breakpoint on its line 4
// ("S := 0"), from where the step rows step it round and round; false with the row skipped
// when it did not stop there.
bool stopped_in_loop(benchmark::State& state, Debugger& d, RequestBlock* block) {
  debugger_init(d, block, "\"DEMO\"/\"DEMO\"", "UTF-8");
  DebugSession* session = nullptr;
  const BreakpointRequest first{4, BREAKPOINT_LINE, 0, {}};
  if (session_open(d, "BENCH_LOOP_DEBUG", 0, false, &session) != 0 ||
      request_breakpoint(d, PROC_SET_BREAKPOINT, session->procedure_id, first) != 0 ||
      debugger_run(d, *session, "execute \"BENCH_LOOP_DEBUG\"(2000000000);") != 0 ||
      d.current_execution == EXECUTION_NONE) {
    state.SkipWithError("the run did not stop in the debugger");
    debugger_shutdown(d);
    return false;
  }
  return true;
}

// A step (PROC 6) of a procedure stopped in the debugger, sent as GETE is (a plain call that
// waits for its answer): the kernel's and the channel's part of a step.
void BM_debugger_step(benchmark::State& state) {
  RequestBlock block = kernel().session;
  Debugger d;
  if (!stopped_in_loop(state, d, &block)) return;
  for (auto _ : state) {
    ExecState stopped;
    if (proc_call(d, PROC_STEP, d.current_execution, {}, PROC_ANSWER) != 0 ||
        exec_state_read(d.answer, &stopped) != 0 || (stopped.flags & EXEC_FINISHED) != 0) {
      state.SkipWithError("step");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
  debugger_stop(d);
  debugger_shutdown(d);
}

// The same step as the debugger's library takes it for a person: the waiting request (sent
// without waiting, its completion awaited in the pauses that look for Esc), the messages the
// procedure printed, the state record's processing.
void BM_debugger_step_library(benchmark::State& state) {
  RequestBlock block = kernel().session;
  Debugger d;
  if (!stopped_in_loop(state, d, &block)) return;
  for (auto _ : state) {
    if (debugger_step(d, PROC_STEP) != 0 || d.current_execution == EXECUTION_NONE) {
      state.SkipWithError("step");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
  debugger_stop(d);
  debugger_shutdown(d);
}

// --- a debugger waiting for a call, as a person runs it -------------------------------------------

// Each iteration starts a process: a few dozen keep the two rows short.
constexpr int WAIT_ITERATIONS = 30;
// No exit, output or read of a command is waited for longer than this: a child that hangs
// fails the row instead of the bench.
constexpr int CHILD_TIMEOUT_MS = 10'000;
// Untimed, after tavrel-dbg has read "wait P": the time the kernel is given to register the
// wait before tavrel-sql starts. No client can see the wait registered (the kernel answers it
// only when a call is caught), so a call that came first anyway (tavrel-sql ends with nothing
// caught) is seen after the fact, and the attempt is made again with twice the pause, at most
// WAIT_ATTEMPTS times an iteration.
constexpr int SETTLE_MS = 5;
constexpr int WAIT_ATTEMPTS = 5;

const char* const SQL_ARGV[] = {"tavrel-sql", "-U", "DEMO/DEMO", "-c", "execute \"BENCH_WAIT\"(3);", nullptr};
const char* const DBG_ARGV[] = {"tavrel-dbg", "-U", "DEMO/DEMO", nullptr};
// What tavrel-sql prints of the run (0 + 1 + 2), and what tavrel-dbg prints when the call is
// caught at its first statement, and at its end.
constexpr std::string_view WAIT_OUTPUT = "{ S } = 3 (INTEGER)";
constexpr std::string_view WAIT_STOPPED = "stopped BENCH_WAIT line 5";
constexpr std::string_view WAIT_FINISHED = "finished BENCH_WAIT";

using Clock = std::chrono::steady_clock;

double seconds_between(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

// A child process: a pidfd that polls readable once it has exited, the write end of its
// standard input and the read end of its standard output and error together, with what was
// read of those but not yet taken as lines.
struct Child {
  pid_t pid = -1;
  int pidfd = -1;
  int in = -1;
  int out = -1;
  std::string pending;
};

void close_fd(int* fd) {
  if (*fd >= 0) close(*fd);
  *fd = -1;
}

// Waits up to timeout_ms for the child to exit, kills it if it has not, reaps it and closes
// its descriptors. True when it exited by itself, with its wait status in *status when given.
bool child_reap(Child* c, int timeout_ms, int* status = nullptr) {
  if (c->pid < 0) return false;
  pollfd exit_fd{c->pidfd, POLLIN, 0};
  const bool exited = c->pidfd >= 0 && poll(&exit_fd, 1, timeout_ms) == 1;
  if (!exited) kill(c->pid, SIGKILL);
  int reaped = 0;
  while (waitpid(c->pid, &reaped, 0) < 0 && errno == EINTR) {
  }
  if (status != nullptr) *status = reaped;
  c->pid = -1;
  close_fd(&c->pidfd);
  close_fd(&c->in);
  close_fd(&c->out);
  c->pending.clear();
  return exited;
}

// Starts the program at `path` with pipes to its standard input and from its standard output
// and error. 0, or the errno value of what failed.
int child_start(Child* c, const char* path, const char* const argv[]) {
  int to_child[2] = {-1, -1};
  int from_child[2] = {-1, -1};
  if (pipe2(to_child, O_CLOEXEC) != 0 || pipe2(from_child, O_CLOEXEC) != 0) {
    const int e = errno;
    for (int* fd : {&to_child[0], &to_child[1], &from_child[0], &from_child[1]}) close_fd(fd);
    return e;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, to_child[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, from_child[1], STDOUT_FILENO);
  // Error lines come in the same stream as the rest, in the order they were written.
  posix_spawn_file_actions_adddup2(&actions, from_child[1], STDERR_FILENO);
  const int spawned = posix_spawn(&c->pid, path, &actions, nullptr, const_cast<char* const*>(argv), environ);
  posix_spawn_file_actions_destroy(&actions);
  close_fd(&to_child[0]);
  close_fd(&from_child[1]);
  c->in = to_child[1];
  c->out = from_child[0];
  if (spawned != 0) {
    c->pid = -1;
    close_fd(&c->in);
    close_fd(&c->out);
    return spawned;
  }
  // A child that has already exited still has its pidfd until it is reaped. The system call
  // directly: the C library's declaration of it cannot be linked from C++ here.
  c->pidfd = static_cast<int>(syscall(SYS_pidfd_open, c->pid, 0));
  if (c->pidfd < 0) {
    const int e = errno;
    child_reap(c, 0);
    return e;
  }
  return 0;
}

bool write_line(Child& c, std::string_view line) {
  std::string text(line);
  text += '\n';
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(c.in, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// Whether the child has read all that was written to its standard input, within timeout_ms
// and before it exits.
bool input_drained(const Child& c, int timeout_ms) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    int queued = 0;
    if (ioctl(c.in, FIONREAD, &queued) != 0) return false;
    if (queued == 0) return true;
    pollfd exit_fd{c.pidfd, POLLIN, 0};
    if (poll(&exit_fd, 1, 0) != 0 || Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

enum class Seen { LINE, EXITED, CLOSED, TIMED_OUT };

// The next whole line of the reader's output, unless `watched` (when given) exits first or
// the deadline passes; output that came before that exit is taken first.
Seen next_line(Child& reader, const Child* watched, Clock::time_point deadline, std::string* line) {
  for (;;) {
    const size_t end = reader.pending.find('\n');
    if (end != std::string::npos) {
      line->assign(reader.pending, 0, end);
      reader.pending.erase(0, end + 1);
      return Seen::LINE;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return Seen::TIMED_OUT;
    // A descriptor of -1 is left out by poll.
    pollfd fds[2] = {{reader.out, POLLIN, 0}, {watched != nullptr ? watched->pidfd : -1, POLLIN, 0}};
    if (poll(fds, 2, static_cast<int>(std::min<int64_t>(left, CHILD_TIMEOUT_MS))) < 0) {
      if (errno == EINTR) continue;
      return Seen::CLOSED;
    }
    if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
      char chunk[4096];
      const ssize_t n = read(reader.out, chunk, sizeof chunk);
      if (n > 0) {
        reader.pending.append(chunk, static_cast<size_t>(n));
        continue;
      }
      if (n < 0 && errno == EINTR) continue;
      return Seen::CLOSED;
    }
    if ((fds[1].revents & POLLIN) != 0) return Seen::EXITED;
  }
}

// The last line the child printed that was not read yet (its error, as a rule), waited for
// a moment at most.
std::string last_line(Child& c) {
  std::string last;
  std::string line;
  const auto deadline = Clock::now() + std::chrono::milliseconds(100);
  while (next_line(c, nullptr, deadline, &line) == Seen::LINE) last = line;
  return c.pending.empty() ? last : c.pending;
}

// What went wrong with a child, with the last line it printed.
std::string failure_text(Child& c, std::string_view what) {
  const std::string last = last_line(c);
  return last.empty() ? std::string(what) : std::string(what) + ": " + last;
}

// Reaps tavrel-sql: empty when it exited by itself with status 0 after printing the run's
// OUT parameter, else what went wrong.
std::string sql_reap(Child* sql, int timeout_ms) {
  pollfd exit_fd{sql->pidfd, POLLIN, 0};
  const bool ended = poll(&exit_fd, 1, timeout_ms) == 1;
  const std::string output = ended ? last_line(*sql) : std::string();
  int status = 0;
  const bool exited = child_reap(sql, 0, &status) && ended;
  if (exited && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    if (output == WAIT_OUTPUT) return {};
    return "tavrel-sql printed \"" + output + "\", not \"" + std::string(WAIT_OUTPUT) + "\"";
  }
  std::string why = "tavrel-sql ";
  if (!exited) why += "did not exit within " + std::to_string(CHILD_TIMEOUT_MS / 1000) + " s";
  else if (WIFSIGNALED(status)) why += "was ended by signal " + std::to_string(WTERMSIG(status));
  else why += "exited with status " + std::to_string(WEXITSTATUS(status));
  return output.empty() ? why : why + ": " + output;
}

// Starts tavrel-sql, which reads nothing: its standard input is closed at once.
int sql_start(Child* sql) {
  const int e = child_start(sql, TAVREL_SQL_PATH, SQL_ARGV);
  close_fd(&sql->in);
  return e;
}

// The baseline: from starting tavrel-sql to its exit, no debugger anywhere.
void BM_sql_execute(benchmark::State& state) {
  Kernel& k = kernel();
  if (!k.broken.empty()) {
    state.SkipWithError(k.broken.c_str());
    return;
  }
  for (auto _ : state) {
    // The same untimed pause as the other row's before each start: both start tavrel-sql on
    // a machine that has been idle as long (a shorter idle makes the start faster).
    std::this_thread::sleep_for(std::chrono::milliseconds(SETTLE_MS));
    Child sql;
    const auto start = Clock::now();
    if (const int e = sql_start(&sql)) {
      state.SkipWithError((std::string("tavrel-sql cannot start: ") + std::strerror(e)).c_str());
      break;
    }
    pollfd exit_fd{sql.pidfd, POLLIN, 0};
    // Its exit, or the time limit: sql_reap tells which.
    poll(&exit_fd, 1, CHILD_TIMEOUT_MS);
    const auto stop = Clock::now();
    const std::string why = sql_reap(&sql, 0);
    if (!why.empty()) {
      state.SkipWithError(why.c_str());
      break;
    }
    state.SetIterationTime(seconds_between(start, stop));
  }
}

// A tavrel-dbg that lives for the whole row, and the tavrel-sql of the current iteration.
struct WaitRow {
  Child dbg;
  Child sql;
  bool waiting = false;  // "wait" was written and has not been answered
  int settle_ms = SETTLE_MS;
  int64_t late = 0;      // calls that came before the wait was registered
};

enum class Catch { STOPPED, LATE, FAILED };

// Starts tavrel-sql and times it up to tavrel-dbg's "stopped" line. LATE when tavrel-sql
// ended first: nothing caught its call.
Catch timed_catch(WaitRow& r, double* seconds, std::string* why) {
  const auto start = Clock::now();
  if (const int e = sql_start(&r.sql)) {
    *why = std::string("tavrel-sql cannot start: ") + std::strerror(e);
    return Catch::FAILED;
  }
  const auto deadline = start + std::chrono::milliseconds(CHILD_TIMEOUT_MS);
  std::string line;
  for (;;) {
    switch (next_line(r.dbg, &r.sql, deadline, &line)) {
      case Seen::LINE: break;
      case Seen::EXITED: return Catch::LATE;
      case Seen::CLOSED: *why = failure_text(r.dbg, "tavrel-dbg ended while it waited"); return Catch::FAILED;
      case Seen::TIMED_OUT: *why = "tavrel-dbg did not show the stop in time"; return Catch::FAILED;
    }
    if (line == WAIT_STOPPED) {
      *seconds = seconds_between(start, Clock::now());
      r.waiting = false;
      return Catch::STOPPED;
    }
    if (line.starts_with("stopped") || line.starts_with("error")) {
      *why = "tavrel-dbg: " + line;
      return Catch::FAILED;
    }
  }
}

// The rest of an iteration, untimed: the caught run goes on to its end and tavrel-sql, whose
// call then returns, is reaped.
bool finish_run(WaitRow& r, std::string* why) {
  if (!write_line(r.dbg, "continue")) {
    *why = failure_text(r.dbg, "tavrel-dbg takes no more commands");
    return false;
  }
  const auto deadline = Clock::now() + std::chrono::milliseconds(CHILD_TIMEOUT_MS);
  std::string line;
  while (true) {
    const Seen seen = next_line(r.dbg, nullptr, deadline, &line);
    if (seen != Seen::LINE) {
      *why = failure_text(r.dbg, seen == Seen::TIMED_OUT ? "tavrel-dbg did not show the end in time" : "tavrel-dbg ended");
      return false;
    }
    if (line == WAIT_FINISHED) break;
    if (line.starts_with("stopped") || line.starts_with("error")) {
      *why = "tavrel-dbg after continue: " + line;
      return false;
    }
  }
  *why = sql_reap(&r.sql, CHILD_TIMEOUT_MS);
  return why->empty();
}

// One iteration: tavrel-dbg waits for BENCH_WAIT (written once, read, given its pause), then
// tavrel-sql is started and timed up to the stop. False with *why said on any failure.
bool wait_iteration(WaitRow& r, double* seconds, std::string* why) {
  for (int attempt = 1;; ++attempt) {
    if (!r.waiting) {
      if (!write_line(r.dbg, "wait BENCH_WAIT")) {
        *why = failure_text(r.dbg, "tavrel-dbg takes no more commands");
        return false;
      }
      r.waiting = true;
    }
    if (!input_drained(r.dbg, CHILD_TIMEOUT_MS)) {
      *why = failure_text(r.dbg, "tavrel-dbg did not read its commands");
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(r.settle_ms));
    const Catch caught = timed_catch(r, seconds, why);
    if (caught == Catch::FAILED) return false;
    if (caught == Catch::STOPPED) return finish_run(r, why);
    // Too early for the wait: tavrel-dbg is still waiting, for the next attempt's call.
    *why = sql_reap(&r.sql, CHILD_TIMEOUT_MS);
    if (!why->empty()) return false;
    ++r.late;
    r.settle_ms *= 2;
    if (attempt == WAIT_ATTEMPTS) {
      *why = "tavrel-dbg's wait caught none of " + std::to_string(WAIT_ATTEMPTS) + " calls";
      return false;
    }
  }
}

// Kills a tavrel-sql still there; ends tavrel-dbg by Ctrl+C (a wait still under way) and
// "quit", killing it when it does not leave in time.
void wait_row_end(WaitRow& r) {
  child_reap(&r.sql, 0);
  if (r.dbg.pid < 0) return;
  if (r.waiting) kill(r.dbg.pid, SIGINT);
  write_line(r.dbg, "quit");
  close_fd(&r.dbg.in);
  child_reap(&r.dbg, CHILD_TIMEOUT_MS);
}

// The same tavrel-sql run while a tavrel-dbg waits for its procedure, timed from the start
// of tavrel-sql until tavrel-dbg prints the stop.
void BM_dbg_sees_stop(benchmark::State& state) {
  Kernel& k = kernel();
  if (!k.broken.empty()) {
    state.SkipWithError(k.broken.c_str());
    return;
  }
  // A tavrel-dbg that died shows as a failed write instead of ending the bench.
  std::signal(SIGPIPE, SIG_IGN);
  WaitRow r;
  std::string why;
  if (const int e = child_start(&r.dbg, TAVREL_DBG_PATH, DBG_ARGV)) {
    why = std::string("tavrel-dbg cannot start: ") + std::strerror(e);
  } else if (!write_line(r.dbg, "open BENCH_WAIT")) {
    why = failure_text(r.dbg, "tavrel-dbg takes no commands");
  }
  if (!why.empty()) {
    state.SkipWithError(why.c_str());
    wait_row_end(r);
    return;
  }
  for (auto _ : state) {
    double seconds = 0;
    if (!wait_iteration(r, &seconds, &why)) {
      state.SkipWithError(why.c_str());
      break;
    }
    state.SetIterationTime(seconds);
  }
  wait_row_end(r);
  state.counters["late_waits"] = static_cast<double>(r.late);
}

// --- registration and the summary ----------------------------------------------------------------

// Rows whose times are set side by side at the end: numerator / denominator.
struct Ratio {
  std::string numerator;
  std::string denominator;
};

void register_all(std::vector<Ratio>* ratios) {
  for (const Workload& w : WORKLOADS) {
    const std::string ours = std::string(w.group) + "/ours";
    const std::string peer = std::string(w.group) + "/" + w.peer;
    benchmark::RegisterBenchmark(ours.c_str(), BM_ours, &w)->UseRealTime()->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(peer.c_str(), BM_lua, &w)->UseRealTime()->Unit(benchmark::kMillisecond);
    ratios->push_back({ours, peer});
  }
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
  benchmark::RegisterBenchmark("loop_1e6/ours_for_debug", BM_ours_loop, "execute \"BENCH_LOOP_DEBUG\"(1000000);")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("loop_1e6/ours", BM_ours_loop, "execute \"BENCH_LOOP\"(1000000);")
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  ratios->push_back({"loop_1e6/ours_for_debug", "loop_1e6/ours"});
  benchmark::RegisterBenchmark("round_trip/ours_empty_procedure", BM_ours_empty)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("round_trip/channel_gete", BM_channel_gete)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  ratios->push_back({"round_trip/ours_empty_procedure", "round_trip/channel_gete"});
  benchmark::RegisterBenchmark("round_trip/debugger_step", BM_debugger_step)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  ratios->push_back({"round_trip/debugger_step", "round_trip/channel_gete"});
  benchmark::RegisterBenchmark("round_trip/debugger_step_library", BM_debugger_step_library)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  ratios->push_back({"round_trip/debugger_step_library", "round_trip/channel_gete"});
}

// Its own section: the two rows started as processes, with their ratio.
void register_debugger_wait(std::vector<Ratio>* ratios) {
  benchmark::RegisterBenchmark("debugger_wait/sql_execute", BM_sql_execute)
      ->UseManualTime()
      ->Iterations(WAIT_ITERATIONS)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("debugger_wait/dbg_sees_stop", BM_dbg_sees_stop)
      ->UseManualTime()
      ->Iterations(WAIT_ITERATIONS)
      ->Unit(benchmark::kMillisecond);
  ratios->push_back({"debugger_wait/dbg_sees_stop", "debugger_wait/sql_execute"});
}

// The console's report, with each plain run's real time per iteration kept for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> seconds;

  explicit SummaryReporter(OutputOptions options) : ConsoleReporter(options) {}

  void ReportRuns(const std::vector<Run>& reports) override {
    ConsoleReporter::ReportRuns(reports);
    for (const Run& run : reports) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) continue;
      // The name as registered, without the "/real_time", "/manual_time" or "/iterations:N"
      // that the row's settings add to it.
      benchmark::BenchmarkName registered;
      registered.function_name = run.run_name.function_name;
      registered.args = run.run_name.args;
      const std::string name = registered.str();
      seconds[name] = run.real_accumulated_time / static_cast<double>(run.iterations);
    }
  }
};

void print_summary(const SummaryReporter& reporter, const std::vector<Ratio>& ratios) {
  std::printf("\n%-42s %-44s %8s\n", "row", "beside", "ratio");
  for (const Ratio& r : ratios) {
    const auto a = reporter.seconds.find(r.numerator);
    const auto b = reporter.seconds.find(r.denominator);
    // Pairs left out by a filter are not listed; a pair with one row failed shows "-".
    if (a == reporter.seconds.end() && b == reporter.seconds.end()) continue;
    if (a == reporter.seconds.end() || b == reporter.seconds.end() || b->second <= 0) {
      std::printf("%-42s %-44s %8s\n", r.numerator.c_str(), r.denominator.c_str(), "-");
      continue;
    }
    std::printf("%-42s %-44s %7.2fx\n", r.numerator.c_str(), r.denominator.c_str(), a->second / b->second);
  }
  std::printf("(time of the row over time of the row beside it: above 1 is slower)\n");
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::vector<Ratio> ratios;
  register_all(&ratios);
  register_debugger_wait(&ratios);
  // Colours only on a terminal; counters inline, so that rows with different counters share
  // one header.
  SummaryReporter reporter(isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_Color
                                                 : benchmark::ConsoleReporter::OO_None);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  print_summary(reporter, ratios);
  benchmark::Shutdown();
  return 0;
}
