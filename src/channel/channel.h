// The kernel channel: every database action is one channel_call with a request block and up
// to four buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/request.h"

namespace tavrel {

// Called by the channel when the answer of an asynchronous request has arrived.
using CompletionRoutine = void (*)(RequestBlock* block, void* answer, void* buffer3);

// Sends the block's command with buffers 1-3 and the answer buffer (each may be null) and
// takes the answer back. Returns the return code (also at offset 0), or 0 at once for an
// asynchronous request (flag REQUEST_ASYNC), whose completion routine done runs when the
// answer has arrived, on the thread that received it (the channel's reader thread, or a
// caller waiting for its own answer at the time).
uint32_t channel_call(RequestBlock* block, const void* buffer1, const void* buffer2, void* buffer3,
                      void* answer, CompletionRoutine done = nullptr);

// Waits for the block's asynchronous request: seconds 0 polls, -1 waits without limit.
// Returns 0 when it has completed, 1 while it is still pending.
int channel_wait(RequestBlock* block, int seconds);
// The same in milliseconds, for a caller that looks at something else between its waits.
int channel_wait_ms(RequestBlock* block, int milliseconds);

// Channel options 0-7 (value and its length); 1 on success, 0 for an unknown option.
int channel_set_option(int option, const void* value, size_t length);

// Stops the channel's threads and closes its endpoints (also done at process exit).
void channel_shutdown();

// What the interruptible call needs from the user interface: a window shown while the
// request runs, the Esc key, and a second session for the KILL.
struct InterruptHooks {
  void* user;
  void (*show)(void* user, bool visible);  // " Ожидание ответа от сервера БД" window
  bool (*escape_pressed)(void* user);      // polled every 5 ms
  // Logs on on the second block the way the login did (a fresh OPEN); 0 on success.
  uint32_t (*open_second)(void* user, RequestBlock* second);
};

// Runs a long request so that the user may interrupt it with Esc: 0 when it completed,
// 1 when it was interrupted (the block then holds the KILL's result).
int channel_call_interruptible(RequestBlock* block, const void* buffer1, const void* buffer2,
                               void* buffer3, void* answer, const InterruptHooks& hooks);

// The most of a connect string that OPEN sends.
constexpr size_t CONNECT_STRING_MAX = 269;
// The connect string of OPEN for a user and password typed as "USER/PASSWORD": the quoted
// "USER"/"PASSWORD"; a text that starts with a quote is taken as it stands. false for a text
// without a user or a "/", or longer than CONNECT_STRING_MAX.
bool connect_string(std::string_view user_password, std::string* out);

}  // namespace tavrel
