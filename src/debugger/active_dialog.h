// The dialog "Список активных процедур": every execution the kernel holds, with its
// procedure, identifier, state, quanta and caller, refreshed on " Обновить " and ended on
// " Завершить процедуру ".
#pragma once

#include "debugger/debugger.h"

namespace tavrel {

// Runs the dialog until " Ввод " or Esc. current is the debug session of the current source
// window (null when there is none): ending its own execution stops it as Ctrl+F2 does.
void active_list_run(DebugSession* current);

}  // namespace tavrel
