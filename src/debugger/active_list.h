// The list of active procedure executions (PROC 26 in portions) and ending one of them
// (PROC 27), without the dialog: fetching, the five column texts of a row, and the handler
// of " Завершить процедуру " with the row stride the manager has always used.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tavrel {

struct Debugger;
struct DebugSession;

// Fetching stops once more entries than this have arrived.
constexpr size_t ACTIVE_LIST_MAX = 1000;

struct ActiveList {
  std::vector<uint8_t> entries;  // the kernel's 15-byte entries, one after another
  size_t count = 0;              // the entries the kernel counted
  bool refresh = false;
};

// Fills the list from the kernel portion by portion. A kernel error ends fetching (reported;
// the entries so far stay); more than 1000 entries give the note "Слишком много контекстов
// исполнения процедур..." and stop.
int active_fetch(Debugger& d, ActiveList* list);

struct ActiveRow {
  std::string name;    // procedure name by identifier
  std::string id;      // "IDвып": the execution identifier
  std::string state;   // "Состояние"
  std::string quanta;  // "Кванты"
  std::string caller;  // "Вызвал": "Извне" or the caller's execution identifier
};
// The five columns of a row: 1, or 0 for a row at or past the count.
int active_row_text(Debugger& d, const ActiveList& list, size_t row, ActiveRow* out);
// "Отлаживается; " when debugged, then the first of: waiting for the debugger, finished,
// waiting for a request, running.
std::string active_state_text(uint16_t flags);

// " Завершить процедуру " on a row: the procedure and execution are read at row * 16 of the
// entry array, not row * 15 — the stride the manager has always used, kept as it is (bytes
// past the array read as zeros). When that procedure is the one `current` debugs, its
// execution is stopped as a Stop would; otherwise PROC 27 aborts the execution read. Returns
// 0 when the list should be fetched again, DBG_NOTHING for an empty list, or the failing code
// (the dialog then stays as it is).
int active_end_selected(Debugger& d, ActiveList* list, size_t row, DebugSession* current);

}  // namespace tavrel
