// bench_engine's debug rows: the same procedure stored with and without FOR DEBUG and run
// with no debugger attached, and the round trips that put a debugger's step in scale: an empty
// procedure's execute and GETE (the channel with no work behind it), beside a step of a
// procedure stopped in the debugger, sent plainly and as the debugger's library sends it.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "channel/channel.h"
#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "engine_kernel.h"
#include "engine_rows.h"

namespace tavrel::bench {

namespace {

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

}  // namespace

void register_debug_rows(std::vector<Ratio>* ratios) {
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

}  // namespace tavrel::bench
