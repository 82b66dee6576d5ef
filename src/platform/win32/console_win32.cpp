// The Win32 console backend: the console seam on the console API itself. Open saves the
// input and output modes and sets the input mode to mouse input only (no line input, no
// echo, no processed input), and creates the auto-reset wake-up event; close flushes pending
// input, puts the saved modes back and closes the event. Cells cross as CHAR_INFO (CP866
// character and attribute), one WriteConsoleOutputA per update; waiting is
// WaitForMultipleObjects on the console input handle first and the event second.
// The seam comes first: <windows.h> defines INPUT_MOUSE (a SendInput constant) as a macro,
// which would otherwise replace the seam's record kind of the same name.
#include "platform/console.h"

#include <windows.h>
#undef INPUT_MOUSE

#include <vector>

namespace tavrel {

namespace {

constexpr DWORD INPUT_MODE_MOUSE_ONLY = 0x10;  // ENABLE_MOUSE_INPUT and nothing else
constexpr int FALLBACK_COLUMNS = 80;
constexpr int FALLBACK_ROWS = 25;

struct Win32Console {
  bool open;
  HANDLE input, output;
  bool modes_saved;
  DWORD saved_input_mode, saved_output_mode;
  HANDLE wake_event;
  std::vector<CHAR_INFO> cells;  // scratch for the conversion to and from CHAR_INFO
};

Win32Console g_con;

InputRecord from_win32(const INPUT_RECORD& in) {
  InputRecord r{};
  if (in.EventType == KEY_EVENT) {
    const KEY_EVENT_RECORD& k = in.Event.KeyEvent;
    r.kind = INPUT_KEY;
    r.key_down = k.bKeyDown != FALSE;
    r.repeat = k.wRepeatCount;
    r.virtual_key = k.wVirtualKeyCode;
    r.scan = k.wVirtualScanCode;
    r.ch = static_cast<uint8_t>(k.uChar.AsciiChar);
    r.control_state = k.dwControlKeyState;
  } else if (in.EventType == MOUSE_EVENT) {
    const MOUSE_EVENT_RECORD& m = in.Event.MouseEvent;
    r.kind = INPUT_MOUSE;
    r.mouse_x = m.dwMousePosition.X;
    r.mouse_y = m.dwMousePosition.Y;
    r.button_state = m.dwButtonState;
    r.event_flags = m.dwEventFlags;
    r.control_state = m.dwControlKeyState;
  } else {
    r.kind = INPUT_OTHER;
  }
  return r;
}

SMALL_RECT to_small_rect(ConsoleRect r) {
  SMALL_RECT s;
  s.Left = r.left;
  s.Top = r.top;
  s.Right = r.right;
  s.Bottom = r.bottom;
  return s;
}

bool rect_valid(ConsoleRect r) {
  return r.left >= 0 && r.top >= 0 && r.left <= r.right && r.top <= r.bottom;
}

// ---------------------------------------------------------------------------------------
// The backend's entries.

int win32_open() {
  Win32Console& c = g_con;
  if (c.open) return 0;
  c.input = GetStdHandle(STD_INPUT_HANDLE);
  c.output = GetStdHandle(STD_OUTPUT_HANDLE);
  if (c.input == INVALID_HANDLE_VALUE || c.output == INVALID_HANDLE_VALUE || c.input == nullptr ||
      c.output == nullptr) {
    return 1;
  }
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(c.output, &info)) return 1;
  if (!c.modes_saved) {
    if (!GetConsoleMode(c.input, &c.saved_input_mode) ||
        !GetConsoleMode(c.output, &c.saved_output_mode)) {
      return 1;
    }
    c.modes_saved = true;
  }
  SetConsoleMode(c.input, INPUT_MODE_MOUSE_ONLY);
  c.wake_event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  if (c.wake_event == nullptr) {
    SetConsoleMode(c.input, c.saved_input_mode);
    c.modes_saved = false;
    return 1;
  }
  c.open = true;
  return 0;
}

void win32_close() {
  Win32Console& c = g_con;
  if (!c.open) return;
  FlushConsoleInputBuffer(c.input);
  if (c.modes_saved) {
    SetConsoleMode(c.input, c.saved_input_mode);
    SetConsoleMode(c.output, c.saved_output_mode);
    c.modes_saved = false;
  }
  CloseHandle(c.wake_event);
  c.wake_event = nullptr;
  c.open = false;
}

// The largest window the console can show, as the screen's size.
int win32_size(int* columns, int* rows) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!g_con.open || !GetConsoleScreenBufferInfo(g_con.output, &info)) {
    *columns = FALLBACK_COLUMNS;
    *rows = FALLBACK_ROWS;
    return 1;
  }
  *columns = info.dwMaximumWindowSize.X;
  *rows = info.dwMaximumWindowSize.Y;
  return 0;
}

int win32_read_cells(ConsoleCell* dst, ConsoleRect rect) {
  Win32Console& c = g_con;
  if (!c.open || !rect_valid(rect)) return 1;
  SHORT width = static_cast<SHORT>(rect.right - rect.left + 1);
  SHORT height = static_cast<SHORT>(rect.bottom - rect.top + 1);
  c.cells.resize(static_cast<size_t>(width) * height);
  SMALL_RECT region = to_small_rect(rect);
  if (!ReadConsoleOutputA(c.output, c.cells.data(), COORD{width, height}, COORD{0, 0}, &region)) {
    return 1;
  }
  for (size_t i = 0; i < c.cells.size(); ++i) {
    dst[i].ch = static_cast<uint8_t>(c.cells[i].Char.AsciiChar);
    dst[i].attr = static_cast<uint8_t>(c.cells[i].Attributes);
  }
  return 0;
}

