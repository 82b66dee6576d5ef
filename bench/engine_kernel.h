// The tavrel-kernel that bench_engine's rows of ours run against: one started on a fresh
// database in a private run directory, logged on, with the benchmark's procedures stored
// (engine_objects.h); the helper that times execute statements through it and checks what
// the last one returned; and the two helpers the peers share with it (fail, make_dir).
#pragma once

#include <benchmark/benchmark.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "channel/channel.h"

namespace tavrel::bench {

constexpr uint16_t ANSWER_CAPACITY = 65535;

// Ends the bench with what failed and errno's text: set-up without which no row can run.
[[noreturn]] void fail(const char* what);

// A fresh directory under /tmp.
std::string make_dir();

// A tavrel-kernel on a fresh database in its own run directory, one session on it, and the
// procedures of the benchmark stored. `broken` says why the rows of ours cannot run (a
// statement the kernel refused), empty when they can.
struct Kernel {
  std::string rundir;
  pid_t pid = -1;
  RequestBlock session{};
  std::vector<uint8_t> answer = std::vector<uint8_t>(ANSWER_CAPACITY);
  std::string broken;

  Kernel();
  ~Kernel();

  // The kernel's text for a code, through GETE.
  std::string error_text(uint32_t code);
  // A statement on the blank command: how procedures are stored and run.
  uint32_t statement(const char* sql);
  // Stores a procedure or runs set-up SQL; the first refusal is kept in `broken`.
  void store(const char* sql);
  // The first column of the first row of a select, as text; empty on any failure.
  std::string select_one(const char* sql);
};

// The one kernel of the run, started by the first row that asks for it.
Kernel& kernel();

// Runs one execute statement per iteration; an error skips the row with the kernel's text,
// and so does a result that is not `expected` when `check` is set: the OUT parameter
// `output`, or the RESULT when output is nullptr.
bool run_ours(benchmark::State& state, const char* call, const char* output = nullptr, double expected = 0,
              bool check = false);

}  // namespace tavrel::bench
