// The worker queue of a session: the requests of one session run one after another, in the
// order they arrived, on the session's own thread. A request that reads only what the
// session holds (and a short select run before) is answered at once on the server thread
// instead, when the worker is idle; the session's connection changes hands for it
// (kernel/connection.h). So is a debugger's order to a parked execution, whose answer the
// execution's thread sends at its next stop (the session is marked deferred until then).
#pragma once

#include <cstdint>
#include <vector>

#include "kernel/session.h"

namespace tavrel::kernel {

// Starts the worker; the session owns its connection (and the engine's session over it)
// from now on. The connection waits for other connections' locks through session_busy.
void session_start(Session* session);
// Hands a request frame to the session; false when the session was closed meanwhile (the
// caller then answers for it).
bool session_post(Session* session, std::vector<uint8_t> message);
// Hands a job to the session's worker, to run after the jobs before it; false, with nothing
// posted, when a request of the session runs or waits, or the session is ending.
bool session_post_job(Session* session, SessionJob job);
// Lets the worker end after the requests already posted; then joins it.
void session_stop(Session* session);
// Interrupts what the session runs (KILL), from any thread: its SQL, an execution of the
// engine (parked in the debugger or not), a wait for a lock, a debugger request that waits
// for an execution.
void session_interrupt(Session* session);

// How long a session's statement waits for a lock that another connection holds before it
// fails with KERNEL_BUSY: STORAGE_BUSY_MS, or TAVREL_BUSY_MS milliseconds in the kernel's
// environment.
int session_busy_ms();
// The busy handler of a session's connection (sqlite3_busy_handler): waits in short sleeps
// up to session_busy_ms, not at all on the server thread's quick path, and stops once KILL
// has interrupted the request. Non-zero: try again.
int session_busy(void* session, int count);

}  // namespace tavrel::kernel