int win32_write_cells(const ConsoleCell* src, int src_columns, ConsoleRect rect) {
  Win32Console& c = g_con;
  if (!c.open || !rect_valid(rect) || src_columns < rect.right - rect.left + 1) return 1;
  SHORT width = static_cast<SHORT>(rect.right - rect.left + 1);
  SHORT height = static_cast<SHORT>(rect.bottom - rect.top + 1);
  c.cells.resize(static_cast<size_t>(width) * height);
  for (SHORT r = 0; r < height; ++r) {
    for (SHORT col = 0; col < width; ++col) {
      const ConsoleCell& cell = src[static_cast<size_t>(r) * src_columns + col];
      CHAR_INFO& out = c.cells[static_cast<size_t>(r) * width + col];
      out.Char.AsciiChar = static_cast<CHAR>(cell.ch);
      out.Attributes = cell.attr;
    }
  }
  SMALL_RECT region = to_small_rect(rect);
  return WriteConsoleOutputA(c.output, c.cells.data(), COORD{width, height}, COORD{0, 0}, &region)
             ? 0
             : 1;
}

int win32_set_cursor(int column, int row) {
  if (!g_con.open) return 1;
  COORD at{static_cast<SHORT>(column), static_cast<SHORT>(row)};
  return SetConsoleCursorPosition(g_con.output, at) ? 0 : 1;
}

int win32_get_cursor_info(int* size, bool* visible) {
  CONSOLE_CURSOR_INFO info;
  if (!g_con.open || !GetConsoleCursorInfo(g_con.output, &info)) return 1;
  *size = static_cast<int>(info.dwSize);
  *visible = info.bVisible != FALSE;
  return 0;
}

int win32_set_cursor_info(int size, bool visible) {
  if (!g_con.open || size < 1 || size > 100) return 1;
  CONSOLE_CURSOR_INFO info;
  info.dwSize = static_cast<DWORD>(size);
  info.bVisible = visible ? TRUE : FALSE;
  return SetConsoleCursorInfo(g_con.output, &info) ? 0 : 1;
}

int win32_set_title(const char* cp866_title) {
  // The console's "A" functions take text in the console's code page: CP866 as it is.
  return SetConsoleTitleA(cp866_title) ? 0 : 1;
}

void win32_flush_input() {
  if (g_con.open) FlushConsoleInputBuffer(g_con.input);
}

int win32_wait(int timeout_ms) {
  if (!g_con.open) return CONSOLE_WAIT_ERROR;
  HANDLE handles[2] = {g_con.input, g_con.wake_event};
  DWORD timeout = timeout_ms < 0 ? INFINITE : static_cast<DWORD>(timeout_ms);
  switch (WaitForMultipleObjects(2, handles, FALSE, timeout)) {
    case WAIT_OBJECT_0:
      return CONSOLE_WAIT_INPUT;
    case WAIT_OBJECT_0 + 1:
      return CONSOLE_WAIT_WAKE;
    case WAIT_TIMEOUT:
      return CONSOLE_WAIT_TIMEOUT;
    default:
      return CONSOLE_WAIT_ERROR;
  }
}

void win32_wake() {
  HANDLE event = g_con.wake_event;
  if (event != nullptr) SetEvent(event);
}

int win32_peek_input(InputRecord* rec) {
  if (!g_con.open) return 0;
  INPUT_RECORD in;
  DWORD count = 0;
  if (!PeekConsoleInputA(g_con.input, &in, 1, &count) || count == 0) return 0;
  *rec = from_win32(in);
  return 1;
}

int win32_read_input(InputRecord* rec) {
  if (!g_con.open) return 0;
  INPUT_RECORD in;
  DWORD count = 0;
  // Peeked first: ReadConsoleInputA would wait when nothing is there.
  if (!PeekConsoleInputA(g_con.input, &in, 1, &count) || count == 0) return 0;
  if (!ReadConsoleInputA(g_con.input, &in, 1, &count) || count == 0) return 0;
  *rec = from_win32(in);
  return 1;
}

int win32_read_char(uint8_t* ch) {
  if (!g_con.open) return 1;
  char c = 0;
  DWORD count = 0;
  if (!ReadConsoleA(g_con.input, &c, 1, &count, nullptr) || count == 0) return 1;
  *ch = static_cast<uint8_t>(c);
  return 0;
}

void win32_bell() {
  DWORD written = 0;
  if (g_con.open) WriteFile(g_con.output, "\a", 1, &written, nullptr);
}

const ConsoleBackend WIN32_BACKEND = {
    "win32",
    win32_open,
    win32_close,
    win32_size,
    win32_read_cells,
    win32_write_cells,
    win32_set_cursor,
    win32_get_cursor_info,
    win32_set_cursor_info,
    win32_set_title,
    win32_flush_input,
    win32_wait,
    win32_wake,
    win32_peek_input,
    win32_read_input,
    win32_read_char,
    win32_bell,
};

}  // namespace

const ConsoleBackend* platform_console() { return &WIN32_BACKEND; }

}  // namespace tavrel
