// Who may use a session's SQLite connection, and when.
//
// A session owns one connection, opened at OPEN and closed when the session ends. SQLite is
// built serialized, but the kernel does not lean on that: the connection, its prepared
// statements and everything a request leaves behind in the session (the open select's rows,
// a request being joined from pieces, an answer kept for MGET) are used by one thread at a
// time, the holder. A thread becomes the holder by connection_hold, under the session's
// lock and only while no one holds it; it gives the connection back with connection_release.
//
// Holders, in practice: the session's worker while it runs a request (a statement, a select,
// later a procedure execution, which may park in the debugger for a long time while holding
// it); the server thread, for a request answered from what the session already holds, only
// while the worker is idle. Whatever must reach a session while its connection is held
// elsewhere (KILL, requests of a debugger on another session) must not use the connection:
// sqlite3_interrupt is the one call another thread makes, under the session's lock, which
// keeps the connection from being closed meanwhile. Requests of the same session that arrive
// while its worker holds the connection wait in the queue behind it; one that must be answered
// during a long hold has to be served without the connection (as KILL is, on the server
// thread).
#pragma once

#include <atomic>
#include <thread>

struct sqlite3;

namespace tavrel::kernel {

struct Connection {
  sqlite3* db = nullptr;
  // The thread that holds the connection; a default id when none does. Written by the
  // holder under the session's lock, read by the holder in connection_db.
  std::atomic<std::thread::id> holder{};
};

// Takes the connection for the calling thread; it must be free.
void connection_hold(Connection* c);
// Gives it back; the calling thread must hold it.
void connection_release(Connection* c);
// Whether the calling thread holds the connection.
bool connection_held_here(const Connection& c);
// The database handle, for the thread that holds it (asserted).
sqlite3* connection_db(const Connection& c);

}  // namespace tavrel::kernel
