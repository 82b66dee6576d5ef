// The terminal screen writer: turns a screen of CP866 cells into the bytes that bring a
// terminal from what it shows to that screen. It keeps the last screen it sent and sends only
// the cells that changed, moves the cursor the cheapest way, changes colours only where the
// attribute changes, and converts CP866 to UTF-8 as it goes. Pure: the caller writes the
// bytes, once per update. Also the sequences that take and give back a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/console.h"

namespace tavrel {

// How colours are set: xterm's 16 colours (30-37/90-97 foreground, 40-47/100-107
// background), or the Linux console's bold for a bright foreground and blink for a bright
// background.
enum TermColourMode : uint8_t { TERM_COLOURS_16 = 0, TERM_COLOURS_BOLD_BLINK = 1 };
// How the cursor's shape is set: xterm's DECSCUSR, or the Linux console's "ESC [ ? n c".
enum TermCursorMode : uint8_t { TERM_CURSOR_DECSCUSR = 0, TERM_CURSOR_LINUX = 1 };

// What the writer needs to know of a family of terminals.
struct TermProfile {
  const char* term_prefix;  // matched against the start of $TERM; "" matches every terminal
  uint8_t colour_mode;      // TermColourMode
  uint8_t cursor_mode;      // TermCursorMode
  bool alternate_screen;    // has one (xterm's mode 1049)
  bool title;               // takes a title (OSC 0) and keeps a title stack
  bool mouse;               // reports the mouse in SGR form (modes 1000, 1002, 1006)
  bool colour_erase;        // erasing (ECH, EL) fills with the background in force
};

// The profile for a $TERM value (null or empty: the xterm-like default).
const TermProfile* term_profile_for(const char* term);

// The writer's state: the screen the terminal shows and where its cursor and colours are.
struct TermWriter {
  const TermProfile* profile;
  int columns, rows;                  // the screen the program draws
  int visible_columns, visible_rows;  // the part of it the terminal has room for
  std::vector<ConsoleCell> shown;     // what the terminal shows (rows x columns)
  bool shown_valid;                   // false: the terminal's contents are not known
  bool clear_first;                   // clear the terminal before the next full paint
  int cursor_column, cursor_row;      // the terminal's cursor; -1 when not known
  int attr;                           // the colours in force; -1 when not known
  int cursor_size;                    // the shown cursor shape (1-100), -1 when not known
  int cursor_visible;                 // 1 shown, 0 hidden, -1 not known
};

// A writer for a columns x rows screen on a terminal of the same size whose contents are not
// known: the first update paints every cell.
void term_writer_init(TermWriter* w, const TermProfile* profile, int columns, int rows);

// The terminal now has room for visible_columns x visible_rows (after a resize) and its
// contents are lost: the next update clears it and paints every cell that fits.
void term_writer_invalidate(TermWriter* w, int visible_columns, int visible_rows);

// Appends to out the bytes that make the terminal show screen (rows x columns cells) with
// the cursor at cursor_column, cursor_row.
void term_writer_update(TermWriter* w, const ConsoleCell* screen, int cursor_column,
                        int cursor_row, std::string* out);

// Appends the bytes that set the cursor's shape (size 1-100, as the Win32 console's: up to
// 50 an underline, above a block) and visibility, when they differ from what is shown.
void term_writer_cursor(TermWriter* w, int size, bool visible, std::string* out);

// The bytes that take the terminal (alternate screen, title saved, no automatic wrap, mouse
// reports) and that give it back as it was.
void term_enter_sequence(const TermProfile* profile, std::string* out);
void term_leave_sequence(const TermProfile* profile, std::string* out);

// The bytes that set the window title to a CP866 text (nothing when the terminal has none).
void term_title_sequence(const TermProfile* profile, const char* cp866_title, std::string* out);

// The UTF-8 form of the glyph a CP866 cell shows; returns its length (1..3).
int term_glyph_utf8(uint8_t cp866, char out[4]);

}  // namespace tavrel
