// The waiting request: a request that moves an execution is sent without waiting (the
// no-wait flag), and its completion is polled every 5 ms while the person may end the wait.
// Ending it opens a further channel, sends KILL for the main session's channel, gives the
// interrupted request a bounded time to come back, and leaves the KILL's result in the
// main block.
#include <cstring>

#include "debugger/debugger.h"
#include "debugger/requests.h"

namespace tavrel {

namespace {

void no_completion(RequestBlock*, void*, void*) {}

bool not_reached(uint32_t code) {
  return code == CHANNEL_NOT_REACHED || code == CHANNEL_EXCHANGE_FAILED || code == CHANNEL_SEND_FAILED;
}

void show_wait(Debugger& d, bool visible) {
  if (d.wait_shown != nullptr) d.wait_shown(d.person_user, visible);
}

// KILL on a further channel; the block afterwards holds the KILL's result, but keeps its own
// session: the main block's channel number and node stay, so that the debugger's next
// requests still reach its debug sessions.
void interrupt(Debugger& d) {
  RequestBlock* b = d.block;
  RequestBlock kill{};
  const int opened = open_further_channel(d, &kill);
  if (opened == 0) {
    std::memcpy(kill.command, "KILL", 4);
    kill.position = b->channel;
    d.calls.call(&kill, "", nullptr, nullptr, nullptr, nullptr);
  }
  // The interrupted request ends with the kernel's "interrupted" answer; a kernel that does
  // not answer is not waited for without end.
  d.calls.wait(b, KILL_WAIT_SECONDS);
  const RequestBlock result = kill;
  if (opened == 0) close_further_channel(d, &kill);
  const uint16_t channel = b->channel;
  char node[sizeof b->node];
  std::memcpy(node, b->node, sizeof node);
  std::memcpy(b, &result, sizeof *b);
  b->channel = channel;
  std::memcpy(b->node, node, sizeof node);
  std::memcpy(b->command, "PROC", 4);
  b->flags &= ~(REQUEST_ASYNC | REQUEST_COMPLETED);
}

}  // namespace

int proc_call_waiting(Debugger& d, uint32_t subcommand, uint32_t argument, std::span<const uint8_t> data,
                      uint16_t room, bool* interrupted) {
  *interrupted = false;
  if (d.block == nullptr) return static_cast<int>(CHANNEL_MISSING_BUFFER);
  int status;
  void* answer = proc_prepare(d, subcommand, argument, data, room, &status);
  if (status != 0) return status;
  RequestBlock* b = d.block;
  b->flags |= REQUEST_ASYNC;
  b->flags &= ~REQUEST_COMPLETED;
  // Whether the request went out is the call's own code: until the request completes, the
  // block is the channel reader's to write.
  const uint32_t sent = d.calls.call(b, nullptr, nullptr, nullptr, answer, no_completion);
  if (not_reached(sent)) {
    b->flags &= ~REQUEST_ASYNC;
    return static_cast<int>(sent);
  }
  show_wait(d, true);
  bool ended = false;
  while (d.calls.wait(b, 0) != 0) {
    if (d.interrupt_wanted != nullptr && d.interrupt_wanted(d.person_user)) {
      ended = true;
      break;
    }
    d.calls.pause(d.calls, b, POLL_MILLISECONDS);
  }
  show_wait(d, false);
  if (ended) {
    interrupt(d);
    *interrupted = true;
  }
  b->flags &= ~REQUEST_ASYNC;
  return static_cast<int>(b->return_code);
}

}  // namespace tavrel
