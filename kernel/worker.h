// The worker queue of a session: the requests of one session run one after another, in the
// order they arrived, on the session's own thread. A request that reads only what the
// session holds (and a short select run before) is answered at once on the server thread
// instead, when the worker is idle; the session's connection changes hands for it
// (kernel/connection.h).
#pragma once

#include <cstdint>
#include <vector>

#include "kernel/session.h"

namespace tavrel::kernel {

// Starts the worker; the session owns its connection from now on.
void session_start(Session* session);
// Hands a request frame to the session; false when the session was closed meanwhile (the
// caller then answers for it).
bool session_post(Session* session, std::vector<uint8_t> message);
// Lets the worker end after the requests already posted; then joins it.
void session_stop(Session* session);
// Interrupts the SQL the session is running (KILL), from any thread.
void session_interrupt(Session* session);

}  // namespace tavrel::kernel
