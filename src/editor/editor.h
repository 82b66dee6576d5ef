// The source editor: the full-screen editor of a procedure or trigger text in a framed
// window. An editor record holds the window's rectangle, the text, the cursor and the
// view, the marked block and the flags; its loop reads keys and dispatches them through
// one table until Esc closes it or a view key switches away. Storing to the database,
// the debugger and the catalogue commands are not the editor's: it calls the hooks the
// shell supplies for them. The insert/overwrite mode, the last search and the clipboard
// are shared by all editors.
#pragma once

#include <cstdint>
#include <string>

#include "editor/text.h"

namespace tavrel {

// Editor kinds.
constexpr int EDITOR_NORMAL = 0;
constexpr int EDITOR_VIEW = 2;  // read-only text of a debugger view

// Loop states: running, and the two that end the loop.
constexpr int EDITOR_RUNNING = 1;
constexpr int EDITOR_SWITCH_VIEW = 3;
constexpr int EDITOR_CLOSE = 5;
// The views a view key switches to.
constexpr int VIEW_MONITOR = 4;
constexpr int VIEW_CALL_STACK = 5;

constexpr int EDITOR_NAME_MAX = 66;
constexpr int SEARCH_PATTERN_MAX = 35;
constexpr int NO_LINE = -1;

struct Editor {
  // The window rectangle, frame included (absolute screen coordinates).
  int top, left, bottom, right;
  int display_mode;  // the frame type, which also gives the characters under the indicator
  EditorText text;
  int line, column;                 // the cursor in the text (column 0..COLUMN_MAX)
  int cursor_row, cursor_column;    // the cursor in the window's interior
  int kind;                         // EDITOR_NORMAL or EDITOR_VIEW
  int block_start, block_end;       // the marked lines, NO_LINE when none
  bool marking;                     // vertical moves extend the block
  int block_anchor;                 // the line marking began on
  int debug_procedure;              // the procedure debugged from here, -1 when none
  int16_t editable;                 // 0: typing, Backspace, Del and other changes do nothing
  uint8_t modified;                 // set by every change, cleared by a successful store
  // Window and loop.
  uint32_t window;                  // handle, 0 while not shown
  uint32_t help_category;           // picks the hint line (code or debugging editor)
  int state;
  int view;                         // the view asked for with EDITOR_SWITCH_VIEW
  int exec_line;                    // the line the debugger stopped on, NO_LINE when none
  char name[EDITOR_NAME_MAX + 1];   // the object's name (CP866), shown in the title
  std::string file_path;            // the "*.prc" file last read or written (UTF-8)
  void* owner;                      // the shell's record of this window
};

// What the shell and the debugger supply. Every hook may be null.
struct EditorHooks {
  // F2, after the questions: translate and store the text; 1 when stored, 0 when not.
  int (*store)(Editor* editor);
  // True when a procedure of this session waits for the debugger; stop_debugged ends it.
  bool (*debug_waiting)(Editor* editor);
  void (*stop_debugged)(Editor* editor);
  // Switches debugging off before a store.
  void (*debug_off)(Editor* editor);
  // The keys of the catalogue and debugger commands, and every other key the editor has
  // no use for (function keys, window keys); the hook may end the loop with editor_end.
  void (*command)(Editor* editor, uint16_t key);
  // The attribute of a line (breakpoints, the execution line); 0 for the normal colours.
  uint8_t (*line_attr)(const Editor* editor, int line);
  // Chooses a "*.prc" file: 0 with its path, 1 when cancelled. Null: the file dialog.
  int (*choose_file)(const char* mask, bool for_writing, std::string* path);
};

void editor_set_hooks(const EditorHooks& hooks);
const EditorHooks& editor_hooks();

// Creation with 500 empty lines (0, or TEXT_NO_MEMORY), and the end of an editor (its
// window, when it is the active one, is closed).
int editor_create(Editor* editor, int top, int left, int bottom, int right, int kind = EDITOR_NORMAL);
void editor_destroy(Editor* editor);
// Opens the editor's window at its rectangle (the handle, 0 when it cannot), or takes the
// active window as the editor's (after the shell opened, moved or resized it).
uint32_t editor_open_window(Editor* editor, int frame_type);
void editor_attach_window(Editor* editor);
// Gives the editor a text (taken over; the argument gets the old one): cursor at the
// start, no block, unmodified.
void editor_set_text(Editor* editor, EditorText* text);
void editor_set_name(Editor* editor, const char* name);

// The loop: reads keys while the state is running and returns the state that ended it.
int editor_run(Editor* editor);
// One key, as the loop dispatches it.
void editor_key(Editor* editor, uint16_t key);
// Ends the loop with a state (for hooks).
void editor_end(Editor* editor, int state);

// Puts the cursor on a line and column, the line brought into view (centred when it was
// out of it); used by the error list and the debugger.
void editor_goto(Editor* editor, int line, int column);
// Draws the text, the title, the mode indicator and the position display.
void editor_draw(const Editor* editor);
// The window title: the name, with a mark when the text is modified.
std::string editor_title(const Editor* editor);

// Process-wide mode: false insert (the state at start), true overwrite.
bool editor_overwrite();
void editor_set_overwrite(bool overwrite);

// F2: the questions, then the store hook; 1 when stored.
int editor_save(Editor* editor);

// --- Search (search.cpp) --------------------------------------------------------------
// Alt+S: the dialog, then the search; Alt+N: the search with the last pattern.
void editor_search_dialog(Editor* editor);
void editor_search_again(Editor* editor);
// Searches for a pattern from the column after the cursor; true when found (the cursor
// moved there), else the "not found" box. The pattern becomes the last one.
bool editor_search(Editor* editor, const char* pattern);
const char* search_last_pattern();
// The last match (line, column), line NO_LINE when none.
void search_last_match(int* line, int* column);
void search_reset();

// --- Blocks and the clipboard (block.cpp) ---------------------------------------------
void editor_block_mark(Editor* editor);      // Alt+M: starts marking, or ends it
void editor_block_copy(Editor* editor);      // Alt+C
void editor_block_paste(Editor* editor);     // Alt+P: before the current line
void editor_block_delete(Editor* editor);    // Alt+D
void editor_block_unmark(Editor* editor);    // Alt+U
void editor_block_shift(Editor* editor, bool right);  // Shift+F5 / Shift+F4
// The block follows the cursor while marking.
void editor_block_follow(Editor* editor);
// Keeps the block on its lines when lines are inserted or removed above or in it.
void editor_block_lines_inserted(Editor* editor, int at, int count);
void editor_block_lines_removed(Editor* editor, int first, int count);
int clipboard_line_count();
const EditorText* clipboard_text();
void clipboard_clear();

// --- Files (prc_file.cpp) -------------------------------------------------------------
// Reads a file into the editor (the text replaced only when the whole file was read);
// 0, else a file status after its message box.
int editor_load_file(Editor* editor, const std::string& path);
// Writes the text to a file; 0, else a file status after its message box.
int editor_save_file(Editor* editor, const std::string& path);
// Alt+F2: chooses the file, then writes. Reading a chosen file, for the shell's command.
// Both give PRC_CANCELLED, with the text untouched, when no file was chosen.
int editor_write_file_dialog(Editor* editor);
int editor_read_file_dialog(Editor* editor);

// Shared by the editor's files: the message box of the out-of-memory case, and the notice
// of a refused character.
void editor_no_memory();
void editor_last_column_notice();
// Places the cursor on a column / line, scrolling the view as little as needed.
void editor_place_column(Editor* editor, int column);
void editor_place_line(Editor* editor, int line);
// The text area's size.
int editor_rows(const Editor* editor);
int editor_columns(const Editor* editor);
// Sets the modified flag.
void editor_changed(Editor* editor);

}  // namespace tavrel
