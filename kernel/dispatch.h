// Request dispatch: the table of the commands the kernel serves, one record per command
// code with its handler and where it may run, and the running of one request frame of a
// session. Codes that are not in the table are answered with KERNEL_UNSUPPORTED.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "kernel/frame.h"
#include "kernel/session.h"

namespace tavrel::kernel {

// Where a command runs and what it needs (the flags of a command record).
enum CommandFlag : uint32_t {
  // Answered by the server thread itself, without a session's connection (OPEN, KILL).
  COMMAND_ON_SERVER = 0x01,
  // Needs a logged-on session: the request's channel must name an open one.
  COMMAND_LOGGED_ON = 0x02,
  // Runs on the session's worker, in the order of arrival: it may run SQL for long.
  COMMAND_ON_WORKER = 0x04,
  // Reads only what the session already holds (rows read, texts, a kept answer): runs at
  // once on the server thread when the worker is idle, which costs less than a hand-over.
  COMMAND_FROM_MEMORY = 0x08,
  // A select that is tried on the server thread when the worker is idle and the same text
  // ran quickly before (see select_open_quick); otherwise it runs on the worker.
  COMMAND_QUICK_SELECT = 0x10,
  // A piece of a long request (MALL, MPUT): it does not end a request being joined.
  COMMAND_PIECE = 0x20,
  // The session ends with the answer (CLOS).
  COMMAND_ENDS_SESSION = 0x40,
  // Some of its forms are served on the server thread when the worker is idle (the
  // debugger's requests that need no connection; its orders to parked executions are
  // answered by the executions' threads): see debugger_serve_here.
  COMMAND_DEBUGGER = 0x80,
};

// Runs one request of a session, filling the answer (code, data, count).
using CommandHandler = void (*)(Session* s, const KernelRequest& r, KernelAnswer* a);

struct KernelCommand {
  char code[4];
  CommandHandler handler;  // nullptr for the commands of the server thread
  uint32_t flags;          // CommandFlag bits
};

// Every command code the kernel serves.
std::span<const KernelCommand> kernel_commands();
// The record of the four-letter code at code, or nullptr when the kernel does not serve it.
const KernelCommand* kernel_command_find(const char* code);
// The record of a frame's command (read from its header), or nullptr.
const KernelCommand* kernel_command_of_frame(const std::vector<uint8_t>& message);

// What became of one request frame of a session.
struct Handled {
  bool answered = false;      // *answer is to be sent (false: not even a trailer to answer to)
  bool ends_session = false;  // CLOS: the session takes no further requests
};

// Runs a statement of the blank command on the session, its text in the session's code page,
// as if the client had sent it: an execute call, a catalogue statement, or other SQL. The
// calling thread holds the connection. The debugger runs its statements on a client's
// internal channel so.
void session_run_text(Session* s, std::string_view text, KernelAnswer* a);

// Runs one request frame of the session; the calling thread must hold its connection. The
// answer is fitted to one exchange (one too long is kept for MGET). *request receives the
// frame's block and trailer, for the answer; its parts may point into message or into the
// session's last joined request.
Handled session_handle(Session* s, const std::vector<uint8_t>& message, KernelRequest* request,
                       KernelAnswer* answer);

}  // namespace tavrel::kernel
