// The active list: portions of PROC 26 gathered into one entry array, the column texts of
// its rows, and ending the execution of a selected row.
#include "debugger/active_list.h"

#include <cstring>

#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "debugger/texts.h"
#include "protocol/bytes.h"
#include "protocol/records.h"

namespace tavrel {

namespace {

// A kernel that keeps sending portions without entries is not followed beyond this many.
constexpr size_t ACTIVE_PORTIONS_MAX = ACTIVE_LIST_MAX + 1;

}  // namespace

int active_fetch(Debugger& d, ActiveList* list) {
  list->entries.clear();
  list->count = 0;
  uint32_t key = 0;
  for (size_t round = 0; round < ACTIVE_PORTIONS_MAX; ++round) {
    const int code = proc_call(d, PROC_ACTIVE_LIST, key, {}, PROC_PORTION);
    if (code != 0) {
      if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
      return code;
    }
    const size_t length = std::min<size_t>(d.block->answer_length, d.answer.size());
    if (length > 2) {
      list->entries.insert(list->entries.end(), d.answer.begin(), d.answer.begin() + static_cast<std::ptrdiff_t>(length - 2));
      list->count += d.block->argument & 0xFFFF;
    }
    if (list->count > ACTIVE_LIST_MAX) {
      debugger_note(d, NOTE_MESSAGE, debug_text(TXT_ACTIVE_TOO_MANY));
      return 0;
    }
    key = length >= 2 ? get_u16(d.answer.data() + length - 2) : 0;
    if (key == 0) return 0;
  }
  return 0;
}

std::string active_state_text(uint16_t flags) {
  std::string text = (flags & EXEC_DEBUGGED) != 0 ? debug_text(TXT_ACTIVE_DEBUGGED) : "";
  if ((flags & EXEC_WAITING_DEBUGGER) != 0) text += debug_text(TXT_ACTIVE_WAIT_DEBUGGER);
  else if ((flags & EXEC_FINISHED) != 0) text += debug_text(TXT_ACTIVE_FINISHED);
  else if ((flags & EXEC_WAITING_QUERY) != 0) text += debug_text(TXT_ACTIVE_WAIT_REQUEST);
  else text += debug_text(TXT_ACTIVE_RUNNING);
  return text;
}

int active_row_text(Debugger& d, const ActiveList& list, size_t row, ActiveRow* out) {
  // The count is the kernel's; a row whose bytes did not all arrive is past the list too.
  if (row >= list.count || (row + 1) * ACTIVE_ENTRY_SIZE > list.entries.size()) return 0;
  ActiveEntry e;
  active_entry_read(std::span<const uint8_t>(list.entries).subspan(row * ACTIVE_ENTRY_SIZE), &e);
  out->name = procedure_name(d, e.procedure_id);
  out->id = std::to_string(e.execution_id);
  out->state = active_state_text(e.flags);
  out->quanta = std::to_string(e.quanta);
  out->caller = e.caller == ACTIVE_CALLER_OUTSIDE ? std::string(debug_text(TXT_ACTIVE_FROM_OUTSIDE))
                                                  : std::to_string(e.caller);
  return 1;
}

int active_end_selected(Debugger& d, ActiveList* list, size_t row, DebugSession* current) {
  if (list->count == 0 || list->entries.empty()) return DBG_NOTHING;
  // The identifiers are read at row * 16, not row * 15; bytes past the array read as zeros.
  uint8_t bytes[6] = {};
  const size_t at = row * ACTIVE_KILL_STRIDE;
  for (size_t i = 0; i < sizeof bytes; ++i) {
    if (at + i < list->entries.size()) bytes[i] = list->entries[at + i];
  }
  const uint32_t procedure_id = get_u32(bytes);
  const uint16_t execution = get_u16(bytes + 4);
  if (current != nullptr && current->open && current->procedure_id == procedure_id &&
      d.current_execution != EXECUTION_NONE && debugger_stop(d) == 0) {
    list->refresh = true;
    return 0;
  }
  const int code = request_abort(d, execution);
  if (code != 0) {
    if (code > 0) debugger_report(d, static_cast<uint32_t>(code), d.block->system_code);
    return code;
  }
  list->refresh = true;
  return 0;
}

}  // namespace tavrel
