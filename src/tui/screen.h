// The screen and its windows: a cell grid kept in memory over the console, a stack of
// overlapping framed windows drawn on it, and the primitives every menu, list, dialog,
// editor and debugger view is drawn with. Drawing goes into a working buffer; the
// outermost end of an update writes the smallest rectangle holding every changed cell to
// the console with one call. Only the active (top) window is drawn into, moved, resized
// or closed. Coordinates given to window operations are relative to the window's
// interior unless said otherwise. Every operation leaves its status in ui_status().
#pragma once

#include <cstdint>

#include "platform/console.h"

namespace tavrel {

// UI statuses.
constexpr int UI_OK = 0;
constexpr int UI_NO_MEMORY = 2;
constexpr int UI_NO_WINDOW = 4;
constexpr int UI_OUTSIDE = 5;
constexpr int UI_TOO_LONG = 8;
constexpr int UI_BAD_FRAME = 9;

constexpr int DISPLAY_CONSOLE = 100;  // the display method screen_start reports
constexpr uint8_t FILL_CHAR = ' ';
constexpr int TAB_WIDTH = 8;

// Frame types and the 13 positions of a frame row.
enum FrameType : uint8_t {
  FRAME_SINGLE = 0, FRAME_DOUBLE = 1, FRAME_DOUBLE_VERTICAL = 2, FRAME_DOUBLE_HORIZONTAL = 3,
  FRAME_HALF_BLOCK = 4, FRAME_NONE = 5,
};
enum FramePart : uint8_t {
  FP_TOP_LEFT = 0, FP_TOP = 1, FP_TOP_RIGHT = 2, FP_LEFT = 3, FP_RIGHT = 4, FP_BOTTOM_LEFT = 5,
  FP_BOTTOM = 6, FP_BOTTOM_RIGHT = 7, FP_CROSS = 8, FP_TEE_RIGHT = 9, FP_TEE_LEFT = 10,
  FP_TEE_DOWN = 11, FP_TEE_UP = 12,
};
constexpr int FRAME_TYPES = 6;
extern const uint8_t FRAME_CHARS[FRAME_TYPES][13];  // CP866

constexpr uint8_t GLYPH_DESKTOP = 0xB2;          // ▓
constexpr uint8_t GLYPH_BUTTON_SHADOW_RIGHT = 0xDC;  // ▄
constexpr uint8_t GLYPH_BUTTON_SHADOW_UNDER = 0xDF;  // ▀

// A saved screen rectangle: this header, then the cells row by row.
struct SavedBlock {
  uint16_t top, left, bottom, right;
};
ConsoleCell* saved_cells(SavedBlock* block);

// What a shadow covers: the two columns right of the window and the row under it.
struct SavedShadow {
  SavedBlock* right;   // rows top+1..bottom+1, columns right+1..right+2 (clipped)
  SavedBlock* under;   // row bottom+1, columns left+2..right (clipped)
};

constexpr int TITLE_MAX = 80;

// One open window; the records form a doubly linked stack, the newest on top.
struct Window {
  Window* lower;          // the window that was active when this one opened
  Window* upper;          // null for the active window
  void* items;            // the menu and form layer's item list
  SavedBlock* saved_background;
  SavedShadow* saved_shadow;
  uint32_t reserved;
  uint32_t handle;
  uint32_t help_category;  // 0 = none
  uint8_t top, left, bottom, right;  // absolute, frame included
  uint8_t frame_type;
  uint8_t window_attr;
  uint8_t frame_attr;
  uint8_t border;          // 1 with a frame, 0 for FRAME_NONE
  uint8_t cursor_row, cursor_col;  // absolute output position
  uint8_t text_attr;
  uint8_t layer_bytes[2];
  uint8_t shadow_attr;
  // The title on the top frame, kept so that the frame can be drawn again with it.
  char title[TITLE_MAX + 1];
  uint8_t title_position;
  uint8_t title_attr;
  // A dialog's window, and what it looked like while it is taken off the screen.
  bool dialog;
  SavedBlock* hidden_cells;
  bool hidden_shadow;
};

// Start-up and shut-down. screen_start returns DISPLAY_CONSOLE, or 0 when the console
// cannot be taken (no console, or a terminal smaller than 80x25).
int screen_start();
void screen_shutdown();
int screen_rows();
int screen_columns();
int ui_status();

// The window stack.
uint32_t window_open(int top, int left, int bottom, int right, int frame_type,
                     uint8_t frame_attr, uint8_t window_attr);
int window_close();
int window_move(int top, int left);
int window_resize(int bottom, int right);
Window* window_active();
int window_count();
// The topmost window whose rectangle (frame included) holds the absolute point; null
// when none does.
Window* window_at(int column, int row);
// The interior size of the active window (0 x 0 with no window).
int window_height();
int window_width();
// The help category of the active window; it also becomes the current help category.
int window_set_help(uint32_t category);
uint32_t help_category_current();
void help_category_set_current(uint32_t category);

// Output position and text attribute of the active window.
int window_set_cursor(int row, int column);
int window_cursor_row();
int window_cursor_column();
int window_set_text_attr(uint8_t attr);

// Drawing into the active window.
int window_put_char(uint8_t code);
int window_put_string(const char* text, int width);
int window_put_centered(int row, uint8_t attr, const char* text);
// Writes text at an interior position in attr, cut at the interior's right edge; the
// output position does not move. Control characters are drawn as glyphs.
int window_put_text(int row, int column, const char* text, uint8_t attr);
int window_put_cell(int row, int column, uint8_t ch, uint8_t attr);
int window_fill(int top, int left, int bottom, int right, uint8_t ch, uint8_t attr);
int window_clear_eol();
int window_clear();
int window_scroll(int count, int direction);  // 1 = up
uint8_t window_read_cell(int row, int column);
uint8_t window_read_attr(int row, int column);

// Rules inside a framed window, joining the lines they cross and the frame.
int window_line_cell(int row, int column, uint8_t attr, int style, bool vertical);
int window_hrule(int row, int column, int length, int style, uint8_t attr);
int window_vrule(int row, int column, int length, int style, uint8_t attr);

int window_add_shadow(uint8_t attr);
int window_remove_shadow();

// The title on the top frame of the active window: position 1 left, 2 centred, any other
// value right. A null or empty text clears it.
int window_set_title(const char* text, int position, uint8_t attr);
// Draws the active window's frame again (with its title).
int window_redraw_frame();
// Marks the active window as a dialog's.
int window_mark_dialog();
// Takes the dialog windows at the top of the stack off the screen, the topmost first, so
// that a message opened now is not hidden behind them; they stay open. Returns how many.
int dialogs_hide();
// Puts the hidden dialogs back as they were, the lowest first.
void dialogs_show();

// Absolute cells of the working buffer, for the layers that draw outside windows.
ConsoleCell screen_cell(int row, int column);
void screen_put(int row, int column, uint8_t ch, uint8_t attr);

// Updates: only the outermost end update writes to the console.
void begin_update();
void end_update();
void force_flush();
int update_nesting();

void cursor_show();
void cursor_hide();
bool cursor_visible();
// Sleeps n x 100 ms (through the pause hook, which tests replace).
void ui_pause(int n);
void ui_set_pause_hook(void (*hook)(int milliseconds));

// Case of one character in the selected Cyrillic code page (0 = CP866, 1 = KOI8-R); the
// selection also picks the character-class table of the keyboard layer.
uint8_t ui_upper(uint8_t c);
uint8_t ui_lower(uint8_t c);
void ui_select_codepage(int selection);
int ui_codepage();

}  // namespace tavrel
