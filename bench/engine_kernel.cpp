// The kernel bench_engine's rows of ours run against (see engine_kernel.h): started with
// fork/exec so that it dies with the bench, logged on over the channel, and stopped and its
// run directory removed when the bench ends.
#include "engine_kernel.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string_view>
#include <thread>

#include "engine_objects.h"
#include "protocol/bytes.h"
#include "protocol/exec_result.h"
#include "protocol/records.h"
#include "values/value.h"
#include "values/value_wire.h"

namespace tavrel::bench {

namespace {

// Attempts to log on while the kernel starts, 20 ms apart.
constexpr int LOGON_ATTEMPTS = 600;

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

}  // namespace

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "bench_engine: %s: %s\n", what, std::strerror(errno));
  std::exit(1);
}

std::string make_dir() {
  char pattern[] = "/tmp/tavrel-bench-XXXXXX";
  if (mkdtemp(pattern) == nullptr) fail("mkdtemp");
  return pattern;
}

Kernel::Kernel() {
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

Kernel::~Kernel() {
  channel_shutdown();
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  std::error_code ignored;
  std::filesystem::remove_all(rundir, ignored);
}

std::string Kernel::error_text(uint32_t code) {
  RequestBlock b = session;
  std::memcpy(b.command, "GETE", 4);
  b.position = code;
  b.answer_length = 1024;
  std::vector<char> text(1024);
  if (channel_call(&b, nullptr, nullptr, nullptr, text.data()) != 0) return {};
  return std::string(text.data(), b.answer_length);
}

uint32_t Kernel::statement(const char* sql) {
  std::memcpy(session.command, "    ", 4);
  session.answer_length = ANSWER_CAPACITY;
  return channel_call(&session, nullptr, sql, nullptr, answer.data());
}

void Kernel::store(const char* sql) {
  const uint32_t code = statement(sql);
  if (code != 0 && broken.empty()) {
    const std::string_view first(sql, std::strcspn(sql, "\n"));
    broken = "kernel error " + std::to_string(code) + " (" + error_text(code) + ") for: " + std::string(first);
  }
}

std::string Kernel::select_one(const char* sql) {
  std::memcpy(session.command, "SLCT", 4);
  session.answer_length = ANSWER_CAPACITY;
  if (channel_call(&session, nullptr, sql, nullptr, answer.data()) != 0) return {};
  std::vector<RowField> fields;
  if (row_fields_read(std::span<const uint8_t>(answer.data(), session.answer_length), &fields) != 0 ||
      fields.empty() || fields[0].null) {
    return {};
  }
  return std::string(fields[0].text);
}

Kernel& kernel() {
  static Kernel k;
  return k;
}

bool run_ours(benchmark::State& state, const char* call, const char* output, double expected, bool check) {
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

}  // namespace tavrel::bench
