// Fuzz target of the kernel's procedure translator: the input is the text of a create or
// alter statement (CP866, as the engine reads it). It is translated against a fresh
// in-memory database holding the kernel's system tables and a small table for triggers; the
// diagnostics must be few, numbered from the translator's table and placed inside the text.
// A text that translates is stored the way a client's create stores it and then run: a
// procedure with arguments made from its parameters' types, a trigger by changing rows of
// its table. Every database lives for one input, so a crash or a leak (the fuzz build runs
// with LeakSanitizer) reproduces from the input alone.
//
// A procedure may loop or sleep for ever, and the engine has no budget of statements: a
// watchdog thread interrupts the session (as KILL does) once a run has taken RUN_LIMIT_MS.
// Texts that end within that time run the same way every time; only a text that runs
// longer ends at a point that depends on the machine's speed, which matters to nothing but
// the coverage the fuzzer sees of that one input.
#include <sqlite3.h>

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "kernel/catalog.h"
#include "kernel/engine/engine.h"
#include "kernel/errors.h"
#include "kernel/proc_header.h"
#include "kernel/storage.h"
#include "kernel/triggers.h"
#include "text/unicode.h"

namespace {

using namespace tavrel;
using namespace tavrel::kernel;

// Longer texts add nothing the translator has not seen in shorter ones.
constexpr size_t TEXT_MAX = 8192;
// Diagnostic numbers of the translator's table.
constexpr int DIAGNOSTIC_LAST = 86;
constexpr int DIAGNOSTIC_TOO_MANY = 78;

const char* const USER = "FUZZ";
// How long the stored unit may run before the watchdog interrupts it, and how often it
// interrupts again until the run has ended (an interrupt may land before the run starts,
// which clears it).
constexpr int RUN_LIMIT_MS = 50;
constexpr int REPEAT_MS = 2;

void check(bool condition) {
  if (!condition) __builtin_trap();
}

// The database every input starts from: system tables, the user and a small table with rows.
// Built once in a temporary file, kept in memory, copied into each input's database.
sqlite3* template_db = nullptr;

void build_template() {
  char dir[] = "/tmp/tavrel-fuzz-XXXXXX";
  check(mkdtemp(dir) != nullptr);
  const std::string path = std::string(dir) + "/template.db";
  std::string error;
  check(storage_create(path, &error) == 0);
  sqlite3* file = storage_connect(path, &error);
  check(file != nullptr);
  check(storage_add_user(file, USER, USER) == 0);
  check(sqlite3_exec(file,
                     "create table T(ID integer primary key, NAME char(10), AMOUNT numeric(7,2));"
                     "insert into T values(1, 'one', 1.5), (2, 'two', 2.25);",
                     nullptr, nullptr, nullptr) == SQLITE_OK);
  check(sqlite3_open(":memory:", &template_db) == SQLITE_OK);
  sqlite3_backup* b = sqlite3_backup_init(template_db, "main", file, "main");
  check(b != nullptr && sqlite3_backup_step(b, -1) == SQLITE_DONE);
  sqlite3_backup_finish(b);
  storage_disconnect(file);
  std::remove(path.c_str());
  rmdir(dir);
}

sqlite3* fresh_database() {
  sqlite3* db = nullptr;
  check(sqlite3_open(":memory:", &db) == SQLITE_OK);
  sqlite3_backup* b = sqlite3_backup_init(db, "main", template_db, "main");
  check(b != nullptr && sqlite3_backup_step(b, -1) == SQLITE_DONE);
  sqlite3_backup_finish(b);
  return db;
}

// The translator's diagnostics: a known number each, placed at a line and column of the
// text, no more than the limit, and the limit's last one says there were too many. A list
// that breaks a rule is printed before the trap, so the report says which.
bool diagnostics_hold(std::string_view text, const std::vector<Diagnostic>& found) {
  if (found.empty() || found.size() > DIAGNOSTICS_MAX) return false;
  // Lines as the lexer counts them: a CR starts one, and so does an LF not right after a CR.
  int lines = 1;
  for (size_t i = 0; i < text.size(); ++i) {
    lines += text[i] == '\r' || (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) ? 1 : 0;
  }
  for (const Diagnostic& d : found) {
    if (d.number < 0 || d.number > DIAGNOSTIC_LAST) return false;
    if (d.line < 1 || d.line > lines + 1) return false;
    if (d.column < 1 || static_cast<size_t>(d.column) > text.size() + 2) return false;
  }
  return found.size() < DIAGNOSTICS_MAX || found.back().number == DIAGNOSTIC_TOO_MANY;
}

void check_diagnostics(std::string_view text, const std::vector<Diagnostic>& found) {
  if (diagnostics_hold(text, found)) return;
  std::fprintf(stderr, "%zu diagnostics:\n", found.size());
  for (const Diagnostic& d : found) std::fprintf(stderr, "  %d at %d:%d\n", d.number, d.line, d.column);
  __builtin_trap();
}

// Interrupts the session once the limit has passed, again and again, until stopped.
class Watchdog {
 public:
  explicit Watchdog(EngineSession* es) : es_(es), thread_([this] { watch(); }) {}
  ~Watchdog() {
    {
      std::lock_guard<std::mutex> hold(lock_);
      done_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void watch() {
    std::unique_lock<std::mutex> hold(lock_);
    if (wake_.wait_for(hold, std::chrono::milliseconds(RUN_LIMIT_MS), [this] { return done_; })) return;
    while (!wake_.wait_for(hold, std::chrono::milliseconds(REPEAT_MS), [this] { return done_; })) {
      engine_interrupt(es_);
    }
  }

  EngineSession* es_;
  std::mutex lock_;
  std::condition_variable wake_;
  bool done_ = false;
  std::thread thread_;  // last: it starts once the members it reads exist
};

// An argument for each input parameter, of a kind its type reads.
std::vector<CallLiteral> arguments_for(const ProcHeader& h) {
  std::vector<CallLiteral> args;
  for (const ProcParam& p : h.params) {
    if (p.mode == PARAM_OUT) continue;
    switch (p.type) {
      case PARAM_CHAR: args.push_back({LiteralKind::TEXT, "ab", false, 0}); break;
      case PARAM_NCHAR: args.push_back({LiteralKind::NTEXT, "ab", false, 0}); break;
      case PARAM_LOGICAL: args.push_back({LiteralKind::BOOL, "", true, 0}); break;
      case PARAM_DATE: args.push_back({LiteralKind::TEXT, "05.03.2011:10:07:00", false, 0}); break;
      default: args.push_back({LiteralKind::NUMBER, "3", false, 0}); break;
    }
  }
  return args;
}

// Runs what was stored: the procedure once, or for a trigger each kind of change of T
// (statement triggers fire around the statement as they do for a client).
void run_stored(sqlite3* db, EngineSession* es, const ProcHeader& h) {
  check(triggers_register(db, es) == 0);
  Watchdog watchdog(es);
  if (h.object == OBJECT_PROCEDURE) {
    CallRequest call{h.name, arguments_for(h), 0};
    ExecOutcome out;
    uint32_t position = 0;
    // An exception that left the procedure has its name; a normal end has none.
    if (engine_execute(es, call, &out, &position) == 0) check((out.exception == 0) == out.exception_name.empty());
  } else {
    static const char* const CHANGES[] = {
        "insert into T(NAME, AMOUNT) values('three', 3);",
        "update T set AMOUNT = AMOUNT + 1 where ID <= 2;",
        "delete from T where ID = 1;",
    };
    for (const char* sql : CHANGES) {
      std::string message;
      bool began = false;
      if (dml_begin(db, es, sql, &began, &message) != 0) continue;
      const int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
      dml_end(db, es, sql, storage_code(rc), began, &message);
    }
  }
}

// Compiled units are kept process-wide by procedure id, and every input's database numbers
// its procedures from 1 again: they are given up before the database goes, so that no input
// runs a unit compiled for another.
void forget_units(sqlite3* db) {
  sqlite3_stmt* st = nullptr;
  check(sqlite3_prepare_v2(db, "select \"$$$ID\" from \"$$$PROC\";", -1, &st, nullptr) == SQLITE_OK);
  while (sqlite3_step(st) == SQLITE_ROW) engine_forget_unit(sqlite3_column_int(st, 0));
  sqlite3_finalize(st);
}

void run(std::string_view cp866) {
  sqlite3* db = fresh_database();
  std::vector<Diagnostic> found;
  const int translated = engine_check_unit(db, cp866, &found);
  check(translated == 0 || translated == 1);
  if (translated == 0) {
    check(found.empty());
    ProcHeader h;
    std::vector<uint8_t> errors;
    std::string message;
    // What translates is stored as a client's create stores it; the store translates again
    // and must agree.
    if (parse_proc_header(cp866, &h) == 0 && h.verb != VERB_DROP) {
      const uint32_t stored = catalog_store(db, USER, cp866_to_utf8(cp866), &errors, &message);
      check(stored != KERNEL_TRANSLATION_ERRORS);
      if (stored == 0) {
        EngineSession* es = engine_session_open(db, USER, "fuzz");
        check(es != nullptr);
        run_stored(db, es, h);
        engine_session_close(es);
      }
    }
  } else {
    check_diagnostics(cp866, found);
  }
  forget_units(db);
  sqlite3_close(db);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  build_template();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > TEXT_MAX) return 0;
  run(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
