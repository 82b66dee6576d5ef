// What bench_engine stores in its kernel and what the rows must compute: the sizes of the
// workloads, the algorithms of the language rows (as a procedure of ours and as a Lua call
// each), the tables, trigger and procedures of the SQL rows, the debug pair and the round
// trips, and the reference sum of the select rows. The rows check their results against
// computations in C++ made here once, so a row that does less work than its peer shows up.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tavrel::bench {

constexpr int64_t SUM_N = 10'000'000;
constexpr int64_t NESTED_N = 1000;  // the inner body runs NESTED_N squared times
constexpr int64_t STRING_REPEATS = 100;
constexpr int64_t STRING_LENGTH = 3000;
constexpr int64_t FIB_N = 25;
constexpr int64_t NUMERIC_N = 1'000'000;
constexpr int64_t SELECT_N = 100'000;
constexpr int64_t SELECT_ROWS = 1000;  // rows of BENCH_T, read round-robin
constexpr int64_t INSERT_N = 10'000;

// What the select rows add up over n reads of BENCH_T, round-robin.
int64_t select_sum(int64_t n);

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

// The language rows, in the order they are registered.
extern const std::span<const Workload> WORKLOADS;
// The procedures of the SQL rows, the debug pair and the round trip, and the tables and
// trigger they use, in the order they are stored.
extern const std::span<const char* const> SQL_OBJECTS;

// The procedure of the debug pair: BENCH_LOOP, or BENCH_LOOP_DEBUG stored FOR DEBUG.
std::string loop_procedure(bool debug);

}  // namespace tavrel::bench
