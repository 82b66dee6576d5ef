// How the debugger reaches the kernel and the person using it: the call seam (channel_call,
// channel_wait and the pause between polls, replaceable by a test's peer), the notes that the
// debugger produces for whoever shows them (a Messages view, message boxes, a line-mode
// program), and the statuses of its operations.
#pragma once

#include <cstdint>
#include <string_view>

#include "channel/channel.h"
#include "protocol/request.h"

namespace tavrel {

using CallFunction = uint32_t (*)(RequestBlock* block, const void* buffer1, const void* buffer2,
                                  void* buffer3, void* answer, CompletionRoutine done);
using WaitFunction = int (*)(RequestBlock* block, int seconds);
struct DebugCalls;
// Waits between two polls of the request on block, which waits for an answer.
using PauseFunction = void (*)(const DebugCalls& calls, RequestBlock* block, int milliseconds);

// Waits the given time in the channel, but comes back as soon as the answer of the request on
// block is in, so that a quick answer does not wait out the interval between the polls that
// look for Esc.
void pause_until_answer(const DebugCalls& calls, RequestBlock* block, int milliseconds);

// The kernel as the debugger calls it. The defaults are the channel's.
struct DebugCalls {
  CallFunction call = channel_call;
  WaitFunction wait = channel_wait;
  PauseFunction pause = pause_until_answer;
};

// What a note asks of whoever shows it.
enum NoteKind : int {
  NOTE_LINE,          // a line for the Messages view: banners and the separator
  NOTE_FINISHED,      // "Процедура/триггер 'P' завершилась": a message box and a line
  NOTE_EXCEPTION,     // "Состояние исключения X" or "Передано состояние исключения X"
  NOTE_RETURN_VALUE,  // text "Возвращаемое значение", detail the value's typed form
  NOTE_VALUE_CHANGED, // "Значение V изменилось": an on-change breakpoint stopped the run
  NOTE_PRINTED,       // a message that a debugged execution printed, without PRINT's head
  NOTE_MESSAGE,       // the debugger's own refusal, for a message box
  NOTE_KERNEL_ERROR,  // a kernel or channel code; text only for debugger errors (7204)
  NOTE_QUERY_ERROR,   // the run's statement is wrong: detail the statement, position set
};

struct DebugNote {
  NoteKind kind;
  std::string_view text;    // CP866
  std::string_view detail;  // CP866
  uint32_t code = 0;        // NOTE_KERNEL_ERROR, NOTE_QUERY_ERROR
  uint32_t system_code = 0; // NOTE_KERNEL_ERROR: the debugger error number under 7204
  uint32_t position = 0;    // NOTE_QUERY_ERROR: where in the statement the kernel stopped
};

using NoteSink = void (*)(void* user, const DebugNote& note);

// Statuses of the debugger's operations: 0, a kernel or channel code (positive, already
// given to the sink; an answer that does not hold its layout counts as the failed exchange
// 1002), or one of these.
enum DebugStatus : int {
  DBG_OK = 0,
  DBG_REFUSED = -1,      // refused by the debugger's own checks (a note said why, or nothing needed saying)
  DBG_NOTHING = -2,      // nothing to act on (no current execution, no such row)
  DBG_INTERRUPTED = -3,  // the person ended a waiting request
  DBG_TOO_LONG = -4,     // a text does not fit its request
};

}  // namespace tavrel
