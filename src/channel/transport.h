// The channel's transport: routes to the local kernel and the network agent, the pending-
// request slots, the reader thread that takes answers back and the watcher thread that
// detaches the route of a server that has ended. The OS endpoints come from platform/ipc.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "channel/channel.h"
#include "protocol/request.h"

namespace tavrel {

// What the transport needs to take an answer back into the caller's block and buffers.
struct CallContext {
  RequestBlock* block;
  int row;                  // command-table row of the request
  void* answer;
  void* buffer3;
  CompletionRoutine done;   // asynchronous requests
};

// Makes sure a route can carry the block's request: a blank node tries the local kernel,
// then the agent; a named node the agent. 0, or 1001 with the system code in the block.
uint32_t transport_attach_for(RequestBlock* block);

// Sends one frame (header and data, length bytes; the buffer holds EXCHANGE_MAX bytes and
// the trailer is written behind the data) and, unless the request is asynchronous, waits for
// its answer. Returns the block's return code (0 at once for an asynchronous request).
uint32_t transport_send(uint8_t* frame, size_t length, const CallContext& context);

// Waits for the asynchronous request of a block: milliseconds 0 polls, -1 waits without
// limit. Returns 0 when no request of the block is pending any more, 1 when it still is.
int transport_wait(RequestBlock* block, int milliseconds);

// True on a thread while it runs a completion routine.
bool transport_in_completion();

// Re-reads TAVREL_MBX and NET_MBX at the next attach.
void transport_reread_environment();

// Stops the threads, closes every endpoint and frees the slots; the next request starts the
// transport again. Also run at process exit.
void transport_shutdown();

// A replacement for the OS transport, for tests of the framing: it receives every frame
// (trailer included) and writes the answer frame; the answer is taken back as usual.
using ExchangeHook = size_t (*)(void* user, const uint8_t* frame, size_t length, uint8_t* answer);
void transport_set_exchange_hook(ExchangeHook hook, void* user);

}  // namespace tavrel
