// A kernel session: one logged-on channel with its own SQLite connection and worker thread,
// which runs the session's requests one after another.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kernel/catalog.h"
#include "kernel/frame.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tavrel {

struct IpcEndpoint;

// Prepared statements a session keeps per select text.
constexpr size_t STATEMENTS_CACHED_MAX = 16;

// A select's prepared statement, by the text the client sent (in the session's code page,
// padding included): a repeated select is neither matched against the catalogue statements,
// rewritten nor parsed again. SQLite prepares it again by itself after a schema change.
struct CachedStatement {
  std::string text;
  sqlite3_stmt* statement = nullptr;
  uint64_t used = 0;   // the session's select counter at its last use, for eviction
  bool quick = false;  // read-only, and its last run was short enough to run on the server thread
};

struct Session {
  uint16_t channel = 0;
  uint32_t client_pid = 0;
  std::string user;
  uint16_t codepage = 0;  // codepage_classify of the client's code page; 0 = UTF-8 as is
  sqlite3* db = nullptr;
  IpcEndpoint* endpoint = nullptr;

  std::thread worker;
  std::mutex lock;  // queue, closing, running, and db against a KILL from the server thread
  std::condition_variable wake;
  std::deque<std::vector<uint8_t>> queue;
  bool closing = false;
  bool closed = false;  // CLOS answered: the session takes no further requests
  bool running = false;  // a request of the session runs (on the worker or on the server thread)
  std::atomic<bool> finished{false};

  // State of the request that runs: on the worker, or on the server thread while the
  // worker is idle (running tells which may touch it).
  std::vector<uint8_t> assembly;  // a request arriving in MALL/MPUT pieces
  uint16_t assembly_total = 0;    // its length as MALL announced it: the low 16 bits
  bool assembling = false;
  std::vector<uint8_t> pending;   // an answer too long for one exchange, fetched with MGET
  KernelAnswer pending_head;
  // The open select: its statement (kept for DESC) and its rows, all read when it was opened,
  // so that SLCT can tell how many rows it found.
  sqlite3_stmt* cursor = nullptr;
  bool cursor_kept = false;  // the cursor is one of statements (reset, not finalized, when done)
  Rows rows;
  size_t next_row = 0;
  std::vector<CachedStatement> statements;  // at most STATEMENTS_CACHED_MAX; cursor is one of them
  uint64_t selects = 0;
  std::string last_message;       // SQLite's text for the last failure
  CatalogState catalog;           // catalogue selects, the text for GPRC, translation errors
};

// Starts the worker; the session owns db from now on.
void session_start(Session* session);
// Hands a request frame to the worker; false when the session was closed meanwhile (the
// caller then answers for it).
bool session_post(Session* session, std::vector<uint8_t> message);
// Lets the worker end after the requests already posted; then joins it.
void session_stop(Session* session);
// Interrupts the request the session is running (KILL).
void session_interrupt(Session* session);

// Sends an answer, keeping one too long for an exchange for MGET when the session and the
// request allow it.
void kernel_answer(IpcEndpoint* endpoint, const KernelRequest& request, KernelAnswer answer,
                   Session* session = nullptr);

// Text between the session's code page and UTF-8.
std::string text_to_utf8(std::string_view text, uint16_t codepage);
std::string text_from_utf8(std::string_view text, uint16_t codepage);

}  // namespace tavrel
