// The console seam: a full-screen grid of CP866 character cells and a stream of input
// records in the shape of the Win32 console's (key down, virtual key, scan code, CP866
// character, control-key state; or a mouse event). Three backends implement it: the Win32
// console, the terminal (xterm and its relatives, tmux, the Linux console), and a virtual
// console in memory for tests. The user-interface library calls only the console_*
// forwarders below, which go to the backend selected at start-up.
#pragma once

#include <cstdint>

namespace tavrel {

struct ConsoleCell {
  uint8_t ch;    // CP866
  uint8_t attr;  // low nibble foreground, high nibble background (bit 7: bright background)
};

// Inclusive rectangle of screen coordinates, as the Win32 console's.
struct ConsoleRect {
  int16_t left, top, right, bottom;
};

enum InputKind : uint8_t { INPUT_NONE = 0, INPUT_KEY = 1, INPUT_MOUSE = 2, INPUT_OTHER = 3 };

// Control-key state bits of key and mouse records (the Win32 values).
constexpr uint32_t CK_RIGHT_ALT = 0x0001;
constexpr uint32_t CK_LEFT_ALT = 0x0002;
constexpr uint32_t CK_RIGHT_CTRL = 0x0004;
constexpr uint32_t CK_LEFT_CTRL = 0x0008;
constexpr uint32_t CK_SHIFT = 0x0010;
constexpr uint32_t CK_NUMLOCK = 0x0020;
constexpr uint32_t CK_SCROLLLOCK = 0x0040;
constexpr uint32_t CK_CAPSLOCK = 0x0080;
constexpr uint32_t CK_ENHANCED = 0x0100;

// Mouse button state and event flags (the Win32 values).
constexpr uint32_t MOUSE_LEFT = 0x0001;
constexpr uint32_t MOUSE_RIGHT = 0x0002;
constexpr uint32_t MOUSE_MIDDLE = 0x0004;
constexpr uint32_t MOUSE_MOVED_FLAG = 0x0001;
constexpr uint32_t MOUSE_DOUBLE_CLICK_FLAG = 0x0002;
constexpr uint32_t MOUSE_WHEELED_FLAG = 0x0004;

struct InputRecord {
  uint8_t kind;  // InputKind
  bool key_down;
  uint16_t repeat;
  uint16_t virtual_key;
  uint16_t scan;   // PC keyboard scan code; a Cyrillic letter has the scan of its Latin key
  uint8_t ch;      // CP866 character, 0 for function and cursor keys
  uint32_t control_state;
  int16_t mouse_x, mouse_y;
  uint32_t button_state;
  uint32_t event_flags;
};

enum ConsoleWaitResult {
  CONSOLE_WAIT_INPUT = 0,    // an input record is ready
  CONSOLE_WAIT_WAKE = 1,     // the wake-up event was signalled
  CONSOLE_WAIT_TIMEOUT = 2,
  CONSOLE_WAIT_ERROR = -1,
};

// A backend: every entry returns 0 on success unless said otherwise.
struct ConsoleBackend {
  const char* name;
  // Takes the console: saves its modes, sets the input mode (mouse input only, no line
  // input, no echo), creates the wake-up event. Non-zero when there is no usable console
  // (for a terminal: also when it is smaller than 80x25, with the reason in a message).
  int (*open)();
  // Flushes pending input, restores the saved modes, closes the wake-up event.
  void (*close)();
  int (*size)(int* columns, int* rows);
  // Copies the cells of rect into dst (rect-sized, row by row).
  int (*read_cells)(ConsoleCell* dst, ConsoleRect rect);
  // Writes src (src_columns wide, origin 0,0) into rect on the screen.
  int (*write_cells)(const ConsoleCell* src, int src_columns, ConsoleRect rect);
  int (*set_cursor)(int column, int row);
  int (*get_cursor_info)(int* size, bool* visible);
  int (*set_cursor_info)(int size, bool visible);
  int (*set_title)(const char* cp866_title);
  void (*flush_input)();
  // Waits for input or the wake-up event; timeout_ms < 0 waits without limit.
  int (*wait)(int timeout_ms);
  // Signals the wake-up event; safe from any thread.
  void (*wake)();
  // 1 and the record copied when one is pending, 0 when none.
  int (*peek_input)(InputRecord* rec);
  // Removes the next record (1), or 0 when none.
  int (*read_input)(InputRecord* rec);
  // Removes the next key record and gives its character, as reading one character of
  // line-less console input does; 0 on success.
  int (*read_char)(uint8_t* ch);
  void (*bell)();
};

// The native backend of this platform (Win32 console, or the terminal).
const ConsoleBackend* platform_console();

// Selects the backend the forwarders use (the native one until changed).
void console_select(const ConsoleBackend* backend);
const ConsoleBackend* console_selected();

int console_open();
void console_close();
int console_size(int* columns, int* rows);
int console_read_cells(ConsoleCell* dst, ConsoleRect rect);
int console_write_cells(const ConsoleCell* src, int src_columns, ConsoleRect rect);
int console_set_cursor(int column, int row);
int console_get_cursor_info(int* size, bool* visible);
int console_set_cursor_info(int size, bool visible);
int console_set_title(const char* cp866_title);
void console_flush_input();
int console_wait(int timeout_ms);
void console_wake();
int console_peek_input(InputRecord* rec);
int console_read_input(InputRecord* rec);
int console_read_char(uint8_t* ch);
void console_bell();

}  // namespace tavrel
