// The procedure engine measured end to end: a real tavrel-kernel is started in a private run
// directory, the benchmark logs on, stores its procedures and a trigger over the channel and
// times `execute "P"(...)` round trips (the channel's cost is included; the empty procedure's
// row shows how much of it that is). Each row of ours stands beside a peer doing the same
// work by the same algorithm:
//  - Lua 5.4, embedded, running the same while-loops (integer sums, nested loops with IF,
//    string building, recursive fib, a decimal accumulation that Lua does in doubles):
//    engine_language_rows.cpp;
//  - SQLite's C API on a database file of its own with the same tables and rows: one prepared
//    statement stepped as often as the procedure runs its `select ... into`, and the same
//    inserts into a table whose native trigger does the audit insert of ours:
//    engine_sql_rows.cpp;
//  - the same procedure stored with and without FOR DEBUG, no debugger attached, and the
//    round trips of an empty procedure, of GETE and of a debugger's step: engine_debug_rows.cpp;
//  - a tavrel-sql process running a FOR DEBUG procedure alone, and the same while a tavrel-dbg
//    process waits for that procedure: how long until the person at the debugger sees the stop
//    (engine_debugger_wait.cpp).
// Every row counts items (loop turns, calls, statements) so that items/s compare directly,
// and the run ends with a table of the ratios. The results of both sides are checked against
// the same computation in C++ once (engine_objects.cpp), so a row that does less work than
// its peer shows up. The kernel is in engine_kernel.cpp; this file registers the sections in
// order, runs them and prints the summary.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "engine_rows.h"

namespace tavrel::bench {

namespace {

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

}  // namespace tavrel::bench

int main(int argc, char** argv) {
  using namespace tavrel::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::vector<Ratio> ratios;
  register_language_rows(&ratios);
  register_sql_rows(&ratios);
  register_debug_rows(&ratios);
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
