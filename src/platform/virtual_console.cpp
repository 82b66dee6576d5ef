// The virtual console: a console backend held in memory for tests. The screen is a plain
// cell array; input is a queue of scripted records; the wake-up event is a flag under a
// lock, the one part that other threads touch. Writes, reads and bells are counted so that
// tests can check how often the screen was touched.
#include "platform/virtual_console.h"

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

namespace tavrel {

namespace {

// The whole state of the one virtual console of the process.
struct VirtualConsole {
  int columns = 80, rows = 25;
  std::vector<ConsoleCell> cells;
  std::deque<InputRecord> input;
  bool open = false;
  int cursor_column = 0, cursor_row = 0;
  int cursor_size = 25;
  bool cursor_visible = true;
  std::string title;
  int writes = 0, reads = 0, bells = 0, starved = 0;
  ConsoleRect last_write{0, 0, -1, -1};
};

// The wake-up event: signalled from any thread, taken by the waiting thread.
struct WakeSignal {
  std::mutex lock;
  std::condition_variable signalled;
  bool pending = false;   // under lock
  bool blocking = false;  // under lock: a wait without limit blocks instead of starving
};

WakeSignal& wake_signal() {
  static WakeSignal w;
  return w;
}

// Takes a pending wake-up (auto-reset); with block set, first waits for one.
bool take_wake(bool block) {
  WakeSignal& w = wake_signal();
  std::unique_lock<std::mutex> guard(w.lock);
  if (block) w.signalled.wait(guard, [&w] { return w.pending; });
  const bool was = w.pending;
  w.pending = false;
  return was;
}

void set_wake(bool pending) {
  WakeSignal& w = wake_signal();
  {
    std::lock_guard<std::mutex> guard(w.lock);
    w.pending = pending;
  }
  if (pending) w.signalled.notify_all();
}

bool wait_blocks() {
  WakeSignal& w = wake_signal();
  std::lock_guard<std::mutex> guard(w.lock);
  return w.blocking;
}

VirtualConsole& vc() {
  static VirtualConsole state;
  if (state.cells.empty()) state.cells.assign(80 * 25, ConsoleCell{' ', 0x07});
  return state;
}

bool rect_ok(const VirtualConsole& s, ConsoleRect r) {
  return r.left >= 0 && r.top >= 0 && r.left <= r.right && r.top <= r.bottom &&
         r.right < s.columns && r.bottom < s.rows;
}

int vc_open() {
  vc().open = true;
  return 0;
}
void vc_close() {
  vc().open = false;
  vc().input.clear();
  set_wake(false);
}
int vc_size(int* columns, int* rows) {
  *columns = vc().columns;
  *rows = vc().rows;
  return 0;
}
int vc_read_cells(ConsoleCell* dst, ConsoleRect r) {
  VirtualConsole& s = vc();
  if (!rect_ok(s, r)) return 1;
  s.reads++;
  int width = r.right - r.left + 1;
  for (int row = r.top; row <= r.bottom; row++)
    std::memcpy(dst + (row - r.top) * width, &s.cells[row * s.columns + r.left],
                width * sizeof(ConsoleCell));
  return 0;
}
int vc_write_cells(const ConsoleCell* src, int src_columns, ConsoleRect r) {
  VirtualConsole& s = vc();
  if (!rect_ok(s, r)) return 1;
  s.writes++;
  s.last_write = r;
  int width = r.right - r.left + 1;
  for (int row = r.top; row <= r.bottom; row++)
    std::memcpy(&s.cells[row * s.columns + r.left], src + (row - r.top) * src_columns,
                width * sizeof(ConsoleCell));
  return 0;
}
int vc_set_cursor(int column, int row) {
  vc().cursor_column = column;
  vc().cursor_row = row;
  return 0;
}
int vc_get_cursor_info(int* size, bool* visible) {
  *size = vc().cursor_size;
  *visible = vc().cursor_visible;
  return 0;
}
int vc_set_cursor_info(int size, bool visible) {
  vc().cursor_size = size;
  vc().cursor_visible = visible;
  return 0;
}
int vc_set_title(const char* title) {
  vc().title = title;
  return 0;
}
void vc_flush_input() { vc().input.clear(); }
int vc_wait(int timeout_ms) {
  VirtualConsole& s = vc();
  if (!s.input.empty()) return CONSOLE_WAIT_INPUT;
  if (take_wake(false)) return CONSOLE_WAIT_WAKE;
  if (timeout_ms >= 0) return CONSOLE_WAIT_TIMEOUT;
  // Input is scripted on the waiting thread itself, so only a wake-up can end this wait.
  if (wait_blocks() && take_wake(true)) return CONSOLE_WAIT_WAKE;
  if (++s.starved > 10000) std::abort();
  InputRecord esc{};
  esc.kind = INPUT_KEY;
  esc.key_down = true;
  esc.repeat = 1;
  esc.virtual_key = 0x1B;
  esc.scan = 0x01;
  esc.ch = 0x1B;
  s.input.push_back(esc);
  return CONSOLE_WAIT_INPUT;
}
void vc_wake() { set_wake(true); }
int vc_peek_input(InputRecord* rec) {
  if (vc().input.empty()) return 0;
  *rec = vc().input.front();
  return 1;
}
int vc_read_input(InputRecord* rec) {
  if (vc().input.empty()) return 0;
  *rec = vc().input.front();
  vc().input.pop_front();
  return 1;
}
// Character reading skips what is not a key press, as line-less console input does.
int vc_read_char(uint8_t* ch) {
  VirtualConsole& s = vc();
  while (!s.input.empty()) {
    InputRecord rec = s.input.front();
    s.input.pop_front();
    if (rec.kind == INPUT_KEY && rec.key_down && rec.ch != 0) {
      *ch = rec.ch;
      return 0;
    }
  }
  return 1;
}
void vc_bell() { vc().bells++; }

const ConsoleBackend VIRTUAL_BACKEND = {
    "virtual",       vc_open,         vc_close,         vc_size,          vc_read_cells,
    vc_write_cells,  vc_set_cursor,   vc_get_cursor_info, vc_set_cursor_info, vc_set_title,
    vc_flush_input,  vc_wait,         vc_wake,          vc_peek_input,    vc_read_input,
    vc_read_char,    vc_bell,
};

}  // namespace

const ConsoleBackend* virtual_console() { return &VIRTUAL_BACKEND; }

void virtual_console_reset(int columns, int rows) {
  VirtualConsole& s = vc();
  s = VirtualConsole{};
  s.columns = columns;
  s.rows = rows;
  s.cells.assign(static_cast<size_t>(columns) * rows, ConsoleCell{' ', 0x07});
  set_wake(false);
  virtual_console_set_blocking(false);
}

void virtual_console_set_blocking(bool blocking) {
  WakeSignal& w = wake_signal();
  std::lock_guard<std::mutex> guard(w.lock);
  w.blocking = blocking;
}

void virtual_console_push(const InputRecord& rec) { vc().input.push_back(rec); }

void virtual_console_push_key(uint16_t virtual_key, uint16_t scan, uint8_t ch,
                              uint32_t control_state) {
  InputRecord rec{};
  rec.kind = INPUT_KEY;
  rec.key_down = true;
  rec.repeat = 1;
  rec.virtual_key = virtual_key;
  rec.scan = scan;
  rec.ch = ch;
  rec.control_state = control_state;
  vc().input.push_back(rec);
}

void virtual_console_push_mouse(int column, int row, uint32_t buttons, uint32_t flags,
                                uint32_t control_state) {
  InputRecord rec{};
  rec.kind = INPUT_MOUSE;
  rec.mouse_x = static_cast<int16_t>(column);
  rec.mouse_y = static_cast<int16_t>(row);
  rec.button_state = buttons;
  rec.event_flags = flags;
  rec.control_state = control_state;
  vc().input.push_back(rec);
}

int virtual_console_pending() { return static_cast<int>(vc().input.size()); }

const ConsoleCell* virtual_console_cells() { return vc().cells.data(); }

ConsoleCell virtual_console_cell(int column, int row) {
  const VirtualConsole& s = vc();
  if (column < 0 || row < 0 || column >= s.columns || row >= s.rows) return ConsoleCell{0, 0};
  return s.cells[row * s.columns + column];
}

std::string virtual_console_text(int row, int from, int to) {
  std::string out;
  for (int c = from; c <= to; c++) out += static_cast<char>(virtual_console_cell(c, row).ch);
  return out;
}

std::string virtual_console_row(int row) { return virtual_console_text(row, 0, vc().columns - 1); }

int virtual_console_write_count() { return vc().writes; }
ConsoleRect virtual_console_last_write() { return vc().last_write; }
int virtual_console_read_count() { return vc().reads; }
void virtual_console_cursor(int* column, int* row, bool* visible) {
  *column = vc().cursor_column;
  *row = vc().cursor_row;
  *visible = vc().cursor_visible;
}
const char* virtual_console_title() { return vc().title.c_str(); }
int virtual_console_bells() { return vc().bells; }
bool virtual_console_is_open() { return vc().open; }
int virtual_console_starved() { return vc().starved; }
bool virtual_console_wake_pending() {
  WakeSignal& w = wake_signal();
  std::lock_guard<std::mutex> guard(w.lock);
  return w.pending;
}

}  // namespace tavrel
