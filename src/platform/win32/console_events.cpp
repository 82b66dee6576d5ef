// Console events on Windows: a control handler that claims every event (Ctrl+C, Ctrl+Break,
// close, log-off, shut-down), so the system's default handler never ends the process.
#include <windows.h>

#include "platform/platform.h"

namespace tavrel {

namespace {
BOOL WINAPI swallow_event(DWORD) { return TRUE; }
}  // namespace

void platform_ignore_console_events() { SetConsoleCtrlHandler(swallow_event, TRUE); }

}  // namespace tavrel
