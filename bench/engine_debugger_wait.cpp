// bench_engine's debugger_wait rows, as a person runs them: a tavrel-sql process running a
// FOR DEBUG procedure alone, and the same while a tavrel-dbg process waits for that procedure,
// timed from the start of tavrel-sql until tavrel-dbg prints the stop. Each iteration starts
// processes (child_process.h), so the times are set by hand and the rows run a fixed number
// of iterations.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "child_process.h"
#include "engine_kernel.h"
#include "engine_rows.h"

namespace tavrel::bench {

namespace {

// Each iteration starts a process: a few dozen keep the two rows short.
constexpr int WAIT_ITERATIONS = 30;
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

double seconds_between(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
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

}  // namespace

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

}  // namespace tavrel::bench
