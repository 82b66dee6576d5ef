// A kernel session: one logged-on channel, its SQLite connection with the procedure engine's
// session over it, its worker thread and the state its requests leave behind (the open
// select, the catalogue's state, a request being joined, an answer kept for MGET, the last
// failed call).
//
// Locking: lock guards the queue and the flags beside it, and the connection's hand-over
// between threads (kernel/connection.h). The request state below it belongs to whichever
// thread holds the connection; no lock is taken to touch it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kernel/assembly.h"
#include "kernel/catalog.h"
#include "kernel/connection.h"
#include "kernel/frame.h"
#include "kernel/statement_cache.h"

struct sqlite3_stmt;

namespace tavrel {
struct IpcEndpoint;
}

namespace tavrel::kernel {

struct EngineSession;
struct Session;

// Work handed to a session's worker by another session's request (the debugger runs a
// statement on its client's internal channel so): it runs like a request, holding the
// session's connection, with run true; a job the session ends before running is called with
// run false, and must then only say that it did not run.
using SessionJob = std::function<void(Session* session, bool run)>;

struct Session {
  uint16_t channel = 0;
  uint32_t client_pid = 0;
  std::string user;
  uint16_t codepage = 0;  // codepage_classify of the client's code page; CODEPAGE_OTHER = UTF-8
  IpcEndpoint* endpoint = nullptr;  // where answers go; nullptr in tests that run requests in process

  // The worker queue (kernel/worker.h).
  std::thread worker;
  std::mutex lock;
  std::condition_variable wake;
  std::deque<std::vector<uint8_t>> queue;
  std::deque<SessionJob> jobs;  // run before the queued requests
  bool closing = false;  // the server asked the worker to end after the queued requests
  bool closed = false;   // CLOS answered: the session takes no further requests
  bool running = false;  // a request of the session runs: the connection is held
  bool running_job = false;  // what runs is a job (SessionJob), not a request of the client
  // A request's answer is left to another thread (a debugger's order to a parked execution,
  // kernel/debug/state.h): the session takes no other request until it has left.
  bool deferred = false;
  std::atomic<bool> finished{false};  // the worker has ended and closed the connection

  Connection connection;
  // The engine's state over the connection: opened with it, closed before it. KILL reaches
  // it from the server thread under lock (engine_interrupt).
  EngineSession* engine = nullptr;
  // KILL reached the running request: a wait for another connection's lock ends at once.
  // Set under lock while a request runs, cleared when the next one starts.
  std::atomic<bool> interrupted{false};

  // Request state: used only by the connection's holder.
  Assembly assembly;
  PendingAnswer pending;
  // The open select: its statement (kept for DESC) and its rows, all read when it was
  // opened, so that SLCT can tell how many rows it found.
  sqlite3_stmt* cursor = nullptr;
  bool cursor_kept = false;  // the cursor is one of statements (reset, not finalized, when done)
  Rows rows;
  size_t next_row = 0;
  StatementCache statements;
  std::string last_message;  // SQLite's text for the last failure
  CatalogState catalog;      // catalogue selects, the text for GPRC, translation errors
  // A wait for another connection's lock: refused at once (a select on the server thread
  // must not wait), and when the current wait began.
  bool busy_no_wait = false;
  std::chrono::steady_clock::time_point busy_since{};
  // The last execute call that failed: its code and the text GETE gives for it.
  uint32_t call_error = 0;
  std::string call_error_text;
};

}  // namespace tavrel::kernel
