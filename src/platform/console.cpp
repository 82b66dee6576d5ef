// The console forwarders: every console_* routine goes to the backend selected at
// start-up. Until a backend is selected the native one of this platform is used; it is
// looked up on first use, so a program (or test) that selects another backend first never
// touches the real console.
#include "platform/console.h"

#include <atomic>

namespace tavrel {

namespace {

// The selected backend; null until console_select or the first forwarded call. Atomic
// because console_wake is called from other threads (posting to the user interface).
std::atomic<const ConsoleBackend*> g_backend{nullptr};

const ConsoleBackend* backend() {
  const ConsoleBackend* chosen = g_backend.load();
  if (chosen != nullptr) return chosen;
  // The native backend is one static table, so two threads racing here store the same.
  chosen = platform_console();
  g_backend.store(chosen);
  return chosen;
}

}  // namespace

void console_select(const ConsoleBackend* chosen) { g_backend.store(chosen); }

const ConsoleBackend* console_selected() { return backend(); }

int console_open() { return backend()->open(); }
void console_close() { backend()->close(); }
int console_size(int* columns, int* rows) { return backend()->size(columns, rows); }
int console_read_cells(ConsoleCell* dst, ConsoleRect rect) {
  return backend()->read_cells(dst, rect);
}
int console_write_cells(const ConsoleCell* src, int src_columns, ConsoleRect rect) {
  return backend()->write_cells(src, src_columns, rect);
}
int console_set_cursor(int column, int row) { return backend()->set_cursor(column, row); }
int console_get_cursor_info(int* size, bool* visible) {
  return backend()->get_cursor_info(size, visible);
}
int console_set_cursor_info(int size, bool visible) {
  return backend()->set_cursor_info(size, visible);
}
int console_set_title(const char* cp866_title) { return backend()->set_title(cp866_title); }
void console_flush_input() { backend()->flush_input(); }
int console_wait(int timeout_ms) { return backend()->wait(timeout_ms); }
void console_wake() { backend()->wake(); }
int console_peek_input(InputRecord* rec) { return backend()->peek_input(rec); }
int console_read_input(InputRecord* rec) { return backend()->read_input(rec); }
int console_read_char(uint8_t* ch) { return backend()->read_char(ch); }
void console_bell() { backend()->bell(); }

}  // namespace tavrel
